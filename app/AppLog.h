#pragma once

#include <QLoggingCategory>

// The application shell's life on the desktop: hand-overs, notifications, the tray; never a key.
Q_DECLARE_LOGGING_CATEGORY(lcApp)
