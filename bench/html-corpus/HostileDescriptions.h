#pragma once

#include <QList>
#include <QString>

// Task descriptions written to hurt a renderer: deep nesting, huge texts, markup that makes an
// HTML parser or a text layout work out of proportion to its size, and references to local files
// and network addresses. Each stays under the service's 1 MiB request body limit.
struct HostileDescription {
    QString name;
    QString html;
};

QList<HostileDescription> hostileDescriptions();

// The same, for files: a FIFO or other path that rendering must never open, written into the
// descriptions that reference local files.
QList<HostileDescription> fileReferencingDescriptions(const QString& path);
