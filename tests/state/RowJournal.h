#pragma once

#include <QAbstractItemModel>
#include <QStringList>

// Notes every change a model announces, in order: "inserted 0-1", "removed 3-3", "changed 2-2",
// "moved", "layout", "reset".
class RowJournal final {
public:
    explicit RowJournal(const QAbstractItemModel& model) {
        QObject::connect(&model, &QAbstractItemModel::rowsInserted, &m_context,
                         [this](const QModelIndex&, int first, int last) { note("inserted", first, last); });
        QObject::connect(&model, &QAbstractItemModel::rowsRemoved, &m_context,
                         [this](const QModelIndex&, int first, int last) { note("removed", first, last); });
        QObject::connect(
            &model, &QAbstractItemModel::dataChanged, &m_context,
            [this](const QModelIndex& from, const QModelIndex& to) { note("changed", from.row(), to.row()); });
        QObject::connect(&model, &QAbstractItemModel::rowsMoved, &m_context,
                         [this] { m_entries << QStringLiteral("moved"); });
        QObject::connect(&model, &QAbstractItemModel::layoutChanged, &m_context,
                         [this] { m_entries << QStringLiteral("layout"); });
        QObject::connect(&model, &QAbstractItemModel::modelReset, &m_context,
                         [this] { m_entries << QStringLiteral("reset"); });
    }

    const QStringList& entries() const { return m_entries; }
    void clear() { m_entries.clear(); }

private:
    void note(const char* what, int first, int last) {
        m_entries << QStringLiteral("%1 %2-%3").arg(QLatin1StringView(what)).arg(first).arg(last);
    }

    QObject m_context;
    QStringList m_entries;
};
