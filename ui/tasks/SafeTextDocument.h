#pragma once

#include <QTextDocument>

// A document for HTML from elsewhere: it loads no resource of any kind (no images, no style
// sheets, local or remote), so a description can show text and links and nothing else.
class SafeTextDocument final : public QTextDocument {
    Q_OBJECT

public:
    using QTextDocument::QTextDocument;

protected:
    QVariant loadResource(int type, const QUrl& name) override;
};
