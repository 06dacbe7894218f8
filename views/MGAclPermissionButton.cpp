#include "MGAclPermissionButton.h"

#include "NTLocalizedString.h"

MGAclPermissionButton::MGAclPermissionButton(QWidget *parent) : QCheckBox(parent)
{
}

MGAclPermissionButton::MGAclPermissionButton(const QString &text, QWidget *parent) : QCheckBox(text, parent)
{
    setAccessibleDescription(NTLocalizedString::localize(
        QStringLiteral("Ticked when the entry holds this permission, half-ticked when it holds part of it"),
        QStringLiteral("ACL")));
}

int MGAclPermissionButton::state() const
{
    switch (checkState()) {
    case Qt::PartiallyChecked:
        return -1;
    case Qt::Checked:
        return 1;
    default:
        return 0;
    }
}

void MGAclPermissionButton::setState(int state)
{
    if (state == -1)
        setTristate(true);
    setCheckState(state == -1 ? Qt::PartiallyChecked : state == 0 ? Qt::Unchecked : Qt::Checked);
}

void MGAclPermissionButton::nextCheckState()
{
    // A plain three-state box goes from off to mixed; this one skips mixed. Clicks and the
    // space key both arrive here.
    if (isTristate() && checkState() == Qt::Unchecked) {
        setCheckState(Qt::Checked);
        return;
    }
    QCheckBox::nextCheckState();
}
