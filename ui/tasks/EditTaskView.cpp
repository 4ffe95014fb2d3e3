#include "EditTaskView.h"

#include "AppState.h"
#include "DateTimePicker.h"
#include "Fonts.h"
#include "HtmlText.h"
#include "Icons.h"
#include "PriorityChips.h"
#include "ServerDate.h"
#include "Style.h"
#include "Switch.h"
#include "Theme.h"
#include "VexoButton.h"

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
    auto* heading = new QLabel(u"Редактировать задачу"_s, this);
    heading->setFont(uiFont(18, QFont::Bold));
    Style::setText(heading, Palette::Role::textPrimary);
    header->addWidget(heading);
    header->addStretch();
    auto* close = new QPushButton(this);
    close->setAccessibleName(u"Закрыть"_s);
    close->setFixedSize(26, 26);
    close->setCursor(Qt::PointingHandCursor);
    close->setIcon(Icons::icon(u"xmark"_s, theme, Palette::Role::textSecondary));
    Style::setRole(close, u"iconButton"_s);
    connect(close, &QPushButton::clicked, this, [this] { m_dismiss(); });
    header->addWidget(close);
    layout->addLayout(header);

    const auto label = [&](const QString& text) {
        auto* caption = new QLabel(text, this);
        caption->setFont(uiFont(12, QFont::Medium));
        Style::setText(caption, Palette::Role::textSecondary);
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
    m_priorityChips = new PriorityChips(m_priority, this);
    connect(m_priorityChips, &PriorityChips::priorityChosen, this,
            [this](TaskPriority priority) { m_priority = priority; });
    layout->addWidget(m_priorityChips);

    const auto parsed =
        m_task.deadline && !m_task.deadline->isEmpty() ? parseServerDate(*m_task.deadline) : std::nullopt;
    m_hasDeadline = new Switch(theme, u"Установить дедлайн"_s, this);
    m_hasDeadline->setChecked(parsed.has_value());
    layout->addWidget(m_hasDeadline, 0, Qt::AlignLeft);
    m_deadline = new DateTimePicker(theme, parsed ? parsed->toLocalTime() : m_state.clock().now().toLocalTime(), this);
    m_deadline->setAccessibleName(u"Дедлайн"_s);
    m_deadline->setVisible(m_hasDeadline->isChecked());
    connect(m_hasDeadline, &Switch::toggled, m_deadline, &QWidget::setVisible);
    layout->addWidget(m_deadline);
    layout->addStretch();

    auto* footer = new QHBoxLayout;
    m_note = new QLabel(this);
    m_note->setFont(uiFont(11));
    Style::setText(m_note, Palette::Role::teal);
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
    connect(&m_state, &AppState::userSettingsChanged, this, &EditTaskView::refresh);
    refresh();
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

void EditTaskView::refresh() {
    // The note holds its place with an empty text when nothing will be sent.
    m_note->setText(m_state.userSettings().autoSendBot ? u"Будет отправлено в бот при сохранении"_s : QString());
}
