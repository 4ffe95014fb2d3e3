#include "SettingsStore.h"

#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

class tst_SettingsStore final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void valuesSurviveAReopen() {
        QTemporaryDir dir;
        const QString file = dir.filePath(u"settings.conf"_s);
        const QByteArray binary("{\"id\":1}\0\xff\n", 12);
        {
            SettingsStore store(file);
            QCOMPARE(store.text(u"vexo_token"_s), std::nullopt);
            store.setText(u"vexo_token"_s, u"токен 123"_s);
            store.setData(u"vexo_user"_s, binary);
        }
        SettingsStore reopened(file);
        QCOMPARE(reopened.text(u"vexo_token"_s), std::optional<QString>(u"токен 123"_s));
        QCOMPARE(reopened.data(u"vexo_user"_s), std::optional<QByteArray>(binary));
        reopened.remove(u"vexo_token"_s);
        QCOMPARE(SettingsStore(file).text(u"vexo_token"_s), std::nullopt);
        QCOMPARE(SettingsStore(file).data(u"vexo_user"_s), std::optional<QByteArray>(binary));
    }

    // The file holds the session token: owner only, whatever the umask says.
    void fileIsPrivate() {
        QTemporaryDir dir;
        const QString file = dir.filePath(u"settings.conf"_s);
        const mode_t previous = ::umask(0);
        SettingsStore store(file);
        store.setText(u"vexo_token"_s, u"secret"_s);
        ::umask(previous);
        QCOMPARE(QFileInfo(file).permissions() &
                     ~(QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser),
                 QFile::Permissions());
        store.setText(u"vexo_theme"_s, u"light"_s);
        QCOMPARE(QFileInfo(file).permissions() & (QFile::ReadOther | QFile::ReadGroup), QFile::Permissions());
    }
};

QTEST_GUILESS_MAIN(tst_SettingsStore)
#include "tst_SettingsStore.moc"
