#include "StatsView.h"

#include "AppState.h"
#include "DailyBarChart.h"
#include "Fonts.h"
#include "ScrollPage.h"
#include "Theme.h"
#include "VexoCard.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

StatsView::StatsView(AppState& state, Theme& theme, QWidget* parent)
    : QWidget(parent)
    , m_state(state)
    , m_theme(theme) {
    setMinimumWidth(360);
    QVBoxLayout* layout = addScrollPage(this, 14);
    QWidget* page = layout->parentWidget();

    auto* header = new QHBoxLayout;
    m_title = new QLabel(u"Статистика"_s, page);
    m_title->setFont(uiFont(20, QFont::Bold));
    header->addWidget(m_title);
    header->addStretch();
    for (const auto& [label, word] : {std::pair{u"Неделя"_s, u"week"_s}, std::pair{u"Месяц"_s, u"month"_s}}) {
        auto* button = new QPushButton(label, page);
        button->setCheckable(true);
        button->setCursor(Qt::PointingHandCursor);
        button->setFont(uiFont(12));
        button->setMinimumWidth(QFontMetrics(uiFont(12, QFont::DemiBold)).horizontalAdvance(label) + 30);
        button->setProperty("range", word);
        connect(button, &QPushButton::clicked, this, [this, word] { chooseRange(word); });
        m_ranges << button;
        header->addWidget(button);
    }
    layout->addLayout(header);

    auto* totals = new QHBoxLayout;
    totals->setSpacing(12);
    for (const QString& title : {u"Всего создано"_s, u"Выполнено задач"_s}) {
        auto* card = new VexoCard(theme, page);
        auto* cardLayout = new QVBoxLayout(card);
        cardLayout->setContentsMargins(16, 14, 16, 14);
        cardLayout->setSpacing(4);
        Total total{card, new QLabel(title, card), new QLabel(card), new QLabel(card)};
        total.title->setFont(uiFont(12));
        total.number->setFont(uiFont(28, QFont::Bold));
        total.caption->setFont(uiFont(11));
        cardLayout->addWidget(total.title);
        cardLayout->addWidget(total.number);
        cardLayout->addWidget(total.caption);
        totals->addWidget(card);
        m_totals << total;
    }
    layout->addLayout(totals);

    m_dailyTitle = new QLabel(u"Активность по дням"_s, page);
    m_dailyTitle->setFont(uiFont(14, QFont::DemiBold));
    layout->addWidget(m_dailyTitle);
    m_chart = new DailyBarChart(theme, page);
    layout->addWidget(m_chart);
    m_noDaily = new QLabel(u"Нет данных за период"_s, page);
    m_noDaily->setFont(uiFont(13));
    layout->addWidget(m_noDaily);

    m_priorityTitle = new QLabel(u"Приоритеты"_s, page);
    m_priorityTitle->setFont(uiFont(14, QFont::DemiBold));
    layout->addWidget(m_priorityTitle);
    m_priorityRows = new QVBoxLayout;
    m_priorityRows->setSpacing(6);
    layout->addLayout(m_priorityRows);
    m_noPriority = new QLabel(u"Нет данных"_s, page);
    m_noPriority->setFont(uiFont(13));
    layout->addWidget(m_noPriority);
    layout->addStretch();

    connect(&m_state, &AppState::statsDataChanged, this, &StatsView::refresh);
    connect(&m_state, &AppState::statsRangeChanged, this, &StatsView::refresh);
    connect(&m_theme, &Theme::changed, this, &StatsView::refresh);
    refresh();
}

void StatsView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    (void)m_state.loadStats();
}

void StatsView::chooseRange(const QString& range) {
    m_state.setStatsRange(range);
    (void)m_state.loadStats();
    refresh();
}

QPushButton* StatsView::rangeButton(const QString& label) const {
    for (QPushButton* button : m_ranges) {
        if (button->text() == label)
            return button;
    }
    return nullptr;
}

