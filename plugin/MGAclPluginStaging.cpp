#include "MGAclPlugin.h"

#include "MGItemPaths.h"

#include "CBIdentityAuthority.h"
#include "MGAclAccessViewController.h"
#include "MGAclEntriesTableModel.h"
#include "MGAclEntriesViewController.h"
#include "MGIdentityPopUpButton.h"
#include "MGItemPaths.h"
#include "MGTabViewController.h"

#include <QApplication>
#include <QCheckBox>
#include <QLineEdit>
#include <QPainter>
#include <QSet>

namespace {
MGAclEntriesViewController *entriesOf(MGTabViewController *tabs)
{
    return qobject_cast<MGAclEntriesViewController *>(tabs->childViewControllers().value(0));
}
}

QString MGAclPlugin::stageEntries(const Scene &scene, const Wait &wait)
{
    MGAclEntriesViewController *entries = entriesOf(m_tabViewController);
    if (!entries)
        return {};
    if (scene.permissionsRow >= 0) {
        entries->selectRow(scene.permissionsRow);
        entries->showPermissions(nullptr);
        wait([] { return false; }, 300);
    }
    if (scene.add.isEmpty())
        return {};
    // As "+" does it: the new entry comes after the selected row and its chooser opens,
    // where the user or group is chosen.
    const std::optional<CBIdentity> who = CBIdentityAuthority::defaultIdentityAuthority().identityForText(scene.add);
    if (!who)
        return QStringLiteral("There is no user or group \u201c%1\u201d.").arg(scene.add);
    QAbstractItemModel *model = entries->tableView()->model();
    const int rows = model->rowCount();
    QSet<const MGAclEntry *> before;
    for (int r = 0; r < rows; ++r)
        before << entries->model()->entryAt(r);
    entries->addEntry(nullptr);
    wait([&] { return model->rowCount() > rows; }, 10000);
    // The new entry's row: the one whose entry was not there before.
    int row = -1;
    for (int r = 0; r < model->rowCount() && row < 0; ++r) {
        if (const MGAclEntry *entry = entries->model()->entryAt(r); entry && !before.contains(entry))
            row = r;
    }
    // Chosen in the new row's chooser, as the user would; dismissing it would take the add back.
    wait([&] { return entries->cellEditor(row, MGAclEntriesTableModel::IdentityColumn) != nullptr; }, 2000);
    if (auto *chooser = qobject_cast<MGIdentityPopUpButton *>(entries->cellEditor(row, MGAclEntriesTableModel::IdentityColumn)))
        chooser->chooseIdentity(*who);
    else
        model->setData(model->index(row, MGAclEntriesTableModel::IdentityColumn), QVariant::fromValue(*who));
    wait([] { return false; }, 100);
    if (row < 0 || entries->model()->entryAt(row)->identity() != *who)
        return QStringLiteral("An entry for \u201c%1\u201d cannot be added here.").arg(scene.add);
    entries->tableView()->scrollTo(model->index(row, 0));
    return {};
}

void MGAclPlugin::stageTabAndChooser(const Scene &scene, const Wait &wait)
{
    if (scene.tab == 1) {
        // The access tab, for the user or group asked for, as saved or as edited.
        bool answered = false;
        const auto connection = connect(this, &MGAclPlugin::accessChanged, this, [&] { answered = !access().isEmpty(); });
        m_tabViewController->setSelectedTabViewItemIndex(1);
        wait([&] { return answered; }, 30000);
        // On a file server's item, the account is the server's, by its name there.
        const bool server = MGItemPaths::isServerUrl(url());
        if (const std::optional<CBIdentity> who =
                scene.who.isEmpty() ? std::nullopt
                : server            ? std::optional(CBIdentity::principal(QString(), scene.who))
                                    : CBIdentityAuthority::defaultIdentityAuthority().identityForText(scene.who)) {
            answered = false;
            setIdentity(*who);
            wait([&] { return answered; }, 30000);
        }
        auto *accessView = qobject_cast<MGAclAccessViewController *>(m_tabViewController->childViewControllers().value(1));
        if (scene.asEdited && accessView && accessView->asEditedSwitch()->isEnabled()) {
            answered = false;
            accessView->asEditedSwitch()->setChecked(true);
            wait([&] { return answered; }, 30000);
        }
        disconnect(connection);
    }
    MGAclEntriesViewController *entries = entriesOf(m_tabViewController);
    if (entries && scene.findRow >= 0) {
        entries->selectRow(scene.findRow);
        entries->editCell(scene.findRow, MGAclEntriesTableModel::IdentityColumn);
        wait([] { return false; }, 100);
        if (auto *chooser = qobject_cast<MGIdentityPopUpButton *>(entries->cellEditor(scene.findRow, MGAclEntriesTableModel::IdentityColumn))) {
            if (!chooser->searchField())
                chooser->showPopup();
            if (chooser->searchField())
                chooser->searchField()->setText(scene.find);
            wait([] { return false; }, 300);
        }
    }
}

QPixmap MGAclPlugin::picture() const
{
    MGWindow *window = this->window();
    QPixmap canvas = window->grab();
    QPainter painter(&canvas);
    for (QWidget *top : QApplication::topLevelWidgets()) {
        if (top == window || !top->isVisible() || top->parentWidget() == nullptr || top->window() != top)
            continue;
        const QPoint where = top->mapToGlobal(QPoint(0, 0)) - window->mapToGlobal(QPoint(0, 0));
        painter.drawPixmap(where, top->grab());
    }
    return canvas;
}
