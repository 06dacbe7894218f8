#include "MGAclListOutput.h"
#include "MGAclEntriesTableModel.h"
#include "MGAclEntriesViewController.h"
#include "MGChildServiceConnection.h"
#include "PluginHelpers.h"
#include "StagedBuild.h"

#include <QAbstractItemModelTester>
#include <QComboBox>
#include <QRegularExpression>
#include <QTableView>

#include <sys/wait.h>

using Set = MGAclPermissionSet;

namespace {
// Runs the plug-in object's command and waits for the list it installs.
void perform(const MGAclPlugin::Pointer &plugin, void (MGAclPlugin::*command)(QObject *))
{
    QSignalSpy installed(plugin.get(), &MGAclPlugin::entriesChanged);
    (plugin.get()->*command)(nullptr);
    QVERIFY(installed.wait(10000));
}

// Saves from the menu and waits for the reload that follows.
void save(const MGAclPlugin::Pointer &plugin)
{
    QSignalSpy reloaded(plugin.get(), &MGAclPlugin::entriesChanged);
    plugin->saveEntries(plugin.get());
    QVERIFY(reloaded.wait(10000));
    QVERIFY(!QApplication::activeModalWidget());
}

// An entry added at a row, as "+" adds one: through the session, as the row it is.
void insertEntry(const MGAclPlugin::Pointer &plugin, qsizetype row, const MGAclEntry::Pointer &entry)
{
    const MGAclListOperations::Result added = MGAclListOperations::inserted(plugin->entriesSnapshot(), row, entry);
    plugin->session()->apply(added.list, added.change);
}

MGAclEntry *maskOf(const MGAclList &list)
{
    return findEntry(list, [](const MGAclEntry &e) { return !e.isAcl() && e.kind() == MGAclEntry::Kind::Mask; });
}
}

// The plug-in object's edits, as they reach the item: what inheriting builds, the masks
// that follow the entries they limit, and lists refused before anything is sent.
class tst_MGAclPluginEditing : public QObject
{
    Q_OBJECT

    SharedTemporaryDir tmp;

private slots:
    void initTestCase() { useTestSettings(); }

    void whatIsInheritedSavesAndReadsBackTheSame_data()
    {
        QTest::addColumn<bool>("folder");
        QTest::addColumn<bool>("explicitToo");
        QTest::newRow("folder") << true << false;
        QTest::newRow("file") << false << false;
        QTest::newRow("folder, made explicit") << true << true;
        QTest::newRow("file, made explicit") << false << true;
    }
    void whatIsInheritedSavesAndReadsBackTheSame()
    {
        QFETCH(bool, folder);
        QFETCH(bool, explicitToo);
        // A folder whose default ACL passes on a named entry and its owner, group, other and
        // mask settings; a child that has none of them yet.
        const QString parent = tmp.path(QStringLiteral("parent%1%2").arg(folder).arg(explicitToo));
        const QString child = parent + "/child";
        QVERIFY(shOk(QStringLiteral("mkdir %1 && setfacl -d -m u:daemon:rwx,u::rwx,g::r-x,o::---,m::rwx %1 && %2 %3 && "
                                    "setfacl -b %3 && setfacl -k %3 2>/dev/null; chmod 777 %3")
                         .arg(quoted(parent), folder ? "mkdir" : "touch", quoted(child))));
        MGAclPlugin::Pointer plugin = openWindow(child);
        perform(plugin, &MGAclPlugin::inheritEntriesFromParent);
        if (explicitToo) {
            QVERIFY(plugin->hasInheritedEntries());
            plugin->makeInheritedEntriesExplicit(nullptr);
        }
        QVERIFY(plugin->canRevertEntries());
        const MGAclList built = MGAclLists::deepCopy(plugin->entries());
        // Owner, group and other are the item's own POSIX settings, not entries.
        QVERIFY(!MGAclLists::posixProblem(built));
        save(plugin);
        // POSIX ACLs keep no inherited mark: what comes back is the same, explicit.
        for (const MGAclItem &item : built)
            if (MGAclEntry *entry = MGAclLists::entryOf(item))
                entry->setInherited(false);
        QVERIFY2(MGAclLists::sameEntries(plugin->entries(), built),
                 qPrintable(MGAclListOutput::text(plugin->entries()) + "\nbuilt:\n" + MGAclListOutput::text(built)));
        const QString acl = facl(child);
        QVERIFY2(acl.contains("user:1:rwx") && acl.contains("group::r-x") && acl.contains("other::---"), qPrintable(acl));
        QCOMPARE(acl.contains("default:"), folder);
        plugin->window()->closeWithoutAsking();
    }

