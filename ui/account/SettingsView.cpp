#include "SettingsView.h"

#include "AppState.h"
#include "Fonts.h"
#include "Icons.h"
#include "Theme.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

QString SettingsView::saveKeyLabel() {
#ifdef Q_OS_MACOS
    return u"⌘ Enter"_s;
#else
    return u"Ctrl Enter"_s;
#endif
}

SettingsView::SettingsView(AppState& state, Theme& theme, std::function<void()> dismiss, QWidget* parent)
    : QWidget(parent)
    , m_state(state)
    , m_theme(theme)
    , m_dismiss(std::move(dismiss)) {
    setMinimumWidth(460);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(24, 18, 24, 22);
    layout->setSpacing(10);
    auto* header = new QHBoxLayout;
    auto* title = new QLabel(u"Настройки"_s, this);
    title->setFont(uiFont(18, QFont::Bold));
    m_titles << title;
    header->addWidget(title);
    header->addStretch();
    m_close = new QPushButton(u"Закрыть"_s, this);
    m_close->setFlat(true);
    m_close->setCursor(Qt::PointingHandCursor);
    connect(m_close, &QPushButton::clicked, this, [this] { m_dismiss(); });
    header->addWidget(m_close);
    layout->addLayout(header);

    const auto section = [&](const QString& icon, const QString& name, const QString& hint) {
        layout->addSpacing(8);
        auto* row = new QHBoxLayout;
        row->setSpacing(8);
        auto* glyph = new QLabel(this);
        glyph->setProperty("icon", icon);
        m_icons << glyph;
        auto* label = new QLabel(name, this);
        label->setFont(uiFont(14, QFont::DemiBold));
        m_titles << label;
        row->addWidget(glyph);
        row->addWidget(label);
        row->addStretch();
        layout->addLayout(row);
        if (!hint.isEmpty()) {
            auto* text = new QLabel(hint, this);
            text->setWordWrap(true);
            text->setFont(uiFont(12));
            m_hints << text;
            layout->addWidget(text);
        }
    };
    section(u"circle.lefthalf.filled"_s, u"Оформление"_s, u"Выбери системную, тёмную или светлую тему"_s);
    auto* themes = new QHBoxLayout;
    themes->setSpacing(6);
    for (const auto& [label, value] : {std::pair{u"Системная"_s, u"system"_s}, std::pair{u"Тёмная"_s, u"dark"_s},
                                       std::pair{u"Светлая"_s, u"light"_s}}) {
        auto* button = new QPushButton(label, this);
        button->setCheckable(true);
        button->setCursor(Qt::PointingHandCursor);
        button->setFont(uiFont(12));
        button->setMinimumWidth(QFontMetrics(uiFont(12, QFont::DemiBold)).horizontalAdvance(label) + 34);
        button->setProperty("theme", value);
        connect(button, &QPushButton::clicked, this, [this, value] {
            m_theme.setPreference(value);
            refresh();
        });
        m_themes << button;
        themes->addWidget(button);
    }
    themes->addStretch();
    layout->addLayout(themes);

    section(u"paperplane"_s, u"Отправлять в Telegram"_s,
            u"При создании задачи автоматически отправлять уведомление в бот"_s);
    m_send = new QCheckBox(u"Автоматически"_s, this);
    m_send->setFont(uiFont(13));
    m_send->setAccessibleName(u"Отправлять в Telegram"_s);
    connect(m_send, &QCheckBox::clicked, this, [this](bool on) {
        m_state.setUserSettings(UserSettings{on});
        (void)m_state.saveSettings();
    });
    layout->addWidget(m_send);

    section(QString(), u"Горячие клавиши"_s, QString());
    const QList<std::pair<QString, QString>> hotkeys{{u"Новая задача"_s, u"N"_s},
                                                     {u"Закрыть окно / форму"_s, u"Esc"_s},
                                                     {u"Сохранить (редактор)"_s, saveKeyLabel()},
                                                     {u"Переключить выполнено"_s, u"Space"_s}};
    for (const auto& [description, key] : hotkeys) {
        auto* row = new QHBoxLayout;
        auto* text = new QLabel(description, this);
        text->setFont(uiFont(13));
        auto* cap = new QLabel(key, this);
        cap->setFont(uiFont(11, QFont::DemiBold));
        row->addWidget(text);
        row->addStretch();
        row->addWidget(cap);
        layout->addLayout(row);
        m_hotkeys.append(std::pair<QLabel*, QLabel*>(text, cap));
    }
    layout->addStretch();
    connect(&m_state, &AppState::userSettingsChanged, this, &SettingsView::refresh);
    connect(&m_theme, &Theme::changed, this, &SettingsView::refresh);
    refresh();
}

QPushButton* SettingsView::themeButton(const QString& label) const {
    for (QPushButton* button : m_themes) {
        if (button->text() == label)
            return button;
    }
    return nullptr;
}

QStringList SettingsView::hotkeyRows() const {
    QStringList rows;
    for (const auto& [text, cap] : m_hotkeys)
        rows << text->text() + u" — "_s + cap->text();
    return rows;
}

void SettingsView::refresh() {
    const Palette& p = m_theme.palette();
    for (QLabel* title : std::as_const(m_titles))
        title->setStyleSheet(u"color: %1;"_s.arg(p.textPrimary.name()));
    for (QLabel* hint : std::as_const(m_hints))
        hint->setStyleSheet(u"color: %1;"_s.arg(p.textSecondary.name()));
    for (QLabel* glyph : std::as_const(m_icons)) {
        const QString icon = glyph->property("icon").toString();
        glyph->setVisible(!icon.isEmpty());
        if (!icon.isEmpty())
            glyph->setPixmap(Icons::pixmap(icon, 15, p.accent, devicePixelRatioF()));
    }
    for (QPushButton* button : std::as_const(m_themes)) {
        button->setChecked(button->property("theme").toString() == m_theme.preference());
        button->setStyleSheet(
            u"QPushButton { color: %1; background: %2; border: none; border-radius: 7px;"
            u" padding: 6px 14px; } QPushButton:checked { color: %3; background: %4; font-weight: 600; }"_s.arg(
                p.textSecondary.name(), p.raised.name(), p.onAccent.name(), p.accent.name()));
    }
    m_send->setChecked(m_state.userSettings().autoSendBot);
    m_send->setStyleSheet(u"color: %1;"_s.arg(p.textPrimary.name()));
    m_close->setStyleSheet(u"color: %1;"_s.arg(p.textSecondary.name()));
    m_close->setIcon(Icons::icon(u"xmark"_s, p.textSecondary));
    for (const auto& [text, cap] : m_hotkeys) {
        text->setStyleSheet(u"color: %1;"_s.arg(p.textSecondary.name()));
        cap->setStyleSheet(
            u"color: %1; background: %2; border: 1px solid %3; border-radius: 5px; padding: 2px 8px;"_s.arg(
                p.textPrimary.name(), p.raised.name(), p.border.name(QColor::HexArgb)));
    }
}
