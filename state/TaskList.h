#pragma once

#include "VexoTask.h"

#include <QAbstractListModel>

// The loaded tasks of the current selection, in the service's order, as a list model. Every change
// happens between the model's begin…() and end…() calls, so whoever listens (views, proxies,
// assistive technology) reads, at every signal, exactly the list it was told about.
//
// A new list is applied as the fewest row changes that turn the old one into it, tasks matched by
// id: rows that stay and did not change get no signal at all. Rows are never moved; a task that
// changed places is removed and inserted again.
class TaskList final : public QAbstractListModel {
    Q_OBJECT

public:
    enum Role { TaskRole = Qt::UserRole + 1, IdRole };

    explicit TaskList(QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;

    const QList<VexoTask>& tasks() const { return m_tasks; }
    // In step with tasks(): their ids, and their deadlines as TaskFiltering::deadlineOf() reads them.
    const QList<qint64>& ids() const { return m_ids; }
    const QList<qint64>& deadlines() const { return m_deadlines; }
    // The first row holding that id, or -1.
    int rowOf(qint64 id) const { return int(m_ids.indexOf(id)); }

    // Each returns whether the list changed.
    bool assign(QList<VexoTask> next);
    void prepend(const VexoTask& task);
    // The first task with task.id becomes task.
    bool replaceFirst(const VexoTask& task);
    // Every task with that id goes; the rest keep their order.
    bool removeAll(qint64 id);

private:
    void insertAt(qsizetype row, const VexoTask* tasks, qsizetype count);
    void removeRange(qsizetype row, qsizetype count);
    void changeRange(qsizetype row, const VexoTask* tasks, qsizetype count);

    QList<VexoTask> m_tasks;
    QList<qint64> m_ids;
    QList<qint64> m_deadlines;
};
