// The window on a folder of a real Samba server: deny entries, inheritance flags and
// inherited entries as the server holds them, the owner and group below, an edit made with
// the keyboard saved so that smbcacls reads it, and the login sheet when the server refuses.
#include "MGAclEditSession.h"
#include "MGAclAccessViewController.h"
#include "MGAclEntriesTableModel.h"
#include "MGAclMenuBar.h"
#include "MGIdentityPopUpButton.h"
#include "MGLoginDialog.h"
#include "MGServerLogins.h"
#include "PluginHelpers.h"
#include "MGSmbClient.h"
#include "SmbServerHelpers.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QMenuBar>
#include <grp.h>
#include <QStandardItemModel>

class tst_SmbWindow : public QObject
{
    Q_OBJECT

    SmbServer server;

    static QStringList rows(MGAclEntriesViewController *view)
    {
        QStringList texts;
        const QAbstractItemModel *model = view->tableView()->model();
        for (int row = 0; row < model->rowCount(); ++row) {
            QStringList cells;
            for (int column = 0; column < model->columnCount(); ++column)
                cells << model->index(row, column).data().toString();
            const QString title = model->index(row, 0).data(MGAclEditSession::TitleRole).toString();
            texts << (title.isEmpty() ? cells.join(QLatin1Char('|')) : QStringLiteral("# ") + title);
        }
        return texts;
    }

    // A folder with an explicit deny entry, explicit allow entries and what its parent passes
    // on (inherited, a deny among them), as smbcacls propagates it.
    QString makeFolder(const QString &name)
    {
        server.make(name + QStringLiteral("/inner"), true);
        sh(QStringLiteral("chown -R mgalice %1").arg(quoted(server.root + QLatin1Char('/') + name)));
        for (const QString &acl : {QStringLiteral("ACL:MGSERVER\\mgjürgen:DENIED/OI|CI/0x00010040"),
                                   QStringLiteral("ACL:Unix Group\\mgteam:ALLOWED/OI|CI/CHANGE")})
            sh(QStringLiteral("smbcacls -s %1 //127.0.0.1/acls %2 -A %3 --propagate-inheritance -a %4")
                   .arg(quoted(server.conf), quoted(name), quoted(server.authFile(QStringLiteral("mgalice"))), quoted(acl)));
        const QString inner = name + QStringLiteral("/inner");
        sh(QStringLiteral("smbcacls -s %1 //127.0.0.1/acls %2 -A %3 -a %4")
               .arg(quoted(server.conf), quoted(inner), quoted(server.authFile(QStringLiteral("mgalice"))),
                    quoted(QStringLiteral("ACL:MGSERVER\\mgbob:DENIED/0x0/0x00040000"))));
        return inner;
    }

private slots:
    void initTestCase()
    {
        SKIP_WITHOUT_SERVER(server)
        useTestSettings();
    }

    void cleanup() { MGServerLogins::forgetAll(); }

