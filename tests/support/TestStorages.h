#pragma once

#include "LocalService.h"
#include "SqlConnection.h"
#include "SqlStorage.h"

#include <QHash>
#include <QTemporaryDir>

#include <functional>
#include <memory>

// Storages for tests below the HTTP layer, by name, on the test program's backend: SQLite files in a
// temporary folder, or databases on its PostgreSQL. The same name opens the same storage again.
class TestStorages final {
public:
    explicit TestStorages(TestBackend backend = testBackend());
    ~TestStorages();

    TestBackend backend() const { return m_backend; }
    // `contentFolder`: where attachment and avatar contents go, instead of the backend's default.
    std::unique_ptr<SqlStorage> open(const QString& name = QStringLiteral("main"),
                                     const std::optional<QString>& contentFolder = std::nullopt);
    // A bare connection to the named database, no schema applied: for building older ones by hand.
    void withConnection(const QString& name, const std::function<void(SqlConnection&)>& work);
    // Forgets the named storage: the next open() starts from nothing.
    void discard(const QString& name);
    // What the command line needs to reach it.
    QStringList arguments(const QString& name = QStringLiteral("main"));

private:
    QString fileOf(const QString& name) const;
    QString addressOf(const QString& name);

    TestBackend m_backend;
    QTemporaryDir m_dir;
    QHash<QString, QString> m_databases; // name → PostgreSQL database
};
