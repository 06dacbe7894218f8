// The host's menu bar over an ACL window: every command there with its key, validated by
// whoever answers it, and working from the keyboard.
#include "MGAclEntriesViewController.h"
#include "MGAclHost.h"
#include "MGAclMenuBar.h"
#include "PluginHelpers.h"

#include <QLibraryInfo>
#include <QMenu>
#include <QMenuBar>
#include <QTableView>

class tst_MGAclMenuBar : public QObject
{
    Q_OBJECT

    SharedTemporaryDir tmp;

    static QMenu *menu(QMenuBar *bar, const char *name) { return bar->findChild<QMenu *>(QString::fromLatin1(name)); }

    // "action:+" or "action:-" for each command of a menu, as it shows when opened.
    static QStringList shown(QMenu *menu)
    {
        emit menu->aboutToShow();
        QStringList items;
        for (QAction *item : menu->actions()) {
            if (!item->isSeparator())
                items << item->objectName() + (item->isEnabled() ? "+" : "-");
        }
        emit menu->aboutToHide();
        return items;
    }

private slots:
    void initTestCase() { useTestSettings(); }

    void everyCommandIsThereWithItsKey()
    {
        MGAclPlugin::Pointer plugin = openWindow(tmp.path());
        QMenuBar *bar = MGAclMenuBar::attachTo(plugin->window());
        QCOMPARE(MGAclMenuBar::attachTo(plugin->window()), bar); // once
        QVERIFY(bar->isVisible());
        QStringList titles;
        for (QAction *item : bar->actions())
            titles << item->text();
        QCOMPARE(titles, (QStringList{"&File", "&Edit", "&View"}));
        QStringList keys;
        for (const char *name : {"fileMenu", "editMenu", "viewMenu"}) {
            for (QAction *item : menu(bar, name)->actions()) {
                if (!item->isSeparator() && !item->shortcut().isEmpty())
                    keys << item->text() + " " + item->shortcut().toString();
            }
        }
        QCOMPARE(keys, (QStringList{"Save Ctrl+S", "Revert F5", "Close Ctrl+W", "Add Entry Ctrl+N", "Remove Entry Del",
                                    "Show Permissions\u2026 Ctrl+I", "Set of Permissions Ctrl+1", "Effective Permissions Ctrl+2"}));
        plugin->window()->closeWithoutAsking();
    }

    void commandsAreValidatedByWhoeverAnswersThem()
    {
        MGAclPlugin::Pointer plugin = openWindow(tmp.path());
        QMenuBar *bar = MGAclMenuBar::attachTo(plugin->window());
        MGAclEntriesViewController *view = entriesView(plugin);
        view->tableView()->setFocus();
        QCOMPARE(shown(menu(bar, "fileMenu")), (QStringList{"saveEntries:-", "revertEntries:-", "+"}));
        // Nothing selected: an entry can be added, none removed or shown.
        view->tableView()->clearSelection();
        QCOMPARE(shown(menu(bar, "editMenu")).mid(0, 3), (QStringList{"addEntry:+", "removeEntry:-", "showPermissions:-"}));
        // The folder's list is canonical and inherits nothing; it may be propagated.
        QCOMPARE(shown(menu(bar, "editMenu")).mid(3),
                 (QStringList{"sortEntriesCanonically:-", "removeInheritedEntries:-", "makeInheritedEntriesExplicit:-",
                              "inheritEntriesFromParent:+", "propagateEntries:+", "keepMask:+"}));
        // Items stay usable by their keys once the menu closes.
        for (QAction *item : menu(bar, "editMenu")->actions())
            QVERIFY(item->isEnabled());
        // Ctrl+N adds (and opens the new row's chooser); Delete removes the selected entry.
        QSignalSpy installed(plugin.get(), &MGAclPlugin::entriesChanged);
        QTest::keyClick(view->tableView(), Qt::Key_N, Qt::ControlModifier);
        QVERIFY(installed.wait(10000));
        QCOMPARE(MGAclLists::aclEntries(plugin->entries()).size(), 1);
        QTRY_VERIFY(QApplication::activePopupWidget());
        QApplication::activePopupWidget()->close();
        QCOMPARE(shown(menu(bar, "fileMenu")), (QStringList{"saveEntries:+", "revertEntries:+", "+"}));
        QCOMPARE(shown(menu(bar, "editMenu")).mid(0, 3), (QStringList{"addEntry:+", "removeEntry:+", "showPermissions:+"}));
        QCOMPARE(shown(menu(bar, "editMenu")).at(7), QStringLiteral("propagateEntries:-")); // unsaved changes
        view->tableView()->setFocus();
        QTest::keyClick(view->tableView(), Qt::Key_Delete);
        QVERIFY(installed.wait(10000));
        QCOMPARE(MGAclLists::aclEntries(plugin->entries()).size(), 0);
        // In the other tab, the entry commands have nobody to answer them.
        QTest::keyClick(view->tableView(), Qt::Key_2, Qt::ControlModifier);
        QCOMPARE(plugin->tabViewController()->selectedTabViewItemIndex(), 1);
        QTRY_VERIFY(plugin->tabViewController()->childViewControllers().at(1)->view()->isAncestorOf(QApplication::focusWidget()));
        QCOMPARE(shown(menu(bar, "editMenu")).mid(0, 3), (QStringList{"addEntry:-", "removeEntry:-", "showPermissions:-"}));
        plugin->window()->closeWithoutAsking();
    }

