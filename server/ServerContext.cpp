#include "ServerContext.h"

QString ServerContext::nowText() const {
    return clock.now().toUTC().toString(Qt::ISODateWithMs);
}
