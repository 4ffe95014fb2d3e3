#include "ServiceLog.h"

Q_LOGGING_CATEGORY(lcService, "vexo.service", QtWarningMsg)
