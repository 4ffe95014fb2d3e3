#include "HTMLTextView.h"

#include "Fonts.h"
#include "HtmlText.h"
#include "SafeTextDocument.h"
#include "Theme.h"

#include <QAbstractTextDocumentLayout>
#include <QDesktopServices>

using namespace Qt::StringLiterals;

HTMLTextView::HTMLTextView(Theme& theme, QWidget* parent)
    : QTextBrowser(parent)
    , m_theme(theme)
    , m_document(new SafeTextDocument(this)) {
    setDocument(m_document);
    m_document->setDocumentMargin(0);
    setOpenLinks(false);
    setFrameShape(QFrame::NoFrame);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setTextInteractionFlags(Qt::TextBrowserInteraction);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Minimum);
    connect(this, &QTextBrowser::anchorClicked, this, [](const QUrl& url) {
        // Only addresses meant for a browser leave the application.
        if (url.scheme() == u"http" || url.scheme() == u"https" || url.scheme() == u"mailto" || url.scheme() == u"tg")
            QDesktopServices::openUrl(url);
    });
    connect(m_document->documentLayout(), &QAbstractTextDocumentLayout::documentSizeChanged, this,
            [this] { updateGeometry(); });
    connect(&m_theme, &Theme::changed, this, &HTMLTextView::render);
}

void HTMLTextView::setHtmlDescription(const QString& html) {
    m_html = html;
    render();
}

void HTMLTextView::render() {
    const Palette& p = m_theme.palette();
    m_document->setDefaultFont(uiFont(14));
    // The description's own colours give way to the palette's, as its fonts give way to ours.
    m_document->setDefaultStyleSheet(
        u"* { color: %1; } a { color: %2; }"_s.arg(p.textSecondary.name(), p.accent.name()));
    QPalette palette = this->palette();
    palette.setColor(QPalette::Base, Qt::transparent);
    palette.setColor(QPalette::Text, p.textSecondary);
    setPalette(palette);
    setStyleSheet(u"QTextBrowser { background: transparent; border: none; padding: 0; color: %1; }"_s.arg(
        p.textSecondary.name()));

    m_imported = false;
    if (m_html.isEmpty()) {
        m_document->clear();
        updateGeometry();
        return;
    }
    m_document->setHtml(m_html);
    if (m_document->toPlainText().trimmed().isEmpty() && !stripHTML(m_html).isEmpty()) {
        m_document->setPlainText(stripHTML(m_html));
    } else {
        m_imported = true;
    }
    updateGeometry();
}

QSize HTMLTextView::sizeHint() const {
    const int width = qMax(200, viewport()->width());
    m_document->setTextWidth(width);
    return {width, int(m_document->size().height()) + 4};
}
