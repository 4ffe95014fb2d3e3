#pragma once

#include <QByteArray>
#include <QString>

// The one documentation page: how to create a task from outside with the personal API key, the
// change feed and conditional reads.
QByteArray docsPage(const QString& base);
