#include "MGAccessibleRoles.h"

#include <QAccessibleWidget>
#include <QWidget>

namespace {
constexpr const char *RoleProperty = "MGAccessibleRole";

QAccessibleInterface *withRole(const QString &, QObject *object)
{
    auto *widget = qobject_cast<QWidget *>(object);
    const QVariant role = widget ? widget->property(RoleProperty) : QVariant();
    return role.isValid() ? new QAccessibleWidget(widget, QAccessible::Role(role.toInt())) : nullptr;
}
}

namespace MGAccessibleRoles {

void setRole(QWidget *widget, QAccessible::Role role)
{
    static const bool installed = [] {
        QAccessible::installFactory(withRole);
        return true;
    }();
    Q_UNUSED(installed);
    widget->setProperty(RoleProperty, int(role));
}

void announce(QWidget *widget, const QString &text)
{
    // A name that stays the same is not news; a changed one is sent as such (setting it
    // tells assistive technology), and an alert that comes back into view is shown again.
    if (widget->accessibleName() != text)
        widget->setAccessibleName(text);
    if (widget->isVisible() && QAccessible::isActive()) {
        QAccessibleEvent event(widget, QAccessible::Alert);
        QAccessible::updateAccessibility(&event);
    }
}
}
