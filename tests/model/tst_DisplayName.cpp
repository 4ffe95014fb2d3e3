#include "AdminUser.h"
#include "User.h"

#include <QTest>

using namespace Qt::StringLiterals;

using OptionalText = std::optional<QString>;
Q_DECLARE_METATYPE(OptionalText)

class tst_DisplayName final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void user_data() {
        QTest::addColumn<OptionalText>("first");
        QTest::addColumn<OptionalText>("last");
        QTest::addColumn<OptionalText>("username");
        QTest::addColumn<QString>("expected");
        const OptionalText none;
        QTest::newRow("both names") << OptionalText(u"Иван"_s) << OptionalText(u"Петров"_s) << OptionalText(u"ivan"_s)
                                    << u"Иван Петров"_s;
        QTest::newRow("first only, no trailing space") << OptionalText(u"Иван"_s) << none << none << u"Иван"_s;
        QTest::newRow("first only, empty last") << OptionalText(u"Иван"_s) << OptionalText(u""_s) << none << u"Иван"_s;
        QTest::newRow("last only") << none << OptionalText(u"Петров"_s) << none << u"Петров"_s;
        QTest::newRow("empty names, username")
            << OptionalText(u""_s) << OptionalText(u""_s) << OptionalText(u"ivan"_s) << u"ivan"_s;
        QTest::newRow("username has no prefix") << none << none << OptionalText(u"ivan"_s) << u"ivan"_s;
        QTest::newRow("empty username is still the username") << none << none << OptionalText(u""_s) << u""_s;
        QTest::newRow("nothing at all") << none << none << none << u"User"_s;
    }

    void user() {
        QFETCH(OptionalText, first);
        QFETCH(OptionalText, last);
        QFETCH(OptionalText, username);
        QFETCH(QString, expected);
        User person;
        person.telegramId = u"12345"_s;
        person.firstName = first;
        person.lastName = last;
        person.username = username;
        QCOMPARE(person.displayName(), expected);
    }

    void adminUser_data() {
        QTest::addColumn<OptionalText>("first");
        QTest::addColumn<OptionalText>("last");
        QTest::addColumn<OptionalText>("username");
        QTest::addColumn<QString>("expected");
        const OptionalText none;
        QTest::newRow("both names") << OptionalText(u"Анна"_s) << OptionalText(u"Смирнова"_s) << none
                                    << u"Анна Смирнова"_s;
        QTest::newRow("last only, no leading space") << none << OptionalText(u"Смирнова"_s) << none << u"Смирнова"_s;
        QTest::newRow("username") << none << none << OptionalText(u"anna"_s) << u"anna"_s;
        QTest::newRow("nothing: telegram id") << none << none << none << u"User #12345"_s;
        // The panel drops only absent parts; a stored empty part still takes its place.
        QTest::newRow("empty first, last")
            << OptionalText(u""_s) << OptionalText(u"Смирнова"_s) << none << u" Смирнова"_s;
        QTest::newRow("empty first only") << OptionalText(u""_s) << none << OptionalText(u"anna"_s) << u"anna"_s;
    }

    void adminUser() {
        QFETCH(OptionalText, first);
        QFETCH(OptionalText, last);
        QFETCH(OptionalText, username);
        QFETCH(QString, expected);
        AdminUser person;
        person.telegramId = u"12345"_s;
        person.firstName = first;
        person.lastName = last;
        person.username = username;
        QCOMPARE(person.displayName(), expected);
    }
};

QTEST_GUILESS_MAIN(tst_DisplayName)
#include "tst_DisplayName.moc"
