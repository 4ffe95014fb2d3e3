#include "Theme.h"

#include "KeyValueStore.h"
#include "Style.h"

#include <QApplication>
#include <QEvent>
#include <QPalette>
#include <QWidget>

using namespace Qt::StringLiterals;

namespace {

const QString themeKey = u"vexo_theme"_s;

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

void Theme::setDesktopScheme(std::optional<bool> prefersDark) {
    if (prefersDark == m_desktopPrefersDark)
        return;
    m_desktopPrefersDark = prefersDark;
    if (m_preference == u"system" && systemIsDark() != m_dark)
        update();
}

bool Theme::systemIsDark() const {
    if (m_desktopPrefersDark)
        return *m_desktopPrefersDark;
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

    qApp->setStyleSheet(Style::sheet(p));
    // Painted widgets read the palette when they paint: have every window paint again.
    const auto windows = QApplication::topLevelWidgets();
    for (QWidget* window : windows)
        window->update();
    m_applying = false;
}