    void inheritingAFileNeverMakesItExecutable()
    {
        // The folder passes rwx to its owner and a named user; a file created in it gets
        // rw- for them (created with 0666), and so does a file that inherits later.
        const QString parent = tmp.path("kernelParent");
        const QString file = parent + "/plain.txt";
        const QString fresh = parent + "/fresh.txt";
        QVERIFY(shOk(QStringLiteral("mkdir %1 && setfacl -d -m u::rwx,u:daemon:rwx,g::rwx,o::- %1 && echo text > %2 && "
                                    "setfacl -b %2 && chmod 660 %2 && touch %3")
                         .arg(quoted(parent), quoted(file), quoted(fresh))));
        MGAclPlugin::Pointer plugin = openWindow(file);
        perform(plugin, &MGAclPlugin::inheritEntriesFromParent);
        QVERIFY(plugin->hasInheritedEntries());
        save(plugin);
        QCOMPARE(facl(file).section('\n', 3), facl(fresh).section('\n', 3));
        QCOMPARE(sh("stat -c %A " + quoted(file)), sh("stat -c %A " + quoted(fresh)));
        QVERIFY(!sh("stat -c %A " + quoted(file)).contains('x'));
        plugin->window()->closeWithoutAsking();
    }

    void anAddedEntryTakesEffect()
    {
        // The mask limits daemon to read; a new entry for nobody with read and write widens
        // it, as setfacl would, so the new entry does what the window says.
        const QString file = tmp.path("masked");
        QVERIFY(shOk(QStringLiteral("touch %1 && setfacl -m u:daemon:rwx,m::r-- %1").arg(quoted(file))));
        MGAclPlugin::Pointer plugin = openWindow(file);
        auto *model = static_cast<MGAclEntriesViewController *>(plugin->tabViewController()->childViewControllers().first())->model();
        // As read, daemon's row says what the mask leaves it.
        QVERIFY2(model->data(model->index(1, MGAclEntriesTableModel::PermissionGroupColumn)).toString().contains("limited to r--"),
                 qPrintable(model->data(model->index(1, MGAclEntriesTableModel::PermissionGroupColumn)).toString()));
        insertEntry(plugin, 2, MGAclEntry::aclEntry(MGAclEntry::Allow, CBIdentity::user(65534), Set::groupPermissions(Set::ReadWrite, false),
                                            0, false, true));
        QCOMPARE(Set::shortText(maskOf(plugin->entries())->permissions(), false), QStringLiteral("rwx"));
        QVERIFY(!model->data(model->index(1, MGAclEntriesTableModel::PermissionGroupColumn)).toString().contains("limited"));
        save(plugin);
        QVERIFY2(!facl(file).contains("#effective"), qPrintable(facl(file)));
        // Taking the new entry out again gives the mask back as it was read.
        QVERIFY(plugin->session()->removeRows(2, 1));
        QVERIFY(plugin->canRevertEntries());
        plugin->window()->closeWithoutAsking();
    }

