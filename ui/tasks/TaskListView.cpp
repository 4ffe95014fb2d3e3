#include "TaskListView.h"

#include "AppState.h"
#include "BusyIndicator.h"
#include "ChipButton.h"
#include "FolderPicker.h"
#include "Fonts.h"
#include "HtmlText.h"
#include "IconView.h"
#include "Icons.h"
#include "RefreshButton.h"
#include "ServerDate.h"
#include "StaleNotice.h"
#include "StatCard.h"
#include "Style.h"
#include "TaskListModel.h"
#include "TaskRowDelegate.h"
#include "TaskRowsView.h"
#include "TaskSearchBar.h"
#include "Theme.h"
#include "VexoButton.h"
#include "WindowShortcuts.h"

#include <QApplication>
#include <QDrag>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMenu>
#include <QMimeData>
#include <QPushButton>
#include <QScrollBar>
#include <QShortcut>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

QString dateFilterLabel(DateFilter filter) {
    switch (filter) {
    case DateFilter::all:
        return u"Все сроки"_s;
    case DateFilter::today:
        return u"Сегодня"_s;
    case DateFilter::tomorrow:
        return u"Завтра"_s;
    case DateFilter::week:
        return u"На неделю"_s;
    }
    return {};
}

QString statusWord(TaskStatus status) {
    switch (status) {
    case TaskStatus::pending:
        return u"активна"_s;
    case TaskStatus::done:
        return u"выполнена"_s;
    case TaskStatus::cancelled:
        return u"отменена"_s;
    }
    return {};
}

} // namespace

