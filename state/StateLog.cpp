#include "StateLog.h"

Q_LOGGING_CATEGORY(lcState, "vexo.state", QtWarningMsg)
