#include "Style.h"

#include <QStyle>
#include <QWidget>

using namespace Qt::StringLiterals;

namespace Style {

QString css(const QColor& color) {
    return color.alpha() == 255 ? color.name()
                                : u"rgba(%1,%2,%3,%4)"_s.arg(color.red())
                                      .arg(color.green())
                                      .arg(color.blue())
                                      .arg(color.alphaF(), 0, 'f', 3);
}

void setProperty(QWidget* widget, const char* name, const QVariant& value) {
    if (widget->property(name) == value)
        return;
    widget->setProperty(name, value);
    // Property selectors are matched when a widget is polished: match them again now.
    if (widget->testAttribute(Qt::WA_WState_Polished)) {
        widget->style()->unpolish(widget);
        widget->style()->polish(widget);
        widget->update();
    }
}

void setText(QWidget* widget, Palette::Role role) {
    setProperty(widget, "vexoText", Palette::roleName(role));
}

void setRole(QWidget* widget, const QString& role) {
    setProperty(widget, "vexoRole", role);
}

namespace {

QColor withAlpha(QColor color, qreal alpha) {
    color.setAlphaF(alpha);
    return color;
}

} // namespace

QString sheet(const Palette& p) {
    QString out;
    const auto rule = [&out](const QString& text) { out += text + u'\n'; };
    const QString bg = css(p.background), panel = css(p.panel), raised = css(p.raised), hover = css(p.raisedHover),
                  accent = css(p.accent), onAccent = css(p.onAccent), primary = css(p.textPrimary),
                  secondary = css(p.textSecondary), tertiary = css(p.textTertiary), border = css(p.border);

    // Surfaces and the stock controls.
    rule(u"QWidget#vexoRoot, QDialog { background: %1; }"_s.arg(bg));
    rule(u"QWidget#vexoSidebar { background: %1; border-right: 1px solid %2; }"_s.arg(panel, border));
    rule(u"QScrollArea#sidebarScroll, QScrollArea#sidebarScroll > QWidget > QWidget { background: transparent; }"_s);
    rule(u"QLineEdit, QTextEdit, QPlainTextEdit { background: %1; color: %2; border: 1px solid %3; border-radius: 8px;"
         u" padding: 8px 10px; selection-background-color: %4; selection-color: %5; }"_s.arg(raised, primary, border,
                                                                                             accent, onAccent));
    // A focused field takes a 2-point ring in the accent; the padding gives back the extra point so
    // the text does not move.
    rule(u"QLineEdit:focus, QTextEdit:focus, QPlainTextEdit:focus { border: 2px solid %1; padding: 7px 9px; }"_s.arg(
        accent));
    rule(u"QMenu { background: %1; color: %2; border: 1px solid %3; border-radius: 8px; padding: 4px; }"_s.arg(
        raised, primary, border));
    rule(u"QMenu::item { padding: 6px 22px 6px 10px; border-radius: 5px; }"_s);
    rule(u"QMenu::item:selected { background: %1; color: %2; }"_s.arg(accent, onAccent));
    rule(u"QMenu::separator { height: 1px; background: %1; margin: 4px 6px; }"_s.arg(border));
    rule(u"QMenu::icon { padding-left: 8px; }"_s);
    rule(u"QToolTip { background: %1; color: %2; border: 1px solid %3; }"_s.arg(raised, primary, border));
    rule(u"QScrollBar:vertical { background: transparent; width: 10px; margin: 2px; }"_s);
    rule(u"QScrollBar::handle:vertical { background: %1; border-radius: 3px; min-height: 30px; }"_s.arg(border));
    rule(u"QScrollBar::handle:vertical:hover { background: %1; }"_s.arg(tertiary));
    rule(u"QScrollBar::add-line, QScrollBar::sub-line { height: 0; width: 0; }"_s);
    rule(u"QScrollBar::add-page, QScrollBar::sub-page { background: transparent; }"_s);
    rule(u"QListView { background: transparent; border: none; outline: none; }"_s);
    rule(u"QSplitter::handle { background: %1; }"_s.arg(border));

    // Text in the palette's colours.
    for (Palette::Role role : Palette::textRoles())
        rule(u"*[vexoText=\"%1\"] { color: %2; }"_s.arg(Palette::roleName(role), css(p.color(role))));
    rule(u"*[vexoText=\"onAccent\"] { color: %1; }"_s.arg(onAccent));

    rule(u"QFrame[vexoRole=\"divider\"] { background: %1; border: none; }"_s.arg(border));
    // A task's description: text on the page's own ground, in the secondary colour whatever it asks for.
    rule(u"QTextBrowser[vexoRole=\"description\"] { background: transparent; border: none; padding: 0; color: %1; }"_s
             .arg(secondary));

    // The one chip: deadline filters, quick dates, the theme choice, the statistics range.
    rule(u"QPushButton[vexoRole=\"chip\"] { color: %1; background: %2; border: none; border-radius: 7px;"
         u" padding: 5px 10px; font-weight: 400; }"_s.arg(secondary, raised));
    rule(u"QPushButton[vexoRole=\"chip\"]:hover { background: %1; }"_s.arg(hover));
    rule(u"QPushButton[vexoRole=\"chip\"]:checked { color: %1; background: %2; font-weight: 600; }"_s.arg(onAccent,
                                                                                                          accent));

    // Priority chips take their priority's colour; the chosen one is tinted and outlined in it.
    for (TaskPriority priority : allTaskPriorities) {
        const Palette::Role role = Palette::priorityRole(priority);
        const QColor colour = p.color(role);
        const QString tone = Palette::roleName(role);
        rule(u"QPushButton[vexoRole=\"priorityChip\"][vexoTone=\"%1\"] { color: %2; background: transparent;"
             u" border: 1px solid %3; border-radius: 7px; padding: 6px 12px; font-weight: 400; }"_s.arg(
                 tone, css(colour), border));
        rule(u"QPushButton[vexoRole=\"priorityChip\"][vexoTone=\"%1\"]:checked { background: %2; border-color: %3;"
             u" font-weight: 600; }"_s.arg(tone, css(withAlpha(colour, 0.15)), css(colour)));
    }

    // Navigation in the sidebar.
    rule(u"QPushButton[vexoRole=\"sidebarItem\"] { text-align: left; color: %1; background: transparent; border: none;"
         u" border-radius: 7px; padding: 7px 8px; }"_s.arg(secondary));
    rule(u"QPushButton[vexoRole=\"sidebarItem\"]:hover { background: %1; }"_s.arg(raised));
    rule(u"QPushButton[vexoRole=\"sidebarItem\"]:checked { background: %1; color: %2; font-weight: 600; }"_s.arg(
        css(withAlpha(p.accent, p.dark ? 0.16 : 0.14)), primary));

    // Buttons without chrome: icon-only ones and plain text ones.
    rule(u"QPushButton[vexoRole=\"iconButton\"] { background: transparent; border: none; border-radius: 5px; }"_s);
    rule(u"QPushButton[vexoRole=\"iconButton\"]:hover { background: %1; }"_s.arg(raised));
    rule(u"QPushButton[vexoRole=\"plain\"] { color: %1; background: transparent; border: none; padding: 4px 6px;"
         u" border-radius: 6px; }"_s.arg(secondary));
    rule(u"QPushButton[vexoRole=\"plain\"]:hover { background: %1; color: %2; }"_s.arg(raised, primary));
    rule(u"QToolButton[vexoRole=\"menuButton\"] { color: %1; background: transparent; border: none;"
         u" padding: 5px 4px; }"_s.arg(secondary));
    rule(u"QToolButton[vexoRole=\"menuButton\"]::menu-indicator { image: none; width: 0; }"_s);

    // Days of the mini calendar: past days dimmed, today in the accent, the chosen one on it.
    rule(u"QPushButton[vexoRole=\"calendarDay\"] { color: %1; background: transparent; border: none;"
         u" border-radius: 14px; min-width: 28px; max-width: 28px; }"_s.arg(primary));
    rule(u"QPushButton[vexoRole=\"calendarDay\"]:hover { background: %1; }"_s.arg(hover));
    rule(u"QPushButton[vexoRole=\"calendarDay\"][vexoDay=\"past\"] { color: %1; }"_s.arg(tertiary));
    rule(u"QPushButton[vexoRole=\"calendarDay\"][vexoDay=\"today\"] { color: %1; }"_s.arg(accent));
    rule(u"QPushButton[vexoRole=\"calendarDay\"][vexoDay=\"selected\"],"
         u" QPushButton[vexoRole=\"calendarDay\"][vexoDay=\"selected\"]:hover { color: %1; background: %2; }"_s.arg(
             onAccent, accent));

    // Boxed texts.
    rule(u"QLabel[vexoRole=\"keycap\"] { color: %1; background: %2; border: 1px solid %3; border-radius: 5px;"
         u" padding: 2px 8px; }"_s.arg(primary, raised, border));
    rule(u"QLabel[vexoRole=\"apiKey\"] { color: %1; background: %2; border: 1px solid %3; border-radius: 8px;"
         u" padding: 8px 10px; }"_s.arg(accent, raised, border));
    rule(u"QLabel[vexoRole=\"stepBadge\"] { color: %1; background: %2; border-radius: 10px; }"_s.arg(onAccent, accent));

    // The task page's header.
    rule(u"QWidget#detailHeader { background: qlineargradient(x1:0, y1:0, x2:0, y2:1, stop:0 %1, stop:1 %2);"
         u" border-bottom: 1px solid %3; }"_s.arg(panel, bg, border));

    // The date and time picker and its pop-up calendar.
    rule(u"QDateTimeEdit { background: %1; color: %2; border: 1px solid %3; border-radius: 8px; padding: 6px 8px; }"_s
             .arg(raised, primary, border));
    rule(u"QDateTimeEdit:focus { border: 2px solid %1; padding: 5px 7px; }"_s.arg(accent));
    rule(u"QDateTimeEdit::drop-down { border: none; width: 26px; }"_s);
    rule(u"QDateTimeEdit::down-arrow { image: none; width: 0; height: 0; }"_s);
    rule(u"QCalendarWidget QWidget#qt_calendar_navigationbar { background: %1; border-bottom: 1px solid %2; }"_s.arg(
        raised, border));
    rule(u"QCalendarWidget QToolButton { color: %1; background: transparent; border: none; border-radius: 6px;"
         u" padding: 4px 6px; font-weight: 600; }"_s.arg(primary));
    rule(u"QCalendarWidget QToolButton:hover { background: %1; }"_s.arg(hover));
    rule(u"QCalendarWidget QToolButton::menu-indicator { image: none; width: 0; }"_s);
    rule(u"QCalendarWidget QSpinBox { background: %1; color: %2; border: 1px solid %3; border-radius: 6px;"
         u" selection-background-color: %4; selection-color: %5; }"_s.arg(raised, primary, border, accent, onAccent));
    rule(u"QCalendarWidget QAbstractItemView { background: %1; color: %2; selection-background-color: %3;"
         u" selection-color: %4; outline: none; border: none; }"_s.arg(raised, primary, accent, onAccent));
    rule(u"QCalendarWidget QAbstractItemView:disabled { color: %1; }"_s.arg(tertiary));

    // Focus rings. Every control the keyboard reaches shows it with a 2-point ring: the accent on
    // plain grounds, the primary text colour where the ground is the accent itself (or a priority's
    // colour). Paddings shrink by the ring's width so nothing moves. Chips, sidebar items and
    // calendar days take focus from the keyboard only, so the ring appears for keyboard users.
    rule(u"QPushButton[vexoRole=\"chip\"]:focus { border: 2px solid %1; padding: 3px 8px; }"_s.arg(accent));
    rule(u"QPushButton[vexoRole=\"chip\"]:checked:focus { border-color: %1; }"_s.arg(primary));
    rule(u"QPushButton[vexoRole=\"priorityChip\"]:focus { border: 2px solid %1; padding: 5px 11px; }"_s.arg(primary));
    rule(u"QPushButton[vexoRole=\"sidebarItem\"]:focus { border: 2px solid %1; padding: 5px 6px; }"_s.arg(accent));
    rule(u"QPushButton[vexoRole=\"iconButton\"]:focus { border: 2px solid %1; }"_s.arg(accent));
    rule(u"QPushButton[vexoRole=\"plain\"]:focus { border: 2px solid %1; padding: 2px 4px; }"_s.arg(accent));
    rule(u"QToolButton[vexoRole=\"menuButton\"]:focus { border: 2px solid %1; border-radius: 6px;"
         u" padding: 3px 2px; }"_s.arg(accent));
    rule(u"QPushButton[vexoRole=\"calendarDay\"]:focus { border: 2px solid %1; }"_s.arg(accent));
    rule(u"QPushButton[vexoRole=\"calendarDay\"][vexoDay=\"selected\"]:focus { border-color: %1; }"_s.arg(primary));
    rule(u"QTextBrowser[vexoRole=\"description\"]:focus { border: 2px solid %1; border-radius: 6px; }"_s.arg(accent));
    rule(u"QListView[vexoRole=\"thumbnails\"]:focus { border: 2px solid %1; border-radius: 8px; }"_s.arg(accent));

    // The folder picker's pop-up.
    rule(u"QFrame#folderPicker { background: %1; border: 1px solid %2; }"_s.arg(raised, border));
    rule(u"QFrame#folderPicker QListView::item { padding: 5px 4px; border-radius: 5px; }"_s);
    rule(u"QFrame#folderPicker QListView::item:selected { background: %1; color: %2; }"_s.arg(accent, onAccent));

    // A sidebar folder a dragged task is over.
    rule(u"QPushButton[vexoRole=\"sidebarItem\"][vexoDropTarget=\"true\"] { background: %1; color: %2;"
         u" border: 2px dashed %3; padding: 5px 6px; }"_s.arg(css(withAlpha(p.accent, 0.22)), primary, accent));
    return out;
}

} // namespace Style
