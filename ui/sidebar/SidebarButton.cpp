#include "SidebarButton.h"

#include "AccessibleRoles.h"
#include "Fonts.h"
#include "Style.h"

#include <QEvent>
#include <QStyleOptionButton>

namespace {

// What a place asks of the column, whatever its label: room for the icon and a few letters.
constexpr int hintWidth = 64;

} // namespace

SidebarButton::SidebarButton(const QString& label, QWidget* parent)
    : QPushButton(label, parent)
    , m_label(label) {
    setCursor(Qt::PointingHandCursor);
    setFont(uiFont(13));
    setIconSize(QSize(15, 15));
    setCheckable(true);
    setAccessibleName(label);
    // A click leaves the keyboard where it was (in the list, say); Tab reaches every place.
    setFocusPolicy(Qt::TabFocus);
    Style::setRole(this, QStringLiteral("sidebarItem"));
    // A place to go to, chosen or not: not a check box.
    AccessibleRoles::setRole(this, QAccessible::PageTab);
}

QSize SidebarButton::sizeHint() const {
    return {hintWidth, QPushButton::sizeHint().height()};
}

QSize SidebarButton::minimumSizeHint() const {
    return {hintWidth / 2, QPushButton::minimumSizeHint().height()};
}

void SidebarButton::resizeEvent(QResizeEvent* event) {
    QPushButton::resizeEvent(event);
    elide();
}

bool SidebarButton::event(QEvent* event) {
    const bool handled = QPushButton::event(event);
    // The style sheet's padding and the font may change with the theme or focus.
    if (event->type() == QEvent::StyleChange || event->type() == QEvent::FontChange || event->type() == QEvent::Polish)
        elide();
    return handled;
}

void SidebarButton::elide() {
    QStyleOptionButton option;
    initStyleOption(&option);
    option.text = m_label;
    const QRect contents = style()->subElementRect(QStyle::SE_PushButtonContents, &option, this);
    const int iconRoom = icon().isNull() ? 0 : iconSize().width() + 6;
    const int room = qMax(0, contents.width() - iconRoom);
    const QString shown = fontMetrics().elidedText(m_label, Qt::ElideRight, room);
    if (shown != text())
        setText(shown);
    setToolTip(shown == m_label ? QString() : m_label);
}
