// The window for a user who cannot see it and one who does not use a mouse: what the
// accessibility interfaces say of each control and cell (as a screen reader reads them),
// and where the keys go. (The events a screen reader hears need a real accessibility bus:
// tst_ScreenReader listens to them there.)
#include "CBIdentityAuthority.h"
#include "MGAccessibleItems.h"
#include "MGChangeBlockers.h"
#include "MGAclAccessTreeModel.h"
#include "MGAclAccessViewController.h"
#include "MGAclEntriesTableModel.h"
#include "MGAclNoticeBar.h"
#include "MGAclPermissionViewController.h"
#include "MGAclPropagationView.h"
#include "MGIdentityListModel.h"
#include "MGIdentityPopUpButton.h"
#include "MGWindow.h"
#include "NTLocalizedString.h"
#include "PluginHelpers.h"

#include <QAccessibleTableInterface>
#include <QComboBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QScreen>
#include <QStandardItem>
#include <QTreeView>

namespace {
QAccessibleInterface *cell(QAbstractItemView *view, int row, int column)
{
    QAccessibleInterface *table = QAccessible::queryAccessibleInterface(view);
    return table && table->tableInterface() ? table->tableInterface()->cellAt(row, column) : nullptr;
}

MGAclAccessViewController *accessView(const MGAclPlugin::Pointer &plugin)
{
    return static_cast<MGAclAccessViewController *>(plugin->tabViewController()->childViewControllers().at(1));
}
}

class tst_WindowAccessibility : public QObject
{
    Q_OBJECT

    SharedTemporaryDir tmp;

    // A folder with entries for daemon and bin, and for new items.
    QString folder(const QString &name)
    {
        const QString path = tmp.path(name);
        shOk(QStringLiteral("mkdir -p %1 && setfacl -m u:daemon:r,u:bin:rw,d:u:daemon:rx %1").arg(quoted(path)));
        return path;
    }

private slots:
    void initTestCase()
    {
        useTestSettings();
    }

    // Granted and denied differ in the words read out and in the check state, for each
    // permission; the columns have names.
    void effectiveAccessIsSaidNotOnlyShown()
    {
        MGAclPlugin::Pointer plugin = openWindow(folder("access"));
        plugin->tabViewController()->setSelectedTabViewItemIndex(1);
        MGAclAccessViewController *view = accessView(plugin);
        QTRY_VERIFY(view->model()->rowCount() > 0);
        QTreeView *tree = view->outlineView();
        QStringList granted, denied;
        for (int row = 0; row < 40; ++row) {
            const QModelIndex index = view->model()->indexForRow(row);
            if (!index.isValid())
                break;
            QAccessibleInterface *mark = cell(tree, row, MGAclAccessTreeModel::AccessColumn);
            QAccessibleInterface *title = cell(tree, row, MGAclAccessTreeModel::TitleColumn);
            QVERIFY(mark && title);
            const int state = view->model()->nodeForIndex(index)->state();
            if (!view->model()->nodeForIndex(index)->childNodes().isEmpty())
                continue;
            QCOMPARE(mark->text(QAccessible::Name), MGAclAccessTreeModel::accessWord(state));
            QVERIFY(title->text(QAccessible::Name).endsWith(MGAclAccessTreeModel::accessWord(state)));
            QCOMPARE(bool(mark->state().checked), state == 1);
            (state == 1 ? granted : denied) << title->text(QAccessible::Name);
        }
        // The user who runs the tests owns the folder; someone else has some of both.
        QVERIFY(!granted.isEmpty());
        QAccessibleInterface *table = QAccessible::queryAccessibleInterface(tree);
        QCOMPARE(table->tableInterface()->columnDescription(MGAclAccessTreeModel::AccessColumn), QStringLiteral("Access"));
        // A user chosen with the arrow keys is the user shown.
        MGIdentityPopUpButton *chooser = view->identityPopUpButton();
        const CBIdentity before = plugin->identity();
        chooser->setFocus();
        QTest::keyClick(chooser, Qt::Key_Down);
        QVERIFY(chooser->identity() != before);
        QTRY_COMPARE(plugin->identity(), chooser->identity());
        plugin->window()->closeWithoutAsking();
    }

