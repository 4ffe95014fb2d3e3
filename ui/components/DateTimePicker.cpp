#include "DateTimePicker.h"

#include "Icons.h"
#include "Theme.h"

#include <QCalendarWidget>
#include <QPainter>
#include <QTextCharFormat>
#include <QToolButton>

using namespace Qt::StringLiterals;

DateTimePicker::DateTimePicker(const Theme& theme, const QDateTime& initial, QWidget* parent)
    : QDateTimeEdit(initial, parent)
    , m_theme(theme)
    , m_calendar(new QCalendarWidget(this)) {
    const QLocale russian(QLocale::Russian, QLocale::Russia);
    setLocale(russian);
    setDisplayFormat(u"d MMM yyyy, HH:mm"_s);
    m_calendar->setLocale(russian);
    m_calendar->setFirstDayOfWeek(Qt::Monday);
    m_calendar->setVerticalHeaderFormat(QCalendarWidget::NoVerticalHeader);
    m_calendar->setHorizontalHeaderFormat(QCalendarWidget::ShortDayNames);
    m_calendar->setGridVisible(false);
    setCalendarPopup(true);
    setCalendarWidget(m_calendar);
    // Qt's own arrows are green pictures: the interface's chevrons instead, in the theme's colour.
    if (auto* previous = m_calendar->findChild<QToolButton*>(u"qt_calendar_prevmonth"_s))
        previous->setIcon(Icons::icon(u"chevron.left"_s, theme, Palette::Role::textSecondary));
    if (auto* next = m_calendar->findChild<QToolButton*>(u"qt_calendar_nextmonth"_s))
        next->setIcon(Icons::icon(u"chevron.right"_s, theme, Palette::Role::textSecondary));
    connect(&m_theme, &Theme::changed, this, &DateTimePicker::restyleCalendar);
    restyleCalendar();
}

void DateTimePicker::restyleCalendar() {
    // Day formats are beyond the style sheet's reach. Qt paints weekends red: they take the same
    // colours as every other day, and the day names the secondary text colour.
    m_calendar->setWeekdayTextFormat(Qt::Saturday, QTextCharFormat());
    m_calendar->setWeekdayTextFormat(Qt::Sunday, QTextCharFormat());
    QTextCharFormat header;
    header.setForeground(m_theme.palette().textSecondary);
    header.setBackground(m_theme.palette().raised);
    m_calendar->setHeaderTextFormat(header);
}

void DateTimePicker::paintEvent(QPaintEvent* event) {
    QDateTimeEdit::paintEvent(event);
    // The drop-down's chevron: the style sheet leaves the arrow out.
    QPainter painter(this);
    const int size = 12;
    painter.drawPixmap(QPointF(width() - 8 - size, (height() - size) / 2.0),
                       Icons::pixmap(u"chevron.down"_s, size, m_theme.palette().textSecondary, devicePixelRatioF()));
}
