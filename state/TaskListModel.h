#pragma once

#include "VexoTask.h"

#include <QAbstractListModel>
#include <QTimer>

#include <functional>

class AppState;

// The task list as the view sees it: AppState's filtered tasks, kept in step with row-level
// signals. A change of one task changes one row, a new task inserts one, a removed task removes one;
// the view resets only when the whole list is replaced.
class TaskListModel final : public QAbstractListModel {
    Q_OBJECT

public:
    enum Role { TaskRole = Qt::UserRole + 1, IdRole };

    explicit TaskListModel(AppState& state, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;

    const VexoTask& taskAt(int row) const { return m_rows[row]; }
    int rowOf(qint64 taskId) const;

    // The text assistive technology reads for a row (the view knows the words).
    void setAccessibleText(std::function<QString(const VexoTask&)> describe) { m_describe = std::move(describe); }

    // Brings the rows in line with the state; also run on a timer, since "today" moves on its own.
    void refresh();

private:
    AppState& m_state;
    QList<VexoTask> m_rows;
    QTimer m_clockTick;
    std::function<QString(const VexoTask&)> m_describe;
};
