#include "MGAclEntriesTableModel.h"
#include "FileSystemHelpers.h"
#include "PluginHelpers.h"

#include "MGAclAccessTreeModel.h"
#include "MGAclAccessViewController.h"
#include "MGAclEntriesViewController.h"
#include "MGAclPropagationView.h"
#include "MGAclItemWatch.h"
#include "MGAclNoticeBar.h"
#include "MGAclPermissionViewController.h"

#include <QAccessible>
#include <QAction>
#include <QComboBox>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTabBar>
#include <QGuiApplication>
#include <QScreen>
#include <QScopeGuard>
#include <QStandardItem>
#include <QTimer>

using Set = MGAclPermissionSet;

class tst_MGAclPluginWindow : public QObject
{
    Q_OBJECT

    SharedTemporaryDir tmp;

    static QString otherBits(const QString &path) { return sh("stat -c %A " + quoted(path)).trimmed().right(3); }

private slots:
    void initTestCase() { useTestSettings(); }
    void init() { QSettings().clear(); }

    void rejectedSelectionsFreeTheObjectSilently_data()
    {
        QTest::addColumn<int>("count");
        QTest::addColumn<bool>("valid");
        QTest::newRow("nothing") << 0 << true;
        QTest::newRow("two items") << 2 << true;
        QTest::newRow("invalid item") << 1 << false;
    }
    void rejectedSelectionsFreeTheObjectSilently()
    {
        QFETCH(int, count);
        QFETCH(bool, valid);
        QPointer<MGAclPlugin> object;
        {
            MGAclPlugin::Pointer plugin = MGAclPlugin::plugin();
            object = plugin.get();
            QList<MGHostItem> items;
            for (int i = 0; i < count; ++i)
                items << MGHostItem(QUrl::fromLocalFile(tmp.path()), valid);
            plugin->processItems(items);
            QVERIFY(!plugin->window()->isVisible());
            QVERIFY(object); // never inside the host's call
        }
        QTRY_VERIFY(!object);
        QVERIFY(!QApplication::activeModalWidget());
    }

    void aWindowForOneItemLivesUntilClosed()
    {
        QPointer<MGAclPlugin> object;
        QPointer<MGWindow> window;
        {
            MGAclPlugin::Pointer plugin = openWindow(tmp.path());
            object = plugin.get();
            window = plugin->window();
            QVERIFY(window->isVisible());
            QCOMPARE(window->windowTitle(), QFileInfo(tmp.path()).fileName() + "[*]");
            QCOMPARE(window->representedUrl(), QUrl::fromLocalFile(tmp.path()));
            QCOMPARE(window->minimumSize(), QSize(10, 180));
            QVERIFY(!window->isWindowModified());
            QCOMPARE(plugin->tabViewController()->tabView()->count(), 2);
            QCOMPARE(plugin->tabViewController()->tabView()->tabText(0), QStringLiteral("Set of Permissions"));
            QCOMPARE(plugin->tabViewController()->tabView()->tabText(1), QStringLiteral("Effective Permissions"));
            QCOMPARE(plugin->queue()->label(), QStringLiteral("com.quillwork.Marrowgate.Acl.UpdateQueue"));
        }
        QVERIFY(flushMainQueue());
        QVERIFY(object); // the object holds itself while its window is open
        window->close(); // unedited: no question
        QTRY_VERIFY(!object);
    }

    void frameIsRestoredFromTheSettings()
    {
        {
            MGAclPlugin::Pointer plugin = MGAclPlugin::plugin();
            QCOMPARE(plugin->window()->size(), QSize(586, 412));
            const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
            QCOMPARE(plugin->window()->geometry().center(), screen.center());
            plugin->setHolder({});
        }
        QSettings().setValue("NSWindow Frame MGAclWindow", "{{40, 50}, {700, 500}}");
        MGAclPlugin::Pointer plugin = openWindow(tmp.path());
        QCOMPARE(plugin->window()->pos(), QPoint(40, 50));
        QCOMPARE(plugin->window()->size(), QSize(700, 500));
        plugin->window()->move(60, 70);
        plugin->window()->close();
        QCOMPARE(QSettings().value("NSWindow Frame MGAclWindow").toString(), QStringLiteral("{{60, 70}, {700, 500}}"));
    }

    void theEditedMarkFollowsEditsAndEditsBack()
    {
        MGAclPlugin::Pointer plugin = openWindow(tmp.path());
        QVERIFY(!plugin->canRevertEntries());
        MGAclEntry *other = otherEntry(plugin->entries());
        const quint32 before = other->permissions();
        other->setPermission(Set::writeBundle(true), true);
        QVERIFY(plugin->canRevertEntries());
        QVERIFY(plugin->window()->isWindowModified());
        other->setPermissions(before);
        QVERIFY(!plugin->canRevertEntries());
        QVERIFY(!plugin->window()->isWindowModified());
        plugin->window()->close();
    }

    void theSaveAndRevertKeysWorkOnlyWithChanges()
    {
        const QString file = tmp.path("keys");
        QVERIFY(shOk("touch " + quoted(file) + " && chmod 644 " + quoted(file)));
        MGAclPlugin::Pointer plugin = openWindow(file);
        QSignalSpy reloaded(plugin.get(), &MGAclPlugin::entriesChanged);
        QTest::keyClick(plugin->window(), Qt::Key_S, Qt::ControlModifier); // nothing to save
        QVERIFY(!reloaded.wait(300));
        otherEntry(plugin->entries())->setPermissions(Set::fromPosixBits(0, false));
        QTest::keyClick(plugin->window(), Qt::Key_F5); // revert: back to what is on disk
        QVERIFY(reloaded.wait(10000));
        QVERIFY(!plugin->canRevertEntries());
        otherEntry(plugin->entries())->setPermissions(Set::fromPosixBits(0, false));
        QTest::keyClick(plugin->window(), Qt::Key_S, Qt::ControlModifier);
        QVERIFY(reloaded.wait(10000)); // saved, then reloaded
        QCOMPARE(otherBits(file), QStringLiteral("---"));
        QVERIFY(plugin->window()->isVisible());
        plugin->window()->close();
    }

