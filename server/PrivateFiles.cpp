#include "PrivateFiles.h"

#include <QDir>
#include <QFile>
#include <QSaveFile>

bool PrivateFiles::makeFolder(const QString& path) {
    return QDir().mkpath(path) && QFile::setPermissions(path, folderMode);
}

bool PrivateFiles::protect(const QString& path) {
    return !QFile::exists(path) || QFile::setPermissions(path, fileMode);
}

bool PrivateFiles::write(const QString& path, const QByteArray& bytes) {
    QSaveFile file(path);
    // The permissions go on the temporary file, before any byte, and the rename keeps them.
    return file.open(QIODevice::WriteOnly) && file.setPermissions(fileMode) && file.write(bytes) == bytes.size() &&
           file.commit();
}
