#include "SidebarView.h"

#include "AppState.h"
#include "ColorHex.h"
#include "Fonts.h"
#include "Icons.h"
#include "SidebarButton.h"
#include "Style.h"
#include "TaskFiling.h"
#include "Theme.h"
#include "VexoLogo.h"

#include <QDragMoveEvent>
#include <QDropEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QPainter>
#include <QPainterPath>
#include <QPointer>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

constexpr int avatarSize = 32;

// The user's picture in a circle; until it arrives, or without one, the initial on the accent.
class Avatar final : public QWidget {
public:
    Avatar(const Theme& theme, QWidget* parent)
        : QWidget(parent)
        , m_theme(theme) {
        setFixedSize(avatarSize, avatarSize);
        setAccessibleName(u"Аватар"_s);
    }
    void setImage(const QPixmap& image) {
        m_image = image;
        update();
    }
    void setInitial(const QString& initial) {
        m_initial = initial;
        update();
    }

protected:
    void paintEvent(QPaintEvent*) override {
        const Palette& p = m_theme.palette();
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        const QRectF circle(0, 0, avatarSize, avatarSize);
        if (!m_image.isNull()) {
            QPainterPath clip;
            clip.addEllipse(circle);
            painter.setClipPath(clip);
            painter.drawPixmap(circle, m_image, QRectF(m_image.rect()));
            return;
        }
        QColor ground = p.accent;
        ground.setAlphaF(0.25);
        painter.setPen(Qt::NoPen);
        painter.setBrush(ground);
        painter.drawEllipse(circle);
        painter.setPen(p.accent);
        painter.setFont(uiFont(14, QFont::Bold));
        painter.drawText(circle, Qt::AlignCenter, m_initial.isEmpty() ? u"?"_s : m_initial);
    }

private:
    const Theme& m_theme;
    QPixmap m_image;
    QString m_initial;
};

} // namespace

SidebarView::SidebarView(AppState& state, Theme& theme, QWidget* parent)
    : QWidget(parent)
    , m_state(state)
    , m_theme(theme) {
    setObjectName(u"vexoSidebar"_s);
    setAttribute(Qt::WA_StyledBackground);
    setMinimumWidth(220);

    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->setSpacing(0);

    auto* scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll->setObjectName(u"sidebarScroll"_s);
    // The column itself is no stop for Tab (it would show no ring): its places are, and the column
    // scrolls to the one Tab reaches.
    scroll->setFocusPolicy(Qt::NoFocus);
    auto* content = new QWidget(scroll);
    auto* layout = new QVBoxLayout(content);
    layout->setContentsMargins(12, 18, 12, 12);
    layout->setSpacing(2);

    auto* logo = new VexoLogo(theme, content);
    layout->addWidget(logo);
    layout->addSpacing(14);

    addSection(layout, u"Задачи"_s);
    addItem(layout, u"Все задачи"_s, u"square.grid.2x2"_s, SidebarItem::allTasks());
    addItem(layout, u"Активные"_s, u"clock"_s, SidebarItem::pending());
    addItem(layout, u"Выполненные"_s, u"checkmark.circle"_s, SidebarItem::done());
    addItem(layout, u"Архив"_s, u"archivebox"_s, SidebarItem::archived());
    layout->addSpacing(12);

    auto* folderHeader = new QHBoxLayout;
    folderHeader->setContentsMargins(0, 0, 0, 0);
    folderHeader->addWidget(addSection(nullptr, u"Папки"_s));
    folderHeader->addStretch();
    m_newFolder = new QPushButton(content);
    m_newFolder->setAccessibleName(u"Новая папка"_s);
    m_newFolder->setToolTip(u"Новая папка"_s);
    m_newFolder->setFixedSize(22, 22);
    m_newFolder->setCursor(Qt::PointingHandCursor);
    m_newFolder->setIcon(Icons::icon(u"plus"_s, theme, Palette::Role::textTertiary));
    m_newFolder->setFocusPolicy(Qt::TabFocus);
    Style::setRole(m_newFolder, u"iconButton"_s);
    connect(m_newFolder, &QPushButton::clicked, this, [this] { m_state.setShowNewFolder(true); });
    folderHeader->addWidget(m_newFolder);
    layout->addLayout(folderHeader);
    m_folderLayout = new QVBoxLayout;
    m_folderLayout->setContentsMargins(0, 0, 0, 0);
    m_folderLayout->setSpacing(2);
    layout->addLayout(m_folderLayout);
    layout->addSpacing(12);

    addSection(layout, u"Прочее"_s);
    addItem(layout, u"Статистика"_s, u"chart.bar"_s, SidebarItem::stats());
    QPushButton* apiKey = addItem(layout, u"API ключ"_s, u"key"_s, SidebarItem::apiKey());
    connect(apiKey, &QPushButton::clicked, this, [this] { m_state.setShowApiKey(true); });
    QPushButton* settings = addItem(layout, u"Настройки"_s, u"gearshape"_s, SidebarItem::settings());
    connect(settings, &QPushButton::clicked, this, [this] { m_state.setShowSettings(true); });
    m_admin = addItem(layout, u"Админ"_s, u"shield"_s, SidebarItem::admin());
    layout->addStretch();
    scroll->setWidget(content);
    outer->addWidget(scroll, 1);

    auto* user = new QWidget(this);
    auto* userLayout = new QHBoxLayout(user);
    userLayout->setContentsMargins(14, 10, 10, 12);
    userLayout->setSpacing(10);
    auto* avatar = new Avatar(theme, user);
    m_avatarView = avatar;
    userLayout->addWidget(avatar);
    m_name = new QLabel(user);
    m_name->setFont(uiFont(13, QFont::Medium));
    Style::setText(m_name, Palette::Role::textPrimary);
    m_name->setMinimumWidth(40);
    m_name->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    userLayout->addWidget(m_name, 1);
    m_logout = new QPushButton(u"Выйти"_s, user);
    m_logout->setCursor(Qt::PointingHandCursor);
    m_logout->setFont(uiFont(12));
    m_logout->setIcon(Icons::icon(u"rectangle.portrait.and.arrow.right"_s, theme, Palette::Role::textSecondary));
    m_logout->setIconSize(QSize(13, 13));
    m_logout->setFocusPolicy(Qt::TabFocus);
    Style::setRole(m_logout, u"plain"_s);
    connect(m_logout, &QPushButton::clicked, this, [this] { m_state.logout(); });
    userLayout->addWidget(m_logout);
    outer->addWidget(user);

    connect(&m_state, &AppState::sidebarItemChanged, this, &SidebarView::refreshSelection);
    connect(&m_state, &AppState::foldersChanged, this, &SidebarView::rebuildFolders);
    connect(&m_state, &AppState::currentUserChanged, this, &SidebarView::refreshUser);
    rebuildFolders();
    refreshUser();
}

