#include "SettingsView.h"

#include "AppState.h"
#include "ChipButton.h"
#include "DesktopPreferences.h"
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
        {u"Обновить"_s, u"F5"_s},
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
    auto* layout = m_layout = new QVBoxLayout(this);
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

QString SettingsView::leadLabel(int minutes) {
    if (minutes == 0)
        return u"В срок"_s;
    if (minutes == 60)
        return u"За 1 час"_s;
    return u"За %1 мин"_s.arg(minutes);
}

void SettingsView::addRemindersSection(DesktopPreferences& preferences) {
    if (m_preferences)
        return;
    m_preferences = &preferences;
    // Built beside the sections above, in their look, and placed after them (before the closing stretch).
    auto* box = new QWidget(this);
    auto* layout = new QVBoxLayout(box);
    layout->setContentsMargins(0, 8, 0, 0);
    layout->setSpacing(10);
    const auto row = [&](const QString& icon, const QString& name, int size, QFont::Weight weight, Palette::Role role) {
        auto* line = new QHBoxLayout;
        line->setSpacing(8);
        if (!icon.isEmpty())
            line->addWidget(new IconView(m_theme, icon, 15, Palette::Role::accent, box));
        auto* label = new QLabel(name, box);
        label->setFont(uiFont(size, weight));
        Style::setText(label, role);
        line->addWidget(label);
        line->addStretch();
        layout->addLayout(line);
        return line;
    };
    const auto hint = [&](const QString& text) {
        auto* label = new QLabel(text, box);
        label->setWordWrap(true);
        label->setFont(uiFont(12));
        Style::setText(label, Palette::Role::textSecondary);
        layout->addWidget(label);
    };

    QHBoxLayout* heading = row(u"clock"_s, u"Напоминания"_s, 14, QFont::DemiBold, Palette::Role::textPrimary);
    m_reminders = new Switch(m_theme, QString(), box);
    m_reminders->setAccessibleName(u"Напоминания"_s);
    connect(m_reminders, &Switch::clicked, this, [this](bool on) { m_preferences->setRemindersEnabled(on); });
    heading->addWidget(m_reminders);
    hint(u"Перед дедлайном и когда срок истёк, пока клиент открыт"_s);

    auto* leads = new QHBoxLayout;
    leads->setSpacing(6);
    for (const int minutes : DesktopPreferences::leadChoices()) {
        auto* button = new ChipButton(leadLabel(minutes), true, box);
        button->setProperty("leadMinutes", minutes);
        connect(button, &QPushButton::clicked, this, [this, minutes] {
            m_preferences->setLeadMinutes(minutes);
            refreshReminders();
        });
        m_leads << button;
        leads->addWidget(button);
    }
    leads->addStretch();
    layout->addLayout(leads);

    layout->addSpacing(4);
    QHBoxLayout* tray = row(QString(), u"Сворачивать в трей"_s, 13, QFont::Normal, Palette::Role::textPrimary);
    m_tray = new Switch(m_theme, QString(), box);
    m_tray->setAccessibleName(u"Сворачивать в трей"_s);
    connect(m_tray, &Switch::clicked, this, [this](bool on) { m_preferences->setCloseToTray(on); });
    tray->addWidget(m_tray);
    hint(u"Закрытое окно оставляет клиент в трее, с напоминаниями"_s);

    m_layout->insertWidget(m_layout->count() - 1, box);
    connect(m_preferences, &DesktopPreferences::changed, this, &SettingsView::refreshReminders);
    refreshReminders();
}

QPushButton* SettingsView::leadButton(const QString& label) const {
    for (QPushButton* button : m_leads) {
        if (button->text() == label)
            return button;
    }
    return nullptr;
}

void SettingsView::refreshReminders() {
    if (!m_preferences)
        return;
    m_reminders->setChecked(m_preferences->remindersEnabled());
    for (QPushButton* button : std::as_const(m_leads)) {
        button->setChecked(button->property("leadMinutes").toInt() == m_preferences->leadMinutes());
        button->setEnabled(m_preferences->remindersEnabled());
    }
    m_tray->setChecked(m_preferences->closeToTray());
}