    void commandsDoNotDependOnWhereTheFocusIs()
    {
        // With an entry selected, the menu bar holding the focus (Alt, then arrows), or the
        // focus on a button: the same commands are on, and their keys work.
        const QString file = tmp.path("focus-independent");
        QVERIFY(shOk("touch " + quoted(file) + " && setfacl -m u:nobody:r " + quoted(file)));
        MGAclPlugin::Pointer plugin = openWindow(file);
        QMenuBar *bar = MGAclMenuBar::attachTo(plugin->window());
        plugin->window()->show();
        QVERIFY(QTest::qWaitForWindowActive(plugin->window()));
        MGAclEntriesViewController *view = entriesView(plugin);
        view->selectRow(1);
        view->tableView()->setFocus();
        const QStringList expected{"addEntry:+", "removeEntry:+", "showPermissions:+"};
        QCOMPARE(shown(menu(bar, "editMenu")).mid(0, 3), expected);
        bar->setFocus(Qt::ShortcutFocusReason);
        QTRY_COMPARE(QApplication::focusWidget(), bar);
        QCOMPARE(shown(menu(bar, "editMenu")).mid(0, 3), expected);
        view->addButton()->setFocus();
        QCOMPARE(shown(menu(bar, "editMenu")).mid(0, 3), expected);
        // Ctrl+N while the menu bar has the focus adds an entry.
        bar->setFocus(Qt::ShortcutFocusReason);
        QSignalSpy installed(plugin.get(), &MGAclPlugin::entriesChanged);
        QTest::keyClick(bar, Qt::Key_N, Qt::ControlModifier);
        QVERIFY(installed.wait(10000));
        QCOMPARE(MGAclLists::aclEntries(plugin->entries()).size(), 2);
        QTRY_VERIFY(QApplication::activePopupWidget()); // the new row's chooser
        QApplication::activePopupWidget()->close();
        plugin->window()->closeWithoutAsking();
    }

    void keysAreNamedInTheDesktopsLanguage()
    {
        // Qt's own texts come in the window's language: Ctrl+S reads "Strg+S" in German.
        if (!QFile::exists(QLibraryInfo::path(QLibraryInfo::TranslationsPath) + "/qtbase_de.qm"))
            QSKIP("Qt's translations are not installed (Debian package qt6-translations-l10n)");
        QVERIFY(MGAclHost::installQtTranslation(QLocale(QLocale::German)));
        QCOMPARE(QKeySequence(QKeySequence::Save).toString(QKeySequence::NativeText), QStringLiteral("Strg+S"));
    }

    void saveAndCloseFromTheKeyboard()
    {
        const QString file = tmp.path("keyed");
        QVERIFY(shOk("touch " + quoted(file) + " && chmod 644 " + quoted(file)));
        QPointer<MGAclPlugin> object;
        {
            MGAclPlugin::Pointer plugin = openWindow(file);
            object = plugin.get();
            MGAclMenuBar::attachTo(plugin->window());
            otherEntry(plugin->entries())->setPermissions(MGAclPermissionSet::fromPosixBits(0, false));
            QSignalSpy installed(plugin.get(), &MGAclPlugin::entriesChanged);
            // The host's Save and the window's own key are one command: Ctrl+S is not ambiguous.
            QTest::keyClick(plugin->window(), Qt::Key_S, Qt::ControlModifier);
            QVERIFY(installed.wait(10000));
            QVERIFY(!plugin->canRevertEntries());
            QTest::keyClick(plugin->window(), Qt::Key_W, Qt::ControlModifier);
        }
        QTRY_VERIFY(!object);
        QVERIFY(sh("stat -c %A " + quoted(file)).trimmed().endsWith("---"));
    }
};

QTEST_MAIN(tst_MGAclMenuBar)
#include "tst_MGAclMenuBar.moc"
