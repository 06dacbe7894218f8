#include "MGAclEntriesTableModel.h"
#include "MGAclEntriesViewController.h"
#include "MGAclTableRowView.h"
#include "PluginHelpers.h"

#include <QAbstractItemModelTester>
#include <QMenu>
#include <QTableView>
#include <QToolButton>

using Set = MGAclPermissionSet;

class tst_MGAclEntriesViewController : public QObject
{
    Q_OBJECT

    SharedTemporaryDir tmp;
    QString file;

    static MGAclEntriesViewController *entriesView(const MGAclPlugin::Pointer &plugin)
    {
        return static_cast<MGAclEntriesViewController *>(plugin->tabViewController()->childViewControllers().at(0));
    }

    // A folder list with three ACL entries (the second inherited), then the POSIX section.
    static void installSample(const MGAclPlugin::Pointer &plugin)
    {
        MGAclList list = plugin->entries();
        for (quint32 id : {3u, 2u, 1u})
            list.insert(1, MGAclEntry::aclEntry(1, CBIdentity::user(id), Set::fromPosixBits(5, true),
                                                id == 2 ? quint32(MGAclFlag::Inherited) : 0u, true, true));
        plugin->setEntries(list);
    }

private slots:
    void initTestCase()
    {
        useTestSettings();
        file = tmp.path("file");
        QVERIFY(shOk("touch " + quoted(file)));
    }

    void rowsAreTheListWithTitleRows()
    {
        MGAclPlugin::Pointer plugin = openWindow(tmp.path());
        installSample(plugin);
        MGAclEntriesViewController *view = entriesView(plugin);
        QAbstractItemModelTester tester(view->model());
        QTableView *table = view->tableView();
        QCOMPARE(table->model()->rowCount(), plugin->entries().size());
        QVERIFY(!(table->model()->flags(table->model()->index(0, 0)) & Qt::ItemIsSelectable));
        QVERIFY(table->model()->flags(table->model()->index(1, 0)) & Qt::ItemIsSelectable);
        QCOMPARE(table->columnSpan(0, 0), int(MGAclEntriesTableModel::ColumnCount));
        auto *title = qobject_cast<MGAclTableRowView *>(table->indexWidget(table->model()->index(0, 0)));
        QVERIFY(title);
        QCOMPARE(title->textField()->text(), QStringLiteral("Access Control List"));
        QCOMPARE(table->model()->index(1, MGAclEntriesTableModel::TagColumn).data().toString(), QStringLiteral("Allow"));
        // The group's name, and the letters of what an entry stored in a POSIX ACL holds.
        QCOMPARE(table->model()->index(1, MGAclEntriesTableModel::PermissionGroupColumn).data().toString(),
                 QStringLiteral("Read (r-x)"));
        QCOMPARE(table->model()->index(2, MGAclEntriesTableModel::InheritedColumn).data().toString(), QStringLiteral("Yes"));
        // Clicking a title keeps the selection.
        view->selectRow(2);
        QTest::mouseClick(title, Qt::LeftButton);
        QCOMPARE(view->selectedRow(), 2);
        plugin->window()->closeWithoutAsking();
    }

    void selectionDecidesWhatMayBeAddedAndRemoved()
    {
        MGAclPlugin::Pointer plugin = openWindow(tmp.path());
        installSample(plugin);
        MGAclEntriesViewController *view = entriesView(plugin);
        QVERIFY(view->canAddEntry() && !view->canRemoveEntry());
        view->selectRow(1);
        QVERIFY(view->canAddEntry() && view->canRemoveEntry());
        QVERIFY(view->addButton()->isEnabled() && view->removeButton()->isEnabled());
        view->selectRow(2); // inherited
        QVERIFY(view->canAddEntry() && !view->canRemoveEntry());
        view->selectRow(int(plugin->entries().size()) - 1); // a POSIX entry
        QVERIFY(!view->canAddEntry() && !view->canRemoveEntry());
        QVERIFY(!view->addButton()->isEnabled());
        view->tableView()->clearSelection();
        QVERIFY(view->canAddEntry() && !view->canRemoveEntry() && !view->selectedEntry());
        plugin->window()->closeWithoutAsking();
    }