QLabel* SidebarView::addSection(QVBoxLayout* layout, const QString& title) {
    auto* label = new QLabel(title, this);
    label->setFont(uiFont(11, QFont::DemiBold));
    label->setContentsMargins(8, 4, 0, 4);
    Style::setText(label, Palette::Role::textTertiary);
    m_sections << label;
    if (layout)
        layout->addWidget(label);
    return label;
}

QPushButton* SidebarView::addItem(QVBoxLayout* layout, const QString& label, const QString& icon, SidebarItem item) {
    auto* button = new SidebarButton(label, this);
    button->setIcon(Icons::icon(icon, m_theme, Palette::Role::textTertiary, Palette::Role::accent));
    connect(button, &QPushButton::clicked, this, [this, item] {
        m_state.selectSidebarItem(item);
        refreshSelection();
    });
    m_items.append(Item{button, item});
    layout->addWidget(button);
    return button;
}

QPushButton* SidebarView::itemButton(const QString& label) const {
    for (const Item& item : m_items) {
        if (static_cast<SidebarButton*>(item.button)->label() == label)
            return item.button;
    }
    return nullptr;
}

QPushButton* SidebarView::folderButton(qint64 folderId) const {
    for (const Item& item : m_items) {
        if (item.item == SidebarItem::folder(folderId))
            return item.button;
    }
    return nullptr;
}

QMenu* SidebarView::folderMenu(const Folder& folder, QWidget* parent) {
    auto* menu = new QMenu(parent);
    menu->addAction(Icons::icon(u"pencil"_s, m_theme, Palette::Role::textSecondary), u"Редактировать"_s, this,
                    [this, folder] {
                        m_state.setEditingFolder(folder);
                        m_state.setShowEditFolder(true);
                    });
    QAction* remove = menu->addAction(Icons::icon(u"trash"_s, m_theme, Palette::Role::red), u"Удалить"_s, this,
                                      [this, id = folder.id] { (void)m_state.deleteFolder(id); });
    remove->setProperty("destructive", true);
    return menu;
}

void SidebarView::rebuildFolders() {
    for (QPushButton* button : std::as_const(m_folderButtons)) {
        m_items.removeIf([button](const Item& item) { return item.button == button; });
        // Gone from sight and from Tab at once, deleted once the event that asked for this is done.
        button->hide();
        button->deleteLater();
    }
    m_folderButtons.clear();
    for (const Folder& folder : m_state.folders()) {
        auto* button = new SidebarButton(folder.name, this);
        // The folder's own colour, whatever the theme.
        button->setIcon(Icons::icon(u"folder"_s, colorFromHex(folder.color)));
        button->setAccessibleName(u"Папка "_s + folder.name);
        button->setContextMenuPolicy(Qt::CustomContextMenu);
        // A task dragged here moves into the folder.
        button->setAcceptDrops(true);
        button->setProperty("folderId", folder.id);
        button->installEventFilter(this);
        const SidebarItem item = SidebarItem::folder(folder.id);
        connect(button, &QPushButton::clicked, this, [this, item] {
            m_state.selectSidebarItem(item);
            refreshSelection();
        });
        connect(button, &QPushButton::customContextMenuRequested, this, [this, button, folder](const QPoint& at) {
            QMenu* menu = folderMenu(folder, button);
            menu->setAttribute(Qt::WA_DeleteOnClose);
            menu->popup(button->mapToGlobal(at));
        });
        m_items.append(Item{button, item});
        m_folderButtons << button;
        m_folderLayout->addWidget(button);
    }
    orderTabs();
    refreshSelection();
}

