#include "Theme.h"

#include "KeyValueStore.h"

#include <QApplication>
#include <QEvent>
#include <QPalette>

using namespace Qt::StringLiterals;

namespace {

const QString themeKey = u"vexo_theme"_s;

QString css(const QColor& color) {
    return color.alpha() == 255 ? color.name()
                                : u"rgba(%1,%2,%3,%4)"_s.arg(color.red())
                                      .arg(color.green())
                                      .arg(color.blue())
                                      .arg(color.alphaF(), 0, 'f', 3);
}

} // namespace

Theme::Theme(KeyValueStore& store, QObject* parent)
    : QObject(parent)
    , m_store(store)
    , m_systemPalette(QApplication::palette()) {
    m_preference = m_store.text(themeKey).value_or(u"dark"_s);
    if (m_preference != u"system" && m_preference != u"light")
        m_preference = u"dark"_s;
    m_dark = m_preference == u"system" ? systemIsDark() : m_preference == u"dark";
    qApp->installEventFilter(this);
}

void Theme::setPreference(const QString& preference) {
    if (preference != u"system" && preference != u"dark" && preference != u"light")
        return;
    m_store.setText(themeKey, preference);
    if (preference == m_preference)
        return;
    m_preference = preference;
    update();
}

bool Theme::systemIsDark() const {
    // Qt 6.4 has no colour-scheme hint yet: the desktop's own palette tells.
    return m_systemPalette.color(QPalette::Window).lightness() < 128;
}

void Theme::update() {
    const bool dark = m_preference == u"system" ? systemIsDark() : m_preference == u"dark";
    m_dark = dark;
    apply();
    Q_EMIT changed();
}

bool Theme::eventFilter(QObject* watched, QEvent* event) {
    // The desktop changed its palette (or theme) underneath us: remember it and follow when asked to.
    if (watched == qApp && !m_applying &&
        (event->type() == QEvent::ApplicationPaletteChange || event->type() == QEvent::ThemeChange)) {
        if (m_preference == u"system" && systemIsDark() != m_dark)
            update();
    }
    return QObject::eventFilter(watched, event);
}

void Theme::apply() {
    m_applying = true;
    const Palette& p = palette();
    QPalette qt;
    qt.setColor(QPalette::Window, p.background);
    qt.setColor(QPalette::WindowText, p.textPrimary);
    qt.setColor(QPalette::Base, p.raised);
    qt.setColor(QPalette::AlternateBase, p.panel);
    qt.setColor(QPalette::Text, p.textPrimary);
    qt.setColor(QPalette::PlaceholderText, p.textTertiary);
    qt.setColor(QPalette::Button, p.raised);
    qt.setColor(QPalette::ButtonText, p.textPrimary);
    qt.setColor(QPalette::Highlight, p.accent);
    qt.setColor(QPalette::HighlightedText, p.onAccent);
    qt.setColor(QPalette::ToolTipBase, p.raised);
    qt.setColor(QPalette::ToolTipText, p.textPrimary);
    qt.setColor(QPalette::Link, p.accent);
    qt.setColor(QPalette::Disabled, QPalette::Text, p.textTertiary);
    qt.setColor(QPalette::Disabled, QPalette::WindowText, p.textTertiary);
    qt.setColor(QPalette::Disabled, QPalette::ButtonText, p.textTertiary);
    QApplication::setPalette(qt);

    qApp->setStyleSheet(uR"(
QWidget#vexoRoot, QDialog { background: %1; }
QWidget#vexoSidebar { background: %2; border-right: 1px solid %6; }
QLineEdit, QTextEdit, QPlainTextEdit {
    background: %3; color: %4; border: 1px solid %6; border-radius: 8px; padding: 8px 10px;
    selection-background-color: %7; selection-color: %8;
}
QLineEdit:focus, QTextEdit:focus, QPlainTextEdit:focus { border: 1px solid %7; }
QMenu { background: %3; color: %4; border: 1px solid %6; border-radius: 8px; padding: 4px; }
QMenu::item { padding: 6px 22px 6px 10px; border-radius: 5px; }
QMenu::item:selected { background: %7; color: %8; }
QMenu::separator { height: 1px; background: %6; margin: 4px 6px; }
QMenu::icon { padding-left: 8px; }
QToolTip { background: %3; color: %4; border: 1px solid %6; }
QScrollBar:vertical { background: transparent; width: 10px; margin: 2px; }
QScrollBar::handle:vertical { background: %6; border-radius: 3px; min-height: 30px; }
QScrollBar::handle:vertical:hover { background: %5; }
QScrollBar::add-line, QScrollBar::sub-line { height: 0; width: 0; }
QScrollBar::add-page, QScrollBar::sub-page { background: transparent; }
QListView { background: transparent; border: none; outline: none; }
QSplitter::handle { background: %6; }
)"_s.arg(css(p.background), css(p.panel), css(p.raised), css(p.textPrimary), css(p.textTertiary), css(p.border),
         css(p.accent), css(p.onAccent)));
    m_applying = false;
}
