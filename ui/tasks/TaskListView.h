#pragma once

#include "VexoTask.h"

#include <QWidget>

class AppState;
class BusyIndicator;
class LiveRefresh;
class QButtonGroup;
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
class Theme;
class VexoButton;

// The centre pane for a task list: title and "Новая задача", the deadline chips and the priority
// menu, four counters, and the rows (or a loading indicator, or the empty state). Everything it
// shows comes from AppState and every action goes back through it.
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
    // Which of the three contents is on screen: "loading", "list" or "empty".
    QString contentState() const;

    // Adds the refresh button before "Новая задача" and, under the header, the line that tells when
    // the list may be out of date; both follow `live`.
    void setLiveRefresh(LiveRefresh& live);
    RefreshButton* refreshButton() const { return m_refresh; }
    StaleNotice* staleNotice() const { return m_stale; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void refresh();

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
    RefreshButton* m_refresh = nullptr;
    StaleNotice* m_stale = nullptr;
};