    void addingSelectsTheNewEntryAndRemovingRecomputes()
    {
        MGAclPlugin::Pointer plugin = openWindow(tmp.path());
        installSample(plugin);
        MGAclEntriesViewController *view = entriesView(plugin);
        QSignalSpy installed(plugin.get(), &MGAclPlugin::entriesChanged);
        view->addButton()->click(); // nothing selected: at the top
        QVERIFY(installed.wait());
        QCOMPARE(view->selectedRow(), 1);
        QCOMPARE(view->selectedEntry()->identity().posixID(), quint32(getuid()));
        view->selectRow(3);
        view->addButton()->click();
        QVERIFY(installed.wait());
        QCOMPARE(view->selectedRow(), 4);
        QVERIFY(!view->entryAdded());
        const MGAclEntry::Pointer added = view->selectedEntry();
        // A moved entry stays selected.
        plugin->moveEntryAtIndex(4, 1);
        QVERIFY(installed.wait());
        QCOMPARE(view->selectedRow(), 1);
        QVERIFY(view->selectedEntry()->isEqual(*added));
        view->removeButton()->click();
        QVERIFY(installed.wait());
        QVERIFY(MGAclLists::indexOfItem(plugin->entries(), added) < 0 || plugin->entries().size() == 9);
        QCOMPARE(view->selectedEntry() ? MGAclLists::indexOfItem(plugin->entries(), view->selectedEntry()) : -1,
                 qsizetype(view->selectedRow()));
        plugin->window()->closeWithoutAsking();
    }

    void thePullDownOffersPropagationOnceAndForFoldersOnly()
    {
        MGAclPlugin::Pointer folder = openWindow(tmp.path());
        MGAclPlugin::Pointer plain = openWindow(file);
        QMenu *folderMenu = entriesView(folder)->actionMenu();
        QTRY_COMPARE(folderMenu->actions().size(), 6);
        QCOMPARE(entriesView(plain)->actionMenu()->actions().size(), 5);
        for (int i = 0; i < 3; ++i) {
            folder->tabViewController()->setSelectedTabViewItemIndex(1);
            folder->tabViewController()->setSelectedTabViewItemIndex(0);
        }
        QCOMPARE(folderMenu->actions().size(), 6);
        QStringList actions;
        for (QAction *item : folderMenu->actions())
            actions << item->objectName();
        QCOMPARE(actions, (QStringList{"", "sortEntriesCanonically:", "removeInheritedEntries:",
                                       "makeInheritedEntriesExplicit:", "inheritEntriesFromParent:", "propagateEntries:"}));
        QCOMPARE(folderMenu->actions().last()->text(), QStringLiteral("Propagate Permissions\u2026"));
        // The items are validated by the plug-in object as the menu opens.
        emit folderMenu->aboutToShow();
        QVERIFY(!folderMenu->actions().at(2)->isEnabled());
        QVERIFY(folderMenu->actions().at(5)->isEnabled());
        folder->window()->closeWithoutAsking();
        plain->window()->closeWithoutAsking();
    }

    void inheritingFromTheParentReplacesTheAcl()
    {
        const QString parent = tmp.path("parent");
        QVERIFY(shOk(QStringLiteral("mkdir %1 && setfacl -d -m u:nobody:r-x %1 && touch %1/child && setfacl -m u:daemon:rw- %1/child")
                         .arg(quoted(parent))));
        MGAclPlugin::Pointer plugin = openWindow(parent + "/child");
        QSignalSpy installed(plugin.get(), &MGAclPlugin::entriesChanged);
        QAction *item = entriesView(plugin)->actionMenu()->actions().at(4);
        item->trigger();
        QVERIFY(installed.wait(10000));
        QStringList names;
        for (const auto &entry : plugin->aclEntries())
            names << entry->identity().displayName();
        // nobody passes to files; the default ACL's owner, group, mask and everyone entries
        // pass too, as what a new file would get; daemon's own entry is replaced.
        QVERIFY(names.contains("nobody") && !names.contains("daemon"));
        QVERIFY(plugin->canRevertEntries());
        plugin->window()->closeWithoutAsking();
    }
};

QTEST_MAIN(tst_MGAclEntriesViewController)
#include "tst_MGAclEntriesViewController.moc"
