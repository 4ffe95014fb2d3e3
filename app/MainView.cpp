#include "MainView.h"

#include "APIKeyView.h"
#include "AdminView.h"
#include "AppState.h"
#include "CreateTaskView.h"
#include "EditTaskView.h"
#include "FolderEditView.h"
#include "HoverGuard.h"
#include "LiveRefresh.h"
#include "SettingsView.h"
#include "Sheet.h"
#include "SidebarView.h"
#include "StatsView.h"
#include "TaskDetailView.h"
#include "TaskListView.h"
#include "Theme.h"
#include "ToastOverlay.h"

#include <QDialog>
#include <QHBoxLayout>
#include <QShortcut>
#include <QSplitter>
#include <QStackedWidget>
#include <QVBoxLayout>

MainView::MainView(AppState& state, Theme& theme, QWidget* parent)
    : QWidget(parent)
    , m_state(state)
    , m_theme(theme) {
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* split = m_split = new QSplitter(Qt::Horizontal, this);
    split->setChildrenCollapsible(false);
    split->setHandleWidth(1);
    m_sidebar = new SidebarView(state, theme, split);
    m_detail = new QStackedWidget(split);
    m_detail->setMinimumWidth(360);
    m_taskList = new TaskListView(state, theme, m_detail);
    m_detail->addWidget(m_taskList);
    m_taskDetail = new TaskDetailView(state, theme, m_detail);
    m_detail->addWidget(m_taskDetail);
    m_stats = new StatsView(state, theme, m_detail);
    m_detail->addWidget(m_stats);
    m_admin = new AdminView(state, theme, m_detail);
    m_detail->addWidget(m_admin);
    split->addWidget(m_sidebar);
    split->addWidget(m_detail);
    split->setStretchFactor(0, 0);
    split->setStretchFactor(1, 1);
    split->setSizes({265, 835});
    layout->addWidget(split);

    m_toast = new ToastOverlay(state, theme, this);
    new HoverGuard(this);

    bindSheet(
        Sheet::createTask, &AppState::showCreateTaskChanged, [this] { return m_state.showCreateTask(); },
        [this](bool open) { m_state.setShowCreateTask(open); });
    bindSheet(
        Sheet::editTask, &AppState::showEditTaskChanged, [this] { return m_state.showEditTask(); },
        [this](bool open) { m_state.setShowEditTask(open); });
    bindSheet(
        Sheet::settings, &AppState::showSettingsChanged, [this] { return m_state.showSettings(); },
        [this](bool open) { m_state.setShowSettings(open); });
    bindSheet(
        Sheet::apiKey, &AppState::showApiKeyChanged, [this] { return m_state.showApiKey(); },
        [this](bool open) { m_state.setShowApiKey(open); });
    bindSheet(
        Sheet::newFolder, &AppState::showNewFolderChanged, [this] { return m_state.showNewFolder(); },
        [this](bool open) { m_state.setShowNewFolder(open); });
    bindSheet(
        Sheet::editFolder, &AppState::showEditFolderChanged, [this] { return m_state.showEditFolder(); },
        [this](bool open) { m_state.setShowEditFolder(open); });
    setSheetFactory(Sheet::createTask, [this](QDialog* dialog) {
        dialog->setWindowTitle(QStringLiteral("Новая задача"));
        return new CreateTaskView(
            m_state, m_theme, [dialog] { dialog->close(); }, dialog);
    });
    setSheetFactory(Sheet::editTask, [this](QDialog* dialog) -> QWidget* {
        if (!m_state.editingTask())
            return nullptr;
        dialog->setWindowTitle(QStringLiteral("Редактировать задачу"));
        return new EditTaskView(
            m_state, m_theme, *m_state.editingTask(), [dialog] { dialog->close(); }, dialog);
    });

    setSheetFactory(Sheet::settings, [this](QDialog* dialog) {
        dialog->setWindowTitle(QStringLiteral("Настройки"));
        return new SettingsView(
            m_state, m_theme, [dialog] { dialog->close(); }, dialog);
    });
    setSheetFactory(Sheet::apiKey, [this](QDialog* dialog) {
        dialog->setWindowTitle(QStringLiteral("API Ключ"));
        return new APIKeyView(
            m_state, m_theme, [dialog] { dialog->close(); }, dialog);
    });
    setSheetFactory(Sheet::newFolder, [this](QDialog* dialog) {
        dialog->setWindowTitle(QStringLiteral("Новая папка"));
        return new FolderEditView(
            m_state, m_theme, std::nullopt, [dialog] { dialog->close(); }, dialog);
    });
    setSheetFactory(Sheet::editFolder, [this](QDialog* dialog) -> QWidget* {
        if (!m_state.editingFolder())
            return nullptr;
        dialog->setWindowTitle(QStringLiteral("Редактировать папку"));
        return new FolderEditView(
            m_state, m_theme, m_state.editingFolder(), [dialog] { dialog->close(); }, dialog);
    });

    connect(&m_state, &AppState::sidebarItemChanged, this, &MainView::showDetail);
    connect(&m_state, &AppState::selectedTaskChanged, this, &MainView::showDetail);
    showDetail();

    for (const QKeySequence& keys : {QKeySequence(Qt::Key_F5), QKeySequence(Qt::CTRL | Qt::Key_R)})
        connect(new QShortcut(keys, this), &QShortcut::activated, this, &MainView::refreshShown);
}

