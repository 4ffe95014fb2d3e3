#include "ScrollPage.h"

#include <QScrollArea>
#include <QVBoxLayout>

QVBoxLayout* addScrollPage(QWidget* owner, int spacing) {
    auto* outer = new QVBoxLayout(owner);
    outer->setContentsMargins(0, 0, 0, 0);
    auto* scroll = new QScrollArea(owner);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    auto* page = new QWidget(scroll);
    auto* layout = new QVBoxLayout(page);
    layout->setContentsMargins(20, 20, 20, 20);
    layout->setSpacing(spacing);
    scroll->setWidget(page);
    outer->addWidget(scroll);
    return layout;
}
