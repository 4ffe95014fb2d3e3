#include "Sheet.h"

#include <QChildEvent>
#include <QKeyEvent>
#include <QPushButton>

Sheet::Sheet(QWidget* parent)
    : QDialog(parent) {}

void Sheet::adopt(QWidget* widget) {
    QList<QWidget*> widgets = widget->findChildren<QWidget*>();
    widgets.prepend(widget);
    for (QWidget* each : std::as_const(widgets)) {
        // A QDialog makes its buttons auto-default: the first one, or the focused one, would take a
        // plain Return in any field.
        if (auto* button = qobject_cast<QPushButton*>(each)) {
            button->setAutoDefault(false);
            button->setDefault(false);
        }
        if (each != this)
            each->installEventFilter(this);
    }
}

bool Sheet::event(QEvent* event) {
    // A child is polished when it is fully built and about to be shown: its whole subtree is there.
    if (event->type() == QEvent::ChildPolished) {
        if (auto* widget = qobject_cast<QWidget*>(static_cast<QChildEvent*>(event)->child()))
            adopt(widget);
    }
    return QDialog::event(event);
}

bool Sheet::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::ChildPolished) {
        if (auto* widget = qobject_cast<QWidget*>(static_cast<QChildEvent*>(event)->child()))
            adopt(widget);
    }
    return QDialog::eventFilter(watched, event);
}

void Sheet::keyPressEvent(QKeyEvent* event) {
    const bool plain = event->modifiers() == Qt::NoModifier || event->modifiers() == Qt::KeypadModifier;
    if (plain && (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)) {
        event->accept();
        return;
    }
    QDialog::keyPressEvent(event);
}
