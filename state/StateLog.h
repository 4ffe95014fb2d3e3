#pragma once

#include <QLoggingCategory>

// Outcomes of state operations that show no message; never a token or key.
Q_DECLARE_LOGGING_CATEGORY(lcState)
