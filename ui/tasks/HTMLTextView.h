#pragma once

#include <QTextBrowser>
#include <QTimer>

#include <memory>

class DescriptionRenderer;
class QAbstractButton;
class SafeTextDocument;
class Theme;

// A task description: its HTML shown as styled, selectable text, 14 pt in the secondary text
// colour whatever the description says, links opening in the browser. Only what a description
// may show is kept (see HtmlSanitizer), nothing is ever loaded from disk or network, and when the
// markup shows no text the plain text of the description is shown instead.
//
// A long description is cut after a couple of screens; "Показать полностью" then shows the rest,
// a bounded step per turn of the event loop, so that no description holds the window up.
class HTMLTextView final : public QTextBrowser {
    Q_OBJECT

public:
    HTMLTextView(Theme& theme, QWidget* parent = nullptr);
    ~HTMLTextView() override;

    void setHtmlDescription(const QString& html);
    QString html() const { return m_html; }
    bool showsImport() const;

    // The description is cut and "Показать полностью" is offered.
    bool isCut() const;
    // The rest is being shown, step by step.
    bool isRevealing() const { return m_revealing; }
    // What "Показать полностью" does.
    void showAll();
    QAbstractButton* showAllButton() const;
    // Description bytes given to the parser so far.
    qsizetype parsedBytes() const;
    // One step of rendering, as the view's timer runs it. False when nothing is left to do.
    bool renderStep();

    QSize sizeHint() const override;

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void applyTheme();
    void renderFirst();
    void updateShowAll();
    void placeShowAll();
    bool wantsMore() const;

    Theme& m_theme;
    SafeTextDocument* m_document;
    std::unique_ptr<DescriptionRenderer> m_renderer;
    QAbstractButton* m_showAll;
    QTimer m_steps;
    QString m_html;
    bool m_revealing = false;
};
