#include "SidebarView.h"

#include "AppState.h"
#include "ColorHex.h"
#include "Fonts.h"
#include "Icons.h"
#include "Theme.h"
#include "VexoLogo.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

constexpr int avatarSize = 32;

QPixmap roundAvatar(const QPixmap& source, qreal dpr) {
    QPixmap round(QSize(avatarSize, avatarSize) * dpr);
    round.setDevicePixelRatio(dpr);
    round.fill(Qt::transparent);
    QPainter painter(&round);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    QPainterPath clip;
    clip.addEllipse(QRectF(0, 0, avatarSize, avatarSize));
    painter.setClipPath(clip);
    painter.drawPixmap(QRectF(0, 0, avatarSize, avatarSize), source, QRectF(source.rect()));
    return round;
}

} // namespace

SidebarView::SidebarView(AppState& state, Theme& theme, QNetworkAccessManager& network, QWidget* parent)
    : QWidget(parent)
    , m_state(state)
    , m_theme(theme)
    , m_network(network) {
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
    scroll->setStyleSheet(
        u"QScrollArea { background: transparent; } QScrollArea > QWidget > QWidget { background: transparent; }"_s);
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
    m_avatarLabel = new QLabel(user);
    m_avatarLabel->setFixedSize(avatarSize, avatarSize);
    m_avatarLabel->setAccessibleName(u"Аватар"_s);
    userLayout->addWidget(m_avatarLabel);
    m_name = new QLabel(user);
    m_name->setFont(uiFont(13, QFont::Medium));
    m_name->setMinimumWidth(40);
    m_name->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    userLayout->addWidget(m_name, 1);
    m_logout = new QPushButton(u"Выйти"_s, user);
    m_logout->setCursor(Qt::PointingHandCursor);
    m_logout->setFont(uiFont(12));
    connect(m_logout, &QPushButton::clicked, this, [this] { m_state.logout(); });
    userLayout->addWidget(m_logout);
    outer->addWidget(user);

    connect(&m_state, &AppState::sidebarItemChanged, this, &SidebarView::restyle);
    connect(&m_state, &AppState::foldersChanged, this, &SidebarView::rebuildFolders);
    connect(&m_state, &AppState::currentUserChanged, this, &SidebarView::refreshUser);
    connect(&m_theme, &Theme::changed, this, &SidebarView::restyle);
    rebuildFolders();
    refreshUser();
    restyle();
}

QLabel* SidebarView::addSection(QVBoxLayout* layout, const QString& title) {
    auto* label = new QLabel(title.toUpper(), this);
    label->setFont(uiFont(10, QFont::DemiBold));
    label->setContentsMargins(8, 4, 0, 4);
    m_sections << label;
    if (layout)
        layout->addWidget(label);
    return label;
}

QPushButton* SidebarView::addItem(QVBoxLayout* layout, const QString& label, const QString& icon, SidebarItem item) {
    auto* button = new QPushButton(label, this);
    button->setCursor(Qt::PointingHandCursor);
    button->setFont(uiFont(13));
    button->setIconSize(QSize(15, 15));
    button->setCheckable(true);
    button->setAccessibleName(label);
    connect(button, &QPushButton::clicked, this, [this, item] {
        m_state.selectSidebarItem(item);
        restyle();
    });
    m_items.append(Item{button, icon, item, QString()});
    layout->addWidget(button);
    return button;
}

QPushButton* SidebarView::itemButton(const QString& label) const {
    for (const Item& item : m_items) {
        if (item.button->text() == label)
            return item.button;
    }
    return nullptr;
}

QMenu* SidebarView::folderMenu(const Folder& folder, QWidget* parent) {
    auto* menu = new QMenu(parent);
    menu->addAction(Icons::icon(u"pencil"_s, m_theme.palette().textSecondary), u"Редактировать"_s, this,
                    [this, folder] {
                        m_state.setEditingFolder(folder);
                        m_state.setShowEditFolder(true);
                    });
    QAction* remove = menu->addAction(Icons::icon(u"trash"_s, m_theme.palette().red), u"Удалить"_s, this,
                                      [this, id = folder.id] { (void)m_state.deleteFolder(id); });
    remove->setProperty("destructive", true);
    return menu;
}