TaskListView::TaskListView(AppState& state, Theme& theme, QWidget* parent)
    : QWidget(parent)
    , m_state(state)
    , m_theme(theme)
    , m_model(new TaskListModel(state, this))
    , m_delegate(new TaskRowDelegate(
          theme, state.clock(),
          [&state](qint64 id) -> std::optional<Folder> {
              for (const Folder& folder : state.folders()) {
                  if (folder.id == id)
                      return folder;
              }
              return std::nullopt;
          },
          this)) {
    m_model->setAccessibleText([](const VexoTask& task) {
        return u"%1, %2, приоритет: %3, срок: %4"_s.arg(task.title, statusWord(task.status),
                                                        priorityWord(task.priority), formatDeadline(task.deadline));
    });

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(12);

    auto* header = new QHBoxLayout;
    header->setContentsMargins(20, 20, 20, 0);
    m_title = new QLabel(this);
    m_title->setFont(uiFont(20, QFont::Bold));
    Style::setText(m_title, Palette::Role::textPrimary);
    header->addWidget(m_title);
    header->addStretch();
    m_search = new TaskSearchBar(theme, this);
    header->addWidget(m_search);
    m_newTask = new VexoButton(theme, VexoButton::Kind::primary, u"Новая задача"_s, this);
    m_newTask->setIconName(u"plus"_s);
    m_newTask->setShortcut(QKeySequence(Qt::Key_N));
    m_newTask->setToolTip(u"Новая задача (N)"_s);
    connect(m_newTask, &QPushButton::clicked, this, [this] { m_state.setShowCreateTask(true); });
    header->addWidget(m_newTask);
    layout->addLayout(header);

    auto* filters = new QHBoxLayout;
    filters->setContentsMargins(20, 0, 20, 0);
    filters->setSpacing(6);
    for (DateFilter filter : allDateFilters) {
        auto* chip = new ChipButton(dateFilterLabel(filter), true, this);
        chip->setProperty("dateFilter", int(filter));
        connect(chip, &QPushButton::clicked, this, [this, filter] {
            m_state.setDateFilter(filter);
            refresh();
        });
        m_chips << chip;
        filters->addWidget(chip);
    }
    filters->addSpacing(10);
    m_priorityButton = new QToolButton(this);
    m_priorityButton->setPopupMode(QToolButton::InstantPopup);
    m_priorityButton->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    m_priorityButton->setLayoutDirection(Qt::RightToLeft); // the chevron after the text
    m_priorityButton->setCursor(Qt::PointingHandCursor);
    m_priorityButton->setFont(uiFont(12, QFont::Medium));
    m_priorityButton->setIcon(Icons::icon(u"chevron.down"_s, theme, Palette::Role::textTertiary));
    m_priorityButton->setIconSize(QSize(10, 10));
    Style::setRole(m_priorityButton, u"menuButton"_s);
    auto* priorityMenu = new QMenu(m_priorityButton);
    priorityMenu->setLayoutDirection(Qt::LeftToRight); // the button runs right to left for its chevron only
    priorityMenu->addAction(u"Любой"_s, this, [this] { m_state.setPriorityFilter(std::nullopt); });
    priorityMenu->addSeparator();
    for (TaskPriority priority : allTaskPriorities) {
        // Each priority's dot in its colour, before the word.
        QAction* action = priorityMenu->addAction(Icons::icon(u"circle.fill"_s, theme, Palette::priorityRole(priority)),
                                                  priorityWord(priority), this,
                                                  [this, priority] { m_state.setPriorityFilter(priority); });
        action->setData(int(priority));
    }
    m_priorityButton->setMenu(priorityMenu);
    filters->addWidget(m_priorityButton);
    filters->addStretch();
    layout->addLayout(filters);

    auto* cards = new QHBoxLayout;
    cards->setContentsMargins(20, 0, 20, 0);
    cards->setSpacing(10);
    m_cards << new StatCard(theme, u"square.stack.3d.up"_s, u"Всего"_s, StatCard::ValueRole::primary, this)
            << new StatCard(theme, u"flame"_s, u"Активных"_s, StatCard::ValueRole::primary, this)
            << new StatCard(theme, u"checkmark.circle"_s, u"Выполнено"_s, StatCard::ValueRole::green, this)
            << new StatCard(theme, u"exclamationmark.triangle"_s, u"Просрочено"_s, StatCard::ValueRole::red, this);
    for (StatCard* card : m_cards)
        cards->addWidget(card);
    layout->addLayout(cards);

    auto* divider = new QFrame(this);
    divider->setFixedHeight(1);
    Style::setRole(divider, u"divider"_s);
    layout->addWidget(divider);
    layout->setSpacing(12);

    m_content = new QStackedWidget(this);
    auto* loading = new QWidget(m_content);
    auto* loadingLayout = new QVBoxLayout(loading);
    loadingLayout->setContentsMargins(0, 60, 0, 0);
    m_busy = new BusyIndicator(theme, 36, loading);
    loadingLayout->addWidget(m_busy, 0, Qt::AlignHCenter | Qt::AlignTop);
    loadingLayout->addStretch();
    m_content->addWidget(loading);

    m_list = new TaskRowsView(m_content);
    m_list->setModel(m_model);
    m_list->setItemDelegate(m_delegate);
    m_list->setMouseTracking(true);
    m_list->setSelectionMode(QAbstractItemView::NoSelection);
    m_list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_list->setResizeMode(QListView::Adjust);
    m_list->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    m_list->setLayoutMode(QListView::Batched);
    m_list->setBatchSize(200);
    m_list->setContextMenuPolicy(Qt::CustomContextMenu);
    m_list->setAccessibleName(u"Список задач"_s);
    m_list->installEventFilter(this);
    m_list->viewport()->installEventFilter(this);
    connect(m_list, &QListView::customContextMenuRequested, this, [this](const QPoint& point) {
        const QModelIndex index = m_list->indexAt(point);
        if (index.isValid())
            popUpMenu(index, m_list->viewport()->mapToGlobal(point));
    });
    connect(m_list, &QListView::activated, this,
            [this](const QModelIndex& index) { m_state.setSelectedTask(taskAt(index).value()); });
    connect(m_delegate, &TaskRowDelegate::toggleRequested, this,
            [this](const VexoTask& task) { (void)m_state.toggleTask(task); });
    connect(m_delegate, &TaskRowDelegate::selectRequested, this,
            [this](const VexoTask& task) { m_state.setSelectedTask(task); });
    m_content->addWidget(m_list);

    m_empty = new QWidget(m_content);
    auto* emptyLayout = new QVBoxLayout(m_empty);
    emptyLayout->setContentsMargins(0, 60, 0, 0);
    emptyLayout->setSpacing(8);
    auto* emptyIcon = new IconView(theme, u"checklist"_s, 40, Palette::Role::textTertiary, m_empty);
    emptyLayout->addWidget(emptyIcon, 0, Qt::AlignHCenter);
    m_emptyTitle = new QLabel(m_empty);
    m_emptyTitle->setFont(uiFont(16, QFont::DemiBold));
    Style::setText(m_emptyTitle, Palette::Role::textSecondary);
    emptyLayout->addWidget(m_emptyTitle, 0, Qt::AlignHCenter);
    m_emptyHint = new QLabel(u"Нажми «Новая задача» чтобы начать"_s, m_empty);
    m_emptyHint->setFont(uiFont(13));
    Style::setText(m_emptyHint, Palette::Role::textTertiary);
    emptyLayout->addWidget(m_emptyHint, 0, Qt::AlignHCenter);
    emptyLayout->addStretch();
    m_content->addWidget(m_empty);
    m_content->addWidget(buildNoMatches());
    layout->addWidget(m_content, 1);

    for (auto signal : {&AppState::tasksChanged, &AppState::isLoadingTasksChanged, &AppState::sidebarItemChanged,
                        &AppState::dateFilterChanged, &AppState::priorityFilterChanged, &AppState::foldersChanged})
        connect(&m_state, signal, this, &TaskListView::refresh);
    connect(&m_state, &AppState::foldersChanged, m_list->viewport(), qOverload<>(&QWidget::update));
    wireSearch();
    wireKeyboard();
    refresh();
}

