#include "CreateTaskView.h"

#include "AppState.h"
#include "ChipButton.h"
#include "Fonts.h"
#include "Icons.h"
#include "MiniCalendar.h"
#include "PriorityChips.h"
#include "Style.h"
#include "Theme.h"
#include "VexoButton.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QSpinBox>
#include <QStackedWidget>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

QLabel* question(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setFont(uiFont(22, QFont::DemiBold));
    label->setWordWrap(true);
    Style::setText(label, Palette::Role::textPrimary);
    return label;
}

QLabel* hint(const QString& text, int size, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setFont(uiFont(size));
    Style::setText(label, Palette::Role::textTertiary);
    return label;
}

// "Назад": a plain chevron and word, 13 pt, in the tertiary text colour.
VexoButton* backButton(Theme& theme, QWidget* parent) {
    auto* back = new VexoButton(theme, VexoButton::Kind::plain, QStringLiteral("Назад"), parent);
    back->setIconName(QStringLiteral("chevron.left"));
    back->setFont(uiFont(13));
    back->setIconSize(QSize(13, 13));
    back->setPlainRole(Palette::Role::textTertiary);
    return back;
}

// Three 7-point dots: the current step's in the accent, the others dimmed.
class StepDots final : public QWidget {
public:
    StepDots(const Theme& theme, QWidget* parent)
        : QWidget(parent)
        , m_theme(theme) {
        setFixedSize(3 * 7 + 2 * 6, 7);
    }
    void setCurrent(int step) {
        m_current = step;
        update();
    }

protected:
    void paintEvent(QPaintEvent*) override {
        const Palette& p = m_theme.palette();
        QColor dimmed = p.textTertiary;
        dimmed.setAlphaF(0.4);
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        for (int i = 0; i < 3; ++i) {
            painter.setBrush(i + 1 == m_current ? p.accent : dimmed);
            painter.drawEllipse(QRectF(i * 13, 0, 7, 7));
        }
    }

private:
    const Theme& m_theme;
    int m_current = 1;
};

// Hours and minutes are always written with two digits: "%02d".
class TwoDigitSpinBox final : public QSpinBox {
public:
    using QSpinBox::QSpinBox;

protected:
    QString textFromValue(int value) const override { return QString::asprintf("%02d", value); }
};

} // namespace

CreateTaskView::CreateTaskView(AppState& state, Theme& theme, std::function<void()> dismiss, QWidget* parent)
    : QWidget(parent)
    , m_state(state)
    , m_theme(theme)
    , m_dismiss(std::move(dismiss)) {
    setMinimumSize(460, 520);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(24, 16, 24, 24);
    layout->setSpacing(16);

    auto* top = new QHBoxLayout;
    auto* close = new QPushButton(this);
    close->setAccessibleName(u"Закрыть"_s);
    close->setFixedSize(26, 26);
    close->setCursor(Qt::PointingHandCursor);
    close->setIcon(Icons::icon(u"xmark"_s, theme, Palette::Role::textSecondary));
    close->setIconSize(QSize(12, 12));
    Style::setRole(close, u"iconButton"_s);
    connect(close, &QPushButton::clicked, this, [this] { m_dismiss(); });
    top->addWidget(close);
    top->addStretch();
    auto* dots = new StepDots(theme, this);
    m_dots = dots;
    top->addWidget(dots);
    top->addStretch();
    top->addSpacing(26);
    layout->addLayout(top);

    m_steps = new QStackedWidget(this);
    m_steps->addWidget(buildTitleStep());
    m_steps->addWidget(buildDescriptionStep());
    m_steps->addWidget(buildDeadlineStep());
    layout->addWidget(m_steps, 1);

    goToStep(1);
}