void MainView::setLiveRefresh(LiveRefresh& live) {
    m_live = &live;
    m_taskList->setLiveRefresh(live);
}

void MainView::refreshShown() {
    if (m_live)
        m_live->refreshNow();
    if (currentDetail() == m_stats)
        m_stats->reload();
    else if (currentDetail() == m_admin)
        (void)m_admin->load();
}

void MainView::setSheetFactory(Sheet sheet, SheetFactory factory) {
    for (SheetBinding& binding : m_sheets) {
        if (binding.sheet == sheet)
            binding.factory = std::move(factory);
    }
}

QDialog* MainView::openSheet(Sheet sheet) const {
    for (const SheetBinding& binding : m_sheets) {
        if (binding.sheet == sheet)
            return binding.dialog;
    }
    return nullptr;
}

void MainView::syncSheets() {
    for (SheetBinding& binding : m_sheets)
        syncSheet(binding);
}

void MainView::bindSheet(Sheet sheet, void (AppState::*signal)(), std::function<bool()> isOpen,
                         std::function<void(bool)> setOpen) {
    m_sheets.append(SheetBinding{sheet, std::move(isOpen), std::move(setOpen), {}, nullptr});
    const qsizetype index = m_sheets.size() - 1;
    connect(&m_state, signal, this, [this, index] { syncSheet(m_sheets[index]); });
}

void MainView::syncSheet(SheetBinding& binding) {
    const bool wanted = binding.isOpen();
    if (wanted && !binding.dialog) {
        if (!binding.factory) {
            // Nothing to show for this sheet: the flag must not stay up with no window behind it.
            binding.setOpen(false);
            return;
        }
        auto* dialog = new ::Sheet(window());
        dialog->setWindowModality(Qt::WindowModal);
        dialog->setAttribute(Qt::WA_DeleteOnClose);
        auto* layout = new QVBoxLayout(dialog);
        layout->setContentsMargins(0, 0, 0, 0);
        QWidget* content = binding.factory(dialog);
        if (!content) {
            delete dialog;
            binding.setOpen(false);
            return;
        }
        layout->addWidget(content);
        binding.dialog = dialog;
        const Sheet sheet = binding.sheet;
        // Esc, the close button and the window manager all end here.
        connect(dialog, &QDialog::finished, this, [this, sheet] {
            for (SheetBinding& each : m_sheets) {
                if (each.sheet == sheet) {
                    each.dialog = nullptr;
                    each.setOpen(false);
                }
            }
        });
        dialog->open();
    } else if (!wanted && binding.dialog) {
        QDialog* dialog = binding.dialog;
        binding.dialog = nullptr;
        dialog->close();
    }
}

QWidget* MainView::currentDetail() const {
    return m_detail->currentWidget();
}

void MainView::showDetail() {
    // A selected task takes the list's place until "К задачам"; statistics and administration have
    // their own pages; everything else shows the list, titled as the selection says.
    const SidebarItem::Kind kind = m_state.sidebarItem().kind();
    if (kind == SidebarItem::Kind::stats) {
        m_detail->setCurrentWidget(m_stats);
    } else if (kind == SidebarItem::Kind::admin) {
        m_detail->setCurrentWidget(m_admin);
    } else if (m_state.selectedTask()) {
        m_taskDetail->showTask(*m_state.selectedTask());
        m_detail->setCurrentWidget(m_taskDetail);
    } else {
        m_detail->setCurrentWidget(m_taskList);
    }
}