    void theClosePromptsThreeEndings()
    {
        const QString file = tmp.path("prompted");
        QVERIFY(shOk("touch " + quoted(file) + " && chmod 644 " + quoted(file)));
        // "No": closes, nothing written.
        {
            QPointer<MGAclPlugin> object;
            {
                MGAclPlugin::Pointer plugin = openWindow(file);
                object = plugin.get();
                otherEntry(plugin->entries())->setPermissions(Set::fromPosixBits(0, false));
                QVERIFY(!plugin->window()->close());
            }
            QMessageBox *box = waitForAlert();
            QVERIFY(box);
            QCOMPARE(box->text(), QStringLiteral("ACL and permission settings are changed, but not applied"));
            QCOMPARE(box->informativeText(),
                     QStringLiteral("Do you want to apply changed ACL and permissions settings for item \"prompted\"?"));
            QCOMPARE(buttonTexts(box), (QStringList{"Yes", "No"}));
            answer(box, 1001);
            QTRY_VERIFY(!object);
            QCOMPARE(otherBits(file), QStringLiteral("r--"));
        }
        // Escape (and the close box) choose neither: the prompt stays up, the edits stay.
        {
            MGAclPlugin::Pointer plugin = openWindow(file);
            otherEntry(plugin->entries())->setPermissions(Set::fromPosixBits(0, false));
            plugin->window()->close();
            QMessageBox *box = waitForAlert();
            QVERIFY(box);
            QCOMPARE(box->windowTitle(), QStringLiteral("prompted")); // the item's name
            QTest::keyClick(box, Qt::Key_Escape);
            box->close();
            QCoreApplication::processEvents();
            QCOMPARE(QApplication::activeModalWidget(), box);
            QVERIFY(plugin->window()->isVisible() && plugin->canRevertEntries());
            answer(box, 1001);
        }
        // "Yes": saves, then closes.
        {
            QPointer<MGAclPlugin> object;
            {
                MGAclPlugin::Pointer plugin = openWindow(file);
                object = plugin.get();
                otherEntry(plugin->entries())->setPermissions(Set::fromPosixBits(0, false));
                plugin->window()->close();
            }
            answer(waitForAlert(), 1000);
            QTRY_VERIFY(!object);
            QCOMPARE(otherBits(file), QStringLiteral("---"));
        }
        // "Yes" with a list the item cannot hold: refused before anything is sent; the
        // error is shown and the window stays open with its edits.
        {
            MGAclPlugin::Pointer plugin = openWindow(file);
            MGAclList list = plugin->entries();
            list.insert(1, MGAclEntry::aclEntry(MGAclEntry::Deny, CBIdentity::user(1), Set::fromPosixBits(4, false), 0,
                                                false, true));
            plugin->setEntries(list);
            QVERIFY(plugin->canRevertEntries());
            const QString before = facl(file);
            plugin->window()->close();
            answer(waitForAlert(), 1000);
            QMessageBox *error = nullptr;
            QTRY_VERIFY((error = qobject_cast<QMessageBox *>(QApplication::activeModalWidget()))
                        && error->objectName() == QLatin1String("MGErrorAlert"));
            QCOMPARE(error->text(), QStringLiteral("Error saving Acces Control List entries"));
            QVERIFY2(error->informativeText().contains("Row 1") && error->informativeText().contains("Deny"),
                     qPrintable(error->informativeText()));
            error->accept();
            QVERIFY(plugin->window()->isVisible());
            QVERIFY(plugin->canRevertEntries());
            QCOMPARE(facl(file), before);
            plugin->window()->closeWithoutAsking();
        }
        // "Yes" with a save the service refuses (the item was changed elsewhere since it was
        // read): the error is shown, the window stays, reloaded with what is there now.
        {
            MGAclPlugin::Pointer plugin = openWindow(file);
            otherEntry(plugin->entries())->setPermissions(Set::fromPosixBits(4, false));
            QVERIFY(shOk("setfacl -m u:daemon:r-- " + quoted(file)));
            QSignalSpy reloaded(plugin.get(), &MGAclPlugin::entriesChanged);
            plugin->window()->close();
            answer(waitForAlert(), 1000);
            QMessageBox *error = nullptr;
            QTRY_VERIFY((error = qobject_cast<QMessageBox *>(QApplication::activeModalWidget()))
                        && error->objectName() == QLatin1String("MGErrorAlert"));
            QVERIFY2(error->text().contains("changed elsewhere"), qPrintable(error->text()));
            QTRY_VERIFY(reloaded.count() >= 1);
            QVERIFY(plugin->window()->isVisible());
            QVERIFY(!plugin->canRevertEntries());
            QCOMPARE(MGAclLists::aclEntries(plugin->entries()).size(), 1); // daemon's entry, from elsewhere
            QVERIFY(facl(file).contains("user:1:r--"));
            error->accept();
            plugin->window()->close();
        }
    }

    void aLinkSaysWhichItemItShows()
    {
        const QString target = tmp.path("link-target");
        const QString link = tmp.path("link");
        QVERIFY(shOk("touch " + quoted(target) + " && ln -sf " + quoted(target) + " " + quoted(link)));
        MGAclPlugin::Pointer plugin = openWindow(link);
        QCOMPARE(plugin->url(), QUrl::fromLocalFile(target));
        auto *note = plugin->window()->findChild<QLabel *>(QStringLiteral("linkNote"));
        QVERIFY(note && note->isVisible());
        QVERIFY2(note->text().contains(link) && note->text().contains(target), qPrintable(note->text()));
        plugin->window()->closeWithoutAsking();
        // An item reached without a link has no note.
        MGAclPlugin::Pointer plain = openWindow(target);
        QVERIFY(!plain->window()->findChild<QLabel *>(QStringLiteral("linkNote")));
        plain->window()->closeWithoutAsking();
    }

