#include "PriorityChips.h"

#include "AccessibleRoles.h"
#include "Fonts.h"
#include "Style.h"

#include <QHBoxLayout>
#include <QPushButton>

PriorityChips::PriorityChips(TaskPriority initial, QWidget* parent)
    : QWidget(parent)
    , m_priority(initial) {
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(6);
    for (TaskPriority priority : allTaskPriorities) {
        auto* chip = new QPushButton(priorityWord(priority), this);
        chip->setCursor(Qt::PointingHandCursor);
        chip->setFont(uiFont(12));
        chip->setCheckable(true);
        chip->setChecked(priority == m_priority);
        chip->setFocusPolicy(Qt::TabFocus);
        AccessibleRoles::setRole(chip, QAccessible::RadioButton);
        chip->setMinimumWidth(QFontMetrics(uiFont(12, QFont::DemiBold)).horizontalAdvance(chip->text()) + 28);
        Style::setRole(chip, QStringLiteral("priorityChip"));
        Style::setProperty(chip, "vexoTone", Palette::roleName(Palette::priorityRole(priority)));
        connect(chip, &QPushButton::clicked, this, [this, priority] {
            setPriority(priority);
            Q_EMIT priorityChosen(priority);
        });
        m_chips << chip;
        layout->addWidget(chip);
    }
    layout->addStretch();
}

void PriorityChips::setPriority(TaskPriority priority) {
    m_priority = priority;
    for (int i = 0; i < m_chips.size(); ++i)
        m_chips[i]->setChecked(allTaskPriorities[i] == m_priority);
}
