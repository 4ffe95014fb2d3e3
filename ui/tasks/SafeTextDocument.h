#pragma once

#include <QTextDocument>

// A document for text from elsewhere: it loads no resource of any kind (no images, no style
// sheets, local or remote). Descriptions are built into it piece by piece and never reach the
// HTML importer; this is the second guard, should anything ever ask it for a resource.
class SafeTextDocument final : public QTextDocument {
    Q_OBJECT

public:
    using QTextDocument::QTextDocument;

protected:
    QVariant loadResource(int type, const QUrl& name) override;
};