    // The window is a window, each tab's page a pane named as its tab; the bar above the
    // entries is an alert whose text is its name, said again when it changes.
    void theWindowItsPagesAndItsBarHaveRolesThatAreRead()
    {
        const QString path = folder("bar");
        MGAclPlugin::Pointer plugin = openWindow(path);
        QAccessibleInterface *window = QAccessible::queryAccessibleInterface(plugin->window());
        QCOMPARE(window->role(), QAccessible::Window);
        MGAclEntriesViewController *entries = entriesView(plugin);
        QAccessibleInterface *page = QAccessible::queryAccessibleInterface(entries->view());
        QCOMPARE(page->role(), QAccessible::Pane);
        QCOMPARE(page->text(QAccessible::Name), QStringLiteral("Set of Permissions"));
        MGAclNoticeBar *bar = entries->noticeBar();
        QCOMPARE(QAccessible::queryAccessibleInterface(bar)->role(), QAccessible::AlertMessage);
        // Edited here and changed on disk: the bar appears and is said.
        otherEntry(plugin->entries())->setPermissions(MGAclPermissionSet::fromPosixBits(0, true));
        QVERIFY(shOk("setfacl -m u:nobody:r " + quoted(path)));
        QTRY_VERIFY(bar->isVisible());
        QCOMPARE(QAccessible::queryAccessibleInterface(bar)->text(QAccessible::Name), bar->label()->text());
        plugin->window()->closeWithoutAsking();
    }

    // The strip says when a propagation begins and how it ended, with numbers grouped as
    // everywhere else.
    void thePropagationStripIsSaidWithGroupedNumbers()
    {
        MGAclPropagationView strip;
        QCOMPARE(QAccessible::queryAccessibleInterface(&strip)->role(), QAccessible::AlertMessage);
        strip.start();
        MGPropagationProgress progress;
        progress.changed = 97953;
        strip.showProgress(progress);
        QVERIFY2(strip.text().contains(NTLocalizedString::count(97953)) && NTLocalizedString::count(97953) != "97953",
                 qPrintable(strip.text()));
        progress.changed = 200400;
        strip.showSummary(progress, false);
        QVERIFY2(strip.text().contains(NTLocalizedString::count(200400)), qPrintable(strip.text()));
        QCOMPARE(QAccessible::queryAccessibleInterface(&strip)->text(QAccessible::Name), strip.text());
    }

    // Section titles are read as rows; every entry's cells say their section, so the two
    // masks differ by ear. Editors are named by their column and say for whom. Ctrl+Home,
    // Ctrl+End and Page Up stop on entries, and Tab leaves the table.
    void theTableReadsItsSectionsNamesItsEditorsAndTakesTheKeys()
    {
        MGAclPlugin::Pointer plugin = openWindow(folder("table"));
        plugin->window()->show();
        plugin->window()->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(plugin->window()));
        MGAclEntriesViewController *entries = entriesView(plugin);
        MGAclEntriesTableView *table = entries->tableView();
        QCOMPARE(cell(table, 0, 0)->text(QAccessible::Name), QStringLiteral("Access Control List"));
        const int rows = table->model()->rowCount();
        QStringList maskSections;
        for (int row = 0; row < rows; ++row) {
            QAccessibleInterface *who = cell(table, row, MGAclEntriesTableModel::IdentityColumn);
            if (who->text(QAccessible::Name) == QStringLiteral("Mask"))
                maskSections << who->text(QAccessible::Description);
        }
        QCOMPARE(maskSections, (QStringList{"Access Control List", "POSIX Permissions"}));
        // A folder's five columns are read in the order shown; a file's table has four.
        QAccessibleTableInterface *columns = QAccessible::queryAccessibleInterface(table)->tableInterface();
        QCOMPARE(columns->columnCount(), 5);
        QHeaderView *header = table->horizontalHeader();
        for (int column = 0; column < 5; ++column)
            QCOMPARE(columns->columnDescription(column), table->model()->headerData(header->logicalIndex(column), Qt::Horizontal).toString());
        QCOMPARE(columns->columnDescription(4), QStringLiteral("Applies to"));

        table->setFocus();
        table->setCurrentIndex(table->model()->index(3, MGAclEntriesTableModel::PermissionGroupColumn));
        QTest::keyClick(table, Qt::Key_Home, Qt::ControlModifier);
        QCOMPARE(table->currentIndex().row(), 1);
        QTest::keyClick(table, Qt::Key_End, Qt::ControlModifier);
        QCOMPARE(table->currentIndex().row(), rows - 1);
        QTest::keyClick(table, Qt::Key_PageUp);
        QTest::keyClick(table, Qt::Key_PageUp);
        QCOMPARE(table->currentIndex().row(), 1);