QWidget* TaskListView::buildNoMatches() {
    m_noMatches = new QWidget(m_content);
    auto* layout = new QVBoxLayout(m_noMatches);
    layout->setContentsMargins(0, 60, 0, 0);
    layout->setSpacing(8);
    layout->addWidget(new IconView(m_theme, u"magnifyingglass"_s, 40, Palette::Role::textTertiary, m_noMatches), 0,
                      Qt::AlignHCenter);
    auto* title = new QLabel(u"Ничего не найдено"_s, m_noMatches);
    title->setFont(uiFont(16, QFont::DemiBold));
    Style::setText(title, Palette::Role::textSecondary);
    layout->addWidget(title, 0, Qt::AlignHCenter);
    auto* hint = new QLabel(u"Esc — очистить поиск"_s, m_noMatches);
    hint->setFont(uiFont(13));
    Style::setText(hint, Palette::Role::textTertiary);
    layout->addWidget(hint, 0, Qt::AlignHCenter);
    layout->addStretch();
    return m_noMatches;
}

void TaskListView::wireSearch() {
    m_model->setPlainText(stripHTML);
    auto* find = new QShortcut(this);
    find->setKeys(keysWithDesktop({Qt::CTRL | Qt::Key_F}, QKeySequence::Find));
    find->setContext(Qt::WindowShortcut);
    connect(find, &QShortcut::activated, m_search, &TaskSearchBar::open);
    connect(m_search, &TaskSearchBar::openChanged, this, [this](bool open) { m_model->setSearchOpen(open); });
    connect(m_search, &TaskSearchBar::textChanged, this, [this](const QString& text) { m_model->setSearchText(text); });
    connect(m_search, &TaskSearchBar::leaveRequested, this, [this] { focusList(); });
    // Rows come and go with the search as well as with the state.
    connect(m_model, &TaskListModel::searchChanged, this, &TaskListView::showContent);
    connect(m_model, &QAbstractItemModel::rowsInserted, this, &TaskListView::showContent);
    connect(m_model, &QAbstractItemModel::rowsRemoved, this, &TaskListView::showContent);
    connect(m_model, &QAbstractItemModel::modelReset, this, &TaskListView::showContent);
}

void TaskListView::wireKeyboard() {
    // Another list opens at its top, whatever was scrolled to in the last one.
    connect(&m_state, &AppState::sidebarItemChanged, this, [this] {
        m_list->setCurrentIndex(QModelIndex());
        m_list->scrollToTop();
        m_scrollToTopOnLoad = true;
    });
    connect(&m_state, &AppState::isLoadingTasksChanged, this, [this] {
        if (!m_state.isLoadingTasks() && m_scrollToTopOnLoad) {
            m_scrollToTopOnLoad = false;
            m_list->scrollToTop();
        }
    });
    // Back from the task page, the task that was open is the current row again.
    connect(&m_state, &AppState::selectedTaskChanged, this, [this] {
        if (m_state.selectedTask())
            m_openedTask = m_state.selectedTask()->id;
    });
}