    // Screen readers: every control of both tabs and of the permission editor has a name
    // and a description, in the window as a user meets it.
    void everyControlIsNamedForScreenReaders()
    {
        const QString target = tmp.path("named");
        QVERIFY(shOk("touch " + quoted(target) + " && setfacl -m u:nobody:r-- " + quoted(target)));
        MGAclPlugin::Pointer plugin = openWindow(target);
        plugin->tabViewController()->setSelectedTabViewItemIndex(1);
        QTRY_VERIFY(!plugin->access().isEmpty());
        plugin->tabViewController()->setSelectedTabViewItemIndex(0);
        auto *entries = qobject_cast<MGAclEntriesViewController *>(plugin->tabViewController()->childViewControllers().at(0));
        entries->selectRow(1);
        entries->showPermissions(nullptr);
        QDialog *sheet = nullptr;
        QTRY_VERIFY(!plugin->tabViewController()->presentedViewControllers().isEmpty()
                    && (sheet = plugin->tabViewController()->presentedViewControllers().first()->sheet()) && sheet->isVisible());
        QCOMPARE(sheet->windowTitle(), QStringLiteral("named"));
        QStringList unnamed;
        QList<QWidget *> widgets = plugin->window()->findChildren<QWidget *>() + sheet->findChildren<QWidget *>();
        int checked = 0;
        for (QWidget *widget : widgets) {
            const bool control = qobject_cast<QAbstractButton *>(widget) || qobject_cast<QComboBox *>(widget)
                || qobject_cast<QAbstractItemView *>(widget);
            // Parts of a control (a pop-up's list, a table's headers) are named by their control.
            const bool part = qobject_cast<QHeaderView *>(widget) || widget->inherits("QTableCornerButton") || qobject_cast<QTabBar *>(widget->parentWidget())
                || widget->window()->inherits("QComboBoxPrivateContainer");
            if (!control || part)
                continue;
            QAccessibleInterface *accessible = QAccessible::queryAccessibleInterface(widget);
            QVERIFY(accessible);
            ++checked;
            if (accessible->text(QAccessible::Name).isEmpty() || accessible->text(QAccessible::Description).isEmpty())
                unnamed << QString::fromLatin1(widget->metaObject()->className()) + " " + widget->objectName() + " \""
                        + accessible->text(QAccessible::Name) + "\"";
        }
        QVERIFY2(unnamed.isEmpty(), qPrintable(unnamed.join("; ")));
        QVERIFY2(checked >= 8, qPrintable(QString::number(checked)));
        // The table's cells report their text: rows, columns and their names.
        QAccessibleInterface *table = QAccessible::queryAccessibleInterface(entries->tableView());
        QAccessibleTableInterface *cells = table ? table->tableInterface() : nullptr;
        QVERIFY(cells);
        QCOMPARE(cells->rowCount(), entries->model()->rowCount());
        QCOMPARE(cells->columnDescription(MGAclEntriesTableModel::IdentityColumn), QStringLiteral("User or Group"));
        QAccessibleInterface *who = cells->cellAt(1, MGAclEntriesTableModel::IdentityColumn);
        QVERIFY(who);
        QCOMPARE(who->text(QAccessible::Name), QStringLiteral("nobody"));
        QAccessibleInterface *what = cells->cellAt(1, MGAclEntriesTableModel::PermissionGroupColumn);
        QCOMPARE(what->text(QAccessible::Name), QStringLiteral("Read (r--)"));
        plugin->tabViewController()->dismissViewController(plugin->tabViewController()->presentedViewControllers().first());
        plugin->window()->closeWithoutAsking();
    }

    void menuValidation()
    {
        const QString file = tmp.path("validated");
        QVERIFY(shOk("touch " + quoted(file)));
        auto enabled = [](const MGAclPlugin::Pointer &plugin, const char *action) {
            QAction item;
            item.setObjectName(QString::fromLatin1(action));
            return plugin->validateMenuItem(&item);
        };
        MGAclPlugin::Pointer folder = openWindow(tmp.path());
        MGAclPlugin::Pointer plain = openWindow(file);
        QVERIFY(enabled(folder, "propagateEntries:"));
        QVERIFY(!enabled(plain, "propagateEntries:"));
        QVERIFY(!enabled(folder, "saveEntries:") && !enabled(folder, "revertEntries:"));
        QVERIFY(enabled(folder, "inheritEntriesFromParent:"));
        QVERIFY(!enabled(folder, "removeInheritedEntries:") && !enabled(folder, "makeInheritedEntriesExplicit:"));
        QVERIFY(!enabled(folder, "sortEntriesCanonically:"));

        // An inherited allow before an explicit one: not canonical, and inherited entries.
        const auto inherited = MGAclEntry::aclEntry(1, CBIdentity::user(7), Set::fromPosixBits(4, true),
                                                    MGAclFlag::Inherited, true, true);
        const auto explicitOne = MGAclEntry::aclEntry(1, CBIdentity::user(8), Set::fromPosixBits(4, true), 0, true, true);
        MGAclList list = folder->entries();
        list.insert(1, explicitOne);
        list.insert(1, inherited);
        folder->setEntries(list);
        QVERIFY(enabled(folder, "saveEntries:") && enabled(folder, "revertEntries:"));
        QVERIFY(!enabled(folder, "propagateEntries:")); // not with unsaved changes
        QVERIFY(enabled(folder, "removeInheritedEntries:") && enabled(folder, "makeInheritedEntriesExplicit:"));
        QVERIFY(enabled(folder, "sortEntriesCanonically:"));
        QSignalSpy installed(folder.get(), &MGAclPlugin::entriesChanged);
        folder->sortEntriesCanonically(nullptr);
        QVERIFY(installed.wait());
        QVERIFY(!enabled(folder, "sortEntriesCanonically:"));
        QVERIFY(MGAclLists::itemsEqual(folder->entries().at(1), explicitOne));
        QVERIFY(std::holds_alternative<QString>(folder->entries().at(0)));
        folder->makeInheritedEntriesExplicit(nullptr);
        QVERIFY(!folder->hasInheritedEntries());
        folder->window()->closeWithoutAsking();
        plain->window()->close();
    }

