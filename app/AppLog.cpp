#include "AppLog.h"

Q_LOGGING_CATEGORY(lcApp, "vexo.app", QtWarningMsg)
