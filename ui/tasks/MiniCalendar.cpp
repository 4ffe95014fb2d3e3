#include "MiniCalendar.h"

#include "Clock.h"
#include "Fonts.h"
#include "Icons.h"
#include "Style.h"
#include "Theme.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

const QStringList weekdays{u"Пн"_s, u"Вт"_s, u"Ср"_s, u"Чт"_s, u"Пт"_s, u"Сб"_s, u"Вс"_s};

} // namespace

MiniCalendar::MiniCalendar(Theme& theme, const Clock& clock, QWidget* parent)
    : QWidget(parent)
    , m_theme(theme)
    , m_clock(clock)
    , m_month(clock.now().toLocalTime().date()) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(6);
    auto* header = new QHBoxLayout;
    m_previous = new QPushButton(this);
    m_previous->setAccessibleName(u"Предыдущий месяц"_s);
    m_next = new QPushButton(this);
    m_next->setAccessibleName(u"Следующий месяц"_s);
    m_title = new QLabel(this);
    m_title->setFont(uiFont(13, QFont::Medium));
    m_title->setAlignment(Qt::AlignCenter);
    Style::setText(m_title, Palette::Role::textPrimary);
    m_previous->setIcon(Icons::icon(u"chevron.left"_s, theme, Palette::Role::textSecondary));
    m_next->setIcon(Icons::icon(u"chevron.right"_s, theme, Palette::Role::textSecondary));
    for (QPushButton* button : {m_previous, m_next}) {
        button->setFixedSize(26, 26);
        button->setCursor(Qt::PointingHandCursor);
        Style::setRole(button, u"iconButton"_s);
    }
    connect(m_previous, &QPushButton::clicked, this, &MiniCalendar::showPreviousMonth);
    connect(m_next, &QPushButton::clicked, this, &MiniCalendar::showNextMonth);
    header->addWidget(m_previous);
    header->addWidget(m_title, 1);
    header->addWidget(m_next);
    layout->addLayout(header);
    m_grid = new QGridLayout;
    m_grid->setSpacing(2);
    layout->addLayout(m_grid);
    rebuild();
}

QString MiniCalendar::monthTitle(QDate month) {
    static const QLocale russian(QLocale::Russian, QLocale::Russia);
    QString name = russian.standaloneMonthName(month.month(), QLocale::LongFormat);
    if (!name.isEmpty())
        name[0] = name[0].toUpper();
    return name + u' ' + QString::number(month.year());
}

QList<std::optional<QDate>> MiniCalendar::cells(QDate month) {
    const QDate first(month.year(), month.month(), 1);
    if (!first.isValid())
        return {};
    // Qt counts Monday as 1 and Sunday as 7, so the blanks before a Monday start are dayOfWeek - 1.
    const int blanks = first.dayOfWeek() - 1;
    QList<std::optional<QDate>> list(blanks, std::nullopt);
    for (int day = 0; day < first.daysInMonth(); ++day)
        list.append(first.addDays(day));
    while (list.size() % 7 != 0)
        list.append(std::nullopt);
    return list;
}

QString MiniCalendar::title() const {
    return m_title->text();
}

void MiniCalendar::setSelected(std::optional<QDate> day) {
    if (day == m_selected)
        return;
    m_selected = day;
    rebuild();
    Q_EMIT selectedChanged(m_selected);
}

void MiniCalendar::setMonth(QDate anyDayOfMonth) {
    m_month = QDate(anyDayOfMonth.year(), anyDayOfMonth.month(), 1);
    rebuild();
}

void MiniCalendar::showPreviousMonth() {
    setMonth(QDate(m_month.year(), m_month.month(), 1).addMonths(-1));
}

void MiniCalendar::showNextMonth() {
    setMonth(QDate(m_month.year(), m_month.month(), 1).addMonths(1));
}