    void listOperationsFollowTheirIndexRules()
    {
        MGAclPlugin::Pointer plugin = openWindow(tmp.path());
        auto user = [](quint32 id) {
            return MGAclEntry::aclEntry(1, CBIdentity::user(id), Set::fromPosixBits(4, true), 0, true, true);
        };
        MGAclList list = plugin->entries();
        list.insert(1, user(3));
        list.insert(1, user(2));
        list.insert(1, user(1));
        plugin->setEntries(list);
        auto ids = [&] {
            QList<quint32> out;
            for (const auto &e : plugin->aclEntries())
                out << e->identity().posixID();
            return out;
        };
        QSignalSpy installed(plugin.get(), &MGAclPlugin::entriesChanged);
        plugin->moveEntryAtIndex(3, 3);
        QVERIFY(!installed.wait(300));
        plugin->moveEntryAtIndex(1, 4);
        QVERIFY(installed.wait());
        QCOMPARE(ids(), (QList<quint32>{2, 3, 1}));
        plugin->moveEntryAtIndex(3, 1);
        QVERIFY(installed.wait());
        QCOMPARE(ids(), (QList<quint32>{1, 2, 3}));
        const quint32 me = CBIdentity::user(getuid()).posixID();
        plugin->addEntry(qint64(-1));
        QVERIFY(installed.wait());
        QCOMPARE(ids(), (QList<quint32>{me, 1, 2, 3}));
        QCOMPARE(plugin->aclEntries().first()->flags(), quint32(MGAclFlag::FileInherit | MGAclFlag::DirectoryInherit));
        plugin->addEntry(qint64(2));
        QVERIFY(installed.wait());
        QCOMPARE(ids(), (QList<quint32>{me, 1, me, 2, 3}));
        plugin->removeEntry(quint64(1));
        QVERIFY(installed.wait());
        QCOMPARE(ids(), (QList<quint32>{1, me, 2, 3}));
        plugin->revertEntries(nullptr);
        QVERIFY(installed.wait());
        QVERIFY(ids().isEmpty());
        QVERIFY(!plugin->canRevertEntries());
        plugin->window()->close();
    }

    void savingAsksAboutShallowEntries()
    {
        const QString file = tmp.path("shallow");
        QVERIFY(shOk("touch " + quoted(file) + " && setfacl -m u:nobody:r--,u:daemon:r-- " + quoted(file)));
        MGAclPlugin::Pointer plugin = openWindow(file);
        MGAclLists::aclEntries(plugin->entries()).at(0)->setPermissions(0);
        const QString before = facl(file);
        plugin->saveEntries(plugin.get());
        QMessageBox *box = waitForAlert();
        QCOMPARE(box->text(), QStringLiteral("File Access Control List contains shallow entries"));
        QCOMPARE(box->informativeText(),
                 QStringLiteral("File Access Control List entries on positions (1) are shallow entries (with no "
                                "permissions set) and they will be ignored during saving. Do you still want to save "
                                "Access Control List entries?"));
        QCOMPARE(buttonTexts(box), (QStringList{"Save", "Cancel"}));
        answer(box, 1001);
        QVERIFY(syncWithService(plugin)); // a save, had one been sent, is done by now
        QCOMPARE(facl(file), before);
        QVERIFY(plugin->canRevertEntries());

        QSignalSpy reloaded(plugin.get(), &MGAclPlugin::entriesChanged);
        plugin->saveEntries(plugin.get());
        answer(waitForAlert(), 1000);
        QVERIFY(reloaded.wait(10000));
        QVERIFY(!plugin->canRevertEntries());
        const QString after = facl(file);
        // The first ACL entry is daemon's (uid 1); it was left out.
        QVERIFY2(!after.contains("user:1:") && after.contains("user:65534:r--"), qPrintable(after));
        plugin->window()->close();
    }

    void propagationAsksFirst()
    {
        const QString folder = tmp.path("tree");
        QVERIFY(shOk(QStringLiteral("mkdir %1 && chmod 750 %1 && touch %1/child && chmod 666 %1/child").arg(quoted(folder))));
        MGAclPlugin::Pointer plugin = openWindow(folder);
        plugin->propagateEntries(nullptr);
        QMessageBox *box = waitForAlert();
        QCOMPARE(box->text(), QStringLiteral("Are you sure you want to propagate ACL, owner, group, and permissions to "
                                             "all items down the directory hierarchy?"));
        QCOMPARE(box->informativeText(), QStringLiteral("You cannot undo this."));
        QCOMPARE(buttonTexts(box), (QStringList{"OK", "Cancel"}));
        answer(box, 1001);
        QVERIFY(syncWithService(plugin)); // a propagation, had one been sent, is done by now
        QCOMPARE(otherBits(folder + "/child"), QStringLiteral("rw-"));
        plugin->propagateEntries(nullptr);
        answer(waitForAlert(), 1000);
        QTRY_COMPARE(otherBits(folder + "/child"), QStringLiteral("---"));
        QVERIFY(!plugin->canRevertEntries());
        // Success is silent: no alert, one line in the strip, which goes when dismissed.
        MGAclPropagationView *strip = plugin->propagationView();
        QVERIFY(strip);
        QTRY_COMPARE(strip->text(), QStringLiteral("Propagated: 1 changed, 0 already right"));
        QVERIFY(strip->isVisible() && !QApplication::activeModalWidget());
        QTest::mouseClick(strip->dismissButton(), Qt::LeftButton);
        QVERIFY(!strip->isVisible());
        plugin->window()->close();
    }

