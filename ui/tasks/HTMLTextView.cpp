#include "HTMLTextView.h"

#include "DescriptionRenderer.h"
#include "Fonts.h"
#include "SafeTextDocument.h"
#include "Style.h"
#include "Theme.h"
#include "VexoButton.h"

#include <QAbstractTextDocumentLayout>
#include <QDesktopServices>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr int showAllGap = 6;

DescriptionRenderer::Colors colorsOf(const Palette& palette) {
    return {palette.accent};
}

} // namespace

HTMLTextView::HTMLTextView(Theme& theme, QWidget* parent)
    : QTextBrowser(parent)
    , m_theme(theme)
    , m_document(new SafeTextDocument(this))
    , m_renderer(std::make_unique<DescriptionRenderer>(*m_document))
    , m_showAll(new VexoButton(theme, VexoButton::Kind::ghost, u"Показать полностью"_s, this)) {
    setDocument(m_document);
    m_document->setUndoRedoEnabled(false);
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

    m_showAll->hide();
    connect(m_showAll, &QAbstractButton::clicked, this, &HTMLTextView::showAll);
    m_steps.setSingleShot(true);
    m_steps.setInterval(0);
    connect(&m_steps, &QTimer::timeout, this, [this] {
        if (renderStep())
            m_steps.start();
    });
    Style::setRole(this, u"description"_s);
    connect(&m_theme, &Theme::changed, this, &HTMLTextView::applyTheme);
    applyTheme();
}

HTMLTextView::~HTMLTextView() = default;

void HTMLTextView::applyTheme() {
    const Palette& p = m_theme.palette();
    // Each setting of the document's font lays all of it out again: only when it differs.
    if (m_document->defaultFont() != uiFont(14))
        m_document->setDefaultFont(uiFont(14));
    QPalette palette = this->palette();
    palette.setColor(QPalette::Base, Qt::transparent);
    palette.setColor(QPalette::Text, p.textSecondary);
    setPalette(palette);
    m_renderer->setColors(colorsOf(p));
}

bool HTMLTextView::showsImport() const {
    return m_renderer->showsImport();
}

qsizetype HTMLTextView::parsedBytes() const {
    return m_renderer->parsedBytes();
}

QAbstractButton* HTMLTextView::showAllButton() const {
    return m_showAll;
}

void HTMLTextView::setHtmlDescription(const QString& html) {
    // The same description again (the task changed elsewhere): what is shown, and how much of it,
    // stays as it is.
    if (html == m_html)
        return;
    m_html = html;
    m_steps.stop();
    m_revealing = false;
    m_renderer->start(html, uiFont(14), colorsOf(m_theme.palette()));
    renderFirst();
}

namespace {

bool withinFirstRender(const DescriptionRenderer& renderer) {
    constexpr DescriptionRenderer::Budget cap = DescriptionRenderer::firstRender;
    return renderer.shownCharacters() < cap.characters && renderer.shownBlocks() < cap.blocks &&
           renderer.shownPieces() < cap.pieces;
}

DescriptionRenderer::Budget firstRenderLeft(const DescriptionRenderer& renderer, int parses) {
    constexpr DescriptionRenderer::Budget cap = DescriptionRenderer::firstRender;
    return {qMax<qsizetype>(0, cap.characters - renderer.shownCharacters()),
            qMax(0, cap.blocks - renderer.shownBlocks()), qMax(0, cap.pieces - renderer.shownPieces()), parses};
}

} // namespace

bool HTMLTextView::wantsMore() const {
    if (m_renderer->isDeciding())
        return true;
    return m_renderer->hasMore() && (m_revealing || withinFirstRender(*m_renderer));
}

bool HTMLTextView::isCut() const {
    return !m_revealing && !m_renderer->isDeciding() && m_renderer->hasMore() && !withinFirstRender(*m_renderer);
}

void HTMLTextView::renderFirst() {
    m_renderer->render(firstRenderLeft(*m_renderer, DescriptionRenderer::firstRender.parses));
    // Markup that shows little for its size is read on over the next turns of the event loop.
    if (wantsMore())
        m_steps.start();
    updateShowAll();
    updateGeometry();
}

bool HTMLTextView::renderStep() {
    if (!wantsMore()) {
        m_revealing = false;
        updateShowAll();
        return false;
    }
    if (m_revealing)
        m_renderer->render(DescriptionRenderer::step);
    else
        m_renderer->render(firstRenderLeft(*m_renderer, DescriptionRenderer::step.parses));
    if (!m_renderer->hasMore())
        m_revealing = false;
    updateShowAll();
    updateGeometry();
    return wantsMore();
}

void HTMLTextView::showAll() {
    if (!isCut())
        return;
    m_revealing = true;
    updateShowAll();
    m_steps.start();
}

void HTMLTextView::updateShowAll() {
    const bool cut = isCut();
    if (cut == !m_showAll->isHidden())
        return;
    m_showAll->setVisible(cut);
    setViewportMargins(0, 0, 0, cut ? m_showAll->sizeHint().height() + showAllGap : 0);
    placeShowAll();
    updateGeometry();
}

void HTMLTextView::placeShowAll() {
    // Under the text, in the margin kept for it below the viewport.
    const QSize button = m_showAll->sizeHint();
    m_showAll->setGeometry(0, height() - button.height(), button.width(), button.height());
}

void HTMLTextView::resizeEvent(QResizeEvent* event) {
    QTextBrowser::resizeEvent(event);
    placeShowAll();
}

QSize HTMLTextView::sizeHint() const {
    const int width = qMax(200, viewport()->width());
    // Setting the width lays the whole document out again: only when it changes.
    if (m_document->textWidth() != width)
        m_document->setTextWidth(width);
    const int button = m_showAll->isHidden() ? 0 : m_showAll->sizeHint().height() + showAllGap;
    return {width, int(std::ceil(m_document->size().height())) + 4 + button};
}
