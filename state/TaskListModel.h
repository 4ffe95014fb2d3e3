#pragma once

#include "VexoTask.h"

#include <QAbstractListModel>
#include <QTimer>

#include <functional>

class AppState;

// The task list as the view sees it: AppState's filtered tasks, kept in step with row-level
// signals. A change of one task changes one row, a new task inserts one, a removed task removes one;
// the view resets only when the whole list is replaced. Rows point into the state's own list, so a
// list of 100,000 tasks is not copied again.
class TaskListModel final : public QAbstractListModel {
    Q_OBJECT

public:
    enum Role { TaskRole = Qt::UserRole + 1, IdRole };

    explicit TaskListModel(AppState& state, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;

    const VexoTask& taskAt(int row) const;
    int rowOf(qint64 taskId) const;

    // The text assistive technology reads for a row (the view knows the words).
    void setAccessibleText(std::function<QString(const VexoTask&)> describe) { m_describe = std::move(describe); }

    // Brings the rows in line with the state; also run on a timer, since "today" moves on its own.
    void refresh();

private:
    void contentChanged(qint64 id);
    void reloaded();

    AppState& m_state;
    QList<qsizetype> m_indexes; // positions in the state's tasks, in row order
    QList<qint64> m_ids;
    QTimer m_clockTick;
    std::function<QString(const VexoTask&)> m_describe;
};
