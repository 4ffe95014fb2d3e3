#pragma once

#include <QWidget>

class AppState;
class DailyBarChart;
class QButtonGroup;
class QLabel;
class QPushButton;
class QVBoxLayout;
class Theme;
class VexoCard;

// Activity over a week or a month: two totals, the daily chart and the breakdown by priority.
class StatsView final : public QWidget {
    Q_OBJECT

public:
    StatsView(AppState& state, Theme& theme, QWidget* parent = nullptr);

    // "week" or "month": reloads through the state.
    void chooseRange(const QString& range);
    // Loads the chosen range again, as on appearing: also on F5.
    void reload();
    QPushButton* rangeButton(const QString& label) const;
    QStringList totalsTexts() const;  // "title|number|caption" per card
    QStringList priorityRows() const; // "label: count"
    bool showsChart() const;
    bool showsNoDailyData() const;
    bool showsNoPriorityData() const;
    DailyBarChart* chart() const { return m_chart; }

protected:
    void showEvent(QShowEvent* event) override;

private:
    void refresh();

    AppState& m_state;
    Theme& m_theme;
    QList<QPushButton*> m_ranges;
    struct Total {
        VexoCard* card;
        QLabel* title;
        QLabel* number;
        QLabel* caption;
    };
    QList<Total> m_totals;
    DailyBarChart* m_chart;
    QLabel* m_noDaily;
    QVBoxLayout* m_priorityRows;
    QLabel* m_noPriority;
    QStringList m_priorityTexts;
};
