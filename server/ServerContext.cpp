#include "ServerContext.h"

QString ServerContext::nowText() const {
    return clock.now().toUTC().toString(Qt::ISODateWithMs);
}

QString ServerContext::attachmentPath(const QString& storedName) const {
    return dataDir.filePath(QStringLiteral("attachments/") + storedName);
}

QString ServerContext::avatarPath(const QString& storedName) const {
    return dataDir.filePath(QStringLiteral("avatars/") + storedName);
}
