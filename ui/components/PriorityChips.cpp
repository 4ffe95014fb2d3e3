#include "PriorityChips.h"

#include "Fonts.h"
#include "Theme.h"

#include <QHBoxLayout>
#include <QPushButton>

using namespace Qt::StringLiterals;

PriorityChips::PriorityChips(Theme& theme, TaskPriority initial, QWidget* parent)
    : QWidget(parent)
    , m_theme(theme)
    , m_priority(initial) {
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(6);
    for (TaskPriority priority : allTaskPriorities) {
        auto* chip = new QPushButton(priorityWord(priority), this);
        chip->setCursor(Qt::PointingHandCursor);
        chip->setFont(uiFont(12));
        chip->setCheckable(true);
        connect(chip, &QPushButton::clicked, this, [this, priority] {
            setPriority(priority);
            Q_EMIT priorityChosen(priority);
        });
        m_chips << chip;
        layout->addWidget(chip);
    }
    layout->addStretch();
    connect(&m_theme, &Theme::changed, this, &PriorityChips::restyle);
    restyle();
}

void PriorityChips::setPriority(TaskPriority priority) {
    m_priority = priority;
    restyle();
}

void PriorityChips::restyle() {
    const Palette& p = m_theme.palette();
    for (int i = 0; i < m_chips.size(); ++i) {
        const TaskPriority priority = allTaskPriorities[i];
        const bool chosen = priority == m_priority;
        QColor ground = p.priorityColor(priority);
        ground.setAlphaF(chosen ? 0.22 : 0.0);
        m_chips[i]->setChecked(chosen);
        m_chips[i]->setStyleSheet(
            u"QPushButton { color: %1; background: %2; border: 1px solid %3; border-radius: 7px; padding: 6px 12px;"
            u" font-weight: %4; }"_s.arg(p.priorityColor(priority).name(), ground.name(QColor::HexArgb),
                                         chosen ? p.priorityColor(priority).name() : p.border.name(QColor::HexArgb),
                                         chosen ? u"600"_s : u"400"_s));
    }
}