QWidget* CreateTaskView::buildTitleStep() {
    auto* page = new QWidget(this);
    auto* layout = new QVBoxLayout(page);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(14);
    m_questions << question(u"Как назовём задачу?"_s, page);
    layout->addWidget(m_questions.last());
    auto* row = new QHBoxLayout;
    m_title = new QLineEdit(page);
    m_title->setPlaceholderText(u"Название задачи..."_s);
    m_title->setAccessibleName(u"Название задачи"_s);
    m_title->setFont(uiFont(14));
    connect(m_title, &QLineEdit::returnPressed, this, &CreateTaskView::advanceFromTitle);
    row->addWidget(m_title, 1);
    auto* forward = new QPushButton(page);
    forward->setAccessibleName(u"Далее"_s);
    forward->setFixedSize(32, 32);
    forward->setCursor(Qt::PointingHandCursor);
    forward->setIcon(Icons::icon(u"arrow.right.circle.fill"_s, m_theme, Palette::Role::accent));
    forward->setIconSize(QSize(24, 24));
    Style::setRole(forward, u"iconButton"_s);
    connect(forward, &QPushButton::clicked, this, &CreateTaskView::advanceFromTitle);
    row->addWidget(forward);
    layout->addLayout(row);
    layout->addWidget(hint(u"Enter или нажми →"_s, 12, page));
    layout->addStretch();
    return page;
}

QWidget* CreateTaskView::buildDescriptionStep() {
    auto* page = new QWidget(this);
    auto* layout = new QVBoxLayout(page);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(14);
    m_questions << question(u"Добавим описание?"_s, page);
    layout->addWidget(m_questions.last());
    m_description = new QPlainTextEdit(page);
    m_description->setPlaceholderText(u"Подробности (необязательно)..."_s);
    m_description->setAccessibleName(u"Описание"_s);
    m_description->setFont(uiFont(14));
    m_description->setTabChangesFocus(true);
    layout->addWidget(m_description, 1);
    auto* row = new QHBoxLayout;
    auto* back = backButton(m_theme, page);
    connect(back, &QPushButton::clicked, this, [this] { goToStep(1); });
    row->addWidget(back);
    row->addStretch();
    auto* skip = new VexoButton(m_theme, VexoButton::Kind::ghost, u"Пропустить →"_s, page);
    connect(skip, &QPushButton::clicked, this, [this] { goToStep(3); });
    row->addWidget(skip);
    auto* next = new VexoButton(m_theme, VexoButton::Kind::primary, u"Далее"_s, page);
    next->setIconName(u"arrow.right"_s);
    next->setIconTrailing(true);
    connect(next, &QPushButton::clicked, this, [this] { goToStep(3); });
    row->addWidget(next);
    layout->addLayout(row);
    return page;
}

