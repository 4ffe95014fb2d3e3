#pragma once

#include <QDateTimeEdit>

class QCalendarWidget;
class Theme;

// A date and time field in the application's look, "d MMM yyyy, HH:mm" in Russian, whose pop-up
// calendar follows the theme too: Monday first, Russian day and month names, the palette's
// colours for weekends and days, and the interface's own chevrons for paging.
class DateTimePicker final : public QDateTimeEdit {
    Q_OBJECT

public:
    DateTimePicker(const Theme& theme, const QDateTime& initial, QWidget* parent = nullptr);

    QCalendarWidget* popupCalendar() const { return m_calendar; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void restyleCalendar();

    const Theme& m_theme;
    QCalendarWidget* m_calendar;
};
