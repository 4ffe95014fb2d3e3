#include "AppState.h"
#include "ClientRig.h"
#include "ContentView.h"
#include "CreateTaskView.h"
#include "EditTaskView.h"
#include "MainView.h"
#include "ScriptedServer.h"
#include "Theme.h"
#include "WidgetTest.h"

#include <QDialog>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>

using namespace Qt::StringLiterals;

namespace {

const QByteArray taskJson = R"({"id":4,"title":"Отчёт","priority":"low","status":"pending","created_at":"2025-03-01"})";

QString describe(const QWidget* widget) {
    QString name = QString::fromLatin1(widget->metaObject()->className());
    if (!widget->accessibleName().isEmpty())
        name += u" «"_s + widget->accessibleName() + u'»';
    else if (const auto* button = qobject_cast<const QAbstractButton*>(widget))
        name += u" «"_s + button->text() + u'»';
    return name;
}

} // namespace

// Return and Enter in every sheet, in every field and on every button: no sheet closes or saves on
// them. Only the two bindings act: Return in the wizard's title field, Ctrl+Return in the edit form.
class tst_SheetKeys final : public QObject {
    Q_OBJECT

private:
    ScriptedServer m_server;
    FixedClock m_clock{QDateTime(QDate(2025, 3, 5), QTime(12, 0), Qt::UTC)};
    std::unique_ptr<ClientRig> m_client;
    std::unique_ptr<Theme> m_theme;
    std::unique_ptr<ContentView> m_window;

    MainView* main() const { return m_window->mainView(); }

