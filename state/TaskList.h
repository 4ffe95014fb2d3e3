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
    // HasPreviewRole: whether the row shows a line of its description's plain text (bool).
    enum Role { TaskRole = Qt::UserRole + 1, IdRole, HasPreviewRole };

    // A list ready to be taken in: the tasks with what the rows keep of each, worked out by
    // prepare() where the list was decoded (a worker thread for long lists), so that assigning it
    // leaves the event loop little more than the row changes to do.
    struct Rows {
        QList<VexoTask> tasks;
        QList<qint64> ids;
        QList<qint64> deadlines;
        QList<bool> previews;
        bool uniqueIds = true;
        // The loaded list prepare() compared the tasks with, and whether they were equal to it.
        QList<VexoTask> basis;
        bool sameAsBasis = false;
        bool basisIdsUnique = true;
    };
    // Thread-safe; `current` is the list to compare with (a copy of tasks() taken on the list's thread).
    static Rows prepare(QList<VexoTask> tasks, QList<VexoTask> current = {});

    explicit TaskList(QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;

    const QList<VexoTask>& tasks() const { return m_tasks; }
    // In step with tasks(): their ids, and their deadlines as TaskFiltering::deadlineOf() reads them.
    const QList<qint64>& ids() const { return m_ids; }
    const QList<qint64>& deadlines() const { return m_deadlines; }
    const QList<bool>& previews() const { return m_previews; }
    // The first row holding that id, or -1.
    int rowOf(qint64 id) const { return int(m_ids.indexOf(id)); }

    // Each returns whether the list changed.
    bool assign(QList<VexoTask> next) { return assign(prepare(std::move(next), m_tasks)); }
    bool assign(Rows next);
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
    QList<bool> m_previews;
};
