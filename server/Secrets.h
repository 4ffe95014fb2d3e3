#pragma once

#include <QByteArray>
#include <QString>

// Keys and tokens from the system's CSPRNG, and the one-way hash they are stored under.
namespace Secrets {

// `length` characters of the URL-safe alphabet A-Z a-z 0-9 - _.
QString randomUrlSafe(int length);
// "vexo-tasks-" + 32 URL-safe characters: what the bot's /mykey gives.
QString newLoginKey();
// 256 random bits, URL-safe text.
QString newSessionToken();
// "vexoapi-" + 32 URL-safe characters.
QString newApiKey();
// Hex SHA-256; secrets are stored only this way.
QString hash(const QString& secret);

} // namespace Secrets