    void theWindowShowsAndSavesWhatTheServerHolds()
    {
        const QString inner = makeFolder(QStringLiteral("shown"));
        MGServerLogins::rememberForEveryServer(server.login(QStringLiteral("mgalice")));
        const MGAclPlugin::Pointer plugin = openWindow(QString::fromLatin1(SmbServer::url(inner)));
        MGAclEntriesViewController *view = entriesView(plugin);
        const QStringList shown = rows(view);
        QVERIFY(!shown.isEmpty());
        QCOMPARE(shown.first(), QStringLiteral("# Access Control List"));
        QVERIFY2(shown.contains(QStringLiteral("Deny|MGSERVER\\mgbob|Custom\u2026|No|This folder only")), qPrintable(shown.join('\n')));
        QVERIFY(shown.contains(QStringLiteral("Deny|MGSERVER\\mgjürgen|Custom\u2026|Yes|This folder, subfolders and files")));
        QVERIFY(shown.contains(QStringLiteral("# Owner and Group")));
        QVERIFY(shown.contains(QStringLiteral("|Owner: MGSERVER\\mgalice|||")));
        QVERIFY(!shown.join('\n').contains(QStringLiteral("POSIX")));
        QVERIFY(plugin->window()->windowTitle().startsWith(QStringLiteral("inner")));

        // Everyone's explicit Read becomes a Deny, chosen with the keyboard: Deny is live.
        const int everyone = int(shown.indexOf(QStringLiteral("Allow|Everyone|Read|No|This folder only")));
        QVERIFY2(everyone > 0, qPrintable(shown.join('\n')));
        auto *tag = qobject_cast<QComboBox *>(keyOnCell(view, everyone, MGAclEntriesTableModel::TagColumn, Qt::Key_F2));
        QVERIFY(tag);
        QVERIFY(qobject_cast<QStandardItemModel *>(tag->model())->item(1)->isEnabled());
        QTRY_VERIFY(tag->view()->isVisible());
        QTest::keyClick(tag->view(), Qt::Key_Down);
        QTest::keyClick(tag->view(), Qt::Key_Return);
        QTRY_VERIFY(!view->cellEditor(everyone, MGAclEntriesTableModel::TagColumn));
        QCOMPARE(view->tableView()->model()->index(everyone, MGAclEntriesTableModel::TagColumn).data().toString(), QStringLiteral("Deny"));
        QVERIFY(plugin->window()->isWindowModified());
        QSignalSpy installed(plugin.get(), &MGAclPlugin::entriesChanged);
        QTest::keyClick(plugin->window(), Qt::Key_S, Qt::ControlModifier);
        QVERIFY(installed.wait(10000));
        QTRY_VERIFY(!plugin->window()->isWindowModified());
        QVERIFY2(server.smbcacls(inner).contains(QStringLiteral("ACL:S-1-1-0:1/0x0/0x001200a9")), qPrintable(server.smbcacls(inner).join('\n')));

        // Where an entry applies: every combination of its flags, in words; chosen with keys.
        const int bob = int(rows(view).indexOf(QStringLiteral("Deny|MGSERVER\\mgbob|Custom\u2026|No|This folder only")));
        QVERIFY(bob > 0);
        auto *place = qobject_cast<QComboBox *>(keyOnCell(view, bob, MGAclEntriesTableModel::AppliesToColumn, Qt::Key_F2));
        QVERIFY(place);
        QCOMPARE(place->count(), 13);
        QTRY_VERIFY(place->view()->isVisible());
        const int subfolders = place->findText(QStringLiteral("Subfolders only"));
        QVERIFY(subfolders > 0);
        for (int i = 0; i < subfolders; ++i)
            QTest::keyClick(place->view(), Qt::Key_Down);
        QTest::keyClick(place->view(), Qt::Key_Return);
        QTRY_VERIFY(!view->cellEditor(bob, MGAclEntriesTableModel::AppliesToColumn));
        QCOMPARE(view->tableView()->model()->index(bob, MGAclEntriesTableModel::AppliesToColumn).data().toString(),
                 QStringLiteral("Subfolders only"));
        QSignalSpy saved(plugin.get(), &MGAclPlugin::entriesChanged);
        QTest::keyClick(plugin->window(), Qt::Key_S, Qt::ControlModifier);
        QVERIFY(saved.wait(10000));
        QTRY_VERIFY(!plugin->window()->isWindowModified());
        QVERIFY2(server.smbcacls(inner).contains(QStringLiteral("ACL:%1:1/0xa/0x00040000").arg(server.sid(QStringLiteral("mgbob")))),
                 qPrintable(server.smbcacls(inner).join('\n')));
        plugin->window()->close();
    }

