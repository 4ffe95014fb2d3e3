#pragma once

#include "Clock.h"
#include "Storage.h"

#include <QString>

// What every handler shares: the storage and the clock.
struct ServerContext {
    Storage& storage;
    const Clock& clock;

    // Now in the answer form: ISO 8601 with milliseconds, UTC.
    QString nowText() const;
};
