#pragma once

#include <QAccessible>

class QWidget;

// The role a screen reader announces a widget by, where Qt's interface for its class says
// "frame" or "filler": a bar that tells something is an alert (read out when it appears and
// when its text changes), a top-level window a window. The role must be set before anything
// asks for the widget's interface (Qt makes it once and keeps it): in the constructor.
namespace MGAccessibleRoles {
void setRole(QWidget *widget, QAccessible::Role role);
// Says the widget's new text (its accessible name) to whoever listens, as an alert does.
void announce(QWidget *widget, const QString &text);
}
