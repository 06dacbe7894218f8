#include "NTLocalizedView.h"

#include "NTLocalizedString.h"

#include <QAbstractButton>
#include <QGroupBox>
#include <QLabel>
#include <QTabWidget>
#include <QWidget>

namespace {
// The untranslated key of a widget's text, stored on the widget the first time it is seen.
QString keyFor(QWidget *widget, const char *property, const QString &current)
{
    const QVariant stored = widget->property(property);
    if (stored.isValid())
        return stored.toString();
    widget->setProperty(property, current);
    return current;
}
}

void NTLocalizedView::localizeView(QWidget *root, const QString &table)
{
    if (!root)
        return;
    QList<QWidget *> widgets = root->findChildren<QWidget *>();
    widgets.prepend(root);
    for (QWidget *widget : std::as_const(widgets)) {
        if (!widget->toolTip().isEmpty() || widget->property("mgToolTipKey").isValid())
            widget->setToolTip(NTLocalizedString::localize(keyFor(widget, "mgToolTipKey", widget->toolTip()), table));
        if (!widget->accessibleName().isEmpty() || widget->property("mgAccessibleNameKey").isValid())
            widget->setAccessibleName(
                NTLocalizedString::localize(keyFor(widget, "mgAccessibleNameKey", widget->accessibleName()), table));
        if (!widget->accessibleDescription().isEmpty() || widget->property("mgAccessibleDescriptionKey").isValid())
            widget->setAccessibleDescription(NTLocalizedString::localize(
                keyFor(widget, "mgAccessibleDescriptionKey", widget->accessibleDescription()), table));
        if (auto *label = qobject_cast<QLabel *>(widget)) {
            if (!label->text().isEmpty() || label->property("mgTextKey").isValid())
                label->setText(NTLocalizedString::localize(keyFor(label, "mgTextKey", label->text()), table));
        } else if (auto *button = qobject_cast<QAbstractButton *>(widget)) {
            if (!button->text().isEmpty() || button->property("mgTextKey").isValid())
                button->setText(NTLocalizedString::localize(keyFor(button, "mgTextKey", button->text()), table));
        } else if (auto *group = qobject_cast<QGroupBox *>(widget)) {
            group->setTitle(NTLocalizedString::localize(keyFor(group, "mgTextKey", group->title()), table));
        } else if (auto *tabs = qobject_cast<QTabWidget *>(widget)) {
            for (int i = 0; i < tabs->count(); ++i) {
                const QByteArray property = "mgTabKey" + QByteArray::number(i);
                tabs->setTabText(i, NTLocalizedString::localize(keyFor(tabs, property.constData(), tabs->tabText(i)), table));
            }
        }
    }
}
