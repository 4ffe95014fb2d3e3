#include "AccessibleRoles.h"

#include <QAbstractButton>
#include <QAccessibleWidget>

namespace {

const char* const roleProperty = "vexoAccessibleRole";

// A button that is a choice: its name, whether it is the chosen one, and the press that chooses it.
class AccessibleChoice final : public QAccessibleWidget {
public:
    AccessibleChoice(QAbstractButton* button, QAccessible::Role role)
        : QAccessibleWidget(button, role) {}

    QString text(QAccessible::Text kind) const override {
        if (kind == QAccessible::Name) {
            const QString name = widget()->accessibleName();
            return name.isEmpty() ? button()->text() : name;
        }
        return QAccessibleWidget::text(kind);
    }

    QAccessible::State state() const override {
        QAccessible::State state = QAccessibleWidget::state();
        state.checkable = button()->isCheckable();
        state.checked = button()->isChecked();
        if (role() == QAccessible::PageTab) {
            state.selectable = true;
            state.selected = button()->isChecked();
        }
        return state;
    }

    QStringList actionNames() const override { return QStringList{pressAction()} + QAccessibleWidget::actionNames(); }

    void doAction(const QString& action) override {
        if (action == pressAction())
            button()->click();
        else
            QAccessibleWidget::doAction(action);
    }

private:
    QAbstractButton* button() const { return static_cast<QAbstractButton*>(widget()); }
};

QAccessibleInterface* factory(const QString&, QObject* object) {
    if (!object || !object->isWidgetType())
        return nullptr;
    const QVariant role = object->property(roleProperty);
    if (!role.isValid())
        return nullptr;
    auto* widget = static_cast<QWidget*>(object);
    const auto accessibleRole = QAccessible::Role(role.toInt());
    if (auto* button = qobject_cast<QAbstractButton*>(widget))
        return new AccessibleChoice(button, accessibleRole);
    return new QAccessibleWidget(widget, accessibleRole);
}

} // namespace

namespace AccessibleRoles {

void setRole(QWidget* widget, QAccessible::Role role) {
    static const bool installed = [] {
        QAccessible::installFactory(factory);
        return true;
    }();
    Q_UNUSED(installed);
    widget->setProperty(roleProperty, int(role));
    // Qt may already have made the widget's interface (a button's constructor announces its text),
    // and would keep handing out that one: drop it, so the next question gets the role set here.
    if (QAccessibleInterface* made = QAccessible::queryAccessibleInterface(widget); made && made->role() != role)
        QAccessible::deleteAccessibleInterface(QAccessible::uniqueId(made));
}

} // namespace AccessibleRoles
