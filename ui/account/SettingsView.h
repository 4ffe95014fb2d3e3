#pragma once

#include <QWidget>

#include <functional>

class AppState;
class DesktopPreferences;
class QVBoxLayout;
class QLabel;
class QPushButton;
class Switch;
class Theme;

// Appearance, automatic sending to the chat, and the keyboard shortcuts.
class SettingsView final : public QWidget {
    Q_OBJECT

public:
    SettingsView(AppState& state, Theme& theme, std::function<void()> dismiss, QWidget* parent = nullptr);

    QPushButton* themeButton(const QString& label) const;
    Switch* sendSwitch() const { return m_send; }
    QStringList hotkeyRows() const; // "description — key"

    // Adds the section "Напоминания" after all the others: deadline reminders on or off, their lead
    // time, and whether closing the window keeps the client in the tray.
    void addRemindersSection(DesktopPreferences& preferences);
    Switch* remindersSwitch() const { return m_reminders; }
    QPushButton* leadButton(const QString& label) const;
    Switch* traySwitch() const { return m_tray; }
    // The lead time's label for a number of minutes; 0 is the deadline itself.
    static QString leadLabel(int minutes);
    // The label of the edit form's save keys on this platform.
    static QString saveKeyLabel();
    // "Ctrl", or "⌘" where that is the command key.
    static QString commandKeyLabel();
    // Every key the program answers to, as the sheet lists it: description, key label.
    static QList<std::pair<QString, QString>> hotkeys();

private:
    void refresh();
    void refreshReminders();

    AppState& m_state;
    Theme& m_theme;
    std::function<void()> m_dismiss;
    QList<QPushButton*> m_themes;
    Switch* m_send;
    QList<std::pair<QLabel*, QLabel*>> m_hotkeys;
    QVBoxLayout* m_layout;
    DesktopPreferences* m_preferences = nullptr;
    Switch* m_reminders = nullptr;
    QList<QPushButton*> m_leads;
    Switch* m_tray = nullptr;
};