        // An editor: named; Escape gives the focus, and the row, back to the table.
        table->setCurrentIndex(table->model()->index(1, MGAclEntriesTableModel::PermissionGroupColumn));
        QTest::keyClick(table, Qt::Key_Return);
        QTRY_VERIFY(table->isEditing());
        QWidget *editor = table->indexWidget(table->currentIndex());
        QVERIFY(editor);
        QCOMPARE(editor->accessibleName(), QStringLiteral("Permissions"));
        // On Linux a combo box is named by the label whose buddy it is.
        const auto labels = QAccessible::queryAccessibleInterface(editor)->relations(QAccessible::Label);
        QVERIFY(std::any_of(labels.cbegin(), labels.cend(), [](const auto &relation) {
            return relation.first->text(QAccessible::Name) == QStringLiteral("Permissions");
        }));
        QVERIFY(editor->accessibleDescription().startsWith(QStringLiteral("for ")));
        auto *box = qobject_cast<QComboBox *>(editor);
        QVERIFY(box);
        QTRY_VERIFY(box->view()->isVisible());
        QTest::keyClick(box->view(), Qt::Key_Escape);
        QTRY_VERIFY2(!table->isEditing() && table->hasFocus(),
                     qPrintable(QStringLiteral("editing %1, focus on %2").arg(table->isEditing()).arg(QApplication::focusWidget() ? QApplication::focusWidget()->metaObject()->className() : "nothing")));
        QCOMPARE(table->currentIndex().row(), 1);

