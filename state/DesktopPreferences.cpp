#include "DesktopPreferences.h"

#include "KeyValueStore.h"

using namespace Qt::StringLiterals;

namespace {

const QString remindersKey = u"vexo_reminders"_s;
const QString leadKey = u"vexo_reminder_lead"_s;
const QString trayKey = u"vexo_close_to_tray"_s;

QString onOff(bool on) {
    return on ? u"on"_s : u"off"_s;
}

} // namespace

const QList<int>& DesktopPreferences::leadChoices() {
    static const QList<int> choices{5, 15, 30, 60, 0};
    return choices;
}

DesktopPreferences::DesktopPreferences(KeyValueStore& store, QObject* parent)
    : QObject(parent)
    , m_store(store) {
    // Anything unreadable under a key reads as that key's default.
    m_remindersEnabled = m_store.text(remindersKey) != u"off"_s;
    bool ok = false;
    const int lead = m_store.text(leadKey).value_or(QString()).toInt(&ok);
    if (ok && leadChoices().contains(lead))
        m_leadMinutes = lead;
    m_closeToTray = m_store.text(trayKey) == u"on"_s;
}

void DesktopPreferences::setRemindersEnabled(bool enabled) {
    m_store.setText(remindersKey, onOff(enabled));
    if (enabled == m_remindersEnabled)
        return;
    m_remindersEnabled = enabled;
    Q_EMIT changed();
}

void DesktopPreferences::setLeadMinutes(int minutes) {
    if (!leadChoices().contains(minutes))
        return;
    m_store.setText(leadKey, QString::number(minutes));
    if (minutes == m_leadMinutes)
        return;
    m_leadMinutes = minutes;
    Q_EMIT changed();
}

void DesktopPreferences::setCloseToTray(bool closeToTray) {
    m_store.setText(trayKey, onOff(closeToTray));
    if (closeToTray == m_closeToTray)
        return;
    m_closeToTray = closeToTray;
    Q_EMIT changed();
}
