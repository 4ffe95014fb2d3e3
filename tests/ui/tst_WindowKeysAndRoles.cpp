#include "AppState.h"
#include "ChipButton.h"
#include "ClientRig.h"
#include "PriorityChips.h"
#include "Theme.h"
#include "ToastOverlay.h"
#include "WidgetTest.h"
#include "WindowShortcuts.h"

#include <QAccessible>
#include <QLineEdit>
#include <QPushButton>
#include <QShortcut>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

// The window's own keys (Ctrl+Q, Ctrl+W, Ctrl+,) on a real window, whatever has the keyboard in
// it; and what the toast, the chips and the priority chips tell assistive technology.
class tst_WindowKeysAndRoles final : public QObject {
    Q_OBJECT

private:
    FixedClock m_clock{QDateTime(QDate(2025, 3, 5), QTime(12, 0), Qt::UTC)};

private Q_SLOTS:
    void windowKeys_data() {
        QTest::addColumn<int>("key"); // with Ctrl
        QTest::addColumn<bool>("signedIn");
        QTest::addColumn<bool>("inField");
        QTest::addColumn<QString>("outcome");
        QTest::newRow("ctrl+q quits") << int(Qt::Key_Q) << true << false << u"quit"_s;
        QTest::newRow("ctrl+q from a field") << int(Qt::Key_Q) << true << true << u"quit"_s;
        QTest::newRow("ctrl+w closes") << int(Qt::Key_W) << true << false << u"closed"_s;
        QTest::newRow("ctrl+w from a field") << int(Qt::Key_W) << true << true << u"closed"_s;
        QTest::newRow("ctrl+, opens the settings") << int(Qt::Key_Comma) << true << false << u"settings"_s;
        QTest::newRow("ctrl+, from a field") << int(Qt::Key_Comma) << true << true << u"settings"_s;
        QTest::newRow("ctrl+, signed out") << int(Qt::Key_Comma) << false << false << u"nothing"_s;
    }

    void windowKeys() {
        QFETCH(int, key);
        QFETCH(bool, signedIn);
        QFETCH(bool, inField);
        QFETCH(QString, outcome);
        ClientRig client(u"http://127.0.0.1:9"_s, m_clock, signedIn ? std::optional<QString>(u"t"_s) : std::nullopt);
        QWidget window;
        auto* layout = new QVBoxLayout(&window);
        auto* field = new QLineEdit(&window);
        auto* button = new QPushButton(u"Кнопка"_s, &window);
        layout->addWidget(field);
        layout->addWidget(button);
        int quits = 0;
        WindowShortcuts keys(client.state, &window, [&quits] { ++quits; });
        window.show();
        window.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        (inField ? static_cast<QWidget*>(field) : button)->setFocus();
        QTest::keyClick(QApplication::focusWidget(), Qt::Key(key), Qt::ControlModifier);
        QCOMPARE(quits, outcome == u"quit"_s ? 1 : 0);
        QCOMPARE(window.isVisible(), outcome != u"closed"_s);
        QCOMPARE(client.state.showSettings(), outcome == u"settings"_s);
        QCOMPARE(field->text(), QString());
    }

    // Each key once: the desktop's own binding for a command is often ours, and a shortcut that
    // holds one key twice takes it for ambiguous and does nothing.
    void eachKeyOnce() {
        const QList<QKeySequence> keys =
            keysWithDesktop({Qt::CTRL | Qt::Key_Q, Qt::CTRL | Qt::Key_Q, QKeySequence()}, QKeySequence::Quit);
        QCOMPARE(keys.first(), QKeySequence(Qt::CTRL | Qt::Key_Q));
        QCOMPARE(keys.count(QKeySequence(Qt::CTRL | Qt::Key_Q)), 1);
        QVERIFY(!keys.contains(QKeySequence()));
        for (const QKeySequence& desktop : QKeySequence::keyBindings(QKeySequence::Quit))
            QVERIFY(keys.contains(desktop));
    }

    // A toast is an alert to assistive technology, under a Russian name, with the message as its
    // description. (The alert event itself goes out only where a screen reader listens: offscreen,
    // Qt drops it before any handler sees it.)
    void theToastIsAnAlert() {
        ClientRig client(u"http://127.0.0.1:9"_s, m_clock);
        MemoryStore store;
        Theme theme(store);
        QWidget window;
        window.resize(600, 400);
        ToastOverlay toast(client.state, theme, &window);
        window.show();
        client.state.showToast(u"Задача удалена"_s);
        QAccessibleInterface* told = QAccessible::queryAccessibleInterface(&toast);
        QVERIFY(told);
        QCOMPARE(told->role(), QAccessible::AlertMessage);
        QCOMPARE(told->text(QAccessible::Name), u"Уведомление"_s);
        QCOMPARE(told->text(QAccessible::Description), u"Задача удалена"_s);
    }

    // A chip is one choice among several, not a check box; pressing it through assistive
    // technology chooses it.
    void chipsAreChoices() {
        QWidget window;
        auto* layout = new QVBoxLayout(&window);
        auto* chip = new ChipButton(u"Сегодня"_s, true, &window);
        auto* chips = new PriorityChips(TaskPriority::medium, &window);
        layout->addWidget(chip);
        layout->addWidget(chips);
        window.show();

        QAccessibleInterface* told = QAccessible::queryAccessibleInterface(chip);
        QCOMPARE(told->role(), QAccessible::RadioButton);
        QCOMPARE(told->text(QAccessible::Name), u"Сегодня"_s);
        QVERIFY(!told->state().checked);
        QVERIFY(told->actionInterface());
        told->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
        QVERIFY(chip->isChecked());
        QVERIFY(told->state().checked);

        QStringList names;
        for (QPushButton* each : chips->findChildren<QPushButton*>()) {
            QAccessibleInterface* priority = QAccessible::queryAccessibleInterface(each);
            QCOMPARE(priority->role(), QAccessible::RadioButton);
            names << priority->text(QAccessible::Name) + (priority->state().checked ? u"*"_s : QString());
        }
        QCOMPARE(names, (QStringList{u"Высокий"_s, u"Средний*"_s, u"Низкий"_s}));
    }
};

VEXO_WIDGET_TEST_MAIN(tst_WindowKeysAndRoles)
#include "tst_WindowKeysAndRoles.moc"
