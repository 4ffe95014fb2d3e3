#include "EditTaskView.h"

#include "AppState.h"
#include "Fonts.h"
#include "HtmlText.h"
#include "Icons.h"
#include "PriorityChips.h"
#include "ServerDate.h"
#include "Theme.h"
#include "VexoButton.h"

#include <QCheckBox>
#include <QDateTimeEdit>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QShortcut>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

EditTaskView::EditTaskView(AppState& state, Theme& theme, VexoTask task, std::function<void()> dismiss, QWidget* parent)
    : QWidget(parent)
    , m_state(state)
    , m_theme(theme)
    , m_task(std::move(task))
    , m_dismiss(std::move(dismiss))
    , m_priority(m_task.priority) {
    setMinimumWidth(480);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(24, 18, 24, 20);
    layout->setSpacing(10);

    auto* header = new QHBoxLayout;
    m_heading = new QLabel(u"Редактировать задачу"_s, this);
    m_heading->setFont(uiFont(18, QFont::Bold));
    header->addWidget(m_heading);
    header->addStretch();
    m_close = new QPushButton(this);
    m_close->setAccessibleName(u"Закрыть"_s);
    m_close->setFlat(true);
    m_close->setFixedSize(26, 26);
    m_close->setCursor(Qt::PointingHandCursor);
    connect(m_close, &QPushButton::clicked, this, [this] { m_dismiss(); });
    header->addWidget(m_close);
    layout->addLayout(header);

    const auto label = [&](const QString& text) {
        auto* caption = new QLabel(text, this);
        caption->setFont(uiFont(12, QFont::Medium));
        m_labels << caption;
        layout->addWidget(caption);
        return caption;
    };
    label(u"Название *"_s);
    m_title = new QLineEdit(m_task.title, this);
    m_title->setPlaceholderText(u"Что нужно сделать?"_s);
    m_title->setAccessibleName(u"Название"_s);
    m_title->setFont(uiFont(14));
    layout->addWidget(m_title);

    label(u"Описание"_s);
    m_description = new QPlainTextEdit(this);
    m_description->setPlaceholderText(u"Подробности (необязательно)"_s);
    m_description->setAccessibleName(u"Описание"_s);
    m_description->setFont(uiFont(14));
    m_description->setTabChangesFocus(true);
    m_description->setPlainText(m_task.description ? stripHTML(*m_task.description) : QString());
    m_description->setMinimumHeight(110);
    layout->addWidget(m_description);

    label(u"Приоритет"_s);
    m_priorityChips = new PriorityChips(m_theme, m_priority, this);
    connect(m_priorityChips, &PriorityChips::priorityChosen, this,
            [this](TaskPriority priority) { m_priority = priority; });
    layout->addWidget(m_priorityChips);

    const auto parsed =
        m_task.deadline && !m_task.deadline->isEmpty() ? parseServerDate(*m_task.deadline) : std::nullopt;
    m_hasDeadline = new QCheckBox(u"Установить дедлайн"_s, this);
    m_hasDeadline->setChecked(parsed.has_value());
    m_hasDeadline->setFont(uiFont(13));
    layout->addWidget(m_hasDeadline);
    m_deadline = new QDateTimeEdit(parsed ? parsed->toLocalTime() : m_state.clock().now().toLocalTime(), this);
    m_deadline->setDisplayFormat(u"d MMM yyyy, HH:mm"_s);
    m_deadline->setLocale(QLocale(QLocale::Russian, QLocale::Russia));
    m_deadline->setCalendarPopup(true);
    m_deadline->setAccessibleName(u"Дедлайн"_s);
    m_deadline->setVisible(m_hasDeadline->isChecked());
    connect(m_hasDeadline, &QCheckBox::toggled, m_deadline, &QWidget::setVisible);
    layout->addWidget(m_deadline);
    layout->addStretch();

    auto* footer = new QHBoxLayout;
    m_note = new QLabel(this);
    m_note->setFont(uiFont(11));
    footer->addWidget(m_note, 1);
    auto* cancel = new VexoButton(theme, VexoButton::Kind::ghost, u"Отмена"_s, this);
    connect(cancel, &QPushButton::clicked, this, [this] { m_dismiss(); });
    footer->addWidget(cancel);
    auto* save = new VexoButton(theme, VexoButton::Kind::primary, u"Сохранить"_s, this);
    save->setToolTip(QKeySequence(Qt::CTRL | Qt::Key_Return).toString(QKeySequence::NativeText));
    connect(save, &QPushButton::clicked, this, &EditTaskView::save);
    footer->addWidget(save);
    layout->addLayout(footer);

    for (const QKeySequence& keys : {QKeySequence(Qt::CTRL | Qt::Key_Return), QKeySequence(Qt::CTRL | Qt::Key_Enter)}) {
        auto* shortcut = new QShortcut(keys, this);
        shortcut->setContext(Qt::WidgetWithChildrenShortcut);
        connect(shortcut, &QShortcut::activated, this, &EditTaskView::save);
    }
    connect(&m_state, &AppState::userSettingsChanged, this, &EditTaskView::restyle);
    connect(&m_theme, &Theme::changed, this, &EditTaskView::restyle);
    restyle();
}

void EditTaskView::choosePriority(TaskPriority priority) {
    m_priority = priority;
    m_priorityChips->setPriority(priority);
}

void EditTaskView::save() {
    const QString title = m_title->text().trimmed();
    if (title.isEmpty())
        return;
    // Off means an empty text, which clears the deadline; on means the picker's moment in UTC.
    const QString deadline =
        m_hasDeadline->isChecked() ? m_deadline->dateTime().toUTC().toString(Qt::ISODateWithMs) : QString();
    (void)m_state.updateTask(
        m_task.id, TaskUpdate{title, m_description->toPlainText(), deadline, m_priority, std::nullopt, std::nullopt});
    m_dismiss();
}

void EditTaskView::restyle() {
    const Palette& p = m_theme.palette();
    m_heading->setStyleSheet(u"color: %1;"_s.arg(p.textPrimary.name()));
    m_close->setIcon(Icons::icon(u"xmark"_s, p.textSecondary));
    for (QLabel* caption : std::as_const(m_labels))
        caption->setStyleSheet(u"color: %1;"_s.arg(p.textSecondary.name()));
    m_hasDeadline->setStyleSheet(u"color: %1;"_s.arg(p.textPrimary.name()));
    m_deadline->setStyleSheet(
        u"QDateTimeEdit { background: %1; color: %2; border: 1px solid %3; border-radius: 8px;"
        u" padding: 6px 8px; }"_s.arg(p.raised.name(), p.textPrimary.name(), p.border.name(QColor::HexArgb)));
    m_note->setText(m_state.userSettings().autoSendBot ? u"Будет отправлено в бот при сохранении"_s : QString());
    m_note->setStyleSheet(u"color: %1;"_s.arg(p.teal.name()));
}