    // A folder whose mask limits alice and devs to r-x: adding nobody with read and write
    // raises the mask, and the rows that gain say so at once; "Keep the mask as it is" saves
    // the mask as it was read, as setfacl -n does.
    void aRaisedMaskNamesWhoGainsAndCanBeKept()
    {
        const QString folder = tmp.path("gains");
        QVERIFY(shOk(QStringLiteral("mkdir %1 && setfacl -m u:daemon:rwx,g:daemon:rwx,m::r-x %1").arg(quoted(folder))));
        MGAclPlugin::Pointer plugin = openWindow(folder);
        MGAclEntriesViewController *view = entriesView(plugin);
        MGAclEntriesTableModel *model = view->model();
        QAbstractItemModelTester tester(model);
        auto permissionsOf = [&](int row) { return model->index(row, MGAclEntriesTableModel::PermissionGroupColumn).data().toString(); };
        QVERIFY2(permissionsOf(1).contains("limited to r-x"), qPrintable(permissionsOf(1)));
        insertEntry(plugin, 3, MGAclEntry::aclEntry(MGAclEntry::Allow, CBIdentity::user(65534), Set::fromPosixBits(6, true),
                                            0, true, true));
        for (int row : {1, 2}) {
            QVERIFY2(permissionsOf(row).contains("now also grants write"), qPrintable(permissionsOf(row)));
            QCOMPARE(model->index(row, 0).data(MGAclEntriesTableModel::MaskGainRole).toInt(), 2);
        }
        QVERIFY2(!permissionsOf(3).contains("now also"), qPrintable(permissionsOf(3)));
        // Keep the mask: the rows are limited again, and the save keeps mask::r-x.
        plugin->keepMask(nullptr);
        QVERIFY(plugin->keepsMask());
        QVERIFY2(permissionsOf(1).contains("limited to r-x"), qPrintable(permissionsOf(1)));
        QVERIFY2(permissionsOf(3).contains("limited to r--"), qPrintable(permissionsOf(3)));
        save(plugin);
        const QString saved = facl(folder);
        QVERIFY2(saved.contains("mask::r-x") && saved.contains("user:1:rwx\t#effective:r-x")
                     && saved.contains("user:65534:rw-\t#effective:r--"),
                 qPrintable(saved));
        plugin->window()->closeWithoutAsking();
    }

    // On a folder an entry for the folder itself, one only for new items and one for both
    // are told apart, in the table and on the command line, and where one applies is chosen
    // in its cell with the keyboard; the table, the edited mark and getfacl then agree.
    // An entry of a folder and of its new items answers to the folder's mask and to the one
    // it passes on: the row says what each leaves, as getfacl's #effective does per line.
    void anEntryForBothPlacesNamesBothMasks()
    {
        const QString folder = tmp.path("two-masks");
        QVERIFY(shOk(QStringLiteral("mkdir %1 && setfacl -m u:daemon:rwx,u:bin:rwx,u:sys:r-x,m::r-x %1 && "
                                    "setfacl -d -m u:daemon:rwx,u:bin:rwx,u:sys:r-x,m::r-- %1")
                         .arg(quoted(folder))));
        MGAclPlugin::Pointer plugin = openWindow(folder);
        MGAclEntriesTableModel *model = entriesView(plugin)->model();
        QHash<QString, QString> shown;
        for (int row = 0; row < model->rowCount(); ++row)
            shown.insert(model->index(row, MGAclEntriesTableModel::IdentityColumn).data().toString(),
                         model->index(row, MGAclEntriesTableModel::PermissionGroupColumn).data().toString());
        QVERIFY2(shown.value("daemon").endsWith("rwx, limited to r-x, for new items to r--)"), qPrintable(shown.value("daemon")));
        QVERIFY2(shown.value("sys").endsWith("r-x, limited to r-- for new items)"), qPrintable(shown.value("sys")));
        const QString listed = sh(QStringLiteral(MARROWGATE_ACL_PATH " list %1").arg(quoted(folder)));
        QVERIFY2(listed.contains("\tuser:daemon\t1\tfolder+new-items\tallow\trwx\tr-x/r--\t"), qPrintable(listed));
        QVERIFY(listed.contains("\tuser:sys\t3\tfolder+new-items\tallow\tr-x\tr-x/r--\t"));
        plugin->window()->closeWithoutAsking();
    }