    // An item protected from inheritance that holds an entry of a kind the window does not
    // show: the title above the owner says both; an edit made with the keyboard (Escape on
    // one editor, arrows and Return in another) shows what the list holds, and once saved the
    // server holds the edit, the protection and the entry it was not shown.
    void aSaveKeepsWhatTheWindowDoesNotShow()
    {
        const QString inner = makeFolder(QStringLiteral("kept"));
        MGServerLogins::rememberForEveryServer(server.login(QStringLiteral("mgalice")));
        QVERIFY(server.protect(inner));
        const MGSmbClient admin(server.login(QStringLiteral("mgadmin")));
        MGResult<QByteArray> held = admin.securityDescriptor(SmbServer::url(inner));
        QVERIFY(held);
        const QByteArray callback = everyoneCallbackEntry(0);
        MGNtSecurityDescriptor withCallback = *MGNtBinaryDescriptor::parse(*held);
        withCallback.ownerSid.clear();
        withCallback.groupSid.clear();
        withCallback.aces << MGNtAce{9, 0, 0x001200a9, QString(), QString(), callback};
        QVERIFY(!admin.setSecurityDescriptor(SmbServer::url(inner), *MGNtBinaryDescriptor::encode(withCallback), MGSmbClient::AclPart));
        const QString kept = QStringLiteral("ACL:S-1-1-0:9/0x0/0x001200a9");
        QVERIFY(server.smbcacls(inner).contains(kept));
        QVERIFY(server.control(inner).contains(QLatin1String("PD")));

        const MGAclPlugin::Pointer plugin = openWindow(QString::fromLatin1(SmbServer::url(inner)));
        MGAclEntriesViewController *view = entriesView(plugin);
        const QStringList shown = rows(view);
        QVERIFY2(shown.contains(QStringLiteral("# ") + MGNtSecurityDescriptor::ownerTitle(true, 1)), qPrintable(shown.join('\n')));

        // Escape leaves a cell as the list holds it.
        const int bob = int(shown.indexOf(QStringLiteral("Deny|MGSERVER\\mgbob|Custom\u2026|No|This folder only")));
        QVERIFY2(bob > 0, qPrintable(shown.join('\n')));
        auto *tag = qobject_cast<QComboBox *>(keyOnCell(view, bob, MGAclEntriesTableModel::TagColumn, Qt::Key_F2));
        QVERIFY(tag);
        QTRY_VERIFY(tag->view()->isVisible());
        QTest::keyClick(tag->view(), Qt::Key_Up);
        QTest::keyClick(tag->view(), Qt::Key_Escape);
        QTRY_VERIFY(!tag->view()->isVisible());
        QTest::keyClick(tag, Qt::Key_Escape);
        QTRY_VERIFY(!view->cellEditor(bob, MGAclEntriesTableModel::TagColumn));
        QCOMPARE(rows(view), shown);
        QVERIFY(!plugin->window()->isWindowModified());

        // Down and Return: the Deny becomes an Allow, in the cell and in the list.
        tag = qobject_cast<QComboBox *>(keyOnCell(view, bob, MGAclEntriesTableModel::TagColumn, Qt::Key_F2));
        QVERIFY(tag);
        QTRY_VERIFY(tag->view()->isVisible());
        QTest::keyClick(tag->view(), Qt::Key_Up);
        QTest::keyClick(tag->view(), Qt::Key_Return);
        QTRY_VERIFY(!view->cellEditor(bob, MGAclEntriesTableModel::TagColumn));
        QCOMPARE(view->tableView()->model()->index(bob, MGAclEntriesTableModel::TagColumn).data().toString(), QStringLiteral("Allow"));
        QVERIFY(plugin->window()->isWindowModified());
        QSignalSpy saved(plugin.get(), &MGAclPlugin::entriesChanged);
        QTest::keyClick(plugin->window(), Qt::Key_S, Qt::ControlModifier);
        QVERIFY(saved.wait(10000));
        QTRY_VERIFY(!plugin->window()->isWindowModified());
        const QStringList after = server.smbcacls(inner);
        QVERIFY2(after.contains(QStringLiteral("ACL:%1:0/0x0/0x00040000").arg(server.sid(QStringLiteral("mgbob")))), qPrintable(after.join('\n')));
        QVERIFY(after.contains(kept));
        QVERIFY(server.control(inner).contains(QLatin1String("PD")));
        QCOMPARE(rows(view).filter(QStringLiteral("MGSERVER\\mgbob")), QStringList{QStringLiteral("Allow|MGSERVER\\mgbob|Custom\u2026|No|This folder only")});
        plugin->window()->close();
    }

