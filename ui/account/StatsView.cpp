#include "StatsView.h"

#include "AppState.h"
#include "ChipButton.h"
#include "DailyBarChart.h"
#include "Fonts.h"
#include "ScrollPage.h"
#include "Style.h"
#include "Theme.h"
#include "VexoCard.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

QLabel* textLabel(const QString& text, int size, QFont::Weight weight, Palette::Role role, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setFont(uiFont(size, weight));
    Style::setText(label, role);
    return label;
}

} // namespace

StatsView::StatsView(AppState& state, Theme& theme, QWidget* parent)
    : QWidget(parent)
    , m_state(state)
    , m_theme(theme) {
    setMinimumWidth(360);
    QVBoxLayout* layout = addScrollPage(this, 14);
    QWidget* page = layout->parentWidget();

    auto* header = new QHBoxLayout;
    header->addWidget(textLabel(u"Статистика"_s, 20, QFont::Bold, Palette::Role::textPrimary, page));
    header->addStretch();
    for (const auto& [label, word] : {std::pair{u"Неделя"_s, u"week"_s}, std::pair{u"Месяц"_s, u"month"_s}}) {
        auto* button = new ChipButton(label, true, page);
        button->setProperty("range", word);
        connect(button, &QPushButton::clicked, this, [this, word] { chooseRange(word); });
        m_ranges << button;
        header->addWidget(button);
    }
    layout->addLayout(header);

    auto* totals = new QHBoxLayout;
    totals->setSpacing(12);
    for (const auto& [title, role] : {std::pair{u"Всего создано"_s, Palette::Role::accent},
                                      std::pair{u"Выполнено задач"_s, Palette::Role::green}}) {
        auto* card = new VexoCard(theme, page);
        auto* cardLayout = new QVBoxLayout(card);
        cardLayout->setContentsMargins(16, 14, 16, 14);
        cardLayout->setSpacing(4);
        Total total{card, textLabel(title, 12, QFont::Normal, Palette::Role::textSecondary, card),
                    textLabel(QString(), 28, QFont::Bold, role, card),
                    textLabel(QString(), 11, QFont::Normal, Palette::Role::textTertiary, card)};
        cardLayout->addWidget(total.title);
        cardLayout->addWidget(total.number);
        cardLayout->addWidget(total.caption);
        totals->addWidget(card);
        m_totals << total;
    }
    layout->addLayout(totals);

    layout->addWidget(textLabel(u"Активность по дням"_s, 14, QFont::DemiBold, Palette::Role::textPrimary, page));
    m_chart = new DailyBarChart(theme, page);
    layout->addWidget(m_chart);
    m_noDaily = textLabel(u"Нет данных за период"_s, 13, QFont::Normal, Palette::Role::textTertiary, page);
    layout->addWidget(m_noDaily);

    layout->addWidget(textLabel(u"Приоритеты"_s, 14, QFont::DemiBold, Palette::Role::textPrimary, page));
    m_priorityRows = new QVBoxLayout;
    m_priorityRows->setSpacing(6);
    layout->addLayout(m_priorityRows);
    m_noPriority = textLabel(u"Нет данных"_s, 13, QFont::Normal, Palette::Role::textTertiary, page);
    layout->addWidget(m_noPriority);
    layout->addStretch();

    connect(&m_state, &AppState::statsDataChanged, this, &StatsView::refresh);
    connect(&m_state, &AppState::statsRangeChanged, this, &StatsView::refresh);
    refresh();
}

void StatsView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    reload();
}

void StatsView::reload() {
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
    const auto& stats = m_state.statsData();
    for (QPushButton* button : std::as_const(m_ranges))
        button->setChecked(button->property("range").toString() == m_state.statsRange());
    const QString caption = u"За "_s + (m_state.statsRange() == u"week" ? u"неделю"_s : u"месяц"_s);
    const qint64 values[] = {stats ? stats->totals.created : 0, stats ? stats->totals.completed : 0};
    for (int i = 0; i < m_totals.size(); ++i) {
        m_totals[i].number->setText(QString::number(values[i]));
        m_totals[i].caption->setText(caption);
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
        auto* row = new QWidget;
        auto* rowLayout = new QHBoxLayout(row);
        rowLayout->setContentsMargins(0, 0, 0, 0);
        rowLayout->addWidget(textLabel(
            label, 13, QFont::Medium, priority ? Palette::priorityRole(*priority) : Palette::Role::textSecondary, row));
        rowLayout->addStretch();
        rowLayout->addWidget(
            textLabel(QString::number(entry.count), 13, QFont::DemiBold, Palette::Role::textPrimary, row));
        m_priorityRows->addWidget(row);
        m_priorityTexts << label + u": "_s + QString::number(entry.count);
    }
}
