#pragma once

#include <QLoggingCategory>

Q_DECLARE_LOGGING_CATEGORY(lcServer)
// One line per request: method, path, status, milliseconds.
Q_DECLARE_LOGGING_CATEGORY(lcAccess)
