// The account database as the system's name service answers it: many ids found together
// are named exactly as each id asked for alone is, with the machine's own databases and,
// in a private mount namespace, with larger ones holding what a local file may hold.
#include "CBIdentityAuthority.h"
#include "ShellHelpers.h"

#include <QSet>
#include <algorithm>

class tst_CBIdentityAuthority : public QObject
{
    Q_OBJECT

    // Extra accounts in the namespace's databases (more than are ever asked for one by one),
    // their ids from here on.
    static constexpr int extraAccounts = 200;
    static constexpr quint32 extraBase = 310000;

    SharedTemporaryDir tmp;

    // Every id the database lists (getent enumerates every source that can be enumerated).
    static QList<quint32> listedIds(const QString &database)
    {
        QList<quint32> ids;
        for (const QString &line : sh("getent " + database).split(QLatin1Char('\n'), Qt::SkipEmptyParts))
            ids << line.section(QLatin1Char(':'), 2, 2).toUInt();
        return ids;
    }

    // `count` ids that neither database has, from 200,000 on.
    static QList<quint32> idsWithoutAccounts(int count)
    {
        const QList<quint32> users = listedIds("passwd"), groups = listedIds("group");
        QList<quint32> ids;
        for (quint32 id = 200000; ids.size() < count; ++id) {
            if (!users.contains(id) && !groups.contains(id))
                ids << id;
        }
        return ids;
    }

    static QString describe(const std::optional<CBIdentity> &identity)
    {
        if (!identity)
            return QStringLiteral("no account");
        return QStringLiteral("%1 %2 \u201c%3\u201d \u201c%4\u201d")
            .arg(identity->isUser() ? "user" : "group")
            .arg(identity->posixID())
            .arg(identity->posixName(), identity->fullName());
    }

    // Each id named as userWithUid or groupWithGid alone names it, and no id added.
    template <typename Together, typename Alone>
    static void compare(const QList<quint32> &ids, Together together, Alone alone)
    {
        const QHash<quint32, CBIdentity> found = together(ids);
        for (quint32 id : found.keys())
            QVERIFY2(ids.contains(id), qPrintable(QString::number(id)));
        for (quint32 id : ids) {
            const auto it = found.constFind(id);
            const std::optional<CBIdentity> fromBatch = it == found.constEnd() ? std::nullopt
                                                                                : std::optional<CBIdentity>(*it);
            QCOMPARE(describe(fromBatch), describe(alone(id)));
        }
    }

    // The accounts a local file holds beyond the usual: the same id twice (the first
    // counts), entries named +... and -..., a comment, an empty line, a line that is no
    // entry, and one too long for the first buffer a lookup tries.
    static QByteArray oddUsers()
    {
        QByteArray text;
        for (int i = 1; i <= extraAccounts; ++i)
            text += QStringLiteral("mgtest%1:x:%2:%2:Test User %1,room %1,,:/nonexistent:/usr/sbin/nologin\n")
                        .arg(i, 4, 10, QLatin1Char('0'))
                        .arg(extraBase + i)
                        .toUtf8();
        text += "mgtestsecond:x:" + QByteArray::number(extraBase + 1) + ":0:Second Of Its Id:/:/bin/false\n";
        text += "+mgtestplus:x:" + QByteArray::number(extraBase + 501) + ":0:Plus:/:/bin/false\n";
        text += "-mgtestminus:x:" + QByteArray::number(extraBase + 502) + ":0:Minus:/:/bin/false\n";
        text += "# mgtestcomment:x:" + QByteArray::number(extraBase + 503) + ":0::/:/bin/false\n\n";
        text += "not an entry\n";
        text += "mgtestlong:x:" + QByteArray::number(extraBase + 504) + ":0:" + QByteArray(40000, 'L')
            + ":/:/bin/false\n";
        return text;
    }

    static QByteArray oddGroups()
    {
        QByteArray text;
        for (int i = 1; i <= extraAccounts; ++i)
            text += QStringLiteral("mgtestgroup%1:x:%2:mgtest%1\n").arg(i, 4, 10, QLatin1Char('0')).arg(extraBase + i).toUtf8();
        text += "mgtestsecondgroup:x:" + QByteArray::number(extraBase + 1) + ":\n";
        text += "+mgtestplusgroup:x:" + QByteArray::number(extraBase + 501) + ":\n";
        text += "-mgtestminusgroup:x:" + QByteArray::number(extraBase + 502) + ":\n";
        text += "# mgtestcommentgroup:x:" + QByteArray::number(extraBase + 503) + ":\n\n";
        text += "not an entry\n";
        QByteArrayList members;
        for (int i = 1; i <= 4000; ++i)
            members << "mgtestmember" + QByteArray::number(i);
        text += "mgtestlonggroup:x:" + QByteArray::number(extraBase + 504) + ":" + members.join(',') + '\n';
        return text;
    }

    // The machine's file without its root and nobody entries (which a further source may
    // still answer for), with the odd accounts after it.
    static QByteArray withOdd(const QString &path, const QByteArray &odd)
    {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            return {};
        QByteArray text;
        for (const QByteArray &line : file.readAll().split('\n')) {
            const QByteArray name = line.split(':').first();
            if (!line.isEmpty() && name != "root" && name != "nobody" && name != "nogroup")
                text += line + '\n';
        }
        return text + odd;
    }