        // Tab from an open editor goes on to the buttons; it opens no other editor.
        QTest::keyClick(table, Qt::Key_Return);
        QTRY_VERIFY(table->isEditing());
        auto *open = qobject_cast<QComboBox *>(table->indexWidget(table->currentIndex()));
        QVERIFY(open);
        QTRY_VERIFY(open->view()->isVisible());
        QTest::keyClick(open->view(), Qt::Key_Tab);
        QTRY_VERIFY(!table->isEditing());
        QVERIFY(!table->hasFocus());
        QVERIFY(!QApplication::activePopupWidget());
        plugin->window()->closeWithoutAsking();
    }

    // A file's entries apply to it alone: its table has no "Applies to" column, for a screen
    // reader either.
    void aFilesTableHasTheColumnsItShows()
    {
        const QString file = tmp.path("table-file");
        QVERIFY(shOk("touch " + quoted(file) + " && setfacl -m u:daemon:r " + quoted(file)));
        MGAclPlugin::Pointer plugin = openWindow(file);
        MGAclEntriesTableView *table = entriesView(plugin)->tableView();
        QAccessibleTableInterface *columns = QAccessible::queryAccessibleInterface(table)->tableInterface();
        QCOMPARE(columns->columnCount(), 4);
        QCOMPARE(columns->columnDescription(3), QStringLiteral("Inherited"));
        QCOMPARE(cell(table, 1, 3)->text(QAccessible::Name), QStringLiteral("No"));
        plugin->window()->closeWithoutAsking();
    }

    // A save reads the list back in the item's order: the entry edited stays selected and in
    // view, wherever it now stands.
    void theRowSavedStaysInView()
    {
        const QString path = tmp.path("many");
        QVERIFY(shOk(QStringLiteral("mkdir %1 && for i in $(seq 10001 10060); do echo u:$i:r; done | setfacl -M - %1")
                         .arg(quoted(path))));
        MGAclPlugin::Pointer plugin = openWindow(path);
        plugin->window()->resize(600, 300);
        plugin->window()->show();
        QVERIFY(QTest::qWaitForWindowExposed(plugin->window()));
        MGAclEntriesViewController *entries = entriesView(plugin);
        MGAclEntriesTableView *table = entries->tableView();
        // The first entry (uid 10001) becomes uid 10099, which the item keeps last.
        const QModelIndex first = table->model()->index(1, MGAclEntriesTableModel::IdentityColumn);
        table->setCurrentIndex(first);
        entries->selectRow(1);
        QVERIFY(table->model()->setData(first, QVariant::fromValue(CBIdentity::user(10099))));
        QSignalSpy saved(plugin.get(), &MGAclPlugin::entriesChanged);
        plugin->saveEntries(plugin.get());
        QTRY_VERIFY(!plugin->window()->isWindowModified());
        QTRY_VERIFY2(entries->selectedEntry() && entries->selectedEntry()->identity() == CBIdentity::user(10099),
                     qPrintable(QStringLiteral("row %1: %2").arg(entries->selectedRow()).arg(entries->selectedEntry() ? entries->selectedEntry()->identityText() : "none")));
        const int row = entries->selectedRow();
        QVERIFY(row > 40);
        QTRY_VERIFY(table->viewport()->rect().intersects(table->visualRect(table->model()->index(row, 0))));
        plugin->window()->closeWithoutAsking();
    }

    // Space on a permission's check box changes the checked state read out.
    void aTickByKeyIsHeard()
    {
        MGAclPlugin::Pointer plugin = openWindow(folder("ticks"));
        MGAclEntriesViewController *entries = entriesView(plugin);
        entries->selectRow(1);
        entries->showPermissions(nullptr);
        MGAclPermissionViewController *editor = nullptr;
        QTRY_VERIFY((editor = plugin->window()->findChild<MGAclPermissionViewController *>()));
        QTRY_VERIFY(editor->itemFor("Write"));
        QTreeView *tree = editor->outlineView();
        const QModelIndex write = editor->itemFor("Write")->index();
        tree->setFocus();
        tree->setCurrentIndex(write);
        const int before = editor->stateFor("Write").value_or(-2);
        QCOMPARE(bool(MGAccessibleItems::cellOf(tree, write)->state().checked), before == 1);
        QTest::keyClick(tree, Qt::Key_Space);
        QCOMPARE(editor->stateFor("Write").value_or(-2), before == 1 ? 0 : 1);
        QCOMPARE(bool(MGAccessibleItems::cellOf(tree, write)->state().checked), editor->stateFor("Write").value_or(-2) == 1);
        editor->dismissPermissions(nullptr);
        plugin->window()->closeWithoutAsking();
    }

    // Who already has an entry is not offered, and a search for them says why; the list
    // opens above a chooser too low on the screen for it below.
    void theChooserSaysWhoIsLeftOutAndStaysOnTheScreen()
    {
        QWidget window;
        const QRect screen = window.screen()->availableGeometry();
        window.setGeometry(screen.left() + 10, screen.bottom() - 80, 300, 60);
        MGIdentityPopUpButton chooser(&window);
        chooser.setGeometry(10, 10, 200, 30);
        chooser.setIdentityModel(MGIdentityListModel::sharedModel(), CBIdentity::user(0));
        chooser.setExcluded([](const CBIdentity &who) { return who.isUser() && who.posixID() == 2; });
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        chooser.showPopup();
        QLineEdit *search = chooser.searchField();
        QVERIFY(search);
        QCOMPARE(search->accessibleName(), QStringLiteral("Find a user or group"));
        const QRect list = chooser.listView()->window()->geometry();
        QVERIFY2(screen.contains(list), qPrintable(QStringLiteral("%1,%2 %3x%4").arg(list.x()).arg(list.y()).arg(list.width()).arg(list.height())));
        const QString bin = CBIdentityAuthority::defaultIdentityAuthority().userWithUid(2)->displayName();
        QTest::keyClicks(search, bin);
        QTRY_VERIFY2(chooser.exclusionHint() && chooser.exclusionHint()->isVisible(),
                     qPrintable(QStringLiteral("%1 typed, hint %2").arg(search->text(), chooser.exclusionHint() ? chooser.exclusionHint()->text() : "gone")));
        QVERIFY(chooser.exclusionHint()->text().contains(bin));
        chooser.hidePopup();
    }

    // Return on the question before a propagation answers Cancel.
    void returnDoesNotConfirmWhatCannotBeUndone()
    {
        MGAclPlugin::Pointer plugin = openWindow(folder("propagate"));
        plugin->propagateEntries(nullptr);
        QMessageBox *box = waitForAlert();
        QVERIFY(box);
        QCOMPARE(box->defaultButton()->text(), QStringLiteral("Cancel"));
        QTest::keyClick(box, Qt::Key_Return);
        QTRY_VERIFY(!box->isVisible());
        QVERIFY(!plugin->window()->findChild<MGAclPropagationView *>() || !plugin->window()->findChild<MGAclPropagationView *>()->isVisible());
        plugin->window()->closeWithoutAsking();
    }

    // In German, a folder entry for "this folder and new items" in a narrow window: the
    // permissions keep the room their text needs (the table scrolls sideways instead).
    void thePermissionsColumnNeverShrinksBelowItsText()
    {
        QVERIFY(NTLocalizedString::installTranslation(QStringLiteral("de_DE")));
        const auto english = qScopeGuard([] { NTLocalizedString::installTranslation(QStringLiteral("C")); });
        const QString path = folder("german");
        QVERIFY(shOk("setfacl -m u:daemon:rw,d:u:daemon:rw " + quoted(path)));
        MGAclPlugin::Pointer plugin = openWindow(path);
        MGAclEntriesTableView *table = entriesView(plugin)->tableView();
        plugin->window()->resize(586, 420);
        plugin->window()->show();
        QVERIFY(QTest::qWaitForWindowExposed(plugin->window()));
        const int column = MGAclEntriesTableModel::PermissionGroupColumn;
        QTRY_VERIFY(table->horizontalHeader()->sectionSize(column) >= table->contentWidth(column));
        plugin->window()->closeWithoutAsking();
        // What the bar says of an item nobody can change is German too.
        const MGResultError readOnly = MGChangeBlockers::describe(nullptr, true, MGChangeBlockers::ChangeFailure, "/x",
                                                                  MGChangeBlockers::Scope::Item);
        QVERIFY2(readOnly && readOnly->localizedDescription().contains(QStringLiteral("schreibgeschützt")),
                 qPrintable(readOnly ? readOnly->localizedDescription() : QString()));
    }
};

QTEST_MAIN(tst_WindowAccessibility)
#include "tst_WindowAccessibility.moc"
