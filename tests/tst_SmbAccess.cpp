// What accounts of a real Samba server may do with its items, as the window's Effective
// Permissions tab and `marrowgate-acl access` say it, against what the server lets each of
// them do when they log in: random descriptors (deny before and after allow, inherited and
// inherit-only entries, generic rights, the owner, Everyone, Creator Owner, Owner Rights,
// groups, an account with the privilege to take ownership, the share's own permissions),
// every permission of every account opened for alone. A difference fails.
#include "CommandLineHelpers.h"
#include "MGAclPermissionSet.h"
#include "MGAclTexts.h"
#include "MGSmbAccess.h"
#include "MGSmbShareSecurity.h"
#include "SmbServerHelpers.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QScopeGuard>
#include <grp.h>

class tst_SmbAccess : public QObject
{
    Q_OBJECT

    SmbServer server;
    // The share where the entries alone decide (no POSIX ACL is asked besides).
    const QString root = qEnvironmentVariable("MARROWGATE_SMB_NT_ROOT");
    static QByteArray url(const QString &path) { return QByteArray("smb://127.0.0.1/ntacls/") + QUrl::toPercentEncoding(path, "/"); }
    // As the server makes items on such a share: open to every Unix account, so that the
    // entries alone decide.
    void make(const QString &name, bool folder) const
    {
        const QString path = root + QLatin1Char('/') + name;
        sh((folder ? QStringLiteral("mkdir -p %1") : QStringLiteral("touch %1")).arg(quoted(path))
           + QStringLiteral(" && chown mgalice %1 && chmod 0777 %1").arg(quoted(path)));
    }
    QString smbcacls(const QString &name, const QString &options) const
    {
        return sh(QStringLiteral("smbcacls -s %1 //127.0.0.1/ntacls %2 -A %3 --numeric %4")
                      .arg(quoted(server.conf), quoted(name), quoted(server.authFile(QStringLiteral("mgadmin"))), options));
    }
    // What the server lets accounts do: for each "ACCOUNT<TAB>PATH<TAB>MASK", the rights of
    // the mask it grants when the item is opened for each alone (tests/smb/access-probe), in
    // hex; fewer lines when the probe fails (its errors go to the test's output).
    QStringList allowedByServer(const QStringList &cases) const
    {
        QProcess probe;
        probe.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        probe.start(QStringLiteral(MARROWGATE_SOURCE_DIR "/tests/smb/access-probe"), {server.conf, QStringLiteral("ntacls")});
        probe.write((cases.join(QLatin1Char('\n')) + QLatin1Char('\n')).toUtf8());
        probe.closeWriteChannel();
        if (!probe.waitForFinished(300000))
            return {};
        return QString::fromUtf8(probe.readAllStandardOutput()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    }
    QHash<QString, QString> sids; // by account name
    const QStringList accounts{QStringLiteral("mgalice"), QStringLiteral("mgbob"), QStringLiteral("mgjürgen")};

    static QList<quint32> rights(bool folder)
    {
        using namespace MGAclPermission;
        QList<quint32> bits{ReadData, ReadNamedAttributes, ReadAttributes, ReadAcl, WriteData, AppendData,
                            WriteNamedAttributes, WriteAttributes, Delete, Execute, WriteAcl, WriteOwner};
        if (folder)
            bits << DeleteChild;
        return bits;
    }

    // The right a row of the tree stands for.
    static quint32 rightOfRow(const QString &key, bool folder)
    {
        for (const quint32 bit : rights(folder)) {
            if (MGAclTexts::scriptWord(MGAclPermissionSet::permissionKey(bit, folder)) == key)
                return bit;
        }
        return 0;
    }
    static MGTreeNode::Pointer rowOf(const QList<MGTreeNode::Pointer> &tree, const QString &key)
    {
        for (const MGTreeNode::Pointer &section : tree)
            for (const MGTreeNode::Pointer &row : section->childNodes())
                if (row->key() == key)
                    return row;
        return {};
    }

    // A descriptor of one to six entries, each naming someone the accounts may or may not be.
    QString randomDescriptor(QRandomGenerator &random) const
    {
        const QStringList who{sids.value("mgalice"), sids.value("mgbob"), sids.value("mgjürgen"), sids.value("mgteam"),
                              sids.value("mgstaff"), sids.value("None"), QStringLiteral("S-1-1-0"), QStringLiteral("S-1-5-11"),
                              QStringLiteral("S-1-5-2"), QStringLiteral("S-1-3-0"), QStringLiteral("S-1-3-4")};
        const QList<quint32> masks{0x1200a9, 0x1301bf, 0x1f01ff, 0x80000000, 0x40000000, 0x20000000, 0x10000000};
        const QList<quint32> flags{0x0, 0x0, 0x3, 0xb, 0x13, 0x10, 0x1};
        const QStringList owners{QStringLiteral("mgalice"), QStringLiteral("mgbob")};
        QStringList text{QStringLiteral("REVISION:1"), QStringLiteral("OWNER:%1").arg(sids.value(owners[random.bounded(2)])),
                         QStringLiteral("GROUP:%1").arg(sids.value("None"))};
        const int n = 1 + random.bounded(6);
        for (int i = 0; i < n; ++i) {
            quint32 mask = 0;
            if (random.bounded(3) == 0) {
                mask = masks[random.bounded(masks.size())];
            } else {
                const QList<quint32> bits = rights(true);
                for (int b = 0, k = 1 + random.bounded(4); b < k; ++b)
                    mask |= bits[random.bounded(bits.size())];
            }
            text << QStringLiteral("ACL:%1:%2/0x%3/0x%4")
                        .arg(who[random.bounded(who.size())], random.bounded(10) < 3 ? QStringLiteral("DENIED") : QStringLiteral("ALLOWED"))
                        .arg(flags[random.bounded(flags.size())], 0, 16)
                        .arg(mask, 8, 16, QLatin1Char('0'));
        }
        return text.join(QLatin1Char(','));
    }

private slots:
    void initTestCase()
    {
        SKIP_WITHOUT_SERVER(server)
        // Groups the server keeps in its own account database, as a domain's are: mgteam
        // (mgbob, mgjürgen) and mgstaff (mgalice, mgbob).
        for (const QString &group : {QStringLiteral("mgteam"), QStringLiteral("mgstaff")})
            QVERIFY(shOk(QStringLiteral("net groupmap add -s %1 ntgroup=%2 unixgroup=%2 type=domain").arg(quoted(server.conf), group)));
        // An alias of the server's own (a local group), with mgteam in it.
        sh(QStringLiteral("echo 'mgreaders:x:61030:' >>/etc/group"));
        QVERIFY(shOk(QStringLiteral("net groupmap add -s %1 ntgroup=mgreaders unixgroup=mgreaders type=local").arg(quoted(server.conf))));
        QVERIFY(shOk(QStringLiteral("net sam addmem -s %1 'MGSERVER\\mgreaders' 'MGSERVER\\mgteam'").arg(quoted(server.conf))));
        // A privilege the server's check counts beside the entries: mgjürgen may take
        // ownership of anything.
        QVERIFY(shOk(QStringLiteral("net sam rights grant -s %1 'MGSERVER\\mgjürgen' SeTakeOwnershipPrivilege").arg(quoted(server.conf))));
        for (const QString &account : accounts)
            sids.insert(account, server.sid(account));
        const QString mapped = sh(QStringLiteral("net groupmap list -s %1").arg(quoted(server.conf)));
        for (const QString &line : mapped.split(QLatin1Char('\n'))) {
            const QRegularExpressionMatch m = QRegularExpression(QStringLiteral("^(\\S+) \\((S-[0-9-]+)\\)")).match(line);
            if (m.hasMatch())
                sids.insert(m.captured(1), m.captured(2));
        }
        sids.insert(QStringLiteral("None"), sids.value("mgalice").section(QLatin1Char('-'), 0, -2) + QStringLiteral("-513"));
        QVERIFY2(sids.value("mgteam").startsWith("S-1-5-21-") && sids.value("mgstaff").startsWith("S-1-5-21-")
                     && sids.value("mgreaders").startsWith("S-1-5-21-"),
                 qPrintable(mapped));
    }

    // Every permission row of every account, on random descriptors of files and folders in
    // folders with random descriptors, against the server's own answer.
    void everyRowIsWhatTheServerAllows()
    {
        QRandomGenerator random(QRandomGenerator::global()->generate());
        const quint32 seed = random.generate();
        random.seed(seed);
        const int items = qEnvironmentVariableIntValue("MARROWGATE_ACCESS_CASES") > 0
            ? qEnvironmentVariableIntValue("MARROWGATE_ACCESS_CASES") : 60;
        make(QStringLiteral("access"), true);
        auto set = [&](const QString &name, const QString &descriptor) {
            return smbcacls(name, QStringLiteral("-S ") + quoted(descriptor)).isEmpty();
        };
        QStringList paths, probeCases;
        QList<bool> folders;
        for (int i = 0; i < items; ++i) {
            const QString folder = QStringLiteral("access/f%1").arg(i), item = folder + QStringLiteral("/x");
            make(folder, true);
            make(item, i % 2 == 1);
            QVERIFY2(set(folder, randomDescriptor(random)) && set(item, randomDescriptor(random)), qPrintable(item));
            paths << item;
            folders << (i % 2 == 1);
            for (const QString &account : accounts)
                probeCases << QStringLiteral("%1\t%2\t%3").arg(account, item).arg(0x1f01ff, 0, 16);
        }
        // What the server lets each account do, each right opened for alone.
        const QStringList allowed = allowedByServer(probeCases);
        QCOMPARE(allowed.size(), probeCases.size());

        // What we say, asked as the service asks: with an account that may read every item.
        const MGSmbClient client(server.login(QStringLiteral("mgadmin")));
        const MGSmbAclStore store(client);
        const MGSmbAccounts accountsOfServer(server.login(QStringLiteral("mgadmin")));
        const MGSmbAccess access(store, accountsOfServer);
        QStringList mismatches;
        int rows = 0, deciding = 0;
        QElapsedTimer timer;
        timer.start();
        for (int i = 0; i < paths.size(); ++i) {
            for (int a = 0; a < accounts.size(); ++a) {
                const QString &account = accounts[a];
                const auto tree = access.accessTree(url(paths[i]), account);
                QVERIFY2(tree, qPrintable(tree ? QString() : tree.error().localizedDescription()));
                QHash<QString, MGTreeNode::Pointer> byKey;
                for (const MGTreeNode::Pointer &section : tree->nodes)
                    for (const MGTreeNode::Pointer &row : section->childNodes())
                        byKey.insert(row->key(), row);
                const quint32 granted = allowed[i * accounts.size() + a].toUInt(nullptr, 16);
                for (const quint32 bit : rights(folders[i])) {
                    const MGTreeNode::Pointer row = byKey.value(MGAclTexts::scriptWord(MGAclPermissionSet::permissionKey(bit, folders[i])));
                    QVERIFY(row);
                    ++rows;
                    deciding += !row->detail().isEmpty();
                    const int server = (granted & bit) ? 1 : 0;
                    if (row->state() != server)
                        mismatches << QStringLiteral("%1 %2 0x%3: we say %4 (%5), the server %6; descriptor: %7")
                                          .arg(account, paths[i]).arg(bit, 0, 16).arg(row->state()).arg(row->detail()).arg(server)
                                          .arg(smbcacls(paths[i], QString()).simplified());
                }
            }
        }
        const double perAnswer = double(timer.elapsed()) / (paths.size() * accounts.size());
        qInfo("%d rows of %d answers compared (seed %u), %.1f ms per answer, %lld differ", rows,
              int(paths.size() * accounts.size()), seed, perAnswer, qint64(mismatches.size()));
        QCOMPARE(deciding, rows);
        if (!qEnvironmentVariableIsEmpty("MARROWGATE_ACCESS_DIFFERENCES")) {
            QFile out(qEnvironmentVariable("MARROWGATE_ACCESS_DIFFERENCES"));
            if (out.open(QIODevice::WriteOnly))
                out.write(mismatches.join(QLatin1Char(10)).toUtf8());
        }
        QVERIFY2(mismatches.isEmpty(), qPrintable(mismatches.mid(0, 15).join(QLatin1Char('\n'))));
    }

    // marrowgate-acl access on a server item: each permission with the entry that decides
    // it, a group asked about as its members hold it, an entry whose membership the server
    // does not tell said as such, and an account the server does not know refused.
    void theCommandLineNamesTheDecidingEntry()
    {
        make(QStringLiteral("said"), true);
        // The server keeps the Allow entries in its own order: mgteam's comes third.
        const QString unixGroup = QStringLiteral("S-1-22-2-%1").arg(getgrnam("mgstaff")->gr_gid);
        QVERIFY(smbcacls(QStringLiteral("said"), QStringLiteral("-S ") + quoted(QStringLiteral(
            "REVISION:1,OWNER:%1,GROUP:%2,ACL:%3:DENIED/0x0/0x00000002,ACL:%4:ALLOWED/0x0/0x001301bf,ACL:%5:ALLOWED/0x0/0x00080000")
            .arg(sids.value("mgalice"), sids.value("None"), sids.value("mgbob"), sids.value("mgteam"), unixGroup))).isEmpty());
        const QString item = QString::fromLatin1(url(QStringLiteral("said")));
        const QStringList login{QStringLiteral("--authentication-file"), server.authFile(QStringLiteral("mgadmin"))};
        Run run = acl(QStringList{QStringLiteral("access"), QStringLiteral("mgbob"), item} + login);
        QVERIFY2(run.status == 0, qPrintable(run.err));
        QVERIFY2(run.out.startsWith(QStringLiteral("# The share\u2019s own permissions, which the server does not show to this login, "
                                                   "are not counted")),
                 qPrintable(run.out));
        QVERIFY2(run.out.contains(QStringLiteral("write\tcreate-files\tno\tthe entry MGSERVER\\mgbob (Deny, entry 1)\n")), qPrintable(run.out));
        QVERIFY2(run.out.contains(QStringLiteral("write\tcreate-folders\tyes\tthe entry MGSERVER\\mgteam (Allow, entry 3)")), qPrintable(run.out));
        QVERIFY(run.out.contains(QStringLiteral("administration\ttake-ownership\tpartly\tentry 2, if the account is in Unix Group\\mgstaff")));
        QVERIFY(run.out.contains(QStringLiteral("administration\tchange-permissions\tno\tno entry grants it\n")));
        run = acl(QStringList{QStringLiteral("access"), QStringLiteral("mgjürgen"), item} + login);
        QVERIFY2(run.out.contains(QStringLiteral("administration\ttake-ownership\tyes\tthe privilege to take ownership\n")), qPrintable(run.out));

        run = acl(QStringList{QStringLiteral("access"), QStringLiteral("--json"), QStringLiteral("MGSERVER\\mgteam"), item} + login);
        QCOMPARE(run.status, 0);
        const QJsonObject answer = QJsonDocument::fromJson(run.out.toUtf8()).object();
        QCOMPARE(answer.value("who").toObject().value("kind").toString(), QStringLiteral("account"));
        QVERIFY(answer.value("caveat").toString().startsWith(QStringLiteral("The share\u2019s own permissions")));
        bool createFiles = false;
        for (const QJsonValue permission : answer.value("permissions").toArray()) {
            const QJsonObject row = permission.toObject();
            if (row.value("permission").toString() == QStringLiteral("create-files"))
                createFiles = row.value("state").toString() == QStringLiteral("yes"); // the Deny names mgbob, not the group
        }
        QVERIFY2(createFiles, qPrintable(run.out));

        run = acl(QStringList{QStringLiteral("access"), QStringLiteral("nobody-here"), item} + login);
        QCOMPARE(run.status, 1);
        QVERIFY2(run.err.contains(QStringLiteral("nobody-here")), qPrintable(run.err));
    }

    // marrowgate-acl audit on a server folder: every item below with what the account may
    // read or write, each line as the server decides it (the same check), the counts too.
    void theAuditWalksTheFolderWithTheSameCheck()
    {
        QRandomGenerator random(QRandomGenerator::global()->generate());
        QStringList items{QStringLiteral("walk")};
        make(items[0], true);
        for (int i = 0; i < 24; ++i) {
            // Folders and files at random depths.
            const QString parent = items[random.bounded(int(items.size()))];
            const QString name = parent + QStringLiteral("/i%1").arg(i);
            if (!QFileInfo(root + QLatin1Char('/') + parent).isDir())
                continue;
            make(name, random.bounded(2) == 0);
            items << name;
        }
        for (const QString &item : items)
            QVERIFY(smbcacls(item, QStringLiteral("-S ") + quoted(randomDescriptor(random))).isEmpty());
        // mgbob is in an alias, so entries are read with names; mgalice is in none, so by SIDs.
        for (const QString &account : {QStringLiteral("mgbob"), QStringLiteral("mgalice")}) {
            QStringList probeCases;
            for (const QString &item : items)
                probeCases << QStringLiteral("%1\t%2\t3").arg(account, item);
            const QStringList allowed = allowedByServer(probeCases);
            QCOMPARE(allowed.size(), items.size());
            QStringList expected;
            int readWrite = 0, readOnly = 0, writeOnly = 0, neither = 0;
            for (int i = 0; i < items.size(); ++i) {
                const quint32 granted = allowed[i].toUInt(nullptr, 16);
                ++((granted & 3) == 3 ? readWrite : (granted & 1) ? readOnly : (granted & 2) ? writeOnly : neither);
                if (granted & 3)
                    expected << QStringLiteral("%1%2 %3").arg(granted & 1 ? 'r' : '-').arg(granted & 2 ? 'w' : '-')
                                    .arg(QString::fromLatin1(url(items[i])));
            }
            const QStringList login{QStringLiteral("--authentication-file"), server.authFile(QStringLiteral("mgadmin"))};
            Run run = acl(QStringList{QStringLiteral("audit"), QStringLiteral("--any"), account, QString::fromLatin1(url(items[0]))} + login);
            QVERIFY2(run.status == 0, qPrintable(run.err));
            QStringList said;
            for (const QString &line : run.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
                if (line.startsWith(QLatin1Char('#'))) // a note, such as on the share's permissions
                    continue;
                const QStringList fields = line.split(QLatin1Char('\t'));
                QCOMPARE(fields.size(), 3);
                QVERIFY2(!fields[1].isEmpty() && !fields[1].startsWith(QLatin1String("S-1-5-21-")), qPrintable(line)); // named
                said << QStringLiteral("%1 %2").arg(fields[0].left(2), fields[2]);
            }
            expected.sort();
            said.sort();
            QCOMPARE(said, expected);

            run = acl(QStringList{QStringLiteral("audit"), QStringLiteral("--summary"), account, QString::fromLatin1(url(items[0]))} + login);
            QCOMPARE(run.status, 0);
            QVERIFY2(run.out.contains(QStringLiteral("read-write\t%1\nread-only\t%2\nwrite-only\t%3\nneither\t%4\n")
                                          .arg(readWrite).arg(readOnly).arg(writeOnly).arg(neither)),
                     qPrintable(run.out));
        }
    }

    // An alias the account is in through a group: the server's own check counts it, but
    // the server's library cannot name it for that account. Its entry is said to depend on
    // what the server does not tell, never counted as granted or refused; for an account in
    // no alias it is plainly not the account's.
    void anAliasTheServerDoesNotNameIsSaidAsSuch()
    {
        make(QStringLiteral("alias"), true);
        QVERIFY(smbcacls(QStringLiteral("alias"), QStringLiteral("-S ") + quoted(QStringLiteral(
            "REVISION:1,OWNER:%1,GROUP:%1,ACL:%1:ALLOWED/0x0/0x00000001").arg(sids.value("mgreaders")))).isEmpty());
        const QString item = QString::fromLatin1(url(QStringLiteral("alias")));
        const QStringList login{QStringLiteral("--authentication-file"), server.authFile(QStringLiteral("mgadmin"))};
        Run run = acl(QStringList{QStringLiteral("access"), QStringLiteral("mgbob"), item} + login);
        QCOMPARE(run.status, 0);
        QVERIFY2(run.out.contains(QStringLiteral("read\tlist-folder\tpartly\tentry 1, if the account is in MGSERVER\\mgreaders")),
                 qPrintable(run.out));
        run = acl(QStringList{QStringLiteral("access"), QStringLiteral("mgalice"), item} + login);
        QVERIFY2(run.out.contains(QStringLiteral("read\tlist-folder\tno\tno entry grants it")), qPrintable(run.out));
    }

    // A share's own permissions come before any item's: three share descriptors set with the
    // server's share tool (one keeps an account out altogether), random items on the share,
    // every row against what the server allows. A login the server does not show them to is
    // told that they are not counted. (Runs last: the server, once it shows them, goes on.)
    void theSharesOwnPermissionsComeOnTop()
    {
        QRandomGenerator random(QRandomGenerator::global()->generate());
        const QString shareDatabase = QFileInfo(server.conf).path() + QStringLiteral("/state/share_info.tdb");
        auto restore = qScopeGuard([&] {
            sh(QStringLiteral("sharesec -s %1 ntacls -D; chmod 600 %2").arg(quoted(server.conf), quoted(shareDatabase)));
        });
        const QStringList shares{
            QStringLiteral("S-1-1-0:ALLOWED/0/0x1200a9,%1:ALLOWED/0/0x1301bf").arg(sids.value("mgteam")),
            QStringLiteral("%1:DENIED/0/0x00010006,S-1-1-0:ALLOWED/0/0x1f01ff").arg(sids.value("mgbob")),
            QStringLiteral("%1:DENIED/0/0x1f01ff,S-1-1-0:ALLOWED/0/0x1200a9,%2:ALLOWED/0/0x1301bf")
                .arg(sids.value("mgjürgen"), sids.value("mgstaff"))};
        make(QStringLiteral("shared"), true);
        // One item open to everyone, where the share alone decides.
        QVERIFY(smbcacls(QStringLiteral("shared"), QStringLiteral("-S ") + quoted(QStringLiteral(
            "REVISION:1,OWNER:%1,GROUP:%1,ACL:S-1-1-0:ALLOWED/0x3/0x001f01ff").arg(sids.value("mgalice")))).isEmpty());
        QStringList paths{QStringLiteral("shared")};
        QList<bool> folders{true};
        for (int i = 0; i < 12; ++i) {
            const QString folder = QStringLiteral("shared/f%1").arg(i), item = folder + QStringLiteral("/x");
            make(folder, true);
            make(item, i % 2 == 1);
            QVERIFY(smbcacls(folder, QStringLiteral("-S ") + quoted(randomDescriptor(random))).isEmpty());
            QVERIFY(smbcacls(item, QStringLiteral("-S ") + quoted(randomDescriptor(random))).isEmpty());
            paths << item;
            folders << (i % 2 == 1);
        }
        const MGSmbClient client(server.login(QStringLiteral("mgadmin")));
        const MGSmbAclStore store(client);
        const MGSmbAccounts accountsOfServer(server.login(QStringLiteral("mgadmin")));
        const MGSmbAccess access(store, accountsOfServer);
        // Samba's share service reads the share database as the login that asks: one only root
        // may read is shown to no other login.
        QVERIFY(shOk(QStringLiteral("sharesec -s %1 ntacls -R %2").arg(quoted(server.conf), quoted(shares[1]))));
        const auto tree = access.accessTree(url(QStringLiteral("shared")), QStringLiteral("mgbob"));
        QVERIFY(tree);
        QCOMPARE(rowOf(tree->nodes, QStringLiteral("create-files"))->state(), 1);
        QCOMPARE(rowOf(tree->nodes, QStringLiteral("change-permissions"))->state(), 1);
        QCOMPARE(tree->caveat, QStringLiteral("The share\u2019s own permissions, which the server does not show to this login, "
                                              "are not counted: they may refuse what is granted here."));

        // Made readable, it is shown to every login, as it is to root.
        QVERIFY(shOk(QStringLiteral("chmod 666 %1").arg(quoted(shareDatabase))));
        QStringList mismatches;
        int rows = 0;
        for (int s = 0; s < shares.size(); ++s) {
            QVERIFY(shOk(QStringLiteral("sharesec -s %1 ntacls -R %2").arg(quoted(server.conf), quoted(shares[s]))));
            QStringList probeCases;
            for (const QString &path : paths)
                for (const QString &account : accounts)
                    probeCases << QStringLiteral("%1\t%2\t%3").arg(account, path).arg(0x1f01ff, 0, 16);
            const QStringList allowed = allowedByServer(probeCases);
            QCOMPARE(allowed.size(), probeCases.size());
            for (int i = 0; i < paths.size(); ++i) {
                for (int a = 0; a < accounts.size(); ++a) {
                    const auto tree = access.accessTree(url(paths[i]), accounts[a]);
                    QVERIFY2(tree, qPrintable(tree ? QString() : tree.error().localizedDescription()));
                    const quint32 granted = allowed[i * accounts.size() + a].toUInt(nullptr, 16);
                    QVERIFY2(tree->caveat.isEmpty(), qPrintable(tree->caveat));
                    for (const MGTreeNode::Pointer &section : tree->nodes) {
                        for (const MGTreeNode::Pointer &row : section->childNodes()) {
                            const quint32 bit = rightOfRow(row->key(), folders[i]);
                            QVERIFY2(bit, qPrintable(row->key()));
                            ++rows;
                            if (row->state() != ((granted & bit) ? 1 : 0))
                                mismatches << QStringLiteral("share %1, %2 %3 0x%4: we say %5 (%6), the server %7")
                                                  .arg(s).arg(accounts[a], paths[i]).arg(bit, 0, 16).arg(row->state())
                                                  .arg(row->detail()).arg((granted & bit) ? 1 : 0);
                        }
                    }
                }
            }
            if (s == 1) {
                // The share's Deny names mgbob: the item's entry would grant.
                const auto tree = access.accessTree(url(QStringLiteral("shared")), QStringLiteral("mgbob"));
                QVERIFY(tree);
                QCOMPARE(rowOf(tree->nodes, QStringLiteral("create-files"))->detail(),
                         QStringLiteral("the entry MGSERVER\\mgbob (Deny, entry 1) of the share"));
                QCOMPARE(rowOf(tree->nodes, QStringLiteral("list-folder"))->detail(),
                         QStringLiteral("the entry Everyone (Allow, entry 1)"));
            }
        }
        qInfo("%d rows under three share descriptors compared, %lld differ", rows, qint64(mismatches.size()));
        QVERIFY2(mismatches.isEmpty(), qPrintable(mismatches.mid(0, 15).join(QLatin1Char('\n'))));

        // The audit counts them as well: mgjürgen is kept out by the share.
        const QStringList login{QStringLiteral("--authentication-file"), server.authFile(QStringLiteral("mgadmin"))};
        Run run = acl(QStringList{QStringLiteral("audit"), QStringLiteral("--summary"), QStringLiteral("mgjürgen"),
                                  QString::fromLatin1(url(QStringLiteral("shared")))} + login);
        QCOMPARE(run.status, 0);
        QVERIFY2(run.out.contains(QStringLiteral("read-write\t0\nread-only\t0\nwrite-only\t0\nneither\t%1\n").arg(paths.size() * 2 - 1)),
                 qPrintable(run.out));

        // A long share descriptor: its entries are named over several requests.
        QStringList many;
        for (int i = 0; i < 120; ++i)
            many << (i == 100 ? sids.value("mgbob") : QStringLiteral("S-1-5-21-1-2-3-%1").arg(5000 + i)) + QStringLiteral(":DENIED/0/0x2");
        many << QStringLiteral("S-1-1-0:ALLOWED/0/0x1f01ff");
        QVERIFY(shOk(QStringLiteral("sharesec -s %1 ntacls -R %2").arg(quoted(server.conf), quoted(many.join(QLatin1Char(','))))));
        const auto shown = MGSmbShareSecurity(client).descriptorFor(url(QStringLiteral("shared")));
        QVERIFY2(shown && *shown, qPrintable(shown ? QString() : shown.error().localizedDescription()));
        QCOMPARE((*shown)->aces.size(), 121);
        QHash<QString, QString> named; // the share tool keeps the entries in an order of its own
        for (const MGNtAce &ace : (*shown)->aces)
            named.insert(ace.sid, ace.name);
        QCOMPARE(named.value(sids.value("mgbob")), QStringLiteral("MGSERVER\\mgbob"));
        QCOMPARE(named.value(QStringLiteral("S-1-1-0")), QStringLiteral("Everyone"));
        QVERIFY(named.contains(QStringLiteral("S-1-5-21-1-2-3-5119")));
        QVERIFY(named.value(QStringLiteral("S-1-5-21-1-2-3-5119")).isEmpty()); // a SID no one has
    }
};

QTEST_GUILESS_MAIN(tst_SmbAccess)
#include "tst_SmbAccess.moc"