    static bool write(const QString &path, const QByteArray &text)
    {
        QFile file(path);
        return file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
    }

private slots:
    // Existing accounts, ids without one, and both mixed (with repeats, root and nobody, and
    // the odd entries' ids): more than are looked up one by one (the existing users too,
    // with the larger databases), and a few, which are.
    void manyIdsAreNamedAsEachAlone_data()
    {
        QTest::addColumn<QList<quint32>>("uids");
        QTest::addColumn<QList<quint32>>("gids");
        const QList<quint32> users = listedIds("passwd"), groups = listedIds("group");
        const QList<quint32> missing = idsWithoutAccounts(100);
        QTest::newRow("existing users and groups") << users << groups;
        QTest::newRow("ids without accounts") << missing << missing;
        QList<quint32> odd{0, 65534};
        for (quint32 offset : {1, 2, 501, 502, 503, 504})
            odd << extraBase + offset;
        QList<quint32> mixedUsers = users + missing.mid(0, 50) + odd + users.mid(0, 5);
        QList<quint32> mixedGroups = missing.mid(50) + groups + odd + groups.mid(0, 5);
        std::reverse(mixedGroups.begin(), mixedGroups.end());
        QTest::newRow("a mix") << mixedUsers << mixedGroups;
        QTest::newRow("a few") << users.mid(0, 3) + missing.mid(0, 2) << groups.mid(0, 3) + missing.mid(0, 2);
        QTest::newRow("none") << QList<quint32>() << QList<quint32>();
    }
    void manyIdsAreNamedAsEachAlone()
    {
        QFETCH(QList<quint32>, uids);
        QFETCH(QList<quint32>, gids);
        const CBIdentityAuthority &authority = CBIdentityAuthority::defaultIdentityAuthority();
        compare(
            uids, [&](const QList<quint32> &ids) { return authority.usersWithUids(ids); },
            [&](quint32 id) { return authority.userWithUid(id); });
        compare(
            gids, [&](const QList<quint32> &ids) { return authority.groupsWithGids(ids); },
            [&](quint32 id) { return authority.groupWithGid(id); });
    }

    // The same, run again by this program in a private mount namespace where larger
    // databases with odd entries, and other orders of sources, are bound over the machine's
    // own; nothing outside the namespace sees them.
    void largerDatabasesAndOtherSources_data()
    {
        QTest::addColumn<QByteArray>("nsswitch");
        QTest::newRow("the machine's sources") << QByteArray();
        QTest::newRow("the files alone") << QByteArray("passwd: files\ngroup: files\n");
        QTest::newRow("a further source") << QByteArray("passwd:   files  systemd # with a comment\ngroup:\tfiles systemd\n");
        QTest::newRow("an action after the files") << QByteArray("passwd: files [NOTFOUND=return] systemd\n"
                                                                 "group: files [SUCCESS=merge] systemd\n");
        QTest::newRow("the files second") << QByteArray("passwd: systemd files\ngroup: systemd files\n");
        QTest::newRow("a source that is not there") << QByteArray("passwd: files mgtestmissing systemd\n"
                                                                  "group: files mgtestmissing\n");
    }
    void largerDatabasesAndOtherSources()
    {
        REQUIRE_ROOT();
        if (!shOk("command -v unshare"))
            QSKIP("needs unshare");
        QFETCH(QByteArray, nsswitch);
        const QString folder = tmp.path(QString::number(qHash(nsswitch)));
        QVERIFY(QDir().mkpath(folder));
        QVERIFY(write(folder + "/passwd", withOdd("/etc/passwd", oddUsers())));
        QVERIFY(write(folder + "/group", withOdd("/etc/group", oddGroups())));
        QString binds = QStringLiteral("mount --bind %1 /etc/passwd && mount --bind %2 /etc/group")
                            .arg(quoted(folder + "/passwd"), quoted(folder + "/group"));
        if (!nsswitch.isEmpty()) {
            QVERIFY(write(folder + "/nsswitch.conf", nsswitch));
            binds += QStringLiteral(" && mount --bind %1 /etc/nsswitch.conf").arg(quoted(folder + "/nsswitch.conf"));
        }
        QProcess inner;
        inner.setProcessChannelMode(QProcess::MergedChannels);
        inner.start(QStringLiteral("unshare"),
                    {"-m", "--propagation", "private", "--", "/bin/bash", "-c",
                     binds + QStringLiteral(" && getent passwd mgtest%1 >/dev/null && exec \"$0\" manyIdsAreNamedAsEachAlone")
                                 .arg(extraAccounts, 4, 10, QLatin1Char('0')),
                     QCoreApplication::applicationFilePath()});
        QVERIFY(inner.waitForFinished(120000));
        const QString output = QString::fromUtf8(inner.readAll());
        QVERIFY2(inner.exitStatus() == QProcess::NormalExit && inner.exitCode() == 0, qPrintable(output));
        QVERIFY2(output.contains("PASS   : tst_CBIdentityAuthority::manyIdsAreNamedAsEachAlone(a mix)"), qPrintable(output));
    }
};

QTEST_GUILESS_MAIN(tst_CBIdentityAuthority)
#include "tst_CBIdentityAuthority.moc"