    // "Inherit from parent" on a server folder: exactly what the folder gives a new folder,
    // its own entries gone, its owner kept; saved, the server holds it.
    void inheritFromParentFollowsTheServersRules()
    {
        const QString inner = makeFolder(QStringLiteral("inherit"));
        MGServerLogins::rememberForEveryServer(server.login(QStringLiteral("mgalice")));
        const MGAclPlugin::Pointer plugin = openWindow(QString::fromLatin1(SmbServer::url(inner)));
        QSignalSpy changed(plugin.get(), &MGAclPlugin::entriesChanged);
        plugin->inheritEntriesFromParent(plugin.get());
        QVERIFY(changed.wait(10000));
        const QStringList shown = rows(entriesView(plugin));
        QVERIFY2(!shown.join('\n').contains(QStringLiteral("mgbob")), qPrintable(shown.join('\n')));
        QVERIFY(shown.contains(QStringLiteral("Deny|MGSERVER\\mgjürgen|Custom\u2026|Yes|This folder, subfolders and files")));
        // Creator Owner's rights here are the owner's own, and Creator Owner passes on.
        QVERIFY2(shown.contains(QStringLiteral("Allow|MGSERVER\\mgalice|Full Control|Yes|This folder only")), qPrintable(shown.join('\n')));
        QVERIFY(shown.contains(QStringLiteral("Allow|Creator Owner|Full Control|Yes|Subfolders and files only")));
        QVERIFY(plugin->window()->isWindowModified());
        QSignalSpy installed(plugin.get(), &MGAclPlugin::entriesChanged);
        QTest::keyClick(plugin->window(), Qt::Key_S, Qt::ControlModifier);
        QVERIFY(installed.wait(10000));
        QTRY_VERIFY(!plugin->window()->isWindowModified());
        QVERIFY(server.smbcacls(inner).filter(server.sid(QStringLiteral("mgbob"))).isEmpty());
        plugin->window()->close();
    }

    // The Edit menu's commands on inherited entries, chosen from the menu bar, act on what the
    // server holds: made explicit they keep where they apply and lose the inherited mark;
    // removed, only the folder's own entries stay. smbcacls reads each save.
    void inheritedEntriesAreMadeExplicitAndRemoved()
    {
        const QString inner = makeFolder(QStringLiteral("explicit"));
        MGServerLogins::rememberForEveryServer(server.login(QStringLiteral("mgalice")));
        const MGAclPlugin::Pointer plugin = openWindow(QString::fromLatin1(SmbServer::url(inner)));
        const QString jurgen = server.sid(QStringLiteral("mgjürgen"));
        QVERIFY2(server.smbcacls(inner).contains(QStringLiteral("ACL:%1:1/0x13/0x00010040").arg(jurgen)),
                 qPrintable(server.smbcacls(inner).join('\n')));
        auto choose = [&](const MGAclPlugin::Pointer &plugin, const QString &command, auto done) {
            QMenu *edit = MGAclMenuBar::attachTo(plugin->window())->findChild<QMenu *>(QStringLiteral("editMenu"));
            QVERIFY(edit);
            emit edit->aboutToShow(); // as it opens: its commands are validated
            QAction *action = nullptr;
            for (QAction *candidate : edit->actions())
                if (candidate->text() == command)
                    action = candidate;
            QVERIFY2(action && action->isEnabled(), qPrintable(command));
            action->trigger();
            QTRY_VERIFY(plugin->window()->isWindowModified());
            QTRY_VERIFY(done(rows(entriesView(plugin))));
            QSignalSpy installed(plugin.get(), &MGAclPlugin::entriesChanged);
            QTest::keyClick(plugin->window(), Qt::Key_S, Qt::ControlModifier);
            QVERIFY(installed.wait(10000));
            QTRY_VERIFY(!plugin->window()->isWindowModified());
        };
        // An inherited Deny made explicit goes before the explicit Allow entries: the list stays
        // in the one order a server keeps.
        choose(plugin, QStringLiteral("Make Inherited Entries Explicit"), [](const QStringList &shown) {
            return shown.indexOf(QStringLiteral("Deny|MGSERVER\\mgjürgen|Custom\u2026|No|This folder, subfolders and files")) == 2;
        });
        QStringList held = server.smbcacls(inner);
        QVERIFY2(held.contains(QStringLiteral("ACL:%1:1/0x3/0x00010040").arg(jurgen)), qPrintable(held.join('\n')));
        // mgteam's Change now an explicit entry; Everyone's Read for what is below held as often
        // as the window shows it (the explicit one and the one made explicit).
        QCOMPARE(held.filter(QStringLiteral("/0x001301ff")), QStringList{QStringLiteral("ACL:S-1-22-2-%1:0/0x3/0x001301ff").arg(getgrnam("mgteam")->gr_gid)});
        const QStringList shownEveryone = rows(entriesView(plugin)).filter(QRegularExpression(QStringLiteral("^Allow\\|Everyone\\|.*Subfolders and files only$")));
        QVERIFY(!shownEveryone.isEmpty());
        QCOMPARE(held.filter(QStringLiteral("ACL:S-1-1-0:0/0xb/")).size(), shownEveryone.size());
        QVERIFY(!rows(entriesView(plugin)).join('\n').contains(QStringLiteral("|Yes|")));

        // Inherited once more from the share's folder, then the inherited ones removed.
        sh(QStringLiteral("smbcacls -s %1 //127.0.0.1/acls explicit -A %2 --propagate-inheritance -a %3")
               .arg(quoted(server.conf), quoted(server.authFile(QStringLiteral("mgalice"))),
                    quoted(QStringLiteral("ACL:MGSERVER\\mgadmin:ALLOWED/OI|CI/READ"))));
        QVERIFY(server.smbcacls(inner).join('\n').contains(QStringLiteral("/0x13/0x001200a9")));
        plugin->window()->close();
        const MGAclPlugin::Pointer again = openWindow(QString::fromLatin1(SmbServer::url(inner)));
        QVERIFY(rows(entriesView(again)).join('\n').contains(QStringLiteral("|Yes|")));
        choose(again, QStringLiteral("Remove Inherited Entries"),
               [](const QStringList &shown) { return !shown.join('\n').contains(QStringLiteral("|Yes|")); });
        held = server.smbcacls(inner);
        QVERIFY2(held.filter(QRegularExpression(QStringLiteral("^ACL:[^:]*:[01]/0x1"))).isEmpty(), qPrintable(held.join('\n')));
        QVERIFY(held.contains(QStringLiteral("ACL:%1:1/0x3/0x00010040").arg(jurgen)));
        QVERIFY(held.contains(QStringLiteral("ACL:%1:1/0x0/0x00040000").arg(server.sid(QStringLiteral("mgbob")))));
        again->window()->close();
    }

