#include "MGAclEntriesTableModel.h"
#include "MGAclEntriesViewController.h"
#include "MGAclPermissionViewController.h"
#include "MGPosixRules.h"
#include "MGIdentityPopUpButton.h"
#include "NTLocalizedString.h"
#include "FileSystemHelpers.h"
#include "PluginHelpers.h"

#include <QMessageBox>
#include <QRandomGenerator>
#include <QTimer>
#include <QTreeView>
#include <QAbstractItemModelTester>
#include <QAccessible>
#include <QHeaderView>
#include <QLineEdit>
#include <QListView>
#include <QMenu>
#include <QStandardItem>
#include <QStandardItemModel>
#include <QStyleOptionViewItem>
#include <QTableView>
#include <QToolButton>

using Set = MGAclPermissionSet;

class tst_MGAclEntriesViewController : public QObject
{
    Q_OBJECT

    SharedTemporaryDir tmp;
    QString file;

private slots:
    void initTestCase()
    {
        useTestSettings();
        file = tmp.path("file");
        QVERIFY(shOk("touch " + quoted(file)));
    }

    // A seeded sequence of keys and clicks over the table, its pop-ups, its buttons and the
    // permission editor, as someone trying things would make it (MARROWGATE_WINDOW_SEED
    // repeats one; MARROWGATE_WINDOW_STEPS sets how many). After each step: no pop-up shows a
    // value with its list closed, the permission editor's boxes are what its entry holds, the
    // table's rows are the list's, and the edited mark is whether the list differs from what
    // was read.
    void aRandomSequenceOfKeysAndClicksLeavesNothingShownThatTheListDoesNotHold()
    {
        const QString folder = tmp.path("random");
        QVERIFY(shOk(QStringLiteral("mkdir %1 && setfacl -m u:daemon:rx,u:bin:r,g:adm:rwx,d:u:daemon:rx,d:g:adm:r %1")
                         .arg(quoted(folder))));
        MGAclPlugin::Pointer plugin = openWindow(folder);
        MGAclEntriesViewController *view = entriesView(plugin);
        QTableView *table = view->tableView();
        table->setFocus();
        const quint32 seed = qEnvironmentVariableIsSet("MARROWGATE_WINDOW_SEED")
            ? qEnvironmentVariable("MARROWGATE_WINDOW_SEED").toUInt()
            : QRandomGenerator::global()->generate();
        bool ok = false;
        const int steps = qEnvironmentVariableIntValue("MARROWGATE_WINDOW_STEPS", &ok);
        qInfo("seed %u (MARROWGATE_WINDOW_SEED repeats this run)", seed);
        QRandomGenerator random(seed);
        const Qt::Key keys[] = {Qt::Key_Up,   Qt::Key_Down,   Qt::Key_Left,     Qt::Key_Right, Qt::Key_Home,  Qt::Key_End,
                                Qt::Key_PageUp, Qt::Key_PageDown, Qt::Key_Return, Qt::Key_Escape, Qt::Key_F2,   Qt::Key_Space,
                                Qt::Key_Tab,  Qt::Key_Backtab, Qt::Key_R,       Qt::Key_Delete};
        QStringList trail;
        auto settle = [&] {
            for (int i = 0; i < 3; ++i) {
                QCoreApplication::processEvents();
                if (!flushQueue(*plugin->queue()) || !flushMainQueue())
                    return false;
            }
            return true;
        };
        // A key or click that opens a button's menu waits in the menu's own loop, as a person's
        // would; the menu is closed again from within it, so that the sequence goes on.
        auto closeMenuOnceOpen = [&trail] {
            QTimer::singleShot(50, [&trail] {
                if (auto *menu = qobject_cast<QMenu *>(QApplication::activePopupWidget())) {
                    trail << QStringLiteral("menu closed");
                    menu->close();
                }
            });
        };
        for (int step = 0; step < (ok ? steps : 1000); ++step) {
            // Alerts (a refused command says why) are answered, as a person would.
            if (auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget())) {
                box->reject();
                box->close();
            }
            auto *editor = plugin->window()->findChild<MGAclPermissionViewController *>();
            // Keys go where a person's would: to the open list of a pop-up, or to the focus.
            QWidget *popup = QApplication::activePopupWidget();
            QWidget *target = popup ? (popup->focusWidget() ? popup->focusWidget() : popup) : QApplication::focusWidget();
            const int what = random.bounded(10);
            if (editor && editor->isViewLoaded() && editor->view()->isVisible() && what < 4) {
                // In the permission editor: a box ticked or cleared, or the editor closed.
                QTreeView *tree = editor->outlineView();
                const int rows = editor->permissionModel()->rowCount();
                if (what == 0 || rows == 0) {
                    trail << QStringLiteral("close editor");
                    editor->dismissPermissions(nullptr);
                } else {
                    const QModelIndex row = editor->permissionModel()->index(random.bounded(rows), 0);
                    tree->setFocus();
                    tree->setCurrentIndex(row);
                    trail << QStringLiteral("space on %1").arg(row.data().toString());
                    QTest::keyClick(tree, Qt::Key_Space);
                }
            } else if (what < 6 && target) {
                const Qt::Key key = keys[random.bounded(int(std::size(keys)))];
                trail << QStringLiteral("key %1 on %2").arg(QKeySequence(key).toString(), QString::fromLatin1(target->metaObject()->className()));
                closeMenuOnceOpen();
                QTest::keyClick(target, key);
            } else if (what < 8 && !QApplication::activePopupWidget() && !editor) {
                const int row = random.bounded(table->model()->rowCount()), column = random.bounded(MGAclEntriesTableModel::ColumnCount);
                const QModelIndex index = table->model()->index(row, column);
                table->scrollTo(index);
                const QPoint point = table->visualRect(index).center();
                trail << QStringLiteral("%1 %2,%3").arg(what == 6 ? "click" : "double-click").arg(row).arg(column);
                if (what == 6)
                    QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, point);
                else
                    QTest::mouseDClick(table->viewport(), Qt::LeftButton, {}, point);
            } else if (what == 8 && !QApplication::activePopupWidget() && !editor) {
                QToolButton *button = random.bounded(2) ? view->addButton() : view->removeButton();
                trail << QStringLiteral("button %1").arg(button == view->addButton() ? "+" : "-");
                if (button->isEnabled()) {
                    closeMenuOnceOpen();
                    QTest::mouseClick(button, Qt::LeftButton);
                }
            } else if (!QApplication::activePopupWidget() && !editor) {
                trail << QStringLiteral("show permissions");
                view->showPermissions(nullptr);
            }
            QVERIFY(settle());
            const QString where = QStringLiteral("step %1: %2").arg(step).arg(trail.mid(std::max<qsizetype>(0, trail.size() - 6)).join(" / "));
            // No pop-up is left with its list closed, where it could show a value the list
            // does not hold.
            for (int row = 0; row < table->model()->rowCount(); ++row) {
                for (int column = 0; column < MGAclEntriesTableModel::ColumnCount; ++column) {
                    auto *box = qobject_cast<QComboBox *>(view->cellEditor(row, column));
                    if (box && !qobject_cast<MGIdentityPopUpButton *>(box))
                        QVERIFY2(box->view()->isVisible() || box->currentData() == table->model()->index(row, column).data(Qt::EditRole),
                                 qPrintable(where + QStringLiteral(" (shows %1)").arg(box->currentText())));
                    if (box && !qobject_cast<MGIdentityPopUpButton *>(box))
                        QVERIFY2(box->view()->isVisible(), qPrintable(where + " (a pop-up is open with its list closed)"));
                }
            }
            // The permission editor shows what its entry holds.
            editor = plugin->window()->findChild<MGAclPermissionViewController *>();
            if (editor && editor->entry() && editor->isViewLoaded()) {
                for (int r = 0; r < editor->permissionModel()->rowCount(); ++r) {
                    QStandardItem *item = editor->permissionModel()->item(r);
                    const int state = editor->entry()->permissionState(item->data(Qt::UserRole).toUInt());
                    QVERIFY2((item->checkState() == Qt::Checked ? 1 : item->checkState() == Qt::Unchecked ? 0 : -1) == state,
                             qPrintable(where));
                }
            }
            // The rows are the list's, and the edited mark is whether it differs from what was read.
            QCOMPARE(table->model()->rowCount(), int(plugin->entries().size()));
            QVERIFY2(plugin->window()->isWindowModified() == !MGAclLists::isEqualToList(plugin->entries(), plugin->revertedEntries()),
                     qPrintable(where));
        }
        if (auto *editor = plugin->window()->findChild<MGAclPermissionViewController *>())
            editor->dismissPermissions(nullptr);
        plugin->window()->closeWithoutAsking();
    }

    void rowsAreTheListWithTitleRows()
    {
        MGAclPlugin::Pointer plugin = openWindow(tmp.path());
        installSampleEntries(plugin);
        MGAclEntriesViewController *view = entriesView(plugin);
        QAbstractItemModelTester tester(view->model());
        QTableView *table = view->tableView();
        QCOMPARE(table->model()->rowCount(), plugin->entries().size());
        QVERIFY(!(table->model()->flags(table->model()->index(0, 0)) & Qt::ItemIsSelectable));
        QVERIFY(table->model()->flags(table->model()->index(1, 0)) & Qt::ItemIsSelectable);
        QCOMPARE(table->columnSpan(0, 0), int(MGAclEntriesTableModel::ColumnCount));
        // Painted by the delegate: no widget in any cell.
        QVERIFY(table->viewport()->findChildren<QWidget *>(QString(), Qt::FindDirectChildrenOnly).isEmpty());
        QCOMPARE(table->model()->index(0, 0).data(MGAclEntriesTableModel::TitleRole).toString(),
                 QStringLiteral("Access Control List"));
        QCOMPARE(table->model()->index(1, MGAclEntriesTableModel::TagColumn).data().toString(), QStringLiteral("Allow"));
        // The group's name, and the letters of what an entry stored in a POSIX ACL holds.
        QCOMPARE(table->model()->index(1, MGAclEntriesTableModel::PermissionGroupColumn).data().toString(),
                 QStringLiteral("Read (r-x)"));
        QCOMPARE(table->model()->index(2, MGAclEntriesTableModel::InheritedColumn).data().toString(), QStringLiteral("Yes"));
        // Clicking a title keeps the selection.
        view->selectRow(2);
        QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, table->visualRect(table->model()->index(0, 0)).center());
        QCOMPARE(view->selectedRow(), 2);
        plugin->window()->closeWithoutAsking();
    }

    void selectionDecidesWhatMayBeAddedAndRemoved()
    {
        MGAclPlugin::Pointer plugin = openWindow(tmp.path());
        installSampleEntries(plugin);
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
        installSampleEntries(plugin);
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

    // The permission editor a row's command opened, once it is on screen.
    static MGAclPermissionViewController *openEditor(const MGAclPlugin::Pointer &plugin)
    {
        MGAclPermissionViewController *editor = nullptr;
        (void)QTest::qWaitFor([&] {
            const auto presented = plugin->tabViewController()->presentedViewControllers();
            editor = presented.isEmpty() ? nullptr : qobject_cast<MGAclPermissionViewController *>(presented.last());
            return editor && editor->sheet() && editor->sheet()->isVisible() && editor->itemFor("Read");
        }, 5000);
        return editor;
    }

    static QPoint centreOfRow(QTableView *table, int row, int column)
    {
        return table->visualRect(table->model()->index(row, column)).center();
    }

    // Moves the table's current cell to (row, column) and presses a key there, as a user
    // with the keyboard does; answers the editor the cell then has, if any.
    // On a file system without ACLs the window says so where the entries would be, offers no
    // +, refuses entries that arrive otherwise before sending them, and still saves the
    // owner, group and everyone permissions.
    void withoutAclsTheWindowSaysWhyAndKeepsToPermissionBits()
    {
        ScratchFileSystem ramfs("ramfs");
        REQUIRE_MOUNTED(ramfs);
        const QString file = ramfs.path("notes");
        QVERIFY(shOk(QStringLiteral("touch %1 && chmod 600 %1").arg(quoted(file))));
        MGAclPlugin::Pointer plugin = openWindow(file);
        MGAclEntriesViewController *view = entriesView(plugin);
        QLabel *note = view->noticeBar()->label();
        QTRY_VERIFY(view->noticeBar()->isVisible());
        QVERIFY2(note->text().contains("(ramfs)"), qPrintable(note->text()));
        QVERIFY(!view->addButton()->isEnabled());
        QTest::mouseClick(view->addButton(), Qt::LeftButton);
        QVERIFY(MGAclLists::aclEntries(plugin->entries()).isEmpty());

        // Everyone may read: the pop-up, then Ctrl+S.
        QSignalSpy reloaded(plugin.get(), &MGAclPlugin::entriesChanged);
        otherEntry(plugin->entries())->setPermissions(MGAclPermissionSet::fromPosixBits(4, false));
        QTest::keyClick(plugin->window(), Qt::Key_S, Qt::ControlModifier);
        QVERIFY(reloaded.wait(10000));
        QCOMPARE(sh("stat -c %a " + quoted(file)).trimmed(), QStringLiteral("604"));

        // An entry that arrives another way (here, as a drop would add it) is refused on save.
        plugin->addEntry(QVariant(qint64(0)));
        QTRY_COMPARE(MGAclLists::aclEntries(plugin->entries()).size(), 1);
        QTest::keyClick(plugin->window(), Qt::Key_S, Qt::ControlModifier);
        QMessageBox *box = waitForAlert();
        QVERIFY(box);
        QVERIFY2(box->informativeText().contains("keeps no ACLs"), qPrintable(box->informativeText()));
        QTest::keyClick(box, Qt::Key_Return);
        QTRY_VERIFY(!QApplication::activeModalWidget());
        QCOMPARE(sh("stat -c %a " + quoted(file)).trimmed(), QStringLiteral("604"));
        plugin->window()->closeWithoutAsking();
    }

    void addingSomeoneIsPlusTypeEnterThenAGroup()
    {
        const QString target = tmp.path("shared-file");
        QVERIFY(shOk("touch " + quoted(target) + " && chmod 640 " + quoted(target)));
        MGAclPlugin::Pointer plugin = openWindow(target);
        MGAclEntriesViewController *view = entriesView(plugin);
        QSignalSpy installed(plugin.get(), &MGAclPlugin::entriesChanged);
        QTest::mouseClick(view->addButton(), Qt::LeftButton);
        QVERIFY(installed.wait(10000));
        // The new row's chooser is open: typing finds people by any part of their name.
        MGIdentityPopUpButton *chooser = nullptr;
        QTRY_VERIFY((chooser = qobject_cast<MGIdentityPopUpButton *>(
                         view->cellEditor(1, MGAclEntriesTableModel::IdentityColumn)))
                    && chooser->searchField());
        QTest::keyClicks(chooser->searchField(), "BOD");
        QTRY_COMPARE(chooser->listView()->currentIndex().data().toString(), QStringLiteral("nobody"));
        QTest::keyClick(chooser->searchField(), Qt::Key_Return);
        QTRY_VERIFY(!view->cellEditor(1, MGAclEntriesTableModel::IdentityColumn));
        MGAclEntry *added = MGAclLists::aclEntries(plugin->entries()).first().get();
        QCOMPARE(added->identity().posixName(), QStringLiteral("nobody"));
        QCOMPARE(view->model()->index(1, MGAclEntriesTableModel::IdentityColumn).data().toString(), QStringLiteral("nobody"));
        // Deny is there but cannot be chosen: POSIX ACLs have none, and the tooltip says so.
        auto *tag = qobject_cast<QComboBox *>(keyOnCell(view, 1, MGAclEntriesTableModel::TagColumn, Qt::Key_F2));
        QVERIFY(tag);
        auto *tags = qobject_cast<QStandardItemModel *>(tag->model());
        QVERIFY(!tags->item(1)->isEnabled());
        QVERIFY(tags->item(1)->toolTip().contains("no deny entries"));
        QTest::keyClick(tag, Qt::Key_Escape);
        QTRY_VERIFY(!view->cellEditor(1, MGAclEntriesTableModel::TagColumn));
        // A group with the keyboard: the arrow moves in the open list, Enter chooses.
        auto *group = qobject_cast<QComboBox *>(keyOnCell(view, 1, MGAclEntriesTableModel::PermissionGroupColumn, Qt::Key_F2));
        QVERIFY(group);
        QCOMPARE(group->currentText(), QStringLiteral("Read"));
        QTRY_VERIFY(group->view()->isVisible());
        QTest::keyClick(group->view(), Qt::Key_Up); // Read & Write comes before Read
        QCOMPARE(added->permissionGroup(), qint64(Set::Read));
        QVERIFY(view->model()->index(1, MGAclEntriesTableModel::PermissionGroupColumn).data().toString().startsWith(
            "Read (r--"));
        QTest::keyClick(group->view(), Qt::Key_Return);
        QTRY_VERIFY(!view->cellEditor(1, MGAclEntriesTableModel::PermissionGroupColumn));
        QCOMPARE(added->permissionGroup(), qint64(Set::ReadWrite));
        QVERIFY(view->model()->index(1, MGAclEntriesTableModel::PermissionGroupColumn).data().toString().startsWith(
            "Read & Write (rw-"));
        QVERIFY(plugin->window()->isWindowModified());
        QTest::keyClick(plugin->window(), Qt::Key_S, Qt::ControlModifier);
        QVERIFY(installed.wait(10000));
        QVERIFY2(facl(target).contains("user:65534:rw-"), qPrintable(facl(target)));
        plugin->window()->close();
    }

    void escapeInTheChooserOfANewEntryTakesTheAddBack()
    {
        // "+", then Escape in the chooser that opens, in its search field or on
        // the closed chooser: the list and the edited mark are as before, and a save writes
        // nothing for anyone.
        const QString target = tmp.path("escape-after-add");
        QVERIFY(shOk("mkdir " + quoted(target) + " && chmod 750 " + quoted(target)));
        const QString before = facl(target);
        MGAclPlugin::Pointer plugin = openWindow(target);
        MGAclEntriesViewController *view = entriesView(plugin);
        QAbstractItemModelTester tester(view->model());
        const qsizetype rows = plugin->entries().size();
        for (bool inSearch : {true, false}) {
            QSignalSpy installed(plugin.get(), &MGAclPlugin::entriesChanged);
            QVERIFY2(view->addButton()->isEnabled(), inSearch ? "first add" : "second add");
            QTest::mouseClick(view->addButton(), Qt::LeftButton);
            QVERIFY(installed.wait(10000));
            QCOMPARE(plugin->entries().size(), rows + 1);
            MGIdentityPopUpButton *chooser = nullptr;
            QTRY_VERIFY((chooser = qobject_cast<MGIdentityPopUpButton *>(
                             view->cellEditor(1, MGAclEntriesTableModel::IdentityColumn))));
            if (inSearch) {
                QTRY_VERIFY(chooser->searchField());
                QTest::keyClick(chooser->searchField(), Qt::Key_Escape);
            } else {
                if (QWidget *search = chooser->searchField())
                    QTest::keyClick(search, Qt::Key_Escape); // leaves the list closed
                QTRY_VERIFY(!view->cellEditor(1, MGAclEntriesTableModel::IdentityColumn) || chooser->hasFocus());
                if (view->cellEditor(1, MGAclEntriesTableModel::IdentityColumn))
                    QTest::keyClick(chooser, Qt::Key_Escape);
            }
            QTRY_COMPARE(plugin->entries().size(), rows);
            QVERIFY(!view->cellEditor(1, MGAclEntriesTableModel::IdentityColumn));
            QVERIFY(!plugin->window()->isWindowModified());
        }
        plugin->saveEntries(plugin.get());
        QVERIFY(syncWithService(plugin));
        QVERIFY(flushMainQueue()); // the list read again after the save is shown
        QCOMPARE(facl(target), before);
        // A click elsewhere only closes the list: the new entry stays, for its first user.
        QSignalSpy installed(plugin.get(), &MGAclPlugin::entriesChanged);
        QTest::mouseClick(view->addButton(), Qt::LeftButton);
        QVERIFY(installed.wait(10000));
        QTRY_VERIFY(QApplication::activePopupWidget());
        QApplication::activePopupWidget()->close();
        QTRY_VERIFY(!view->cellEditor(1, MGAclEntriesTableModel::IdentityColumn));
        QVERIFY(flushMainQueue());
        QCOMPARE(plugin->entries().size(), rows + 1);
        plugin->window()->closeWithoutAsking();
    }

    void theEditorOpensByDoubleClickAndEditsInPlace()
    {
        const QString target = tmp.path("edited-file");
        QVERIFY(shOk("touch " + quoted(target) + " && setfacl -m u:nobody:r-- " + quoted(target)));
        MGAclPlugin::Pointer plugin = openWindow(target);
        MGAclEntriesViewController *view = entriesView(plugin);
        QTableView *table = view->tableView();
        // Double-click on the row's Inherited cell (which has no control of its own).
        QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, centreOfRow(table, 1, MGAclEntriesTableModel::InheritedColumn));
        QTest::mouseDClick(table->viewport(), Qt::LeftButton, {}, centreOfRow(table, 1, MGAclEntriesTableModel::InheritedColumn));
        MGAclPermissionViewController *editor = openEditor(plugin);
        QVERIFY(editor);
        QCOMPARE(editor->entry()->identity().posixName(), QStringLiteral("nobody"));
        // A POSIX-kept entry: read, write and execute, and a word on why only those.
        QVERIFY(editor->itemFor("Read") && editor->itemFor("Write") && editor->itemFor("Execute"));
        QVERIFY(!editor->itemFor("Take Ownership"));
        QVERIFY(editor->view()->findChild<QLabel *>("posixNote")->isVisible());
        QVERIFY(editor->sheet()->windowModality() == Qt::WindowModal);
        QCOMPARE(editor->sheet()->minimumSize(), editor->sheet()->maximumSize()); // not resizable
        // Ticking changes the listed entry at once; unticking makes the window unedited again.
        // Each tick is Space on the row, in the sheet as the user sees it.
        QAbstractItemModelTester permissionsTester(editor->permissionModel());
        QTreeView *rows = editor->outlineView();
        auto tick = [&](const char *key) {
            rows->setCurrentIndex(editor->itemFor(QString::fromLatin1(key))->index());
            QTest::keyClick(rows, Qt::Key_Space);
        };
        tick("Write");
        QCOMPARE(Set::shortText(MGAclLists::aclEntries(plugin->entries()).first()->permissions(), false), QStringLiteral("rw-"));
        QVERIFY(plugin->window()->isWindowModified());
        tick("Write");
        QVERIFY(!plugin->window()->isWindowModified());
        tick("Execute");
        QTest::mouseClick(editor->closeButton(), Qt::LeftButton);
        QTRY_VERIFY(plugin->tabViewController()->presentedViewControllers().isEmpty());
        QVERIFY(plugin->window()->isWindowModified()); // closing keeps what was changed
        QSignalSpy reloaded(plugin.get(), &MGAclPlugin::entriesChanged);
        plugin->saveEntries(plugin.get());
        QVERIFY(reloaded.wait(10000));
        QVERIFY2(facl(target).contains("user:65534:r-x"), qPrintable(facl(target)));
        plugin->window()->close();
    }

    void customOpensTheEditorForItsOwnRow()
    {
        MGAclPlugin::Pointer plugin = openWindow(tmp.path());
        installSampleEntries(plugin);
        MGAclEntriesViewController *view = entriesView(plugin);
        view->selectRow(1);
        // "Custom…" in row 3, while row 1 is selected.
        QVERIFY(view->model()->setData(view->model()->index(3, MGAclEntriesTableModel::PermissionGroupColumn),
                                       int(Set::Custom)));
        MGAclPermissionViewController *editor = openEditor(plugin);
        QVERIFY(editor);
        QCOMPARE(editor->entry()->identity().posixID(), 3u);
        QCOMPARE(MGAclLists::entryOf(plugin->entries().at(3))->permissionGroup(), qint64(Set::Custom));
        // Showing permissions again while a sheet is open leaves the open one.
        view->showPermissions(nullptr);
        QCOMPARE(plugin->tabViewController()->presentedViewControllers().size(), 2);
        for (MGViewController *presented : plugin->tabViewController()->presentedViewControllers())
            plugin->tabViewController()->dismissViewController(presented);
        plugin->window()->closeWithoutAsking();
    }

    void rowsHaveMenusAndKeys()
    {
        MGAclPlugin::Pointer plugin = openWindow(tmp.path());
        installSampleEntries(plugin);
        MGAclEntriesViewController *view = entriesView(plugin);
        QTableView *table = view->tableView();
        auto enabled = [&](const char *action) {
            QAction item;
            item.setObjectName(QString::fromLatin1(action));
            return view->validateMenuItem(&item);
        };
        table->clearSelection();
        QVERIFY(enabled("addEntry:") && !enabled("removeEntry:") && !enabled("showPermissions:"));
        QVERIFY(!enabled("sortEntriesCanonically:"));
        view->selectRow(2); // inherited: shown, not removable
        QVERIFY(enabled("showPermissions:") && !enabled("removeEntry:"));
        QVERIFY(!(view->model()->flags(view->model()->index(2, MGAclEntriesTableModel::IdentityColumn))
                  & Qt::ItemIsEditable));
        view->selectRow(1);
        QVERIFY(enabled("removeEntry:"));
        // Enter on a cell with nothing to edit opens the permission editor for the row;
        // Delete removes it.
        table->setFocus();
        table->setCurrentIndex(table->model()->index(1, MGAclEntriesTableModel::InheritedColumn));
        QTest::keyClick(table, Qt::Key_Return);
        MGAclPermissionViewController *editor = openEditor(plugin);
        QVERIFY(editor && editor->entry()->identity().posixID() == 1u);
        QTest::keyClick(editor->sheet(), Qt::Key_Escape);
        QTRY_VERIFY(plugin->tabViewController()->presentedViewControllers().isEmpty());
        QSignalSpy installed(plugin.get(), &MGAclPlugin::entriesChanged);
        table->setFocus();
        QTest::keyClick(table, Qt::Key_Delete);
        QVERIFY(installed.wait(10000));
        QCOMPARE(MGAclLists::aclEntries(plugin->entries()).size(), 2);
        // The row menu: its items are validated as it opens.
        view->selectRow(1); // the inherited entry, now first
        QMenu *menu = table->findChild<QMenu *>();
        QVERIFY(menu);
        emit menu->aboutToShow();
        QStringList items;
        for (QAction *item : menu->actions())
            items << item->objectName() + (item->isEnabled() ? "+" : "-");
        QCOMPARE(items, (QStringList{"showPermissions:+", "removeEntry:-"}));
        plugin->window()->closeWithoutAsking();
    }

    // From the keyboard alone: Tab leaves the table for the selected row's controls and the
    // buttons, Shift+Tab comes back, and the tab keys switch tabs from inside the table.
    void theKeyboardReachesEveryControl()
    {
        MGAclPlugin::Pointer plugin = openWindow(tmp.path());
        installSampleEntries(plugin);
        MGAclEntriesViewController *view = entriesView(plugin);
        QTableView *table = view->tableView();
        plugin->window()->activateWindow();
        table->setFocus();
        QTRY_VERIFY(table->hasFocus());
        QTest::keyClick(table, Qt::Key_Down); // the first entry
        QCOMPARE(view->selectedRow(), 1);
        auto focusAfterTab = [](Qt::KeyboardModifiers modifiers = {}) {
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab, modifiers);
            return QApplication::focusWidget();
        };
        // Tab leaves the table for the buttons; Shift+Tab comes back.
        const QList<QWidget *> forward = {view->addButton(), view->removeButton(), view->actionPopUpButton()};
        for (QWidget *expected : forward)
            QCOMPARE(focusAfterTab(), expected);
        for (qsizetype i = forward.size() - 2; i >= 0; --i)
            QCOMPARE(focusAfterTab(Qt::ShiftModifier), forward.at(i));
        QCOMPARE(focusAfterTab(Qt::ShiftModifier), static_cast<QWidget *>(table));
        // Arrows move between cells without editing; Enter opens the cell's pop-up and
        // Escape leaves it as it was.
        const qint64 group = view->model()->entryAt(1)->permissionGroup();
        table->setCurrentIndex(table->model()->index(1, MGAclEntriesTableModel::TagColumn));
        QTest::keyClick(table, Qt::Key_Right);
        QCOMPARE(table->currentIndex().column(), int(MGAclEntriesTableModel::IdentityColumn));
        QVERIFY(!view->cellEditor(1, MGAclEntriesTableModel::IdentityColumn));
        QTest::keyClick(table, Qt::Key_Right);
        QTest::keyClick(table, Qt::Key_Return);
        QWidget *editor = nullptr;
        QTRY_VERIFY((editor = view->cellEditor(1, MGAclEntriesTableModel::PermissionGroupColumn)));
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
        if (view->cellEditor(1, MGAclEntriesTableModel::PermissionGroupColumn))
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape); // the pop-up first, then the editor
        QTRY_VERIFY(!view->cellEditor(1, MGAclEntriesTableModel::PermissionGroupColumn));
        QCOMPARE(view->model()->entryAt(1)->permissionGroup(), group);
        // An inherited row's cells cannot change: Enter there shows its permissions instead.
        QVERIFY(!view->editCell(2, MGAclEntriesTableModel::TagColumn));
        // Ctrl+Tab and Ctrl+PgDn from inside the table switch tabs; the focus goes along.
        table->setFocus();
        QTest::keyClick(table, Qt::Key_Tab, Qt::ControlModifier);
        QCOMPARE(plugin->tabViewController()->selectedTabViewItemIndex(), 1);
        QTRY_VERIFY(plugin->tabViewController()->childViewControllers().at(1)->view()->isAncestorOf(QApplication::focusWidget()));
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_PageDown, Qt::ControlModifier);
        QCOMPARE(plugin->tabViewController()->selectedTabViewItemIndex(), 0);
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_PageUp, Qt::ControlModifier);
        QCOMPARE(plugin->tabViewController()->selectedTabViewItemIndex(), 1);
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Backtab, Qt::ControlModifier | Qt::ShiftModifier);
        QCOMPARE(plugin->tabViewController()->selectedTabViewItemIndex(), 0);
        plugin->window()->closeWithoutAsking();
    }

    // Longer words in German: every column still shows its whole header, and every row's
    // pop-up its whole choice.
    void columnsFitTheirLongestTextInGerman()
    {
        QVERIFY(NTLocalizedString::installTranslation("de"));
        MGAclPlugin::Pointer plugin = openWindow(tmp.path());
        installSampleEntries(plugin);
        MGAclEntriesViewController *view = entriesView(plugin);
        MGAclEntriesTableModel *model = view->model();
        MGAclEntry *custom = MGAclLists::entryOf(plugin->entries().at(1));
        custom->setPermissions(Set::fromPosixBits(1, true) | MGAclPermissionSet::fromPosixBits(4, true));
        QCoreApplication::processEvents();
        QCOMPARE(model->headerData(0, Qt::Horizontal).toString(), QStringLiteral("Typ"));
        QHeaderView *header = view->tableView()->horizontalHeader();
        for (int column = 0; column < MGAclEntriesTableModel::ColumnCount; ++column)
            QVERIFY2(header->sectionSize(column) >= header->sectionSizeHint(column), qPrintable(QString::number(column)));

        NTLocalizedString::installTranslation("C");
        plugin->window()->closeWithoutAsking();
    }

    // Rows that arrive after the window is shown are fitted too: every column that fits its
    // content shows each row's whole text ("Allow", not "A…").
    void columnsFitTheRowsThatArriveLater()
    {
        MGAclPlugin::Pointer plugin = openWindow(tmp.path());
        MGAclEntriesViewController *view = entriesView(plugin);
        QTableView *table = view->tableView();
        // As on a display that lays the window out later: the rows come while the table is
        // not laid out.
        table->hide();
        installSampleEntries(plugin);
        QCoreApplication::processEvents();
        table->show();
        QHeaderView *header = table->horizontalHeader();
        QAbstractItemModel *model = table->model();
        auto widest = [&](int column) {
            int width = 0;
            for (int row = 0; row < model->rowCount(); ++row) {
                if (!model->index(row, column).data(MGAclEntriesTableModel::TitleRole).isValid())
                    width = qMax(width, table->sizeHintForIndex(model->index(row, column)).width());
            }
            return width;
        };
        for (const int column : {int(MGAclEntriesTableModel::TagColumn), int(MGAclEntriesTableModel::IdentityColumn)})
            QTRY_VERIFY2(header->sectionSize(column) >= widest(column),
                         qPrintable(QStringLiteral("column %1: %2 < %3").arg(column).arg(header->sectionSize(column)).arg(widest(column))));
        plugin->window()->closeWithoutAsking();
    }

    void nobodyIsOfferedTwice()
    {
        MGAclPlugin::Pointer plugin = openWindow(tmp.path());
        installSampleEntries(plugin);
        MGAclEntriesViewController *view = entriesView(plugin);
        // Users 1 and 3 have entries of their own: row 3's chooser does not offer user 1,
        // nor user 2, whose inherited entry also applies to the folder.
        const MGAclEntry &row3 = *MGAclLists::entryOf(plugin->entries().at(3));
        QVERIFY(view->model()->identityUse().isTaken(CBIdentity::user(1), row3));
        QVERIFY(!view->model()->identityUse().isTaken(CBIdentity::user(3), row3));
        auto *chooser = qobject_cast<MGIdentityPopUpButton *>(
            keyOnCell(view, 3, MGAclEntriesTableModel::IdentityColumn, Qt::Key_F2));
        QVERIFY(chooser);
        // Nor may the model be given one by any other way.
        QVERIFY(!view->model()->setData(view->model()->index(3, MGAclEntriesTableModel::IdentityColumn),
                                        QVariant::fromValue(CBIdentity::user(1))));
        bool offersUser1 = false;
        for (int row = 0; row < chooser->count(); ++row)
            offersUser1 = offersUser1 || chooser->itemData(row).value<CBIdentity>() == CBIdentity::user(1);
        QVERIFY(!offersUser1);
        QTest::keyClick(chooser, Qt::Key_Escape);
        plugin->window()->closeWithoutAsking();
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
