#include "SettingsView.h"

#include "AppState.h"
#include "ChipButton.h"
#include "Fonts.h"
#include "IconView.h"
#include "Icons.h"
#include "Style.h"
#include "Switch.h"
#include "Theme.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

QString SettingsView::saveKeyLabel() {
    return commandKeyLabel() + u" Enter"_s;
}

QString SettingsView::commandKeyLabel() {
#ifdef Q_OS_MACOS
    return u"⌘"_s;
#else
    return u"Ctrl"_s;
#endif
}

QList<std::pair<QString, QString>> SettingsView::hotkeys() {
    const QString command = commandKeyLabel();
    return {
        {u"Новая задача"_s, u"N"_s},
        {u"Закрыть окно / форму"_s, u"Esc"_s},
        {u"Сохранить (редактор)"_s, saveKeyLabel()},
        {u"Переключить выполнено"_s, u"Space"_s},
        {u"Поиск"_s, command + u" F"_s},
        {u"Открыть задачу"_s, u"Enter"_s},
        {u"Редактировать задачу"_s, command + u" E"_s},
        {u"Переместить в папку"_s, command + u" M"_s},
        {u"Удалить задачу"_s, u"Delete"_s},
        {u"Меню задачи"_s, u"Shift F10"_s},
        {u"Назад к задачам"_s, u"Alt ←"_s},
        {u"Настройки"_s, command + u" ,"_s},
        {u"Закрыть окно"_s, command + u" W"_s},
        {u"Завершить программу"_s, command + u" Q"_s},
    };
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
    Style::setText(title, Palette::Role::textPrimary);
    header->addWidget(title);
    header->addStretch();
    auto* close = new QPushButton(u"Закрыть"_s, this);
    close->setCursor(Qt::PointingHandCursor);
    close->setIcon(Icons::icon(u"xmark"_s, theme, Palette::Role::textSecondary));
    Style::setRole(close, u"plain"_s);
    connect(close, &QPushButton::clicked, this, [this] { m_dismiss(); });
    header->addWidget(close);
    layout->addLayout(header);

    // A section's heading row; what goes at its end (the switch) is the caller's.
    const auto section = [&](const QString& icon, const QString& name, const QString& hint) {
        layout->addSpacing(8);
        auto* row = new QHBoxLayout;
        row->setSpacing(8);
        if (!icon.isEmpty())
            row->addWidget(new IconView(theme, icon, 15, Palette::Role::accent, this));
        auto* label = new QLabel(name, this);
        label->setFont(uiFont(14, QFont::DemiBold));
        Style::setText(label, Palette::Role::textPrimary);
        row->addWidget(label);
        row->addStretch();
        layout->addLayout(row);
        if (!hint.isEmpty()) {
            auto* text = new QLabel(hint, this);
            text->setWordWrap(true);
            text->setFont(uiFont(12));
            Style::setText(text, Palette::Role::textSecondary);
            layout->addWidget(text);
        }
        return row;
    };
    section(u"circle.lefthalf.filled"_s, u"Оформление"_s, u"Выбери системную, тёмную или светлую тему"_s);
    auto* themes = new QHBoxLayout;
    themes->setSpacing(6);
    for (const auto& [label, value] : {std::pair{u"Системная"_s, u"system"_s}, std::pair{u"Тёмная"_s, u"dark"_s},
                                       std::pair{u"Светлая"_s, u"light"_s}}) {
        auto* button = new ChipButton(label, true, this);
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

    QHBoxLayout* sending = section(u"paperplane"_s, u"Отправлять в Telegram"_s,
                                   u"При создании задачи автоматически отправлять уведомление в бот"_s);
    m_send = new Switch(theme, QString(), this);
    m_send->setAccessibleName(u"Отправлять в Telegram"_s);
    connect(m_send, &Switch::clicked, this, [this](bool on) {
        m_state.setUserSettings(UserSettings{on});
        (void)m_state.saveSettings();
    });
    sending->addWidget(m_send);

    section(QString(), u"Горячие клавиши"_s, QString());
    auto* keys = new QVBoxLayout;
    keys->setSpacing(5);
    for (const auto& [description, key] : hotkeys()) {
        auto* row = new QHBoxLayout;
        auto* text = new QLabel(description, this);
        text->setFont(uiFont(13));
        Style::setText(text, Palette::Role::textSecondary);
        auto* cap = new QLabel(key, this);
        cap->setFont(uiFont(11, QFont::DemiBold));
        Style::setRole(cap, u"keycap"_s);
        row->addWidget(text);
        row->addStretch();
        row->addWidget(cap);
        keys->addLayout(row);
        m_hotkeys.append(std::pair<QLabel*, QLabel*>(text, cap));
    }
    layout->addLayout(keys);
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
    for (QPushButton* button : std::as_const(m_themes))
        button->setChecked(button->property("theme").toString() == m_theme.preference());
    m_send->setChecked(m_state.userSettings().autoSendBot);
}