    // The Effective Permissions tab on a server item: first for the account the window logged
    // in with, rows naming the deciding entry; another account the entries name, chosen with
    // the keyboard; and "Show as edited" answers for the edited entries before a save.
    void theAccessTabAsksTheServer()
    {
        const QString inner = makeFolder(QStringLiteral("access"));
        MGServerLogins::rememberForEveryServer(server.login(QStringLiteral("mgalice")));
        const MGAclPlugin::Pointer plugin = openWindow(QString::fromLatin1(SmbServer::url(inner)));
        MGAclMenuBar::attachTo(plugin->window());
        QTest::keyClick(plugin->window(), Qt::Key_2, Qt::ControlModifier);
        auto *tab = static_cast<MGAclAccessViewController *>(plugin->tabViewController()->childViewControllers().at(1));
        QTRY_VERIFY(tab->isViewLoaded());
        QTRY_COMPARE(plugin->identity().posixName(), QStringLiteral("MGSERVER\\mgalice"));
        QTRY_VERIFY(!plugin->access().isEmpty());
        auto rowsOf = [](const QList<MGTreeNode::Pointer> &tree) {
            QStringList shown;
            for (const MGTreeNode::Pointer &section : tree)
                for (const MGTreeNode::Pointer &row : section->childNodes())
                    shown << QStringLiteral("%1|%2|%3").arg(row->key()).arg(row->state()).arg(row->detail());
            return shown;
        };
        QStringList shown = rowsOf(plugin->access());
        QVERIFY2(shown.contains(QStringLiteral("list-folder|1|the entry Everyone (Allow, entry 2)"))
                     && shown.contains(QStringLiteral("change-permissions|1|the owner\u2019s own right")),
                 qPrintable(shown.join('\n')));
        // The server shows this login not the share's own permissions: said once, above the tree.
        QTRY_VERIFY(tab->accessNote()->isVisible());
        QVERIFY2(tab->accessNote()->text().startsWith(QStringLiteral("The share\u2019s own permissions")), qPrintable(tab->accessNote()->text()));
        QCOMPARE(tab->accessNote()->accessibleName(), tab->accessNote()->text());

        // mgbob, from the accounts the entries name: denied by its own entry.
        MGIdentityPopUpButton *chooser = tab->identityPopUpButton();
        chooser->setFocus();
        const int bob = chooser->findText(QStringLiteral("MGSERVER\\mgbob"));
        QVERIFY2(bob >= 0, qPrintable(QStringLiteral("%1 accounts offered").arg(chooser->count())));
        while (chooser->currentIndex() != bob)
            QTest::keyClick(chooser, chooser->currentIndex() < bob ? Qt::Key_Down : Qt::Key_Up);
        QTRY_COMPARE(plugin->identity().posixName(), QStringLiteral("MGSERVER\\mgbob"));
        QTRY_VERIFY(rowsOf(plugin->access()).contains(QStringLiteral("change-permissions|0|the entry MGSERVER\\mgbob (Deny, entry 1)")));

        // Any other account of the server, typed by name into the chooser's search.
        QTest::mouseClick(chooser, Qt::LeftButton);
        QTRY_VERIFY(chooser->searchField());
        QTest::keyClicks(chooser->searchField(), QStringLiteral("MGSERVER\\mgadmin"));
        QTest::keyClick(chooser->searchField(), Qt::Key_Return);
        QTRY_COMPARE(plugin->identity().posixName(), QStringLiteral("MGSERVER\\mgadmin"));
        QTRY_VERIFY(rowsOf(plugin->access()).contains(QStringLiteral("list-folder|1|the entry Everyone (Allow, entry 2)")));
        chooser->setFocus();
        const int again = chooser->findText(QStringLiteral("MGSERVER\\mgbob"));
        while (chooser->currentIndex() != again)
            QTest::keyClick(chooser, chooser->currentIndex() < again ? Qt::Key_Down : Qt::Key_Up);
        QTRY_COMPARE(plugin->identity().posixName(), QStringLiteral("MGSERVER\\mgbob"));

        // Shown as edited: mgbob's Deny removed in the list, not saved.
        QCheckBox *asEdited = tab->view()->findChild<QCheckBox *>();
        QVERIFY(asEdited);
        asEdited->setChecked(true);
        MGAclEntriesViewController *view = entriesView(plugin);
        const int row = int(rows(view).indexOf(QStringLiteral("Deny|MGSERVER\\mgbob|Custom\u2026|No|This folder only")));
        QVERIFY(row > 0);
        plugin->tabViewController()->setSelectedTabViewItemIndex(0);
        view->tableView()->setFocus();
        view->tableView()->setCurrentIndex(view->tableView()->model()->index(row, 1));
        view->tableView()->selectionModel()->select(view->tableView()->model()->index(row, 1),
                                                    QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
        QTest::keyClick(view->tableView(), Qt::Key_Delete);
        QTRY_VERIFY(plugin->window()->isWindowModified());
        QTRY_VERIFY(!rowsOf(plugin->access()).join('\n').contains(QStringLiteral("(Deny, entry 1)")));
        QVERIFY(server.smbcacls(inner).join('\n').contains(QStringLiteral(":1/0x0/0x00040000"))); // nothing saved
        plugin->window()->closeWithoutAsking();
    }

    // Without an account the server refuses; the login sheet asks for one, and the read is
    // made again with it. Cancelled, it leaves the window empty and says nothing more.
    void aRefusalAsksForALogin()
    {
        const QString inner = makeFolder(QStringLiteral("login"));
        const MGAclPlugin::Pointer plugin = MGAclPlugin::plugin();
        QSignalSpy loaded(plugin.get(), &MGAclPlugin::entriesChanged);
        plugin->processItems({MGHostItem::fromPath(QString::fromLatin1(SmbServer::url(inner)))});
        MGLoginDialog *dialog = nullptr;
        QVERIFY(QTest::qWaitFor([&] { return (dialog = qApp->findChild<MGLoginDialog *>()) || (dialog = plugin->window()->findChild<MGLoginDialog *>()); }, 10000));
        QVERIFY(dialog->isVisible());
        auto *user = dialog->findChild<QLineEdit *>(QStringLiteral("loginUser"));
        auto *password = dialog->findChild<QLineEdit *>(QStringLiteral("loginPassword"));
        QCOMPARE(password->echoMode(), QLineEdit::Password);
        QTest::keyClicks(user, QStringLiteral("MGSERVER\\mgalice"));
        QTest::keyClicks(password, QStringLiteral("pw-mgalice"));
        QTest::keyClick(password, Qt::Key_Return);
        QVERIFY(loaded.wait(10000));
        QVERIFY(rows(entriesView(plugin)).join('\n').contains(QStringLiteral("MGSERVER\\mgbob")));
        plugin->window()->close();
    }
};

QTEST_MAIN(tst_SmbWindow)
#include "tst_SmbWindow.moc"
