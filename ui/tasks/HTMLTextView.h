#pragma once

#include <QTextBrowser>

class SafeTextDocument;
class Theme;

// A task description: its HTML imported as styled text, 14 pt in the secondary text colour,
// selectable, links opening in the browser. When the import gives nothing, the plain text of the
// description is shown instead.
class HTMLTextView final : public QTextBrowser {
    Q_OBJECT

public:
    HTMLTextView(Theme& theme, QWidget* parent = nullptr);

    void setHtmlDescription(const QString& html);
    QString html() const { return m_html; }
    bool showsImport() const { return m_imported; }
    QSize sizeHint() const override;

private:
    void render();

    Theme& m_theme;
    SafeTextDocument* m_document;
    QString m_html;
    bool m_imported = false;
};
