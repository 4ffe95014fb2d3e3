#pragma once

#include <QWidget>

#include <functional>

class AppState;
class LiveRefresh;
class QDialog;
class QSplitter;
class QStackedWidget;
class SidebarView;
class AdminView;
class StatsView;
class TaskDetailView;
class TaskListView;
class Theme;
class ToastOverlay;

// The signed-in window: the sidebar beside the detail area, the sheets bound to the state's flags,
// and the toast over everything.
class MainView final : public QWidget {
    Q_OBJECT

public:
    // Builds a sheet's content inside the dialog it is shown in; null when there is none to show.
    using SheetFactory = std::function<QWidget*(QDialog*)>;
    enum class Sheet { createTask, editTask, settings, apiKey, newFolder, editFolder };

    MainView(AppState& state, Theme& theme, QWidget* parent = nullptr);

    void setSheetFactory(Sheet sheet, SheetFactory factory);
    SidebarView* sidebar() const { return m_sidebar; }
    // The sidebar and the detail area side by side; the sidebar is the first pane.
    QSplitter* splitter() const { return m_split; }
    TaskListView* taskList() const { return m_taskList; }
    TaskDetailView* taskDetail() const { return m_taskDetail; }
    StatsView* stats() const { return m_stats; }
    AdminView* admin() const { return m_admin; }
    QWidget* currentDetail() const;
    ToastOverlay* toast() const { return m_toast; }
    // The dialog of a sheet while it is open.
    QDialog* openSheet(Sheet sheet) const;
    // Opens the sheets the state asked for before this view was made (a start with --new-task).
    void syncSheets();

    // The list's refresh button and stale line follow `live`, and F5 refreshes through it.
    void setLiveRefresh(LiveRefresh& live);
    // F5 and Ctrl+R: the lists, and the statistics or the admin panel when one is shown.
    void refreshShown();

private:
    struct SheetBinding {
        Sheet sheet;
        std::function<bool()> isOpen;
        std::function<void(bool)> setOpen;
        SheetFactory factory;
        QDialog* dialog = nullptr;
    };
    void bindSheet(Sheet sheet, void (AppState::*signal)(), std::function<bool()> isOpen,
                   std::function<void(bool)> setOpen);
    void syncSheet(SheetBinding& binding);
    void showDetail();

    AppState& m_state;
    Theme& m_theme;
    QSplitter* m_split;
    SidebarView* m_sidebar;
    QStackedWidget* m_detail;
    TaskListView* m_taskList;
    TaskDetailView* m_taskDetail;
    StatsView* m_stats;
    AdminView* m_admin;
    ToastOverlay* m_toast;
    QList<SheetBinding> m_sheets;
    LiveRefresh* m_live = nullptr;
};