void SidebarView::orderTabs() {
    // Folders come and go after the rest was made: Tab still walks the column top to bottom.
    QList<QWidget*> order;
    for (const Item& item : std::as_const(m_items)) {
        if (!m_folderButtons.contains(item.button))
            order << item.button;
        if (item.item == SidebarItem::archived()) {
            order << m_newFolder;
            for (QPushButton* folder : std::as_const(m_folderButtons))
                order << folder;
        }
    }
    order << m_logout;
    for (qsizetype i = 1; i < order.size(); ++i)
        QWidget::setTabOrder(order[i - 1], order[i]);
}

bool SidebarView::eventFilter(QObject* watched, QEvent* event) {
    auto* button = qobject_cast<QPushButton*>(watched);
    if (!button || !m_folderButtons.contains(button))
        return QWidget::eventFilter(watched, event);
    const qint64 folderId = button->property("folderId").toLongLong();
    switch (event->type()) {
    case QEvent::DragEnter:
    case QEvent::DragMove: {
        auto* drag = static_cast<QDragMoveEvent*>(event);
        const auto taskId = TaskFiling::draggedTask(drag->mimeData());
        const auto task = taskId ? TaskFiling::findTask(m_state, *taskId) : std::nullopt;
        // The folder the task is in, or the one on screen, takes nothing: no highlight, no drop.
        if (!task || TaskFiling::changesNothing(m_state, *task, folderId)) {
            drag->ignore();
            return true;
        }
        drag->setDropAction(Qt::MoveAction);
        drag->accept();
        setDropTarget(button);
        return true;
    }
    case QEvent::DragLeave:
        setDropTarget(nullptr);
        return true;
    case QEvent::Drop: {
        auto* drop = static_cast<QDropEvent*>(event);
        setDropTarget(nullptr);
        const auto taskId = TaskFiling::draggedTask(drop->mimeData());
        if (taskId && TaskFiling::moveTask(m_state, *taskId, folderId)) {
            drop->setDropAction(Qt::MoveAction);
            drop->accept();
        } else {
            drop->ignore();
        }
        return true;
    }
    default:
        return QWidget::eventFilter(watched, event);
    }
}

void SidebarView::setDropTarget(QPushButton* button) {
    for (QPushButton* folder : std::as_const(m_folderButtons))
        Style::setProperty(folder, "vexoDropTarget", folder == button);
}

QPushButton* SidebarView::dropTarget() const {
    for (QPushButton* folder : m_folderButtons) {
        if (folder->property("vexoDropTarget").toBool())
            return folder;
    }
    return nullptr;
}

void SidebarView::refreshSelection() {
    for (const Item& item : std::as_const(m_items))
        item.button->setChecked(item.item == m_state.sidebarItem());
}

QString SidebarView::userName() const {
    return m_fullName;
}

void SidebarView::elideName() {
    m_name->setText(m_name->fontMetrics().elidedText(m_fullName, Qt::ElideRight, qMax(0, m_name->width())));
}

void SidebarView::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    elideName();
}

void SidebarView::refreshUser() {
    const auto& user = m_state.currentUser();
    m_fullName = user ? user->displayName() : QString();
    m_name->setToolTip(m_fullName);
    elideName();
    m_admin->setVisible(user && user->isAdmin == true);
    static_cast<Avatar*>(m_avatarView)->setInitial(m_fullName.left(1).toUpper());
    loadAvatar();
}

void SidebarView::loadAvatar() {
    const auto& user = m_state.currentUser();
    const QString source = user && user->avatarUrl ? *user->avatarUrl : QString();
    if (source == m_avatarSource)
        return;
    m_avatarSource = source;
    m_avatar = QPixmap();
    static_cast<Avatar*>(m_avatarView)->setImage(QPixmap());
    if (!source.isEmpty())
        (void)fetchAvatar(source);
}

QCoro::Task<void> SidebarView::fetchAvatar(QString source) {
    QPointer<SidebarView> self(this);
    QPixmap image;
    try {
        // A plain picture request: avatars are public and the token stays out of it.
        image.loadFromData(co_await m_state.api().fetchImage(m_state.api().avatarURL(source)));
    } catch (...) {
        co_return;
    }
    // The placeholder stays when the picture cannot be read, or the user changed meanwhile.
    if (!self || source != m_avatarSource || image.isNull())
        co_return;
    m_avatar = image;
    static_cast<Avatar*>(m_avatarView)->setImage(image);
}