QStringList StatsView::totalsTexts() const {
    QStringList texts;
    for (const Total& total : m_totals)
        texts << total.title->text() + u'|' + total.number->text() + u'|' + total.caption->text();
    return texts;
}

QStringList StatsView::priorityRows() const {
    return m_priorityTexts;
}

bool StatsView::showsChart() const {
    return !m_chart->isHidden();
}

bool StatsView::showsNoDailyData() const {
    return !m_noDaily->isHidden();
}

bool StatsView::showsNoPriorityData() const {
    return !m_noPriority->isHidden();
}

void StatsView::refresh() {
    const Palette& p = m_theme.palette();
    const auto& stats = m_state.statsData();
    m_title->setStyleSheet(u"color: %1;"_s.arg(p.textPrimary.name()));
    for (QLabel* label : {m_dailyTitle, m_priorityTitle})
        label->setStyleSheet(u"color: %1;"_s.arg(p.textPrimary.name()));
    for (QLabel* label : {m_noDaily, m_noPriority})
        label->setStyleSheet(u"color: %1;"_s.arg(p.textTertiary.name()));
    for (QPushButton* button : std::as_const(m_ranges)) {
        button->setChecked(button->property("range").toString() == m_state.statsRange());
        button->setStyleSheet(
            u"QPushButton { color: %1; background: %2; border: none; border-radius: 7px;"
            u" padding: 5px 12px; } QPushButton:checked { color: %3; background: %4; font-weight: 600; }"_s.arg(
                p.textSecondary.name(), p.raised.name(), p.onAccent.name(), p.accent.name()));
    }
    const QString caption = u"За "_s + (m_state.statsRange() == u"week" ? u"неделю"_s : u"месяц"_s);
    const qint64 values[] = {stats ? stats->totals.created : 0, stats ? stats->totals.completed : 0};
    for (int i = 0; i < m_totals.size(); ++i) {
        m_totals[i].title->setStyleSheet(u"color: %1;"_s.arg(p.textSecondary.name()));
        m_totals[i].number->setText(QString::number(values[i]));
        m_totals[i].number->setStyleSheet(u"color: %1;"_s.arg(i == 0 ? p.accent.name() : p.green.name()));
        m_totals[i].caption->setText(caption);
        m_totals[i].caption->setStyleSheet(u"color: %1;"_s.arg(p.textTertiary.name()));
    }

    const bool hasDaily = stats && (!stats->daily.created.isEmpty() || !stats->daily.completed.isEmpty());
    m_chart->setVisible(hasDaily);
    m_noDaily->setVisible(!hasDaily);
    if (hasDaily)
        m_chart->setSeries(stats->daily.created, stats->daily.completed);

    while (QLayoutItem* item = m_priorityRows->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    m_priorityTexts.clear();
    const bool hasPriorities = stats && !stats->priority.isEmpty();
    m_noPriority->setVisible(!hasPriorities);
    if (!hasPriorities)
        return;
    for (const StatsPriority& entry : stats->priority) {
        const auto priority = taskPriorityFromRaw(entry.priority);
        const QString label = priority ? priorityWord(*priority) : entry.priority;
        const QColor colour = priority ? p.priorityColor(*priority) : p.textSecondary;
        auto* row = new QWidget;
        auto* rowLayout = new QHBoxLayout(row);
        rowLayout->setContentsMargins(0, 0, 0, 0);
        auto* name = new QLabel(label, row);
        name->setFont(uiFont(13, QFont::Medium));
        name->setStyleSheet(u"color: %1;"_s.arg(colour.name()));
        auto* count = new QLabel(QString::number(entry.count), row);
        count->setFont(uiFont(13, QFont::DemiBold));
        count->setStyleSheet(u"color: %1;"_s.arg(p.textPrimary.name()));
        rowLayout->addWidget(name);
        rowLayout->addStretch();
        rowLayout->addWidget(count);
        m_priorityRows->addWidget(row);
        m_priorityTexts << label + u": "_s + QString::number(entry.count);
    }
}
