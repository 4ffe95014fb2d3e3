#pragma once

#include <QDate>
#include <QWidget>

#include <optional>

class Clock;
class QGridLayout;
class QLabel;
class QPushButton;
class Theme;

// A month grid, Monday first, for picking a deadline's day. Paging never moves the selection. The
// grid is one Tab stop (the chosen day, else today, else the first); the arrow keys move between
// days, across months too, and Space chooses.
class MiniCalendar final : public QWidget {
    Q_OBJECT

public:
    MiniCalendar(Theme& theme, const Clock& clock, QWidget* parent = nullptr);

    std::optional<QDate> selected() const { return m_selected; }
    void setSelected(std::optional<QDate> day);
    QDate month() const { return m_month; }
    void setMonth(QDate anyDayOfMonth);
    void showPreviousMonth();
    void showNextMonth();

    // "Март 2025": the stand-alone month name, capitalised, and the year.
    static QString monthTitle(QDate month);
    // The grid's cells: empty for blanks, the day otherwise; a multiple of seven long.
    static QList<std::optional<QDate>> cells(QDate month);

    QString title() const;
    QList<QPushButton*> dayButtons() const { return m_dayButtons; }

Q_SIGNALS:
    void selectedChanged(std::optional<QDate> day);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void rebuild();
    void focusDay(QDate day);

    Theme& m_theme;
    const Clock& m_clock;
    std::optional<QDate> m_selected;
    QDate m_month;
    QLabel* m_title;
    QPushButton* m_previous;
    QPushButton* m_next;
    QGridLayout* m_grid;
    QList<QWidget*> m_cellWidgets;
    QList<QPushButton*> m_dayButtons;
    std::optional<QDate> m_pendingFocus; // the day to give the keyboard once the month is shown
};
