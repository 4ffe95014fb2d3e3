#include "HoverGuard.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QDialog>
#include <QEvent>
#include <QHoverEvent>
#include <QMenu>

HoverGuard::HoverGuard(QWidget* window)
    : QObject(window)
    , m_window(window) {
    qApp->installEventFilter(this);
}

HoverGuard::~HoverGuard() {
    qApp->removeEventFilter(this);
}

void HoverGuard::clear(QWidget* root) {
    QList<QWidget*> widgets = root->findChildren<QWidget*>();
    widgets.prepend(root);
    for (QWidget* widget : std::as_const(widgets)) {
        if (auto* view = qobject_cast<QAbstractItemView*>(widget)) {
            // An item view keeps its hovered row until it hears the pointer left.
            QHoverEvent leave(QEvent::HoverLeave, QPointF(-1, -1), QPointF(-1, -1), QPointF(-1, -1));
            QCoreApplication::sendEvent(view->viewport(), &leave);
            view->viewport()->update();
        }
        if (widget->testAttribute(Qt::WA_UnderMouse)) {
            widget->setAttribute(Qt::WA_UnderMouse, false);
            widget->update();
        }
    }
}

bool HoverGuard::eventFilter(QObject* watched, QEvent* event) {
    if ((event->type() == QEvent::Show || event->type() == QEvent::Hide) && m_window && watched->isWidgetType()) {
        auto* widget = static_cast<QWidget*>(watched);
        if (widget->isWindow() && widget != m_window->window() &&
            (qobject_cast<QMenu*>(widget) || qobject_cast<QDialog*>(widget)))
            clear(m_window);
    }
    return QObject::eventFilter(watched, event);
}
