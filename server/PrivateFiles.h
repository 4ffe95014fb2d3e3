#pragma once

#include <QByteArray>
#include <QFileDevice>
#include <QString>

// Everything the service keeps is readable by its own user alone, whatever the umask: the folders
// 0700, the database, its journal and the stored files 0600. The database holds API keys and
// the files are people's attachments.
class PrivateFiles final {
public:
    static constexpr QFileDevice::Permissions fileMode = QFileDevice::ReadOwner | QFileDevice::WriteOwner;
    static constexpr QFileDevice::Permissions folderMode =
        QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner;

    // Creates the folder (and its parents) when needed and makes it private, also when it existed.
    static bool makeFolder(const QString& path);
    // Makes an existing file private; true when there is no such file.
    static bool protect(const QString& path);
    // Writes the whole file atomically, private from its first byte.
    static bool write(const QString& path, const QByteArray& bytes);
};
