#include "Secrets.h"

#include <QCryptographicHash>
#include <QRandomGenerator>

namespace Secrets {

QString randomUrlSafe(int length) {
    static constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    QString out;
    out.reserve(length);
    QRandomGenerator* random = QRandomGenerator::system();
    for (int i = 0; i < length; ++i)
        out.append(QLatin1Char(alphabet[random->bounded(64)]));
    return out;
}

QString newLoginKey() {
    return QStringLiteral("vexo-tasks-") + randomUrlSafe(32);
}

QString newSessionToken() {
    QByteArray bytes(32, Qt::Uninitialized);
    QRandomGenerator::system()->generate(bytes.begin(), bytes.end());
    return QString::fromLatin1(bytes.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}

QString newApiKey() {
    return QStringLiteral("vexoapi-") + randomUrlSafe(32);
}

QString hash(const QString& secret) {
    return QString::fromLatin1(QCryptographicHash::hash(secret.toUtf8(), QCryptographicHash::Sha256).toHex());
}

} // namespace Secrets
