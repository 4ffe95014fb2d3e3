#pragma once

#include <QByteArray>
#include <QString>

// The one documentation page: how to create a task from outside with the personal API key.
QByteArray docsPage(const QString& base);
