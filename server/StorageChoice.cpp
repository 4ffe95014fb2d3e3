#include "StorageChoice.h"

#include "PostgresStorage.h"
#include "PrivateFiles.h"
#include "ServerError.h"
#include "SqliteStorage.h"

#include <QDir>

using namespace Qt::StringLiterals;

QString StorageChoice::describe() const {
    QString text = database ? database->describe() : u"SQLite в "_s + dataDir;
    if (contentFolder)
        text += u", файлы в "_s + *contentFolder;
    else if (database)
        text += u", файлы в базе"_s;
    return text;
}

std::unique_ptr<Storage> StorageChoice::open() const {
    if (contentFolder && !PrivateFiles::makeFolder(*contentFolder))
        throw ServerError(ErrorKind::internal, u"Не удалось создать каталог %1"_s.arg(*contentFolder));
    if (database)
        return std::make_unique<PostgresStorage>(*database, contentFolder);
    if (!PrivateFiles::makeFolder(dataDir))
        throw ServerError(ErrorKind::internal, u"Не удалось создать каталог данных %1"_s.arg(dataDir));
    return std::make_unique<SqliteStorage>(QDir(dataDir).filePath(u"vexo.db"_s), contentFolder);
}