void TaskListView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (!m_openedTask)
        return;
    const QModelIndex index = indexOfTask(*m_openedTask);
    m_openedTask.reset();
    if (index.isValid()) {
        m_list->setCurrentIndex(index);
        m_list->scrollTo(index);
    }
}

std::optional<VexoTask> TaskListView::taskAt(const QModelIndex& index) const {
    if (!index.isValid())
        return std::nullopt;
    return index.data(TaskListModel::TaskRole).value<VexoTask>();
}

std::optional<VexoTask> TaskListView::currentTask() const {
    return taskAt(m_list->currentIndex());
}

QModelIndex TaskListView::indexOfTask(qint64 id) const {
    QAbstractItemModel* model = m_list->model();
    if (model->rowCount() == 0)
        return {};
    const QModelIndexList found =
        model->match(model->index(0, 0), TaskListModel::IdRole, id, 1, Qt::MatchExactly | Qt::MatchWrap);
    return found.isEmpty() ? QModelIndex() : found.first();
}

void TaskListView::focusList() {
    if (m_content->currentWidget() != m_list)
        return;
    if (!m_list->currentIndex().isValid() && m_list->model()->rowCount() > 0)
        m_list->setCurrentIndex(m_list->model()->index(0, 0));
    // The keyboard brought focus here: the current row shows its ring.
    window()->setAttribute(Qt::WA_KeyboardFocusChange);
    m_list->setFocus(Qt::OtherFocusReason);
}

