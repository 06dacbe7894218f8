#include "MGIdentityPopUpButton.h"

#include "MGIdentities.h"
#include "MGIdentityListModel.h"

#include <QStandardItemModel>

namespace MGIdentityMenus {

void menuNeedsUpdate(QComboBox *menu)
{
    auto *model = qobject_cast<QStandardItemModel *>(menu->model());
    // Walks a snapshot: items are replaced in place, never added or moved.
    const int items = menu->count();
    for (int i = 0; i < items; ++i) {
        if (menu->itemText(i) == QLatin1String(MGIdentities::SeparatorTitle)) {
            menu->removeItem(i);
            menu->insertSeparator(i);
            continue;
        }
        if (!MGIdentityListModel::isIdentity(menu->itemData(i)) && model) {
            if (QStandardItem *item = model->item(i)) {
                if (item->data(Qt::AccessibleDescriptionRole).toString() != QLatin1String("separator"))
                    item->setFlags(item->flags() & ~(Qt::ItemIsEnabled | Qt::ItemIsSelectable));
            }
        }
    }
}
}
