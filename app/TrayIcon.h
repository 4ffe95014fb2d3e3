#pragma once

#include "Notifier.h"

#include <QMenu>
#include <QObject>
#include <QSystemTrayIcon>

#include <functional>
#include <optional>

class QAction;

// The icon in the desktop's tray, where it has one: "Открыть", "Новая задача" and "Выйти", a click
// that brings the window back, and the messages that stand in for desktop notifications. While it is
// shown, closing the window may only hide it, when the user has chosen that.
class TrayIcon final : public QObject {
    Q_OBJECT

public:
    // `available`: whether the desktop has a tray; asked of the desktop unless told.
    explicit TrayIcon(const QIcon& icon, std::optional<bool> available = std::nullopt, QObject* parent = nullptr);

    bool isAvailable() const { return m_available; }
    QMenu* menu() { return &m_menu; }
    QAction* action(const QString& text) const;

    // Closing `window` hides it instead while the tray is there and `wanted()` says so; "Выйти" closes
    // it for good.
    void keepInTray(QWidget& window, std::function<bool()> wanted);
    // A message from the tray icon, for a desktop without a notification service.
    void showMessage(const Notification& notification);

Q_SIGNALS:
    void openRequested();
    void newTaskRequested();
    void quitRequested();
    // The last message was clicked: the task it was about, if one.
    void messageClicked(std::optional<qint64> taskId);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    bool m_available;
    QSystemTrayIcon m_icon;
    QMenu m_menu;
    QWidget* m_window = nullptr;
    std::function<bool()> m_keepWanted;
    bool m_quitting = false;
    std::optional<qint64> m_messageTask;
};