void TaskListView::popUpMenu(const QModelIndex& index, const QPoint& globalPoint) {
    const auto task = taskAt(index);
    if (!task)
        return;
    QMenu* menu = contextMenuFor(*task, this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->popup(globalPoint);
}

void TaskListView::pickFolder(const VexoTask& task, const QPoint& globalPoint) {
    if (m_picker)
        m_picker->close();
    m_picker = new FolderPicker(m_state, task, this);
    m_picker->popup(globalPoint);
}

bool TaskListView::handleListKey(QKeyEvent* key) {
    const QModelIndex current = m_list->currentIndex();
    const auto task = taskAt(current);
    const Qt::KeyboardModifiers modifiers = key->modifiers() & ~Qt::KeypadModifier;
    const QRect rowRect = m_list->visualRect(current);
    const QPoint belowRow = m_list->viewport()->mapToGlobal(rowRect.bottomLeft() + QPoint(40, -8));
    switch (key->key()) {
    case Qt::Key_Up:
    case Qt::Key_Down:
    case Qt::Key_Home:
    case Qt::Key_End:
    case Qt::Key_PageUp:
    case Qt::Key_PageDown:
        // The list moves the current row itself; the ring now follows the keyboard.
        window()->setAttribute(Qt::WA_KeyboardFocusChange);
        return false;
    case Qt::Key_Escape:
        if (!m_search->isOpen())
            return false;
        m_search->escape();
        return true;
    default:
        break;
    }
    if (!task)
        return false;
    const auto is = [&](Qt::Key wanted, Qt::KeyboardModifiers with = Qt::NoModifier) {
        return key->key() == wanted && modifiers == with;
    };
    if (is(Qt::Key_Return) || is(Qt::Key_Enter)) {
        m_state.setSelectedTask(*task);
    } else if (is(Qt::Key_Space)) {
        (void)m_state.toggleTask(*task);
    } else if (is(Qt::Key_Delete)) {
        (void)m_state.deleteTask(task->id);
    } else if (is(Qt::Key_E, Qt::ControlModifier)) {
        m_state.setEditingTask(*task);
        m_state.setShowEditTask(true);
    } else if (is(Qt::Key_M, Qt::ControlModifier)) {
        pickFolder(*task, belowRow);
    } else if (is(Qt::Key_Menu) || is(Qt::Key_F10, Qt::ShiftModifier)) {
        popUpMenu(current, belowRow);
    } else {
        return false;
    }
    return true;
}

void TaskListView::startDrag(const QModelIndex& index, const QPoint& pressedAt) {
    QMimeData* data = m_list->model()->mimeData({index});
    if (!data)
        return;
    const QRect item = m_list->visualRect(index);
    const QRect row = item.adjusted(TaskRowDelegate::sideInset, 0, -TaskRowDelegate::sideInset, -TaskRowDelegate::gap);
    auto* drag = new QDrag(m_list);
    drag->setMimeData(data);
    QPixmap picture = m_list->viewport()->grab(row);
    drag->setPixmap(picture);
    drag->setHotSpot(pressedAt - row.topLeft());
    drag->exec(Qt::MoveAction);
}

bool TaskListView::eventFilter(QObject* watched, QEvent* event) {
    // The list would take a bare "n" for its type-ahead search; it belongs to "Новая задача".
    if (watched == m_list && event->type() == QEvent::ShortcutOverride) {
        const auto* key = static_cast<QKeyEvent*>(event);
        if (key->key() == Qt::Key_N && key->modifiers() == Qt::NoModifier) {
            event->ignore();
            return true;
        }
    }
    // The row keys act only while the list itself has the keyboard, never in a text field.
    if (watched == m_list && event->type() == QEvent::KeyPress)
        return handleListKey(static_cast<QKeyEvent*>(event)) || QWidget::eventFilter(watched, event);
    // A row pressed and pulled far enough is dragged (onto a sidebar folder, to move it there).
    if (watched == m_list->viewport()) {
        const auto mouse = [event] { return static_cast<QMouseEvent*>(event); };
        switch (event->type()) {
        case QEvent::MouseButtonPress:
            m_dragFrom = mouse()->button() == Qt::LeftButton ? QPersistentModelIndex(m_list->indexAt(mouse()->pos()))
                                                             : QPersistentModelIndex();
            m_dragPressedAt = mouse()->pos();
            break;
        case QEvent::MouseMove:
            if (m_dragFrom.isValid() && (mouse()->buttons() & Qt::LeftButton) &&
                (mouse()->pos() - m_dragPressedAt).manhattanLength() >= QApplication::startDragDistance()) {
                const QModelIndex from = m_dragFrom;
                m_dragFrom = QPersistentModelIndex();
                startDrag(from, m_dragPressedAt);
                return true;
            }
            break;
        case QEvent::MouseButtonRelease:
            m_dragFrom = QPersistentModelIndex();
            break;
        default:
            break;
        }
    }
    return QWidget::eventFilter(watched, event);
}

QString TaskListView::title() const {
    const SidebarItem& item = m_state.sidebarItem();
    switch (item.kind()) {
    case SidebarItem::Kind::folder:
        for (const Folder& folder : m_state.folders()) {
            if (folder.id == *item.folderId())
                return folder.name;
        }
        return u"Папка"_s;
    case SidebarItem::Kind::allTasks:
        return u"Все задачи"_s;
    case SidebarItem::Kind::pending:
        return u"Активные задачи"_s;
    case SidebarItem::Kind::done:
        return u"Выполненные"_s;
    case SidebarItem::Kind::archived:
        return u"Архив"_s;
    default:
        return u"Задачи"_s;
    }
}

void TaskListView::setLiveRefresh(LiveRefresh& live) {
    if (m_refresh)
        return;
    // The header is the row that holds "Новая задача": the button goes right before it, the line
    // right under the header.
    QBoxLayout* header = nullptr;
    for (QBoxLayout* row : findChildren<QBoxLayout*>()) {
        if (row->indexOf(m_newTask) >= 0)
            header = row;
    }
    m_refresh = new RefreshButton(live, m_theme, this);
    header->insertWidget(header->indexOf(m_newTask), m_refresh);

    auto* top = qobject_cast<QBoxLayout*>(layout());
    QObject* headerItem = header;
    while (headerItem->parent() != top && headerItem->parent() != this)
        headerItem = headerItem->parent();
    const auto* headerLayout = qobject_cast<QLayout*>(headerItem);
    const int below = headerLayout ? top->indexOf(headerLayout) : top->indexOf(qobject_cast<QWidget*>(headerItem));
    m_stale = new StaleNotice(live, m_theme, this);
    top->insertWidget(below + 1, m_stale);

    // Made after the rest, both would come last for Tab: the button takes its place before
    // "Новая задача", the line's own buttons come right after the header.
    QWidget* previous = m_newTask->previousInFocusChain();
    QWidget::setTabOrder(previous, m_refresh);
    QWidget::setTabOrder(m_refresh, m_newTask);
    previous = m_newTask;
    for (QWidget* control : m_stale->findChildren<QWidget*>()) {
        if (control->focusPolicy() & Qt::TabFocus) {
            QWidget::setTabOrder(previous, control);
            previous = control;
        }
    }
}

QString TaskListView::contentState() const {
    if (m_content->currentWidget() == m_list)
        return u"list"_s;
    if (m_content->currentWidget() == m_noMatches)
        return u"noMatches"_s;
    return m_content->currentWidget() == m_empty ? u"empty"_s : u"loading"_s;
}

QMenu* TaskListView::contextMenuFor(const VexoTask& task, QWidget* parent) {
    const auto icon = [this](const QString& name, Palette::Role role = Palette::Role::textSecondary) {
        return Icons::icon(name, m_theme, role);
    };
    auto* menu = new QMenu(parent);
    menu->addAction(icon(u"arrow.forward.square"_s), u"Открыть"_s, this,
                    [this, task] { m_state.setSelectedTask(task); });
    const bool done = task.status == TaskStatus::done;
    menu->addAction(icon(done ? u"arrow.uturn.left"_s : u"checkmark"_s),
                    done ? u"Вернуть в активные"_s : u"Отметить выполненной"_s, this,
                    [this, task] { (void)m_state.toggleTask(task); });
    menu->addAction(icon(u"pencil"_s), u"Редактировать"_s, this, [this, task] {
        m_state.setEditingTask(task);
        m_state.setShowEditTask(true);
    });
    menu->addAction(icon(u"paperplane"_s), u"Отправить в Telegram"_s, this,
                    [this, id = task.id] { (void)m_state.sendToBot(id); });
    menu->addSeparator();
    menu->addAction(icon(u"archivebox"_s), u"Архивировать"_s, this,
                    [this, id = task.id] { (void)m_state.archiveTask(id); });
    QAction* remove = menu->addAction(icon(u"trash"_s, Palette::Role::red), u"Удалить"_s, this,
                                      [this, id = task.id] { (void)m_state.deleteTask(id); });
    remove->setProperty("destructive", true);
    return menu;
}

void TaskListView::refresh() {
    m_title->setText(title());
    for (QPushButton* chip : m_chips)
        chip->setChecked(DateFilter(chip->property("dateFilter").toInt()) == m_state.dateFilter());
    const auto priority = m_state.priorityFilter();
    m_priorityButton->setText(u"Приоритет: "_s + (priority ? priorityWord(*priority) : u"Любой"_s));

    const TaskFiltering::Counts counts = m_state.counts();
    const qsizetype values[] = {counts.total, counts.pending, counts.done, counts.overdue};
    for (int i = 0; i < 4; ++i)
        m_cards[i]->setValue(QString::number(values[i]));

    const bool archive = m_state.sidebarItem().showsArchive();
    m_emptyTitle->setText(archive ? u"Архив пуст"_s : u"Задач пока нет"_s);
    m_emptyHint->setVisible(!archive);
    showContent();
}

void TaskListView::showContent() {
    QWidget* shown = m_empty;
    if (m_state.isLoadingTasks())
        shown = m_content->widget(0);
    else if (m_list->model()->rowCount() > 0)
        shown = m_list;
    else if (!m_model->searchText().isEmpty() && !m_state.filteredIndexes().isEmpty())
        shown = m_noMatches; // the search, not the filters, left nothing
    if (shown == m_content->currentWidget())
        return;
    // The keyboard stays on this page when the list it was in gives way.
    const bool listHadFocus = m_list->hasFocus();
    m_content->setCurrentWidget(shown);
    if (listHadFocus && shown != m_list)
        setFocus(Qt::OtherFocusReason);
}

FolderPicker* TaskListView::folderPicker() const {
    return m_picker;
}
