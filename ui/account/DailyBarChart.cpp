#include "DailyBarChart.h"

#include "Fonts.h"
#include "Theme.h"

#include <QDate>
#include <QLocale>
#include <QPainter>

using namespace Qt::StringLiterals;

DailyBarChart::DailyBarChart(Theme& theme, QWidget* parent)
    : QWidget(parent)
    , m_theme(theme) {
    setFixedHeight(180);
    setAccessibleName(u"Активность по дням"_s);
    connect(&m_theme, &Theme::changed, this, qOverload<>(&QWidget::update));
}

void DailyBarChart::setSeries(const QList<StatsDayCount>& created, const QList<StatsDayCount>& completed) {
    m_created = created;
    m_completed = completed;
    QStringList description;
    for (const StatsDayCount& day : created)
        description << dayLabel(day.date) + u": "_s + QString::number(day.count);
    setAccessibleDescription(u"Создано: "_s + description.join(u", "_s));
    update();
}

QString DailyBarChart::dayLabel(const QString& day) {
    const QDate date = QDate::fromString(day, u"yyyy-MM-dd"_s);
    if (!date.isValid())
        return day;
    static const QLocale russian(QLocale::Russian, QLocale::Russia);
    return russian.toString(date, u"d MMM"_s);
}

QStringList DailyBarChart::dayLabels() const {
    QStringList labels;
    for (const StatsDayCount& day : m_created)
        labels << dayLabel(day.date);
    return labels;
}

void DailyBarChart::paintEvent(QPaintEvent*) {
    const Palette& p = m_theme.palette();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const qsizetype days = std::max(m_created.size(), m_completed.size());
    if (days == 0)
        return;
    qint64 top = 1;
    for (const auto* series : {&m_created, &m_completed}) {
        for (const StatsDayCount& day : *series)
            top = std::max(top, day.count);
    }
    const QRectF plot = QRectF(rect()).adjusted(4, 18, -4, -36);
    const qreal slot = plot.width() / qreal(days);
    const qreal barWidth = std::clamp(slot * 0.32, 2.0, 16.0);
    painter.setPen(QPen(p.border, 1));
    painter.drawLine(plot.bottomLeft(), plot.bottomRight());

    const QFont countFont = uiFont(9, QFont::Medium);
    const QFont labelFont = uiFont(10);
    const int labelEvery = std::max<qsizetype>(1, qsizetype(std::ceil(60.0 / slot)));
    for (qsizetype i = 0; i < days; ++i) {
        const qreal centre = plot.left() + slot * (qreal(i) + 0.5);
        const auto bar = [&](const QList<StatsDayCount>& series, qreal x, const QColor& colour) {
            const qint64 count = i < series.size() ? series[i].count : 0;
            const qreal height = plot.height() * qreal(count) / qreal(top);
            const QRectF shape(x, plot.bottom() - height, barWidth, height);
            painter.setPen(Qt::NoPen);
            painter.setBrush(colour);
            painter.drawRoundedRect(shape, 2, 2);
            if (barWidth >= 6 || count > 0) {
                painter.setFont(countFont);
                painter.setPen(p.textSecondary);
                painter.drawText(QRectF(x - 10, shape.top() - 14, barWidth + 20, 12), Qt::AlignCenter,
                                 QString::number(count));
            }
        };
        bar(m_created, centre - barWidth - 1, p.accent);
        bar(m_completed, centre + 1, p.green);
        if (i % labelEvery == 0 && i < m_created.size()) {
            painter.setFont(labelFont);
            painter.setPen(p.textTertiary);
            painter.drawText(QRectF(centre - slot * labelEvery / 2, plot.bottom() + 4, slot * labelEvery, 14),
                             Qt::AlignCenter, dayLabel(m_created[i].date));
        }
    }
    // Legend and the axis title.
    painter.setFont(uiFont(10));
    qreal x = plot.left();
    const qreal y = height() - 12;
    for (const auto& [name, colour] : {std::pair{u"Создано"_s, p.accent}, std::pair{u"Выполнено"_s, p.green}}) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(colour);
        painter.drawRoundedRect(QRectF(x, y - 4, 8, 8), 2, 2);
        painter.setPen(p.textSecondary);
        painter.drawText(QPointF(x + 12, y + 4), name);
        x += 22 + painter.fontMetrics().horizontalAdvance(name);
    }
    painter.setPen(p.textTertiary);
    painter.drawText(QRectF(plot.left(), y - 8, plot.width(), 16), Qt::AlignRight | Qt::AlignVCenter, u"Дата"_s);
}