    // A long propagation shows how far it has come and stops when asked: the window stays
    // usable, and the strip ends with what was done.
    void aPropagationCanBeWatchedAndStopped()
    {
        const QString folder = tmp.path("wide");
        // Wide enough that the walk outlasts a report and a click: 1,000 folders of 50 files.
        QVERIFY(makeWideTree(folder, 1000, 50) && shOk("chmod 750 " + quoted(folder)));
        MGAclPlugin::Pointer plugin = openWindow(folder);
        plugin->propagateEntries(nullptr);
        answer(waitForAlert(), 1000);
        QTRY_VERIFY(plugin->propagationView() && plugin->propagationView()->isVisible());
        MGAclPropagationView *strip = plugin->propagationView();
        QVERIFY(strip->stopButton()->isVisible());
        // While it runs, Propagate cannot be chosen again; the tabs still switch.
        QAction propagate;
        propagate.setObjectName("propagateEntries:");
        QVERIFY(!plugin->validateMenuItem(&propagate));
        QTRY_VERIFY(strip->text().contains(" items, "));
        QTest::mouseClick(strip->stopButton(), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(strip->text().startsWith("Stopped: "), 30000);
        QVERIFY(!strip->stopButton()->isVisible() && strip->dismissButton()->isVisible());
        QVERIFY(!QApplication::activeModalWidget());
        const int changed = strip->text().section(' ', 1, 1).remove(',').toInt();
        QVERIFY2(changed > 0 && changed < 50000, qPrintable(strip->text()));
        QTRY_VERIFY(plugin->validateMenuItem(&propagate));
        plugin->window()->close();
    }

    void accessIsFetchedOnTheTabAndRefreshedAfterABurst()
    {
        const QString file = tmp.path("watched");
        QVERIFY(shOk("touch " + quoted(file)));
        MGAclPlugin::Pointer plugin = openWindow(file);
        QSignalSpy access(plugin.get(), &MGAclPlugin::accessChanged);
        plugin->tabViewController()->setSelectedTabViewItemIndex(1);
        QVERIFY(access.wait(10000));
        QVERIFY(!plugin->access().isEmpty());
        QTRY_VERIFY(plugin->itemWatch());

        // Ten events 0.1 s apart: one refresh, 0.5 s after the last.
        QElapsedTimer sinceLast;
        for (int i = 0; i < 10; ++i) {
            if (i > 0)
                QTest::qWait(100);
            QMetaObject::invokeMethod(
                plugin->itemWatch(), [watch = plugin->itemWatch(), file] { watch->fileSystemEventHappenedAtPaths({file}); },
                Qt::BlockingQueuedConnection);
            sinceLast.start();
        }
        QVERIFY(access.wait(3000));
        QVERIFY2(sinceLast.elapsed() >= 450, qPrintable(QString::number(sinceLast.elapsed())));
        QVERIFY(syncWithService(plugin));
        QVERIFY(flushMainQueue());
        QCOMPARE(access.count(), 2);

        // A real change of the file is noticed.
        QVERIFY(shOk("chmod 600 " + quoted(file)));
        QVERIFY(access.wait(5000));

        // Off the tab, the item's changes reach the list, not the access tree.
        plugin->tabViewController()->setSelectedTabViewItemIndex(0);
        QVERIFY(flushMainQueue());
        const int refreshes = access.count();
        QSignalSpy entries(plugin.get(), &MGAclPlugin::entriesChanged);
        QVERIFY(shOk("chmod 640 " + quoted(file)));
        QVERIFY(entries.wait(5000));
        QVERIFY(syncWithService(plugin));
        QVERIFY(flushMainQueue());
        QCOMPARE(access.count(), refreshes);
        plugin->window()->close();
    }

    void theEntriesFollowChangesMadeElsewhereWhileUnedited()
    {
        // chmod and setfacl in a shell reach the shown, unedited list half a second later.
        const QString folder = tmp.path("followed");
        QVERIFY(shOk("mkdir " + quoted(folder) + " && chmod 775 " + quoted(folder)));
        MGAclPlugin::Pointer plugin = openWindow(folder);
        QSignalSpy changed(plugin.get(), &MGAclPlugin::entriesChanged);
        QVERIFY(shOk("chmod o= " + quoted(folder)));
        QVERIFY(changed.wait(5000));
        QCOMPARE(Set::shortText(otherEntry(plugin->entries())->permissions(), true), QStringLiteral("---"));
        QVERIFY(shOk("setfacl -m u:daemon:rx " + quoted(folder)));
        QTRY_COMPARE(MGAclLists::aclEntries(plugin->entries()).size(), 1);
        QVERIFY(!plugin->window()->isWindowModified());
        plugin->window()->closeWithoutAsking();
    }

    void aChangeOnDiskToAnEditedListIsSaidWithTwoWaysOn_data()
    {
        QTest::addColumn<bool>("keep");
        QTest::newRow("reload") << false;
        QTest::newRow("keep my edits") << true;
    }
    void aChangeOnDiskToAnEditedListIsSaidWithTwoWaysOn()
    {
        QFETCH(bool, keep);
        const QString folder = tmp.path(QStringLiteral("changed-on-disk-%1").arg(keep));
        QVERIFY(shOk("mkdir " + quoted(folder) + " && chmod 775 " + quoted(folder)));
        MGAclPlugin::Pointer plugin = openWindow(folder);
        MGAclEntriesViewController *view = entriesView(plugin);
        MGAclNoticeBar *bar = view->noticeBar();
        QVERIFY(!bar->isVisible());
        // The user edits, then someone else changes the folder.
        otherEntry(plugin->entries())->setPermissions(Set::fromPosixBits(0, true));
        QVERIFY(plugin->window()->isWindowModified());
        QVERIFY(shOk("setfacl -m u:daemon:rx " + quoted(folder)));
        QTRY_VERIFY(bar->isVisible());
        QVERIFY2(bar->label()->text().contains("changed on disk"), qPrintable(bar->label()->text()));
        QVERIFY(bar->reloadButton()->isVisible() && bar->keepButton()->isVisible());
        QVERIFY(MGAclLists::aclEntries(plugin->entries()).isEmpty()); // the edit is still there, nothing lost
        QSignalSpy notices(plugin.get(), &MGAclPlugin::noticeChanged);
        QTest::mouseClick(keep ? bar->keepButton() : bar->reloadButton(), Qt::LeftButton);
        QVERIFY(notices.wait(10000));
        QTRY_VERIFY(!bar->isVisible());
        if (!keep) {
            // As on disk: daemon's entry, others may read; nothing edited.
            QCOMPARE(MGAclLists::aclEntries(plugin->entries()).size(), 1);
            QVERIFY(!plugin->window()->isWindowModified());
        } else {
            // The edit stays, and a save writes it over what is on disk, as chosen.
            QVERIFY(plugin->window()->isWindowModified());
            QSignalSpy reloaded(plugin.get(), &MGAclPlugin::entriesChanged);
            plugin->saveEntries(plugin.get());
            QVERIFY(reloaded.wait(10000));
            QTRY_VERIFY(!plugin->window()->isWindowModified());
            QVERIFY2(facl(folder).contains("other::---") && !facl(folder).contains("daemon"), qPrintable(facl(folder)));
        }
        plugin->window()->closeWithoutAsking();
    }

    void anItemReplacedUnderItsNameIsReadAgainNotTakenForGone()
    {
        // Editors save by writing a new file and renaming it over the old one.
        const QString file = tmp.path("replaced-by-rename");
        QVERIFY(shOk("touch " + quoted(file)));
        MGAclPlugin::Pointer plugin = openWindow(file);
        QSignalSpy changed(plugin.get(), &MGAclPlugin::entriesChanged);
        QVERIFY(shOk(QStringLiteral("touch %1.new && setfacl -m u:daemon:r %1.new && mv %1.new %1").arg(quoted(file))));
        QVERIFY(changed.wait(5000));
        QCOMPARE(MGAclLists::aclEntries(plugin->entries()).size(), 1);
        QVERIFY(!entriesView(plugin)->noticeBar()->isVisible());
        plugin->window()->closeWithoutAsking();
    }

    void anItemDeletedWhileShownIsSaidAndCannotBeSaved()
    {
        const QString file = tmp.path("deleted-while-shown");
        QVERIFY(shOk("touch " + quoted(file)));
        MGAclPlugin::Pointer plugin = openWindow(file);
        otherEntry(plugin->entries())->setPermissions(Set::fromPosixBits(0, false));
        QVERIFY(shOk("rm " + quoted(file)));
        MGAclNoticeBar *bar = entriesView(plugin)->noticeBar();
        QTRY_VERIFY(bar->isVisible());
        QVERIFY2(bar->label()->text().contains("deleted or moved"), qPrintable(bar->label()->text()));
        QAction save, revert;
        save.setObjectName("saveEntries:");
        revert.setObjectName("revertEntries:");
        QVERIFY(!plugin->validateMenuItem(&save));
        // Reading again finds the item once it is back; the edits made for the one deleted
        // are kept aside to be had back, not written or dropped.
        QVERIFY(bar->reloadButton()->isVisible() && plugin->validateMenuItem(&revert));
        QVERIFY(shOk("touch " + quoted(file)));
        QTest::mouseClick(bar->reloadButton(), Qt::LeftButton);
        QTRY_VERIFY(bar->restoreButton()->isVisible());
        QVERIFY2(!bar->label()->text().contains("deleted or moved"), qPrintable(bar->label()->text()));
        QVERIFY(!plugin->window()->isWindowModified());
        plugin->window()->closeWithoutAsking();
    }

    void whatNobodyCanChangeIsSaidWhenTheWindowOpens_data()
    {
        QTest::addColumn<QString>("fileSystem");
        QTest::addColumn<QString>("make"); // ITEM is the item's path, MOUNT the file system's
        QTest::addColumn<QString>("said");
        QTest::newRow("FIFO") << "tmpfs" << "mkfifo ITEM" << "only folders and regular files";
        QTest::newRow("read-only mount") << "tmpfs" << "touch ITEM && mount -o remount,ro MOUNT" << "mounted read-only";
        QTest::newRow("immutable") << "ext4" << "touch ITEM && chattr +i ITEM" << "marked immutable";
        QTest::newRow("append-only") << "ext4" << "touch ITEM && chattr +a ITEM" << "marked append-only";
    }
    void whatNobodyCanChangeIsSaidWhenTheWindowOpens()
    {
        QFETCH(QString, fileSystem);
        QFETCH(QString, make);
        QFETCH(QString, said);
        ScratchFileSystem fs(fileSystem);
        REQUIRE_MOUNTED(fs);
        const QString item = fs.path("item");
        QVERIFY(shOk(QString(make).replace("ITEM", quoted(item)).replace("MOUNT", quoted(fs.path()))));
        MGAclPlugin::Pointer plugin = openWindow(item);
        MGAclEntriesViewController *view = entriesView(plugin);
        QTRY_VERIFY(view->noticeBar()->isVisible());
        QVERIFY2(view->noticeBar()->label()->text().contains(said), qPrintable(view->noticeBar()->label()->text()));
        // Nothing can be edited, so nothing is ever sent, and no authorisation is asked.
        QVERIFY(!view->addButton()->isEnabled());
        const QModelIndex group = view->model()->index(view->model()->rowCount() - 1, MGAclEntriesTableModel::PermissionGroupColumn);
        QVERIFY(!(view->model()->flags(group) & Qt::ItemIsEditable));
        for (const char *command : {"saveEntries:", "inheritEntriesFromParent:", "propagateEntries:"}) {
            QAction action;
            action.setObjectName(command);
            QVERIFY2(!plugin->validateMenuItem(&action), command);
        }
        plugin->window()->closeWithoutAsking();
        shOk("chattr -i -a " + quoted(item) + " 2>/dev/null; mount -o remount,rw " + quoted(fs.path()));
    }

    // A pop-up closed without a choice ends its edit: no closed pop-up shows a value the list
    // does not hold (it once showed one step up from the list after Enter, Escape, Up).
    void aPopUpClosedWithoutAChoiceLeavesNothingShownThatTheListDoesNotHold()
    {
        const QString folder = tmp.path("escaped");
        QVERIFY(shOk("mkdir " + quoted(folder) + " && setfacl -m u:daemon:r-x " + quoted(folder)));
        MGAclPlugin::Pointer plugin = openWindow(folder);
        MGAclEntriesViewController *view = entriesView(plugin);
        QTableView *table = view->tableView();
        const QModelIndex cell = view->model()->index(1, MGAclEntriesTableModel::PermissionGroupColumn);
        const QString shown = cell.data().toString();
        table->setFocus();
        table->setCurrentIndex(cell);
        QTest::keyClick(table, Qt::Key_Return);
        QComboBox *popUp = nullptr;
        QTRY_VERIFY((popUp = qobject_cast<QComboBox *>(view->cellEditor(1, MGAclEntriesTableModel::PermissionGroupColumn))));
        QTRY_VERIFY(popUp->view()->isVisible());
        QTest::keyClick(popUp->view(), Qt::Key_Escape);
        QTRY_VERIFY(!view->cellEditor(1, MGAclEntriesTableModel::PermissionGroupColumn));
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Up);
        QVERIFY(!view->cellEditor(1, MGAclEntriesTableModel::PermissionGroupColumn));
        QCOMPARE(cell.data().toString(), shown);
        QVERIFY(!plugin->isEdited() && !plugin->window()->isWindowModified());
        plugin->window()->closeWithoutAsking();
    }

