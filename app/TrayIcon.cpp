#include "TrayIcon.h"

#include <QAction>
#include <QCloseEvent>
#include <QWidget>

using namespace Qt::StringLiterals;

TrayIcon::TrayIcon(const QIcon& icon, std::optional<bool> available, QObject* parent)
    : QObject(parent)
    , m_available(available.value_or(QSystemTrayIcon::isSystemTrayAvailable()))
    , m_icon(icon) {
    m_icon.setToolTip(u"Vexo Tasks"_s);
    connect(m_menu.addAction(u"Открыть"_s), &QAction::triggered, this, &TrayIcon::openRequested);
    connect(m_menu.addAction(u"Новая задача"_s), &QAction::triggered, this, &TrayIcon::newTaskRequested);
    m_menu.addSeparator();
    connect(m_menu.addAction(u"Выйти"_s), &QAction::triggered, this, [this] {
        m_quitting = true;
        Q_EMIT quitRequested();
    });
    m_icon.setContextMenu(&m_menu);
    connect(&m_icon, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick)
            Q_EMIT openRequested();
    });
    connect(&m_icon, &QSystemTrayIcon::messageClicked, this, [this] { Q_EMIT messageClicked(m_messageTask); });
    if (m_available)
        m_icon.show();
}

QAction* TrayIcon::action(const QString& text) const {
    for (QAction* each : m_menu.actions()) {
        if (each->text() == text)
            return each;
    }
    return nullptr;
}

void TrayIcon::keepInTray(QWidget& window, std::function<bool()> wanted) {
    m_window = &window;
    m_keepWanted = std::move(wanted);
    window.installEventFilter(this);
}

void TrayIcon::showMessage(const Notification& notification) {
    if (!m_available)
        return;
    m_messageTask = notification.taskId;
    m_icon.showMessage(notification.summary, notification.body, m_icon.icon());
}

bool TrayIcon::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_window && event->type() == QEvent::Close && !m_quitting && m_available && m_keepWanted &&
        m_keepWanted()) {
        event->ignore();
        m_window->hide();
        return true;
    }
    return QObject::eventFilter(watched, event);
}
