#pragma once

#include <QList>
#include <QObject>

class KeyValueStore;

// The client's local preferences about living on the desktop: deadline reminders and their lead
// time, and whether closing the window keeps the client in the tray. Kept in the same store as the
// theme; nothing of it goes to the service.
class DesktopPreferences final : public QObject {
    Q_OBJECT

public:
    // The lead times offered, in minutes; 0 reminds at the deadline itself.
    static const QList<int>& leadChoices();
    static constexpr int defaultLeadMinutes = 15;

    explicit DesktopPreferences(KeyValueStore& store, QObject* parent = nullptr);

    bool remindersEnabled() const { return m_remindersEnabled; }
    int leadMinutes() const { return m_leadMinutes; }
    bool closeToTray() const { return m_closeToTray; }

    void setRemindersEnabled(bool enabled);
    // A value that is not one of leadChoices() is ignored.
    void setLeadMinutes(int minutes);
    void setCloseToTray(bool closeToTray);

Q_SIGNALS:
    void changed();

private:
    KeyValueStore& m_store;
    bool m_remindersEnabled = true;
    int m_leadMinutes = defaultLeadMinutes;
    bool m_closeToTray = false;
};
