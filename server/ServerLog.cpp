#include "ServerLog.h"

Q_LOGGING_CATEGORY(lcServer, "vexo.server", QtInfoMsg)
Q_LOGGING_CATEGORY(lcAccess, "vexo.access", QtInfoMsg)