    QDialog* open(MainView::Sheet sheet) {
        AppState& state = m_client->state;
        switch (sheet) {
        case MainView::Sheet::createTask:
            state.setShowCreateTask(true);
            break;
        case MainView::Sheet::editTask:
            state.setEditingTask(state.tasks().value(0));
            state.setShowEditTask(true);
            break;
        case MainView::Sheet::settings:
            state.setShowSettings(true);
            break;
        case MainView::Sheet::apiKey:
            state.setShowApiKey(true);
            break;
        case MainView::Sheet::newFolder:
            state.setShowNewFolder(true);
            break;
        case MainView::Sheet::editFolder:
            state.setEditingFolder(state.folders().value(0));
            state.setShowEditFolder(true);
            break;
        }
        QDialog* dialog = main()->openSheet(sheet);
        if (dialog) {
            // Active in earnest, so that shortcuts reach it as on a desktop.
            dialog->activateWindow();
            if (!QTest::qWaitFor([dialog] { return QApplication::activeWindow() == dialog; }))
                return nullptr;
        }
        return dialog;
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_server.listen());
        m_server.setReplyFor("/api/tasks", ScriptedReply::json(200, "{\"tasks\":[" + taskJson + "]}"));
        m_server.setReplyFor(
            "/api/folders",
            ScriptedReply::json(200, "{\"folders\":[{\"id\":7,\"name\":\"Дом\",\"color\":\"#5B8AE8\"}]}"));
        m_server.setReplyFor("/api/user/settings", ScriptedReply::json(200, R"({"auto_send_bot":false})"));
        m_server.setReplyFor("/api/user/apikey", ScriptedReply::json(200, R"({"api_key":"vexoapi-K"})"));
    }

    void init() {
        m_client = std::make_unique<ClientRig>(m_server.baseUrl(), m_clock, u"t"_s);
        m_theme = std::make_unique<Theme>(m_client->store);
        m_window = std::make_unique<ContentView>(m_client->state, *m_theme);
        m_window->resize(1100, 720);
        m_window->show();
        QTRY_COMPARE(m_client->state.tasks().size(), 1);
        QTRY_COMPARE(m_client->state.folders().size(), 1);
    }

    void cleanup() {
        m_window.reset();
        m_client.reset();
    }

    void plainReturnNeverClosesOrSaves_data() {
        QTest::addColumn<MainView::Sheet>("sheet");
        QTest::addColumn<int>("step"); // the wizard's step, 0 for the other sheets
        QTest::newRow("wizard, description") << MainView::Sheet::createTask << 2;
        QTest::newRow("wizard, deadline and priority") << MainView::Sheet::createTask << 3;
        QTest::newRow("edit form") << MainView::Sheet::editTask << 0;
        QTest::newRow("new folder") << MainView::Sheet::newFolder << 0;
        QTest::newRow("folder editor") << MainView::Sheet::editFolder << 0;
        QTest::newRow("settings") << MainView::Sheet::settings << 0;
        QTest::newRow("API key") << MainView::Sheet::apiKey << 0;
    }

    void plainReturnNeverClosesOrSaves() {
        QFETCH(MainView::Sheet, sheet);
        QFETCH(int, step);
        QPointer<QDialog> dialog = open(sheet);
        QVERIFY(dialog);
        CreateTaskView* wizard = dialog->findChild<CreateTaskView*>();
        if (wizard) {
            wizard->titleField()->setText(u"Отчёт"_s);
            wizard->goToStep(step);
        }
        if (auto* folderName = dialog->findChild<QLineEdit*>(); folderName && folderName->text().isEmpty())
            folderName->setText(u"Работа"_s); // so that a confirming button would have something to send
        QTest::qWait(100);                    // the key sheet's own fetch
        m_server.clearRequests();

        // No button of a sheet is a default button.
        for (QPushButton* button : dialog->findChildren<QPushButton*>()) {
            QVERIFY2(!button->isDefault(), qPrintable(describe(button)));
            QVERIFY2(!button->autoDefault(), qPrintable(describe(button)));
        }
        QList<QWidget*> fields;
        for (QWidget* widget : dialog->findChildren<QWidget*>()) {
            if ((widget->focusPolicy() & Qt::TabFocus) && widget->isVisibleTo(dialog) && widget->isEnabled())
                fields << widget;
        }
        QVERIFY(fields.size() >= 3);
        for (QWidget* field : std::as_const(fields)) {
            const QString name = describe(field);
            for (const auto& [key, modifiers] : {std::pair{Qt::Key_Return, Qt::KeyboardModifiers()},
                                                 std::pair{Qt::Key_Enter, Qt::KeyboardModifiers(Qt::KeypadModifier)}}) {
                const QString what = name + (key == Qt::Key_Enter ? u", Enter"_s : u", Return"_s);
                field->setFocus();
                QTest::keyClick(field, key, modifiers);
                QCoreApplication::processEvents();
                QVERIFY2(dialog && dialog->isVisible() && main()->openSheet(sheet) == dialog,
                         qPrintable(u"closed by "_s + what));
                QVERIFY2(m_server.requests().isEmpty(), qPrintable(u"sent by "_s + what));
                if (wizard)
                    QVERIFY2(wizard->step() == step, qPrintable(u"stepped by "_s + what));
            }
        }
        dialog->reject();
        QTRY_VERIFY(!main()->openSheet(sheet));
    }

    void returnInTheWizardsTitleAdvances() {
        QPointer<QDialog> dialog = open(MainView::Sheet::createTask);
        QVERIFY(dialog);
        auto* wizard = dialog->findChild<CreateTaskView*>();
        wizard->titleField()->setText(u"Отчёт"_s);
        QTest::keyClick(wizard->titleField(), Qt::Key_Return);
        QCOMPARE(wizard->step(), 2);
        QVERIFY(dialog->isVisible());
        QVERIFY(m_server.requests().size() <= 3); // the start-up loads only
    }

    void ctrlReturnSavesTheEditForm() {
        QPointer<QDialog> dialog = open(MainView::Sheet::editTask);
        QVERIFY(dialog);
        auto* form = dialog->findChild<EditTaskView*>();
        m_server.clearRequests();
        m_server.setReplyFor("/api/tasks/4", ScriptedReply::json(200, "{\"task\":" + taskJson + "}"));
        form->titleField()->setFocus();
        QTest::keyClick(form->titleField(), Qt::Key_Return, Qt::ControlModifier);
        QTRY_VERIFY(!main()->openSheet(MainView::Sheet::editTask));
        QTRY_COMPARE(m_server.requests().size(), 1);
        QCOMPARE(m_server.lastRequest().method, QByteArray("PUT"));
        QCOMPARE(m_server.lastRequest().target, QByteArray("/api/tasks/4"));
    }
};

VEXO_WIDGET_TEST_MAIN(tst_SheetKeys)
#include "tst_SheetKeys.moc"