    // On an item nobody can change, no way of editing is open, the permission editor
    // included; once the mark is lifted, the window notices while it is open.
    void aBlockedItemTakesNoEditUntilTheBlockIsLifted()
    {
        ScratchFileSystem fs(QStringLiteral("ext4"));
        REQUIRE_MOUNTED(fs);
        const QString file = fs.path("frozen");
        QVERIFY(shOk("touch " + quoted(file) + " && setfacl -m u:daemon:r " + quoted(file) + " && chattr +i " + quoted(file)));
        const auto unfreeze = qScopeGuard([&] { shOk("chattr -i " + quoted(file)); });
        MGAclPlugin::Pointer plugin = openWindow(file);
        MGAclEntriesViewController *view = entriesView(plugin);
        QTRY_VERIFY(view->noticeBar()->isVisible());
        view->selectRow(1);
        view->showPermissions(nullptr);
        MGAclPermissionViewController *editor = nullptr;
        QTRY_VERIFY((editor = plugin->window()->findChild<MGAclPermissionViewController *>()));
        QTRY_VERIFY(editor->itemFor("Write"));
        QVERIFY(!(editor->itemFor("Write")->flags() & Qt::ItemIsUserCheckable));
        QVERIFY(!editor->identityPopUpButton()->isEnabled());
        QVERIFY(!view->model()->setData(view->model()->index(1, 0), MGAclPermissionSet::fromPosixBits(7, false),
                                        MGAclEntriesTableModel::PermissionsRole));
        QVERIFY(!plugin->isEdited());
        // Lifted: the bar goes and editing is back, with the window still open.
        QVERIFY(shOk("chattr -i " + quoted(file)));
        QTRY_VERIFY_WITH_TIMEOUT(!view->noticeBar()->isVisible(), 10000);
        QTRY_VERIFY(editor->itemFor("Write")->flags() & Qt::ItemIsUserCheckable);
        QVERIFY(view->model()->flags(view->model()->index(1, MGAclEntriesTableModel::PermissionGroupColumn)) & Qt::ItemIsEditable);
        editor->dismissPermissions(nullptr);
        plugin->window()->closeWithoutAsking();
    }

