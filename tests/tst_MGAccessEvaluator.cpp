#include "CBIdentityAuthority.h"
#include "MGAccessEvaluator.h"
#include "ShellHelpers.h"

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

    // What faccessat grants the subject, asked in a child process that has become it.
    static int kernelBits(const QString &path, const MGAccessSubject &subject, uid_t stranger)
    {
        int fds[2];
        if (pipe(fds) != 0)
            return -1;
        const QByteArray native = path.toUtf8();
        const pid_t pid = fork();
        if (pid == 0) {
            close(fds[0]);
            const uid_t uid = subject.uid.value_or(stranger);
            std::vector<gid_t> groups(subject.groups.begin(), subject.groups.end());
            const gid_t primary = groups.empty() ? 65534 : groups.front();
            if (setgroups(groups.size(), groups.data()) != 0 || setresgid(primary, primary, primary) != 0
                || setresuid(uid, uid, uid) != 0)
                _exit(1);
            char bits = 0;
            bits |= faccessat(AT_FDCWD, native.constData(), R_OK, AT_EACCESS) == 0 ? 4 : 0;
            bits |= faccessat(AT_FDCWD, native.constData(), W_OK, AT_EACCESS) == 0 ? 2 : 0;
            bits |= faccessat(AT_FDCWD, native.constData(), X_OK, AT_EACCESS) == 0 ? 1 : 0;
            (void)!write(fds[1], &bits, 1);
            _exit(0);
        }
        close(fds[1]);
        char bits = -1;
        const bool got = read(fds[0], &bits, 1) == 1;
        close(fds[0]);
        int status = 0;
        waitpid(pid, &status, 0);
        return got ? bits : -1;
    }

private slots:
    void agreesWithTheKernel()
    {
        REQUIRE_ROOT();
        QRandomGenerator random(4242);
        const QList<uid_t> users = {1000, 1001, 1002, 1003};
        const QList<gid_t> groups = {2000, 2001, 2002, 2003};
        const uid_t stranger = 1999;
        int compared = 0;
        for (int round = 0; round < 250; ++round) {
            const bool folder = random.bounded(3) == 0;
            const QString path = tmp.path(QStringLiteral("item%1").arg(round));
            const QByteArray native = path.toUtf8();
            if (folder)
                QVERIFY(mkdir(native.constData(), 0) == 0);
            else
                QVERIFY(close(open(native.constData(), O_CREAT | O_WRONLY, 0)) == 0);
            QVERIFY(chown(native.constData(), users[random.bounded(4)], groups[random.bounded(4)]) == 0);
            MGPosixAcl acl = MGPosixAcl::fromMode(random.bounded(01000));
            for (int n = random.bounded(4); n > 0; --n) {
                if (random.bounded(2))
                    acl.set(MGPosixAcl::User, random.bounded(8), users[random.bounded(4)]);
                else
                    acl.set(MGPosixAcl::Group, random.bounded(8), groups[random.bounded(4)]);
            }
            if (acl.hasNamedEntries() || random.bounded(4) == 0)
                acl.set(MGPosixAcl::Mask, random.bounded(8));
            const QByteArray value = acl.toXattr();
            QVERIFY(setxattr(native.constData(), MGPosixAcl::AccessAttribute, value.constData(), value.size(), 0) == 0);
            const MGResult<MGFileItem> item = MGFileItem::open(native, "Cannot read");
            QVERIFY(item);
            const MGResult<MGPosixItemState> state = MGPosixAclStore::readState(*item);
            QVERIFY(state);

            QList<MGAccessSubject> subjects = {{0u, {0}}, {std::nullopt, {groups[random.bounded(4)]}}};
            for (uid_t uid : users) {
                QList<gid_t> member;
                for (gid_t gid : groups) {
                    if (random.bounded(3) == 0)
                        member << gid;
                }
                subjects << MGAccessSubject{uid, member};
            }
            for (const MGAccessSubject &subject : subjects) {
                const int expected = kernelBits(path, subject, stranger);
                QVERIFY(expected >= 0);
                const int computed = MGAccessEvaluator::grantedBits(*state, subject);
                if (computed != expected)
                    qWarning().noquote() << facl(path).replace("\n", " ") << "uid" << subject.uid.value_or(stranger) << subject.groups;
                QCOMPARE(computed, expected);
                ++compared;
            }
        }
        QCOMPARE(compared, 250 * 6);
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