QWidget* CreateTaskView::buildDeadlineStep() {
    auto* page = new QWidget(this);
    auto* layout = new QVBoxLayout(page);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(12);
    m_questions << question(u"Когда выполнить?"_s, page);
    layout->addWidget(m_questions.last());

    auto* quick = new QHBoxLayout;
    quick->setSpacing(6);
    const QList<std::pair<QString, std::optional<int>>> choices{
        {u"Сегодня"_s, 0}, {u"Завтра"_s, 1}, {u"+7 дней"_s, 7}, {u"Без даты"_s, std::nullopt}};
    for (const auto& [label, offset] : choices) {
        auto* button = new ChipButton(label, false, page);
        connect(button, &QPushButton::clicked, this, [this, offset] { chooseQuickDate(offset); });
        quick->addWidget(button);
    }
    quick->addStretch();
    layout->addLayout(quick);

    m_calendar = new MiniCalendar(m_theme, m_state.clock(), page);
    connect(m_calendar, &MiniCalendar::selectedChanged, this,
            [this](std::optional<QDate> day) { m_selectedDate = day; });
    layout->addWidget(m_calendar);

    auto* time = new QHBoxLayout;
    time->addWidget(hint(u"Время:"_s, 13, page));
    m_hour = new TwoDigitSpinBox(page);
    m_hour->setRange(0, 23);
    m_hour->setValue(18);
    m_hour->setAccessibleName(u"Час"_s);
    m_minute = new TwoDigitSpinBox(page);
    m_minute->setRange(0, 59);
    m_minute->setValue(0);
    m_minute->setAccessibleName(u"Минута"_s);
    for (QSpinBox* field : {m_hour, m_minute}) {
        field->setDisplayIntegerBase(10);
        field->setAlignment(Qt::AlignCenter);
        field->setWrapping(true);
        field->setFont(uiFont(13));
        field->setFixedWidth(64);
    }
    time->addWidget(m_hour);
    time->addWidget(hint(u":"_s, 13, page));
    time->addWidget(m_minute);
    time->addStretch();
    layout->addLayout(time);

    m_priorityChips = new PriorityChips(m_priority, page);
    connect(m_priorityChips, &PriorityChips::priorityChosen, this,
            [this](TaskPriority priority) { m_priority = priority; });
    layout->addWidget(m_priorityChips);
    layout->addStretch();

    auto* row = new QHBoxLayout;
    auto* back = backButton(m_theme, page);
    connect(back, &QPushButton::clicked, this, [this] { goToStep(2); });
    row->addWidget(back);
    row->addStretch();
    auto* create = new VexoButton(m_theme, VexoButton::Kind::primary, u"Создать задачу"_s, page);
    create->setIconName(u"plus"_s);
    connect(create, &QPushButton::clicked, this, &CreateTaskView::create);
    row->addWidget(create);
    layout->addLayout(row);
    return page;
}

QPushButton* CreateTaskView::buttonNamed(const QString& text) const {
    for (QPushButton* button : findChildren<QPushButton*>()) {
        if (button->text() == text && button->isVisibleTo(this))
            return button;
    }
    return nullptr;
}

void CreateTaskView::advanceFromTitle() {
    // Characters are counted as they stand: a title of spaces passes here and is caught on creating.
    if (!m_title->text().isEmpty())
        goToStep(2);
}

void CreateTaskView::goToStep(int step) {
    m_step = step;
    m_steps->setCurrentIndex(step - 1);
    if (step == 1)
        m_title->setFocus();
    else if (step == 2)
        m_description->setFocus();
    static_cast<StepDots*>(m_dots)->setCurrent(step);
}

void CreateTaskView::chooseQuickDate(std::optional<int> dayOffset) {
    if (!dayOffset) {
        m_selectedDate.reset();
        m_calendar->setSelected(std::nullopt);
        return;
    }
    const QDate day = m_state.clock().now().toLocalTime().date().addDays(*dayOffset);
    m_calendar->setMonth(day);
    m_calendar->setSelected(day);
}

void CreateTaskView::choosePriority(TaskPriority priority) {
    m_priority = priority;
    m_priorityChips->setPriority(priority);
}

std::optional<QString> CreateTaskView::deadlineText() const {
    if (!m_selectedDate)
        return std::nullopt;
    const QDateTime local(*m_selectedDate, QTime(m_hour->value(), m_minute->value()), Qt::LocalTime);
    if (!local.isValid())
        return std::nullopt;
    return local.toUTC().toString(Qt::ISODateWithMs);
}

void CreateTaskView::create() {
    const QString title = m_title->text().trimmed();
    if (title.isEmpty() || m_sending)
        return;
    m_sending = true;
    const QString description = m_description->toPlainText();
    (void)send(title, description.isEmpty() ? std::nullopt : std::optional<QString>(description), deadlineText());
}

QCoro::Task<void> CreateTaskView::send(QString title, std::optional<QString> description,
                                       std::optional<QString> deadline) {
    QPointer<CreateTaskView> self(this);
    // The state inserts the task at the front and shows "Задача создана", or "Ошибка: …".
    co_await m_state.createTask(std::move(title), m_priority, std::move(description), std::move(deadline));
    if (self)
        m_dismiss();
}
