#include "MGAclAccessTreeModel.h"
#include "MGAclAccessViewController.h"
#include "MGIdentityPopUpButton.h"
#include "PluginHelpers.h"

#include <QAbstractItemModelTester>
#include <QComboBox>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QStandardItemModel>
#include <QTreeView>

class tst_MGAclAccessViewController : public QObject
{
    Q_OBJECT

    SharedTemporaryDir tmp;

    static MGAclAccessViewController *accessView(const MGAclPlugin::Pointer &plugin)
    {
        return static_cast<MGAclAccessViewController *>(plugin->tabViewController()->childViewControllers().at(1));
    }

    static QList<MGTreeNode::Pointer> tree()
    {
        auto section = MGTreeNode::treeNodeWithRepresentedObject("Read", -1);
        section->addChild(MGTreeNode::treeNodeWithRepresentedObject("Read Data", 1));
        section->addChild(MGTreeNode::treeNodeWithRepresentedObject("Read Attributes", 0));
        auto write = MGTreeNode::treeNodeWithRepresentedObject("Write", -1);
        write->addChild(MGTreeNode::treeNodeWithRepresentedObject("Write Data", 0));
        return {section, write};
    }

private slots:
    void initTestCase() { useTestSettings(); }

    void aRefreshBeforeTheViewExistsSelectsNothing()
    {
        MGAclPlugin::Pointer plugin = MGAclPlugin::plugin();
        MGAclAccessViewController *view = accessView(plugin);
        QVERIFY(!view->isViewLoaded());
        plugin->setAccess(tree());
        QCOMPARE(view->selectedRow(), 0);
        QCOMPARE(view->title(), QStringLiteral("Effective Permissions"));
        plugin->setHolder({});
    }

    void theTreeIsExpandedAndKeepsTheSelectedRow()
    {
        MGAclPlugin::Pointer plugin = openWindow(tmp.path());
        plugin->tabViewController()->setSelectedTabViewItemIndex(1);
        MGAclAccessViewController *view = accessView(plugin);
        QVERIFY(view->isViewLoaded());
        QAbstractItemModelTester tester(view->model());
        plugin->setAccess(tree());
        QTreeView *outline = view->outlineView();
        QVERIFY(outline->isExpanded(view->model()->indexForRow(0)));
        QVERIFY(outline->isExpanded(view->model()->indexForRow(3)));
        // Rows without a value cannot be selected.
        QVERIFY(!(view->model()->flags(view->model()->indexForRow(0)) & Qt::ItemIsSelectable));
        QVERIFY(view->model()->flags(view->model()->indexForRow(1)) & Qt::ItemIsSelectable);
        QVERIFY(view->model()->index(0, MGAclAccessTreeModel::AccessColumn).data(Qt::DecorationRole).isNull());
        QVERIFY(!view->model()->indexForRow(1).siblingAtColumn(1).data(Qt::DecorationRole).isNull());

        outline->selectionModel()->select(view->model()->indexForRow(4),
                                          QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
        QCOMPARE(view->selectedRow(), 4);
        plugin->setAccess(tree()); // a refresh: new nodes, the same row
        QCOMPARE(view->selectedRow(), 4);
        QCOMPARE(view->model()->rowForIndex(outline->selectionModel()->selectedRows().first()), 4);
        outline->clearSelection();
        QCOMPARE(view->selectedRow(), -1);
        plugin->setAccess(tree());
        QCOMPARE(view->selectedRow(), -1);
        plugin->window()->closeWithoutAsking();
    }

    void choosingAnIdentityFetchesItsAccess()
    {
        MGAclPlugin::Pointer plugin = openWindow(tmp.path());
        QSignalSpy access(plugin.get(), &MGAclPlugin::accessChanged);
        plugin->tabViewController()->setSelectedTabViewItemIndex(1);
        QVERIFY(access.wait(10000));
        MGIdentityPopUpButton *chooser = accessView(plugin)->identityPopUpButton();
        QCOMPARE(chooser->identity(), plugin->identity());
        // As a user does: open the chooser, type part of a name, take the first match.
        QTest::mouseClick(chooser, Qt::LeftButton);
        QTRY_VERIFY(chooser->searchField());
        QTest::keyClicks(chooser->searchField(), "obod");
        QTest::keyClick(chooser->searchField(), Qt::Key_Return);
        QVERIFY(access.wait(10000));
        QCOMPARE(plugin->identity().posixName(), QStringLiteral("nobody"));
        plugin->window()->closeWithoutAsking();
    }

    void aClosedFolderAboveIsNamedAboveTheTree()
    {
        REQUIRE_ROOT();
        const QString closed = tmp.path("closed");
        QVERIFY(QDir().mkpath(closed));
        QVERIFY(QFile::setPermissions(closed, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
        MGAclPlugin::Pointer plugin = openWindow(closed);
        QSignalSpy access(plugin.get(), &MGAclPlugin::accessChanged);
        plugin->tabViewController()->setSelectedTabViewItemIndex(1);
        QVERIFY(access.wait(10000));
        QLabel *note = accessView(plugin)->accessNote();
        QVERIFY(!note->isVisible());
        // The folder itself is what the item is; its parent is open, so nothing is said...
        plugin->setIdentity(CBIdentity::user(65534));
        QVERIFY(access.wait(10000));
        QVERIFY(!note->isVisible());
        plugin->window()->closeWithoutAsking();
        // ...but for an item inside it, the folder is named.
        QVERIFY(QFile(closed + "/inside").open(QIODevice::WriteOnly));
        plugin = openWindow(closed + "/inside");
        QSignalSpy insideAccess(plugin.get(), &MGAclPlugin::accessChanged);
        plugin->tabViewController()->setSelectedTabViewItemIndex(1);
        QVERIFY(insideAccess.wait(10000));
        plugin->setIdentity(CBIdentity::user(65534));
        QVERIFY(insideAccess.wait(10000));
        note = accessView(plugin)->accessNote();
        QTRY_VERIFY(note->isVisible());
        QVERIFY2(note->text().contains(QStringLiteral("\u201c%1\u201d").arg(closed)), qPrintable(note->text()));
        QCOMPARE(note->accessibleName(), note->text());
        plugin->window()->closeWithoutAsking();
    }

    void identityMenusAreTidied()
    {
        QComboBox menu;
        menu.addItem("A", QVariant::fromValue(CBIdentity::user(1, "a")));
        menu.addItem("-----", QStringLiteral("-----"));
        menu.addItem("-----", QStringLiteral("-----"));
        menu.addItem("Groups", QStringLiteral("Groups"));
        menu.addItem("B", QVariant::fromValue(CBIdentity::group(2, "b")));
        MGAclAccessViewController::menuNeedsUpdate(&menu);
        auto *model = qobject_cast<QStandardItemModel *>(menu.model());
        QCOMPARE(menu.count(), 5);
        QVERIFY(model->item(0)->isEnabled());
        QCOMPARE(menu.itemData(1, Qt::AccessibleDescriptionRole).toString(), QStringLiteral("separator"));
        QCOMPARE(menu.itemData(2, Qt::AccessibleDescriptionRole).toString(), QStringLiteral("separator"));
        QVERIFY(!model->item(3)->isEnabled());
        QVERIFY(model->item(4)->isEnabled());
    }
};

QTEST_MAIN(tst_MGAclAccessViewController)
#include "tst_MGAclAccessViewController.moc"
