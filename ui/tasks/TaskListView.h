#pragma once

#include "VexoTask.h"

#include <QPersistentModelIndex>
#include <QPointer>
#include <QWidget>

#include <optional>

class AppState;
class BusyIndicator;
class FolderPicker;
class LiveRefresh;
class QButtonGroup;
class QKeyEvent;
class QLabel;
class QMenu;
class QListView;
class QPushButton;
class QStackedWidget;
class QToolButton;
class RefreshButton;
class StaleNotice;
class StatCard;
class TaskListModel;
class TaskRowDelegate;
class TaskSearchBar;
class Theme;
class VexoButton;

// The centre pane for a task list: title, search and "Новая задача", the deadline chips and the
// priority menu, four counters, and the rows (or a loading indicator, or the empty state, or "nothing
// found"). Everything it shows comes from AppState and every action goes back through it.
//
// The keyboard: Ctrl+F searches; in the list, the arrows, Home, End and the page keys move the
// current row, Return opens it, Space toggles it, Delete deletes it, Ctrl+E edits it, Ctrl+M files it
// into a folder, and the menu key or Shift+F10 opens its menu. A row can also be dragged onto a
// sidebar folder.
class TaskListView final : public QWidget {
    Q_OBJECT

public:
    TaskListView(AppState& state, Theme& theme, QWidget* parent = nullptr);

    QString title() const;
    QListView* listView() const { return m_list; }
    TaskListModel* model() const { return m_model; }
    TaskRowDelegate* delegate() const { return m_delegate; }
    QToolButton* priorityButton() const { return m_priorityButton; }
    VexoButton* newTaskButton() const { return m_newTask; }
    QList<QPushButton*> dateChips() const { return m_chips; }
    QList<StatCard*> statCards() const { return m_cards; }
    // The menu a row offers; shown on right click.
    QMenu* contextMenuFor(const VexoTask& task, QWidget* parent);
    // Which of the contents is on screen: "loading", "list", "empty" or "noMatches" (the search
    // left no row of a list that has some).
    QString contentState() const;
    TaskSearchBar* searchBar() const { return m_search; }
    // The task of the list's current row.
    std::optional<VexoTask> currentTask() const;
    // The folder picker while it is open.
    FolderPicker* folderPicker() const;

    // Adds the refresh button before "Новая задача" and, under the header, the line that tells when
    // the list may be out of date; both follow `live`.
    void setLiveRefresh(LiveRefresh& live);
    RefreshButton* refreshButton() const { return m_refresh; }
    StaleNotice* staleNotice() const { return m_stale; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    void refresh();
    void showContent();
    QWidget* buildNoMatches();
    void wireSearch();
    void wireKeyboard();
    std::optional<VexoTask> taskAt(const QModelIndex& index) const;
    QModelIndex indexOfTask(qint64 id) const;
    void focusList();
    bool handleListKey(QKeyEvent* key);
    void popUpMenu(const QModelIndex& index, const QPoint& globalPoint);
    void pickFolder(const VexoTask& task, const QPoint& globalPoint);
    void startDrag(const QModelIndex& index, const QPoint& pressedAt);

    AppState& m_state;
    Theme& m_theme;
    TaskListModel* m_model;
    TaskRowDelegate* m_delegate;
    QLabel* m_title;
    VexoButton* m_newTask;
    QList<QPushButton*> m_chips;
    QToolButton* m_priorityButton;
    QList<StatCard*> m_cards;
    QStackedWidget* m_content;
    BusyIndicator* m_busy;
    QListView* m_list;
    QWidget* m_empty;
    QLabel* m_emptyTitle;
    QLabel* m_emptyHint;
    TaskSearchBar* m_search = nullptr;
    QWidget* m_noMatches = nullptr;
    QPointer<FolderPicker> m_picker;
    bool m_scrollToTopOnLoad = false;
    std::optional<qint64> m_openedTask;
    QPersistentModelIndex m_dragFrom;
    QPoint m_dragPressedAt;
    RefreshButton* m_refresh = nullptr;
    StaleNotice* m_stale = nullptr;
};
