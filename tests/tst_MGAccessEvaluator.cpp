#include "CBIdentityAuthority.h"
#include "FileSystemHelpers.h"
#include "MGAccessEvaluator.h"

#include <QRandomGenerator>
#include <fcntl.h>
#include <grp.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>

class tst_MGAccessEvaluator : public QObject
{
    Q_OBJECT

    SharedTemporaryDir tmp;

    // What the kernel lets the subject do, asked in a child process that has become it: bit
    // want-1 for each request of r/w/x bits `want` (1 to 7) as one faccessat call; for a
    // folder, bit 7 when it may delete a file someone else owns in it, bit 8 a file of its
    // own, bit 9 when it may set an extended attribute of the folder.
    static int kernelAnswers(const QString &path, bool folder, const MGAccessSubject &subject, uid_t stranger)
    {
        const QByteArray native = QFile::encodeName(path);
        const uid_t uid = subject.uid.value_or(stranger);
        if (folder) {
            // Victims for the child to try to delete: one of a third user's, one of its own.
            for (const auto &[name, owner] : {std::pair{"/victim-other", uid_t(1010)}, std::pair{"/victim-own", uid}}) {
                const QByteArray victim = native + name;
                close(open(victim.constData(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
                if (chown(victim.constData(), owner, 0) != 0)
                    return -1;
            }
        }
        int fds[2];
        if (pipe(fds) != 0)
            return -1;
        const pid_t pid = fork();
        if (pid == 0) {
            close(fds[0]);
            std::vector<gid_t> groups(subject.groups.begin(), subject.groups.end());
            const gid_t primary = groups.empty() ? 65534 : groups.front();
            if (setgroups(groups.size(), groups.data()) != 0 || setresgid(primary, primary, primary) != 0
                || setresuid(uid, uid, uid) != 0)
                _exit(1);
            int answers = 0;
            for (int want = 1; want <= 7; ++want) {
                const int mode = (want & 4 ? R_OK : 0) | (want & 2 ? W_OK : 0) | (want & 1 ? X_OK : 0);
                if (faccessat(AT_FDCWD, native.constData(), mode, AT_EACCESS) == 0)
                    answers |= 1 << (want - 1);
            }
            if (folder) {
                answers |= unlink((native + "/victim-other").constData()) == 0 ? 1 << 7 : 0;
                answers |= unlink((native + "/victim-own").constData()) == 0 ? 1 << 8 : 0;
                answers |= setxattr(native.constData(), "user.mgtest", "1", 1, 0) == 0 ? 1 << 9 : 0;
            }
            (void)!write(fds[1], &answers, sizeof answers);
            _exit(0);
        }
        close(fds[1]);
        int answers = -1;
        const bool got = read(fds[0], &answers, sizeof answers) == sizeof answers;
        close(fds[0]);
        int status = 0;
        waitpid(pid, &status, 0);
        if (folder) {
            unlink((native + "/victim-other").constData());
            unlink((native + "/victim-own").constData());
            removexattr(native.constData(), "user.mgtest");
        }
        return got ? answers : -1;
    }

    // The state of a row of the tree, found by its title's start.
    static int rowState(const QList<MGTreeNode::Pointer> &tree, const QString &title)
    {
        for (const auto &section : tree) {
            for (const auto &row : section->childNodes()) {
                if (row->title().startsWith(title))
                    return row->state();
            }
        }
        return -2;
    }

private slots:
    // Random items (files and folders, sticky ones among them, with default entries and
    // several group entries) and random subjects (users in several groups, group
    // identities, root). MARROWGATE_KERNEL_CASES sets how many items (default 300).
    void agreesWithTheKernel_data()
    {
        QTest::addColumn<QString>("fileSystem");
        QTest::newRow("temporary folder") << QString();
        for (const char *type : {"tmpfs", "ext4", "xfs", "btrfs"})
            QTest::newRow(type) << QString::fromLatin1(type);
    }
    void agreesWithTheKernel()
    {
        REQUIRE_ROOT();
        QFETCH(QString, fileSystem);
        std::optional<ScratchFileSystem> mounted;
        if (!fileSystem.isEmpty()) {
            mounted.emplace(fileSystem);
            REQUIRE_MOUNTED(*mounted);
        }
        const QString base = mounted ? mounted->path() : tmp.path();
        QRandomGenerator random(4242);
        const QList<uid_t> users = {1000, 1001, 1002, 1003};
        const QList<gid_t> groups = {2000, 2001, 2002, 2003};
        const uid_t stranger = 1999;
        bool set = false;
        const int rounds = qEnvironmentVariableIntValue("MARROWGATE_KERNEL_CASES", &set);
        int compared = 0;
        // The other file systems check that their ACLs are kept as the kernel reads them.
        const int items = set && rounds > 0 ? rounds : mounted ? 60 : 300;
        for (int round = 0; round < items; ++round) {
            const bool folder = random.bounded(3) == 0;
            const QString path = base + QStringLiteral("/item%1").arg(round);
            const QByteArray native = path.toUtf8();
            if (folder)
                QVERIFY(mkdir(native.constData(), 0) == 0);
            else
                QVERIFY(close(open(native.constData(), O_CREAT | O_WRONLY, 0)) == 0);
            QVERIFY(chown(native.constData(), users[random.bounded(4)], groups[random.bounded(4)]) == 0);
            MGPosixAcl acl = MGPosixAcl::fromMode(random.bounded(01000));
            for (int n = random.bounded(5); n > 0; --n) {
                if (random.bounded(2))
                    acl.set(MGPosixAcl::User, random.bounded(8), users[random.bounded(4)]);
                else
                    acl.set(MGPosixAcl::Group, random.bounded(8), groups[random.bounded(4)]);
            }
            if (acl.hasNamedEntries() || random.bounded(4) == 0)
                acl.set(MGPosixAcl::Mask, random.bounded(8));
            const QByteArray value = acl.toXattr();
            QVERIFY(setxattr(native.constData(), MGPosixAcl::AccessAttribute, value.constData(), value.size(), 0) == 0);
            if (folder && random.bounded(2)) {
                MGPosixAcl defaults = MGPosixAcl::fromMode(random.bounded(01000));
                defaults.set(MGPosixAcl::Group, random.bounded(8), groups[random.bounded(4)]);
                defaults.set(MGPosixAcl::Mask, random.bounded(8));
                const QByteArray bytes = defaults.toXattr();
                QVERIFY(setxattr(native.constData(), MGPosixAcl::DefaultAttribute, bytes.constData(), bytes.size(), 0) == 0);
            }
            if (folder && random.bounded(3) == 0) {
                struct stat st;
                QVERIFY(stat(native.constData(), &st) == 0);
                QVERIFY(chmod(native.constData(), (st.st_mode & 07777) | S_ISVTX) == 0);
            }
            const MGResult<MGFileItem> item = MGFileItem::open(native, "Cannot read");
            QVERIFY(item);
            const MGResult<MGPosixItemState> state = MGPosixAclStore::readState(*item);
            QVERIFY(state);

            QList<MGAccessSubject> subjects = {{0u, {0}}, {std::nullopt, {groups[random.bounded(4)]}},
                                               {std::nullopt, {groups[random.bounded(4)]}}};
            for (uid_t uid : users) {
                QList<gid_t> member;
                for (gid_t gid : groups) {
                    if (random.bounded(2) == 0)
                        member << gid;
                }
                subjects << MGAccessSubject{uid, member};
            }
            for (const MGAccessSubject &subject : subjects) {
                const int kernel = kernelAnswers(path, folder, subject, stranger);
                QVERIFY(kernel >= 0);
                auto explain = [&] {
                    return QStringLiteral("%1 uid %2 groups %3 kernel %4")
                        .arg(facl(path).replace("\n", " "))
                        .arg(subject.uid.value_or(stranger))
                        .arg(QStringList([&] {
                                 QStringList names;
                                 for (gid_t gid : subject.groups)
                                     names << QString::number(gid);
                                 return names;
                             }())
                                 .join(','))
                        .arg(kernel, 0, 2);
                };
                for (int want = 1; want <= 7; ++want) {
                    const bool granted = kernel & (1 << (want - 1));
                    if (MGAccessEvaluator::permits(*state, subject, want) != granted)
                        QFAIL(qPrintable(QStringLiteral("want %1: ").arg(want) + explain()));
                    ++compared;
                }
                if (!folder)
                    continue;
                const auto tree = MGAccessEvaluator::accessTree(*state, subject);
                const int deleting = rowState(tree, "Delete Subfolders and Files");
                const bool others = kernel & (1 << 7), own = kernel & (1 << 8);
                // -1: only what they own; 1: anything; 0: nothing.
                if (others != (deleting == 1))
                    QFAIL(qPrintable("deleting another's: " + explain()));
                if (subject.uid && own != (deleting != 0))
                    QFAIL(qPrintable("deleting their own: " + explain()));
                const bool attribute = kernel & (1 << 9);
                if (attribute != (rowState(tree, "Write Extended Attributes") == 1))
                    QFAIL(qPrintable("extended attribute: " + explain()));
            }
        }
        qInfo("%d requests compared with the kernel", compared);
    }

    void treeForANamedUser()
    {
        const QString path = tmp.path("tree");
        QVERIFY(shOk(QStringLiteral("touch %1 && chmod 600 %1 && setfacl -m u:nobody:r-x %1").arg(quoted(path))));
        const auto nobody = CBIdentityAuthority::defaultIdentityAuthority().userWithName("nobody");
        QVERIFY(nobody);
        const MGResult<MGFileItem> item = MGFileItem::open(QFile::encodeName(path), "Cannot read");
        QVERIFY(item);
        const auto tree = MGAccessEvaluator::accessTree(*item, nobody->uniqueIdentifier());
        QVERIFY(tree);
        QStringList shown;
        for (const auto &section : *tree) {
            QCOMPARE(section->state(), -1);
            for (const auto &row : section->childNodes()) {
                QVERIFY(row->state() == 0 || row->state() == 1);
                shown << row->title() + (row->state() ? "+" : "-");
            }
        }
        QCOMPARE(shown, (QStringList{"Read Data+", "Read Extended Attributes+", "Read Attributes+",
                                     "Read Permissions+", "Write Data-", "Append Data-",
                                     "Write Extended Attributes-", "Execute+", "Change Permissions-",
                                     "Take Ownership-"}));
        const auto unknown = MGAccessEvaluator::accessTree(*item, QUuid::createUuid());
        QVERIFY(!unknown);
        QCOMPARE(unknown.error().code(), EINVAL);
    }
};

QTEST_GUILESS_MAIN(tst_MGAccessEvaluator)
#include "tst_MGAccessEvaluator.moc"