void SidebarView::rebuildFolders() {
    for (QPushButton* button : std::as_const(m_folderButtons)) {
        m_items.removeIf([button](const Item& item) { return item.button == button; });
        button->deleteLater();
    }
    m_folderButtons.clear();
    for (const Folder& folder : m_state.folders()) {
        auto* button = new QPushButton(folder.name, this);
        button->setCursor(Qt::PointingHandCursor);
        button->setFont(uiFont(13));
        button->setIconSize(QSize(15, 15));
        button->setCheckable(true);
        button->setAccessibleName(u"Папка "_s + folder.name);
        button->setContextMenuPolicy(Qt::CustomContextMenu);
        const SidebarItem item = SidebarItem::folder(folder.id);
        connect(button, &QPushButton::clicked, this, [this, item] {
            m_state.selectSidebarItem(item);
            restyle();
        });
        connect(button, &QPushButton::customContextMenuRequested, this, [this, button, folder](const QPoint& at) {
            QMenu* menu = folderMenu(folder, button);
            menu->setAttribute(Qt::WA_DeleteOnClose);
            menu->popup(button->mapToGlobal(at));
        });
        m_items.append(Item{button, u"folder"_s, item, folder.color});
        m_folderButtons << button;
        m_folderLayout->addWidget(button);
    }
    restyle();
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
    loadAvatar();
}

void SidebarView::loadAvatar() {
    const auto& user = m_state.currentUser();
    const QString source = user && user->avatarUrl ? *user->avatarUrl : QString();
    if (source == m_avatarSource)
        return;
    m_avatarSource = source;
    m_avatar = QPixmap();
    if (m_avatarReply) {
        m_avatarReply->abort();
        m_avatarReply = nullptr;
    }
    restyle();
    if (source.isEmpty())
        return;
    // A plain image request: avatars are public and the token stays out of it.
    QNetworkReply* reply = m_network.get(QNetworkRequest(QUrl(m_state.api().base() + u"/api/user/avatar/"_s + source)));
    m_avatarReply = reply;
    connect(reply, &QNetworkReply::finished, this, [this, reply, source] {
        reply->deleteLater();
        if (m_avatarReply == reply)
            m_avatarReply = nullptr;
        if (reply->error() != QNetworkReply::NoError || source != m_avatarSource)
            return;
        QPixmap image;
        if (image.loadFromData(reply->readAll())) {
            m_avatar = image;
            restyle();
        }
    });
}

void SidebarView::restyle() {
    const Palette& p = m_theme.palette();
    for (QLabel* section : std::as_const(m_sections))
        section->setStyleSheet(u"color: %1; letter-spacing: 1px;"_s.arg(p.textTertiary.name()));
    QColor selected = p.accent;
    selected.setAlphaF(p.dark ? 0.16 : 0.14);
    const QString itemStyle =
        u"QPushButton { text-align: left; color: %1; background: transparent; border: none; border-radius: 7px;"
        u" padding: 7px 8px; }"
        u"QPushButton:hover { background: %2; }"
        u"QPushButton:checked { background: %3; color: %4; font-weight: 600; }"_s.arg(
            p.textSecondary.name(), p.raised.name(), selected.name(QColor::HexArgb), p.textPrimary.name());
    for (const Item& item : std::as_const(m_items)) {
        item.button->setStyleSheet(itemStyle);
        const QColor tint = item.folderColor.isEmpty()
                                ? (item.item == m_state.sidebarItem() ? p.accent : p.textTertiary)
                                : colorFromHex(item.folderColor);
        item.button->setIcon(Icons::icon(item.icon, tint));
    }
    m_newFolder->setIcon(Icons::icon(u"plus"_s, p.textTertiary));
    m_newFolder->setStyleSheet(u"QPushButton { background: transparent; border: none; border-radius: 5px; }"
                               u"QPushButton:hover { background: %1; }"_s.arg(p.raised.name()));
    m_name->setStyleSheet(u"color: %1;"_s.arg(p.textPrimary.name()));
    m_logout->setIcon(Icons::icon(u"rectangle.portrait.and.arrow.right"_s, p.textSecondary));
    m_logout->setIconSize(QSize(13, 13));
    m_logout->setStyleSheet(u"QPushButton { color: %1; background: transparent; border: none; padding: 4px 6px;"
                            u" border-radius: 6px; } QPushButton:hover { background: %2; color: %3; }"_s.arg(
                                p.textSecondary.name(), p.raised.name(), p.textPrimary.name()));

    const qreal dpr = devicePixelRatioF();
    if (!m_avatar.isNull()) {
        m_avatarLabel->setPixmap(roundAvatar(m_avatar, dpr));
    } else {
        // The placeholder: the person's initial on the accent.
        QPixmap placeholder(QSize(avatarSize, avatarSize) * dpr);
        placeholder.setDevicePixelRatio(dpr);
        placeholder.fill(Qt::transparent);
        QPainter painter(&placeholder);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        QColor ground = p.accent;
        ground.setAlphaF(0.25);
        painter.setBrush(ground);
        painter.drawEllipse(QRectF(0, 0, avatarSize, avatarSize));
        painter.setPen(p.accent);
        painter.setFont(uiFont(14, QFont::Bold));
        const QString name = m_fullName;
        painter.drawText(QRectF(0, 0, avatarSize, avatarSize), Qt::AlignCenter,
                         name.isEmpty() ? u"?"_s : name.left(1).toUpper());
        m_avatarLabel->setPixmap(placeholder);
    }
    refreshSelection();
}