void MiniCalendar::rebuild() {
    m_title->setText(monthTitle(m_month));
    // A day that had the keyboard keeps it in the grid made anew.
    std::optional<QDate> focusedDay;
    for (qsizetype i = 0; i < m_dayButtons.size(); ++i) {
        if (m_dayButtons[i]->hasFocus())
            focusedDay = QDate(m_month.year(), m_month.month(), 1).addDays(i);
    }
    if (m_pendingFocus) {
        focusedDay = m_pendingFocus;
        m_pendingFocus.reset();
    }

    // Later, not now: a day button being clicked is what asks for this rebuild.
    for (QWidget* cell : std::as_const(m_cellWidgets)) {
        m_grid->removeWidget(cell);
        cell->hide();
        cell->deleteLater();
    }
    m_cellWidgets.clear();
    m_dayButtons.clear();
    for (int column = 0; column < 7; ++column) {
        auto* heading = new QLabel(weekdays[column], this);
        heading->setFont(uiFont(10, QFont::Medium));
        heading->setAlignment(Qt::AlignCenter);
        Style::setText(heading, column >= 5 ? Palette::Role::textTertiary : Palette::Role::textSecondary);
        m_grid->addWidget(heading, 0, column);
        m_cellWidgets << heading;
    }
    const QDate today = m_clock.now().toLocalTime().date();
    const auto list = cells(m_month);
    for (qsizetype i = 0; i < list.size(); ++i) {
        const int row = int(i / 7) + 1;
        const int column = int(i % 7);
        if (!list[i]) {
            auto* blank = new QWidget(this);
            blank->setFixedHeight(28);
            m_grid->addWidget(blank, row, column);
            m_cellWidgets << blank;
            continue;
        }
        const QDate day = *list[i];
        auto* button = new QPushButton(QString::number(day.day()), this);
        button->setFixedHeight(28);
        button->setCursor(Qt::PointingHandCursor);
        button->setAccessibleName(QLocale(QLocale::Russian, QLocale::Russia).toString(day, u"d MMMM yyyy"_s));
        // Tested in this order: the selected day, a day before today, today, any other.
        const bool isSelected = m_selected && *m_selected == day;
        QString kind = u"normal"_s;
        if (isSelected)
            kind = u"selected"_s;
        else if (day < today)
            kind = u"past"_s;
        else if (day == today)
            kind = u"today"_s;
        button->setFont(uiFont(12, isSelected ? QFont::Bold : QFont::Normal));
        Style::setRole(button, u"calendarDay"_s);
        Style::setProperty(button, "vexoDay", kind);
        connect(button, &QPushButton::clicked, this, [this, day] { setSelected(day); });
        // The grid is one stop for Tab; the arrows move between its days.
        button->setFocusPolicy(Qt::NoFocus);
        button->installEventFilter(this);
        m_grid->addWidget(button, row, column, Qt::AlignCenter);
        m_cellWidgets << button;
        m_dayButtons << button;
    }
    // The stop is the chosen day, else today, else the first of the month. Made after the rest of
    // the sheet, the days would come last in the Tab order: they go right after the month's arrows,
    // so Tab reaches them before whatever follows the calendar.
    const QDate first(m_month.year(), m_month.month(), 1);
    QDate stop = first;
    if (m_selected && m_selected->year() == first.year() && m_selected->month() == first.month())
        stop = *m_selected;
    else if (today.year() == first.year() && today.month() == first.month())
        stop = today;
    QPushButton* stopButton = m_dayButtons.value(first.daysTo(stop));
    if (stopButton) {
        stopButton->setFocusPolicy(Qt::TabFocus);
        QWidget::setTabOrder(m_next, stopButton);
    }
    if (focusedDay && focusedDay->year() == first.year() && focusedDay->month() == first.month())
        focusDay(*focusedDay);
}

void MiniCalendar::focusDay(QDate day) {
    QPushButton* button = m_dayButtons.value(QDate(m_month.year(), m_month.month(), 1).daysTo(day));
    if (!button)
        return;
    for (QPushButton* each : std::as_const(m_dayButtons))
        each->setFocusPolicy(each == button ? Qt::TabFocus : Qt::NoFocus);
    QWidget::setTabOrder(m_next, button);
    button->setFocus(Qt::TabFocusReason);
}

bool MiniCalendar::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::KeyPress)
        return QWidget::eventFilter(watched, event);
    qsizetype index = -1;
    for (qsizetype i = 0; i < m_dayButtons.size() && index < 0; ++i) {
        if (m_dayButtons[i] == watched)
            index = i;
    }
    if (index < 0)
        return QWidget::eventFilter(watched, event);
    const auto* key = static_cast<QKeyEvent*>(event);
    int step = 0;
    switch (key->key()) {
    case Qt::Key_Left:
        step = -1;
        break;
    case Qt::Key_Right:
        step = 1;
        break;
    case Qt::Key_Up:
        step = -7;
        break;
    case Qt::Key_Down:
        step = 7;
        break;
    default:
        return QWidget::eventFilter(watched, event);
    }
    const QDate target = QDate(m_month.year(), m_month.month(), 1).addDays(index + step);
    if (target.month() == m_month.month() && target.year() == m_month.year()) {
        focusDay(target);
    } else {
        // Beyond the month: the calendar turns the page and the keyboard lands on that day.
        m_pendingFocus = target;
        setMonth(target);
    }
    return true;
}
