#pragma once

#include "TaskFiltering.h"
#include "TaskSearchIndex.h"
#include "VexoTask.h"

#include <QAbstractListModel>
#include <QTimer>

#include <functional>
#include <optional>

class AppState;
class QMimeData;
class TaskList;

// The task list as the view sees it: AppState's loaded tasks narrowed by the date and priority
// filters, then by the search text, in the service's order. It keeps only the positions of the rows
// it shows (no copies of tasks) and follows the loaded list row by row: a task added, removed or
// changed there is one row inserted, removed or changed here, so rows that did not change keep their
// selection and place. A change of filters or of the search changes the rows it concerns, or the
// whole list when that is simpler.
//
// The search looks for its text in each task's title and in the plain text of its description, by
// TaskSearch's comparison. Typing on (a text that contains the last one) only looks again at the rows
// shown. With a long list, the texts searched are made on a worker thread when the search opens;
// until they are there the rows stay as they were (searchPending()), then the search applies.
class TaskListModel final : public QAbstractListModel {
    Q_OBJECT

public:
    // SearchTextRole: the search text the rows are narrowed by (empty without one), for highlighting.
    enum Role { TaskRole = Qt::UserRole + 1, IdRole, SearchTextRole };
    // A dragged task: its id as decimal text.
    static inline const QString taskMimeType = QStringLiteral("application/x-vexo-task-id");

    explicit TaskListModel(AppState& state, QObject* parent = nullptr);

    // Whether the row shows a line of its description's plain text (bool): read for every row's
    // height, so it is worked out once per task when the list arrives.
    static constexpr int HasPreviewRole = Qt::UserRole + 0x100;

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    Qt::DropActions supportedDragActions() const override { return Qt::MoveAction; }
    // The task a drag carries, if it carries one.
    static std::optional<qint64> taskIdIn(const QMimeData* data);

    const VexoTask& taskAt(int row) const;
    int rowOf(qint64 taskId) const;

    // The text assistive technology reads for a row (the view knows the words).
    void setAccessibleText(std::function<QString(const VexoTask&)> describe) { m_describe = std::move(describe); }

    // Brings the rows in line with the filters and the clock; also run on a timer, since "today"
    // moves on its own.
    void refresh();

    // How descriptions read as plain text for the search (as they are, unless set). It runs on a
    // worker thread too.
    void setPlainText(TaskSearchIndex::PlainText plainText) { m_index.setPlainText(std::move(plainText)); }
    // An open search keeps the texts it searches ready; closing it drops them and its text.
    void setSearchOpen(bool open);
    bool isSearchOpen() const { return m_searchOpen; }
    void setSearchText(const QString& text);
    // The search text the rows are narrowed by now.
    QString searchText() const { return m_appliedQuery; }
    // A search text waits for the texts to search.
    bool searchPending() const { return m_query != m_appliedQuery; }
    const TaskSearchIndex& searchIndex() const { return m_index; }

Q_SIGNALS:
    // The rows were narrowed by another search text, or a text waits for the search to be ready.
    void searchChanged();

private:
    TaskFiltering::Filter filter() const;
    bool accepts(const TaskFiltering::Filter& filter, int sourceRow) const;
    // Sets the rows to these source rows (ascending), by the fewest signals or one reset.
    void apply(QList<int> next);
    void applySearch();
    void indexReady();
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
    TaskSearchIndex m_index;
    bool m_searchOpen = false;
    QString m_query;            // as typed, trimmed
    QString m_appliedQuery;     // the one the rows follow
    QByteArray m_appliedNeedle; // its encoded form; empty without a search
    // A row was left out only because its text was not made yet: the rows shown are no base to
    // narrow from until the next full pass.
    mutable bool m_hiddenForText = false;
};
