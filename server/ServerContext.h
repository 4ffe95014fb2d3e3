#pragma once

#include "Clock.h"
#include "Storage.h"

#include <QDir>
#include <QString>

// What every handler shares: the storage, the clock and the data folder.
struct ServerContext {
    Storage& storage;
    const Clock& clock;
    QDir dataDir;

    // Now in the answer form: ISO 8601 with milliseconds, UTC.
    QString nowText() const;
    QString attachmentPath(const QString& storedName) const;
    QString avatarPath(const QString& storedName) const;
};