    void whereAnEntryAppliesIsShownAndChosen()
    {
        const QString folder = tmp.path("applies");
        QVERIFY(shOk(QStringLiteral("mkdir %1 && setfacl -m u:daemon:r-x,u:bin:r-x %1 && setfacl -d -m u:daemon:r-x,u:nobody:r-x %1")
                         .arg(quoted(folder))));
        MGAclPlugin::Pointer plugin = openWindow(folder);
        MGAclEntriesViewController *view = entriesView(plugin);
        MGAclEntriesTableModel *model = view->model();
        QAbstractItemModelTester tester(model);
        QMap<QString, QString> applies;
        for (int row = 1; row <= 3; ++row)
            applies.insert(model->index(row, MGAclEntriesTableModel::IdentityColumn).data().toString(),
                           model->index(row, MGAclEntriesTableModel::AppliesToColumn).data().toString());
        QCOMPARE(applies.value("daemon"), QStringLiteral("This folder and new items"));
        QCOMPARE(applies.value("bin"), QStringLiteral("This folder"));
        QCOMPARE(applies.value("nobody"), QStringLiteral("New items"));
        QVERIFY(!view->tableView()->isColumnHidden(MGAclEntriesTableModel::AppliesToColumn));
        const QString listed = MGAclListOutput::text(plugin->entries());
        QVERIFY2(listed.contains(QRegularExpression("user:daemon\t.*\tfolder\\+new-items\t")) && listed.contains(QRegularExpression("user:bin\t.*\tfolder\t"))
                     && listed.contains(QRegularExpression("user:nobody\t.*\tnew-items\t")),
                 qPrintable(listed));
        // bin's entry, with the keyboard: its cell, Enter, End (both), Enter.
        int binRow = 1;
        while (model->index(binRow, MGAclEntriesTableModel::IdentityColumn).data().toString() != "bin")
            ++binRow;
        QTableView *table = view->tableView();
        table->setFocus();
        table->setCurrentIndex(model->index(binRow, MGAclEntriesTableModel::AppliesToColumn));
        QTest::keyClick(table, Qt::Key_F2);
        QComboBox *editor = nullptr;
        QTRY_VERIFY((editor = qobject_cast<QComboBox *>(view->cellEditor(binRow, MGAclEntriesTableModel::AppliesToColumn))));
        // The list is open: End moves in it, Enter chooses.
        QTRY_VERIFY(editor->view()->isVisible());
        QTest::keyClick(editor->view(), Qt::Key_End);
        QCOMPARE(model->index(binRow, MGAclEntriesTableModel::AppliesToColumn).data().toString(), QStringLiteral("This folder"));
        QTest::keyClick(editor->view(), Qt::Key_Return);
        QTRY_VERIFY(!view->cellEditor(binRow, MGAclEntriesTableModel::AppliesToColumn));
        QCOMPARE(model->index(binRow, MGAclEntriesTableModel::AppliesToColumn).data().toString(),
                 QStringLiteral("This folder and new items"));
        QVERIFY(plugin->window()->isWindowModified());
        // daemon already has both: its entry cannot also be given to nobody for new items.
        int nobodyRow = 1;
        while (model->index(nobodyRow, MGAclEntriesTableModel::IdentityColumn).data().toString() != "nobody")
            ++nobodyRow;
        QVERIFY(!model->setData(model->index(nobodyRow, MGAclEntriesTableModel::IdentityColumn),
                                QVariant::fromValue(CBIdentity::user(1, "daemon"))));
        save(plugin);
        const QString saved = facl(folder);
        const QString bin = sh("id -u bin").trimmed();
        QVERIFY2(saved.contains("\nuser:" + bin + ":r-x") && saved.contains("default:user:" + bin + ":r-x"), qPrintable(saved));
        QVERIFY(!plugin->window()->isWindowModified());
        plugin->window()->closeWithoutAsking();
    }

    void aMaskSetByHandIsKept()
    {
        const QString file = tmp.path("handmask");
        QVERIFY(shOk(QStringLiteral("touch %1 && setfacl -m u:daemon:rw- %1").arg(quoted(file))));
        MGAclPlugin::Pointer plugin = openWindow(file);
        maskOf(plugin->entries())->setPermissions(Set::fromPosixBits(4, false)); // by hand
        insertEntry(plugin, 2, MGAclEntry::aclEntry(MGAclEntry::Allow, CBIdentity::user(65534), Set::fromPosixBits(6, false), 0,
                                            false, true));
        QCOMPARE(Set::shortText(maskOf(plugin->entries())->permissions(), false), QStringLiteral("r--"));
        save(plugin);
        QVERIFY2(facl(file).contains("mask::r--") && facl(file).contains("user:65534:rw-\t#effective:r--"), qPrintable(facl(file)));
        plugin->window()->closeWithoutAsking();
    }

