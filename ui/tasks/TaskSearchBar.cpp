#include "TaskSearchBar.h"

#include "Fonts.h"
#include "Icons.h"
#include "Style.h"
#include "Theme.h"

#include <QAction>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPushButton>

using namespace Qt::StringLiterals;

TaskSearchBar::TaskSearchBar(Theme& theme, QWidget* parent)
    : QWidget(parent) {
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    m_open = new QPushButton(this);
    m_open->setAccessibleName(u"Поиск"_s);
    m_open->setToolTip(u"Поиск (Ctrl+F)"_s);
    m_open->setFixedSize(34, 34);
    m_open->setCursor(Qt::PointingHandCursor);
    m_open->setFocusPolicy(Qt::TabFocus);
    m_open->setIcon(Icons::icon(u"magnifyingglass"_s, theme, Palette::Role::textSecondary));
    m_open->setIconSize(QSize(16, 16));
    Style::setRole(m_open, u"iconButton"_s);
    connect(m_open, &QPushButton::clicked, this, &TaskSearchBar::open);
    layout->addWidget(m_open);

    m_field = new QLineEdit(this);
    m_field->setPlaceholderText(u"Поиск задач"_s);
    m_field->setAccessibleName(u"Поиск задач"_s);
    m_field->setFont(uiFont(13));
    m_field->setFixedWidth(240);
    m_field->addAction(Icons::icon(u"magnifyingglass"_s, theme, Palette::Role::textTertiary),
                       QLineEdit::LeadingPosition);
    m_field->installEventFilter(this);
    m_field->hide();
    connect(m_field, &QLineEdit::textChanged, this, &TaskSearchBar::textChanged);
    layout->addWidget(m_field);
}

QString TaskSearchBar::text() const {
    return m_field->text();
}

void TaskSearchBar::open() {
    if (!m_isOpen) {
        m_isOpen = true;
        m_open->hide();
        m_field->show();
        Q_EMIT openChanged(true);
    }
    m_field->setFocus(Qt::ShortcutFocusReason);
    m_field->selectAll();
}

void TaskSearchBar::close() {
    if (!m_isOpen)
        return;
    m_field->clear();
    m_isOpen = false;
    // The magnifier first, so the keyboard has somewhere to stay if it was in the field.
    m_open->show();
    m_field->hide();
    Q_EMIT openChanged(false);
}

void TaskSearchBar::escape() {
    if (!m_field->text().isEmpty()) {
        m_field->clear();
        return;
    }
    const bool hadFocus = m_field->hasFocus();
    close();
    if (hadFocus)
        Q_EMIT leaveRequested();
}

bool TaskSearchBar::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_field && event->type() == QEvent::KeyPress) {
        const auto* key = static_cast<QKeyEvent*>(event);
        if (key->modifiers() & ~Qt::KeypadModifier)
            return QWidget::eventFilter(watched, event);
        switch (key->key()) {
        case Qt::Key_Escape:
            escape();
            return true;
        case Qt::Key_Down:
        case Qt::Key_Return:
        case Qt::Key_Enter:
            Q_EMIT leaveRequested();
            return true;
        default:
            break;
        }
    }
    return QWidget::eventFilter(watched, event);
}
