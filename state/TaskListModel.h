#pragma once

#include "TaskFiltering.h"
#include "VexoTask.h"

#include <QAbstractListModel>
#include <QTimer>

#include <functional>

class AppState;
class TaskList;

// The task list as the view sees it: AppState's loaded tasks narrowed by the date and priority
// filters, in the service's order. It keeps only the positions of the rows it shows (no copies of
// tasks) and follows the loaded list row by row: a task added, removed or changed there is one row
// inserted, removed or changed here, so rows that did not change keep their selection and place. A
// change of filters changes the rows it concerns, or the whole list when that is simpler.
class TaskListModel final : public QAbstractListModel {
    Q_OBJECT

public:
    enum Role { TaskRole = Qt::UserRole + 1, IdRole };

    explicit TaskListModel(AppState& state, QObject* parent = nullptr);

    // Whether the row shows a line of its description's plain text (bool): read for every row's
    // height, so it is worked out once per task when the list arrives.
    static constexpr int HasPreviewRole = Qt::UserRole + 0x100;

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;

    const VexoTask& taskAt(int row) const;
    int rowOf(qint64 taskId) const;

    // The text assistive technology reads for a row (the view knows the words).
    void setAccessibleText(std::function<QString(const VexoTask&)> describe) { m_describe = std::move(describe); }

    // Brings the rows in line with the filters and the clock; also run on a timer, since "today"
    // moves on its own.
    void refresh();

private:
    TaskFiltering::Filter filter() const;
    bool accepts(const TaskFiltering::Filter& filter, int sourceRow) const;
    // Where a source row is or would be among the rows shown.
    int lowerRow(int sourceRow) const;
    void insertShown(int at, const QList<int>& sourceRows);
    void removeShown(int first, int last);

    void sourceRowsInserted(int first, int last);
    void sourceRowsAboutToBeRemoved(int first, int last);
    void sourceRowsRemoved(int first, int last);
    void sourceDataChanged(int first, int last, const QList<int>& roles);
    void sourceAboutToReset();
    void sourceReset();

    AppState& m_state;
    const TaskList& m_source;
    QList<int> m_rows; // source rows shown, ascending
    QTimer m_clockTick;
    std::function<QString(const VexoTask&)> m_describe;
};