    void twoEntriesForOneUserAreRefusedBeforeSending()
    {
        const QString file = tmp.path("twice");
        QVERIFY(shOk(QStringLiteral("touch %1 && setfacl -m u:daemon:r-- %1").arg(quoted(file))));
        MGAclPlugin::Pointer plugin = openWindow(file);
        insertEntry(plugin, 2, MGAclEntry::aclEntry(MGAclEntry::Allow, CBIdentity::user(1), Set::fromPosixBits(6, false), 0, false, true));
        const QString before = facl(file);
        plugin->saveEntries(plugin.get());
        QMessageBox *error = waitForAlert();
        QVERIFY(error);
        QVERIFY2(error->informativeText().contains("Rows 1 and 2") && error->informativeText().contains("daemon"),
                 qPrintable(error->informativeText()));
        error->accept();
        QVERIFY(plugin->canRevertEntries()); // the edits stay
        QCOMPARE(facl(file), before);
        plugin->window()->closeWithoutAsking();
    }

    void aChangeMadeElsewhereIsShownAndNotOverwritten()
    {
        const QString folder = tmp.path("shared");
        QVERIFY(shOk(QStringLiteral("mkdir %1 && touch %1/inside && setfacl -m u:daemon:r-x %1").arg(quoted(folder))));
        MGAclPlugin::Pointer plugin = openWindow(folder);
        // Unedited, the entries follow a change made elsewhere.
        QSignalSpy installed(plugin.get(), &MGAclPlugin::entriesChanged);
        QVERIFY(shOk("setfacl -m u:nobody:rwx " + quoted(folder)));
        QTRY_VERIFY_WITH_TIMEOUT(findEntry(plugin->entries(), [](const MGAclEntry &e) {
                                     return e.isAcl() && e.identity().posixID() == 65534;
                                 }),
                                 10000);
        // A propagation of what the window read, after yet another change elsewhere, is refused.
        QVERIFY(syncWithService(plugin));
        QVERIFY(shOk("setfacl -m u:bin:r-- " + quoted(folder)));
        const MGAclList stale = plugin->entries();
        plugin->queue()->async([plugin, stale] {
            plugin->sendEntries(MGAclRemoteMethod::PropagateEntries, stale, plugin->url(), [](auto) {},
                                plugin->revertedEntries());
        });
        QVERIFY(syncWithService(plugin));
        QVERIFY2(!facl(folder + "/inside").contains("user:65534"), qPrintable(facl(folder + "/inside")));
        plugin->window()->closeWithoutAsking();
    }

    void anItemTheUserCannotReachStillSaysWhy()
    {
        REQUIRE_ROOT();
        StagedBuild staged;
        REQUIRE_STAGED(staged);
        QVERIFY(shOk(QStringLiteral("mkdir -m 700 %1 && touch %1/secret").arg(quoted(tmp.path("closed")))));
        const QString secret = tmp.path("closed/secret");
        // As the user: the item counts as chosen even though its folder cannot be entered.
        const pid_t pid = fork();
        if (pid == 0) {
            if (setresgid(65534, 65534, 65534) != 0 || setresuid(65534, 65534, 65534) != 0)
                _exit(2);
            _exit(MGHostItem::fromPath(secret).isValid() ? 0 : 1);
        }
        int status = -1;
        waitpid(pid, &status, 0);
        QCOMPARE(WEXITSTATUS(status), 0);
        // The window opens and says why it shows nothing, and what an administrator could do.
        MGChildServiceConnection::setDefaultCommand(AsNobody + QStringList{staged.service(), "--stdio"});
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=" + QFile::encodeName(tmp.path("no-bus-here")));
        MGAclPlugin::Pointer plugin = MGAclPlugin::plugin();
        plugin->processItems({MGHostItem::fromPath(secret)});
        QVERIFY(plugin->window()->isVisible());
        QMessageBox *error = waitForAlert();
        MGChildServiceConnection::setDefaultCommand({});
        QVERIFY(error);
        QCOMPARE(error->text(), QStringLiteral("Error retrieving Acces Control List entries"));
        QVERIFY2(error->informativeText().contains("administrator"), qPrintable(error->informativeText()));
        error->accept();
        plugin->window()->closeWithoutAsking();
    }
};

QTEST_MAIN(tst_MGAclPluginEditing)
#include "tst_MGAclPluginEditing.moc"
