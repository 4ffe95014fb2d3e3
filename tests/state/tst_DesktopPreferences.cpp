#include "DesktopPreferences.h"
#include "MemoryStore.h"

#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

// The local reminder and tray preferences: defaults, what is kept, and what is refused.
class tst_DesktopPreferences final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void defaults() {
        MemoryStore store;
        const DesktopPreferences preferences(store);
        QVERIFY(preferences.remindersEnabled());
        QCOMPARE(preferences.leadMinutes(), 15);
        QVERIFY(!preferences.closeToTray());
    }

    void keptAcrossStarts() {
        MemoryStore store;
        {
            DesktopPreferences preferences(store);
            QSignalSpy changed(&preferences, &DesktopPreferences::changed);
            preferences.setRemindersEnabled(false);
            preferences.setLeadMinutes(60);
            preferences.setCloseToTray(true);
            QCOMPARE(changed.size(), 3);
            preferences.setLeadMinutes(60);
            QCOMPARE(changed.size(), 3);
        }
        QCOMPARE(store.text(u"vexo_reminders"_s), std::optional<QString>(u"off"_s));
        QCOMPARE(store.text(u"vexo_reminder_lead"_s), std::optional<QString>(u"60"_s));
        QCOMPARE(store.text(u"vexo_close_to_tray"_s), std::optional<QString>(u"on"_s));
        const DesktopPreferences again(store);
        QVERIFY(!again.remindersEnabled());
        QCOMPARE(again.leadMinutes(), 60);
        QVERIFY(again.closeToTray());
    }

    void leadChoices() {
        QCOMPARE(DesktopPreferences::leadChoices(), (QList<int>{5, 15, 30, 60, 0}));
        MemoryStore store;
        DesktopPreferences preferences(store);
        preferences.setLeadMinutes(0);
        QCOMPARE(preferences.leadMinutes(), 0);
        preferences.setLeadMinutes(7);
        QCOMPARE(preferences.leadMinutes(), 0);
        QCOMPARE(store.text(u"vexo_reminder_lead"_s), std::optional<QString>(u"0"_s));
    }

    void unreadableValuesReadAsDefaults_data() {
        QTest::addColumn<QString>("lead");
        QTest::addColumn<QString>("reminders");
        QTest::addColumn<QString>("tray");
        QTest::newRow("garbage") << u"soon"_s << u"maybe"_s << u"yes"_s;
        QTest::newRow("a lead not offered") << u"45"_s << u""_s << u"1"_s;
        QTest::newRow("negative") << u"-5"_s << u"on"_s << u"off"_s;
    }

    void unreadableValuesReadAsDefaults() {
        QFETCH(QString, lead);
        QFETCH(QString, reminders);
        QFETCH(QString, tray);
        MemoryStore store;
        store.setText(u"vexo_reminder_lead"_s, lead);
        store.setText(u"vexo_reminders"_s, reminders);
        store.setText(u"vexo_close_to_tray"_s, tray);
        const DesktopPreferences preferences(store);
        QCOMPARE(preferences.leadMinutes(), DesktopPreferences::defaultLeadMinutes);
        QVERIFY(preferences.remindersEnabled());
        QVERIFY(!preferences.closeToTray());
    }
};

QTEST_GUILESS_MAIN(tst_DesktopPreferences)
#include "tst_DesktopPreferences.moc"
