#pragma once

#include <QLoggingCategory>

// Requests are logged by method, path and outcome; never a header, body, token or key.
Q_DECLARE_LOGGING_CATEGORY(lcService)