    // Edits of a file that was removed and replaced by another are never written onto the
    // other: the bar says so, and a save (the close question's "Yes" included) is refused.
    void editsAreNeverWrittenOntoAnotherItemUnderTheName()
    {
        const QString file = tmp.path("swapped-out");
        QVERIFY(shOk("touch " + quoted(file)));
        MGAclPlugin::Pointer plugin = openWindow(file);
        otherEntry(plugin->entries())->setPermissions(MGAclPermissionSet::fromPosixBits(7, false));
        QVERIFY(plugin->isEdited());
        QVERIFY(shOk(QStringLiteral("rm %1 && touch %1 && setfacl -m u:daemon:r %1").arg(quoted(file))));
        const QString other = facl(file);
        MGAclNoticeBar *bar = entriesView(plugin)->noticeBar();
        QTRY_VERIFY(bar->isVisible() && plugin->notice().kind != MGAclDocument::Notice::None);
        QVERIFY2(bar->label()->text().contains("another item") || bar->label()->text().contains("deleted"),
                 qPrintable(bar->label()->text()));
        QAction save;
        save.setObjectName("saveEntries:");
        QVERIFY(!plugin->validateMenuItem(&save));
        // Closing, and answering Yes to saving the changes.
        plugin->window()->close();
        answer(waitForAlert(), 1000);
        QMessageBox *error = waitForAlert();
        QVERIFY(error);
        error->accept();
        QVERIFY(syncWithService(plugin));
        QCOMPARE(facl(file), other);
        // Reading the file that is there now keeps the edits aside, to be had back.
        QTest::mouseClick(bar->reloadButton(), Qt::LeftButton);
        QTRY_VERIFY(bar->restoreButton()->isVisible());
        QVERIFY(!plugin->isEdited());
        QTest::mouseClick(bar->restoreButton(), Qt::LeftButton);
        QTRY_VERIFY(plugin->isEdited());
        QCOMPARE(otherEntry(plugin->entries())->permissions(), MGAclPermissionSet::fromPosixBits(7, false));
        plugin->window()->closeWithoutAsking();
    }

    // A save the service refuses reads the item again, and keeps the edits aside: the bar
    // offers them back until the next save.
    void aRefusedSaveKeepsTheEditsToRestore()
    {
        const QString file = tmp.path("refused-save");
        QVERIFY(shOk("touch " + quoted(file) + " && setfacl -m u:daemon:r " + quoted(file)));
        MGAclPlugin::Pointer plugin = openWindow(file);
        MGAclEntry *daemon = findEntry(plugin->entries(), [](const MGAclEntry &e) { return e.identity().posixID() == 1; });
        QVERIFY(daemon);
        daemon->setPermissions(MGAclPermissionSet::fromPosixBits(7, false));
        const MGAclList edits = MGAclLists::deepCopy(plugin->entries());
        // Someone else changes the item before the save: the save is refused.
        QVERIFY(shOk("setfacl -m u:bin:w " + quoted(file)));
        plugin->saveEntries(plugin.get());
        QMessageBox *error = waitForAlert();
        QVERIFY(error);
        QVERIFY2(error->informativeText().contains("changed elsewhere") || error->text().contains("changed elsewhere"),
                 qPrintable(error->text() + " / " + error->informativeText()));
        error->accept();
        MGAclNoticeBar *bar = entriesView(plugin)->noticeBar();
        QTRY_VERIFY(bar->restoreButton()->isVisible());
        QVERIFY(!plugin->isEdited());
        QTest::mouseClick(bar->restoreButton(), Qt::LeftButton);
        QTRY_VERIFY(plugin->isEdited());
        QVERIFY(MGAclLists::isEqualToList(plugin->entries(), edits));
        QVERIFY(!bar->restoreButton()->isVisible());
        plugin->window()->closeWithoutAsking();
    }

    // What a save will not keep is said before it: entries from the parent folder are marked
    // inherited, which POSIX ACLs cannot keep. After the save, "as edited" is off with the edits.
    void whatASaveWillNotKeepIsSaidBeforeIt()
    {
        const QString folder = tmp.path("parent-of-marked");
        QVERIFY(shOk(QStringLiteral("mkdir %1 && setfacl -d -m u:daemon:rx %1 && touch %1/child").arg(quoted(folder))));
        MGAclPlugin::Pointer plugin = openWindow(folder + "/child");
        plugin->inheritEntriesFromParent(nullptr);
        QTRY_VERIFY(plugin->hasInheritedEntries());
        MGAclNoticeBar *bar = entriesView(plugin)->noticeBar();
        QTRY_VERIFY(bar->isVisible());
        QVERIFY2(bar->label()->text().contains("keep no such mark"), qPrintable(bar->label()->text()));
        auto *accessView = static_cast<MGAclAccessViewController *>(plugin->tabViewController()->childViewControllers().at(1));
        QSignalSpy access(plugin.get(), &MGAclPlugin::accessChanged);
        plugin->tabViewController()->setSelectedTabViewItemIndex(1);
        QVERIFY(access.wait(10000));
        QTRY_VERIFY(accessView->asEditedSwitch()->isEnabled());
        accessView->asEditedSwitch()->setChecked(true);
        QVERIFY(plugin->showsAccessAsEdited());
        QSignalSpy reloaded(plugin.get(), &MGAclPlugin::entriesChanged);
        plugin->saveEntries(plugin.get());
        QVERIFY(reloaded.wait(10000));
        QTRY_VERIFY(!plugin->isEdited());
        QVERIFY(!plugin->showsAccessAsEdited());
        QTRY_VERIFY(!accessView->asEditedSwitch()->isChecked());
        plugin->window()->closeWithoutAsking();
    }

    void effectivePermissionsCanShowTheEditedListAsTheKernelWillTakeIt()
    {
        // daemon's entry holds rw-, the mask only r--: as saved, daemon may not write, and
        // the row says the mask is why.
        const QString file = tmp.path("as-edited");
        QVERIFY(shOk("touch " + quoted(file) + " && chmod 640 " + quoted(file) + " && setfacl -m u:daemon:rw,m::r " + quoted(file)));
        MGAclPlugin::Pointer plugin = openWindow(file);
        auto *accessView = static_cast<MGAclAccessViewController *>(plugin->tabViewController()->childViewControllers().at(1));
        QSignalSpy access(plugin.get(), &MGAclPlugin::accessChanged);
        plugin->tabViewController()->setSelectedTabViewItemIndex(1);
        QVERIFY(access.wait(10000));
        plugin->setIdentity(CBIdentity::user(1, "daemon"));
        QVERIFY(access.wait(10000));
        auto writeRow = [&] {
            QAbstractItemModel *model = accessView->outlineView()->model();
            const QModelIndex write = model->index(1, 0); // the Write section
            return std::pair{model->index(0, MGAclAccessTreeModel::TitleColumn, write).data(Qt::UserRole + 1),
                             model->index(0, MGAclAccessTreeModel::DetailColumn, write).data().toString()};
        };
        auto writeState = [&] { return plugin->access().at(1)->childNodes().first()->state(); };
        QCOMPARE(writeState(), 0);
        QVERIFY2(writeRow().second.contains("daemon") && writeRow().second.contains("limited by the mask"),
                 qPrintable(writeRow().second));
        QVERIFY(!accessView->asEditedSwitch()->isEnabled());
        QVERIFY(accessView->shownStateNote()->text().contains("as saved"));
        // The mask raised in the window, not saved: the switch shows what that would give.
        MGAclEntry *mask = nullptr;
        for (const MGAclItem &item : plugin->entries())
            if (MGAclEntry *entry = MGAclLists::entryOf(item); entry && entry->isMask())
                mask = entry;
        QVERIFY(mask);
        mask->setPermissions(Set::fromPosixBits(6, false));
        QTRY_VERIFY(accessView->asEditedSwitch()->isEnabled());
        QTest::mouseClick(accessView->asEditedSwitch(), Qt::LeftButton, {}, QPoint(4, accessView->asEditedSwitch()->height() / 2));
        QVERIFY(accessView->asEditedSwitch()->isChecked());
        QTRY_COMPARE(writeState(), 1);
        QVERIFY(accessView->shownStateNote()->text().contains("edited"));
        QVERIFY2(!writeRow().second.contains("mask"), qPrintable(writeRow().second));
        QVERIFY(facl(file).contains("mask::r--")); // nothing was written
        // Saved, the kernel agrees with what the edited list said.
        QSignalSpy reloaded(plugin.get(), &MGAclPlugin::entriesChanged);
        plugin->saveEntries(plugin.get());
        QVERIFY(reloaded.wait(10000));
        QVERIFY(shOk("setpriv --reuid=1 --regid=1 --clear-groups test -w " + quoted(file)));
        plugin->window()->closeWithoutAsking();
    }

    void afterAnAccessFailureReenteringTheTabFetchesAgain()
    {
        const QString file = tmp.path("vanishing");
        QVERIFY(shOk("touch " + quoted(file)));
        MGAclPlugin::Pointer plugin = openWindow(file);
        QVERIFY(shOk("rm " + quoted(file)));
        plugin->tabViewController()->setSelectedTabViewItemIndex(1);
        QMessageBox *error = waitForAlert();
        QVERIFY(error && error->text().contains("No such file"));
        error->accept();
        QTRY_VERIFY(!plugin->canUpdateAccess() && plugin->itemWatch());
        QVERIFY(shOk("touch " + quoted(file)));
        QSignalSpy access(plugin.get(), &MGAclPlugin::accessChanged);
        // What the refresh timer does: the gate is closed, so nothing is fetched.
        plugin->queue()->async([plugin] { plugin->updateAccess(); });
        QVERIFY(syncWithService(plugin));
        QVERIFY(flushMainQueue());
        QCOMPARE(access.count(), 0);
        plugin->tabViewController()->setSelectedTabViewItemIndex(0);
        plugin->tabViewController()->setSelectedTabViewItemIndex(1);
        QVERIFY(access.wait(10000));
        plugin->window()->close();
    }
};

QTEST_MAIN(tst_MGAclPluginWindow)
#include "tst_MGAclPluginWindow.moc"
