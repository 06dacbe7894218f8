#include "MGAclServiceClient.h"
#include "MGChildServiceConnection.h"
#include "MGItemPaths.h"
#include "MGPosixAclStore.h"
#include "ShellHelpers.h"

#include <QCryptographicHash>
#include <QScopeGuard>
#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <grp.h>
#include <linux/fs.h>
#include <sys/inotify.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <thread>
#include <unistd.h>

namespace {
// Swaps two names in a folder as fast as it can until stopped, as someone who owns the
// folder can while an administrator works in it.
class Swapper
{
public:
    // `pause` between swaps leaves the names still now and then.
    Swapper(const QString &a, const QString &b, std::chrono::microseconds pause = {})
        : m_a(QFile::encodeName(a)), m_b(QFile::encodeName(b))
    {
        m_thread = std::thread([this, pause] {
            while (!m_stop) {
                if (syscall(SYS_renameat2, AT_FDCWD, m_a.constData(), AT_FDCWD, m_b.constData(), RENAME_EXCHANGE) == 0)
                    ++m_swaps;
                if (pause.count())
                    std::this_thread::sleep_for(pause);
            }
        });
    }
    ~Swapper() { stop(); }
    void stop()
    {
        m_stop = true;
        if (m_thread.joinable())
            m_thread.join();
    }
    long swaps() const { return m_swaps; }

private:
    QByteArray m_a, m_b;
    std::atomic<bool> m_stop = false;
    std::atomic<long> m_swaps = 0;
    std::thread m_thread;
};

// Gives a file of someone else's a second name in a folder and takes it away again, as fast
// as it can, as nobody: with protected hard links a user may still link a file they may read
// and write. A process of its own, so that the kernel checks nobody's rights.
class Linker
{
public:
    Linker(const QString &target, const QString &name)
    {
        const QByteArray from = QFile::encodeName(target), to = QFile::encodeName(name);
        m_pid = fork();
        if (m_pid == 0) {
            // Only async-signal-safe calls after fork in a threaded process.
            if (setgroups(0, nullptr) != 0 || setresgid(65534, 65534, 65534) != 0 || setresuid(65534, 65534, 65534) != 0)
                _exit(1);
            for (;;) {
                if (link(from.constData(), to.constData()) == 0)
                    unlink(to.constData());
            }
        }
    }
    ~Linker()
    {
        if (m_pid > 0) {
            kill(m_pid, SIGKILL);
            waitpid(m_pid, nullptr, 0);
        }
    }
    bool running() const { return m_pid > 0 && waitpid(m_pid, nullptr, WNOHANG) == 0; }

private:
    pid_t m_pid = -1;
};

// Whether root's file still has owner root, mode 0666 and no ACL; puts it back if not.
bool untouched(const QString &path)
{
    const QByteArray name = QFile::encodeName(path);
    struct stat st;
    const bool same = stat(name.constData(), &st) == 0 && st.st_uid == 0 && st.st_gid == 0 && (st.st_mode & 07777) == 0666
        && getxattr(name.constData(), "system.posix_acl_access", nullptr, 0) < 0;
    if (!same) {
        removexattr(name.constData(), "system.posix_acl_access");
        if (chown(name.constData(), 0, 0) != 0 || chmod(name.constData(), 0666) != 0)
            qWarning("cannot put %s back", name.constData());
    }
    return same;
}

// Everything about a tree that a change could touch: names, owners, modes, ACLs, contents.
QString fingerprint(const QString &root)
{
    return sh(QStringLiteral("cd %1 && find . -printf '%p %y %U:%G %m %n\\n' | sort && getfacl -R -n -p . 2>/dev/null && "
                             "find . -type f -exec sha1sum {} + | sort")
                  .arg(quoted(root)));
}

// One call through the real service, waited for.
struct Call
{
    std::atomic<bool> done = false;
    std::optional<MGAclList> entries;
    MGResultError error;
};
}

// The root service works in folders that others own. Whatever they swap in while it works,
// it changes (and shows) only the item it was asked about: these race it for real.
class tst_MGAclServiceRaces : public QObject
{
    Q_OBJECT

    SharedTemporaryDir tmp;
    QString sentinel, attacker;
    std::unique_ptr<MGChildServiceConnection> service;

    std::shared_ptr<Call> call(const std::function<void(MGAclServiceProxy &, std::shared_ptr<Call>)> &make)
    {
        auto result = std::make_shared<Call>();
        auto proxy = service->remoteObjectProxyWithErrorHandler([result](const MGError &error) {
            result->error = error;
            result->done = true;
        });
        make(*proxy, result);
        if (!QTest::qWaitFor([&] { return result->done.load(); }, 20000))
            qWarning("the service did not answer");
        return result;
    }

    std::shared_ptr<Call> read(const QString &path)
    {
        return call([&](MGAclServiceProxy &proxy, std::shared_ptr<Call> result) {
            proxy.getAclEntriesWithUrl(QUrl::fromLocalFile(path), [result](auto entries, MGResultError error) {
                result->entries = entries;
                result->error = error;
                result->done = true;
            });
        });
    }

    std::shared_ptr<Call> send(MGAclRemoteMethod method, const QString &path, const MGAclList &list)
    {
        return call([&](MGAclServiceProxy &proxy, std::shared_ptr<Call> result) {
            auto reply = [result](MGResultError error) {
                result->error = error;
                result->done = true;
            };
            if (method == MGAclRemoteMethod::SetEntries)
                proxy.setAclEntries(list, QUrl::fromLocalFile(path), reply);
            else
                proxy.propagateAclEntries(list, QUrl::fromLocalFile(path), reply);
        });
    }

private slots:
    void initTestCase()
    {
        REQUIRE_ROOT();
        service = std::make_unique<MGChildServiceConnection>(QStringList{MARROWGATE_SERVICE_PATH, "--stdio"});
        service->setRemoteEncodableClasses(MGAclServiceClient::client("classes")->remoteEncodableClasses());
        // What must stay as it is: root's files, with an ACL of their own.
        sentinel = tmp.path("sentinel");
        attacker = tmp.path("attacker");
        QVERIFY(shOk(QStringLiteral("mkdir -p %1/tree/inner && cd %1 && echo secret > secret && echo x > tree/file && "
                                    "echo y > tree/inner/deep && chmod -R go-rwx . && setfacl -R -m u:bin:r-X . && "
                                    "mkdir %2 && chown 65534:65534 %2")
                         .arg(quoted(sentinel), quoted(attacker))));
    }

    void aSaveChangesOnlyTheItemItWasAskedFor()
    {
        const QString before = fingerprint(sentinel);
        // nobody's folder: a file of theirs, and a link to root's secret, swapped all along.
        QVERIFY(shOk(QStringLiteral("cd %1 && touch f && chown 65534:65534 f && ln -s %2/secret L")
                         .arg(quoted(attacker), quoted(sentinel))));
        const QString file = attacker + "/f";
        // What an administrator saves for nobody's file: nobody keeps it, daemon may read it.
        MGAclList list = {QStringLiteral("Access Control List"),
                          MGAclEntry::aclEntry(MGAclEntry::Allow, CBIdentity::user(1), MGAclPermissionSet::fromPosixBits(4, false), 0, false, true),
                          QStringLiteral("POSIX Permissions"),
                          MGAclEntry::posixEntry(MGAclEntry::Kind::Owner, CBIdentity::user(65534), 7, false),
                          MGAclEntry::posixEntry(MGAclEntry::Kind::OwningGroup, CBIdentity::group(65534), 4, false),
                          MGAclEntry::posixEntry(MGAclEntry::Kind::Other, CBIdentity::special(CBIdentity::Class::EveryoneSpecial), 0, false)};
        int saved = 0, refused = 0;
        {
            // A save refuses a file whose name changed while it looked (see the hard-link
            // case below); pauses let some saves find the name still.
            Swapper swapper(file, attacker + "/L", std::chrono::microseconds(100));
            for (int i = 0; i < 300; ++i) {
                const auto result = send(MGAclRemoteMethod::SetEntries, file, list);
                QVERIFY(result->done);
                (result->error ? refused : saved)++;
                // A link in the file's place, or the file's name swapped while it was proved
                // to be its only one.
                if (result->error)
                    QVERIFY2(result->error->code() == ELOOP || result->error->code() == EINVAL
                                 || result->error->code() == ESTALE,
                             qPrintable(result->error->fullDescription()));
            }
            QVERIFY(swapper.swaps() > 0);
        }
        qInfo("%d saves, %d refused while the name was a link", saved, refused);
        QVERIFY(saved > 0);
        QCOMPARE(fingerprint(sentinel), before);
    }

    void aReadShowsOnlyTheItemItWasAskedFor()
    {
        QVERIFY(shOk(QStringLiteral("cd %1 && rm -f f L && touch f && ln -s %2/secret L").arg(quoted(attacker), quoted(sentinel))));
        const QString file = attacker + "/f";
        int shown = 0;
        Swapper swapper(file, attacker + "/L");
        for (int i = 0; i < 300; ++i) {
            const auto result = read(file);
            QVERIFY(result->done);
            if (!result->entries)
                continue;
            ++shown;
            // The secret's ACL names bin (uid 2); the file's names nobody.
            for (const MGAclItem &item : *result->entries) {
                const MGAclEntry *entry = MGAclLists::entryOf(item);
                QVERIFY2(!entry || !(entry->identity().isUser() && entry->identity().posixID() == 2),
                         "a read disclosed the ACL of the file a swapped link points to");
            }
        }
        QVERIFY(shown > 0);
    }

    void aPropagationChangesOnlyTheTreeItWasAskedFor()
    {
        // nobody's tree: a folder swapped with a link to root's tree; inside it, a folder
        // swapped with a link to root's inner folder, and a file swapped with a second name
        // of a root file (as if hard links to others' files could be made).
        QVERIFY(shOk(QStringLiteral("cd %1 && mkdir -p T/sub && touch T/a T/b T/sub/c T/f && chown -R 65534:65534 T && "
                                    "ln -s %2/tree TL && ln -s %2/tree/inner T/subL && ln %2/tree/file T/hard")
                         .arg(quoted(attacker), quoted(sentinel))));
        const QString before = fingerprint(sentinel);
        const QString tree = attacker + "/T";
        const MGResult<MGAclList> read = MGPosixAclStore::read(tree);
        QVERIFY(read);
        int propagated = 0;
        {
            Swapper top(tree, attacker + "/TL");
            Swapper inner(tree + "/sub", tree + "/subL");
            Swapper file(tree + "/f", tree + "/hard");
            for (int i = 0; i < 150; ++i) {
                const auto result = send(MGAclRemoteMethod::PropagateEntries, tree, *read);
                QVERIFY(result->done);
                if (!result->error)
                    ++propagated;
                else
                    QVERIFY2(result->error->code() == ELOOP || result->error->code() == ENOENT,
                             qPrintable(result->error->fullDescription()));
            }
        }
        qInfo("%d propagations went through", propagated);
        QVERIFY(propagated > 0);
        QCOMPARE(fingerprint(sentinel), before);
    }

    void aHardLinkThatComesAndGoesLeadsNoChangeOutsideTheTree_data()
    {
        QTest::addColumn<bool>("propagate");
        QTest::newRow("propagation") << true;
        QTest::newRow("save") << false;
    }

    void aHardLinkThatComesAndGoesLeadsNoChangeOutsideTheTree()
    {
        // nobody's folder, whose entries give nobody everything; outside it, root's file that
        // anyone may read and write, which nobody links into the folder and unlinks again
        // all along. Whenever the walk or the save sees one name, it must be sure that name
        // is the file's only one at that very moment.
        QFETCH(bool, propagate);
        const QString tree = attacker + (propagate ? "/H" : "/S"), outside = tmp.path(propagate ? "outside-h" : "outside-s");
        QVERIFY(shOk(QStringLiteral("mkdir -m 755 %2 && echo root > %2/h && chmod 666 %2/h && mkdir %1 && touch %1/a %1/b && "
                                    "chown -R 65534:65534 %1 && setfacl -m u:65534:rwx,d:u:65534:rwx %1")
                         .arg(quoted(tree), quoted(outside))));
        const MGResult<MGAclList> list = MGPosixAclStore::read(tree + (propagate ? "" : "/a"));
        QVERIFY(list);
        const int rounds = propagate ? 1000 : 300;
        int escapes = 0, done = 0;
        {
            Linker linker(outside + "/h", tree + "/h");
            for (int i = 0; i < rounds; ++i) {
                const auto result = send(propagate ? MGAclRemoteMethod::PropagateEntries : MGAclRemoteMethod::SetEntries,
                                         tree + (propagate ? "" : "/h"), *list);
                QVERIFY(result->done);
                if (!result->error)
                    ++done;
                escapes += untouched(outside + "/h") ? 0 : 1;
            }
            QVERIFY(linker.running());
        }
        qInfo("%d of %d calls went through; root's file was changed %d times", done, rounds, escapes);
        QCOMPARE(escapes, 0);
        if (propagate)
            QVERIFY(done > 0);
    }

    void aPropagationStartsNoDeviceNorWaitsOnAFifoSwappedInForAFile()
    {
        // nobody's tree, whose folder passes bin an entry: two files, one swapped all along
        // with a device node (as if one could be linked in), the other with a FIFO. Opening
        // a device can start it (a tape rewinds, a watchdog arms); opening a FIFO can wait
        // for a writer forever.
        QVERIFY(shOk(QStringLiteral("cd %1 && mkdir D && touch D/a D/f D/g && mknod D/device c 1 3 && mkfifo D/fifo && "
                                    "chown -R 65534:65534 D && chmod 644 D/device D/fifo && setfacl -m u:bin:rx,d:u:bin:rx D")
                         .arg(quoted(attacker))));
        const QString tree = attacker + "/D";
        // The kernel tells of every opening of the device node's inode, under whatever name.
        const int watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
        QVERIFY(watch >= 0);
        const auto closeWatch = qScopeGuard([watch] { close(watch); });
        QVERIFY(inotify_add_watch(watch, QFile::encodeName(tree + "/device").constData(), IN_OPEN) >= 0);
        const MGResult<MGAclList> read = MGPosixAclStore::read(tree);
        QVERIFY(read);
        int propagated = 0;
        {
            Swapper device(tree + "/f", tree + "/device");
            Swapper fifo(tree + "/g", tree + "/fifo");
            for (int i = 0; i < 150; ++i) {
                const auto result = send(MGAclRemoteMethod::PropagateEntries, tree, *read);
                QVERIFY2(result->done, "a propagation waited on the FIFO");
                if (!result->error)
                    ++propagated;
            }
            QVERIFY(device.swaps() > 0 && fifo.swaps() > 0);
        }
        qInfo("%d propagations went through", propagated);
        QVERIFY(propagated > 0);
        char events[4096];
        QCOMPARE(::read(watch, events, sizeof events), ssize_t(-1));
        QCOMPARE(errno, EAGAIN);
        // Whatever names they ended under, the device and the FIFO are as they were; the
        // regular files have the folder's entry.
        QCOMPARE(sh(QStringLiteral("cd %1 && find . -type c -o -type p | xargs stat -c '%F %u:%g %a' | sort && "
                                   "find . -type c -o -type p | xargs getfacl -c -s")
                        .arg(quoted(tree))),
                 QStringLiteral("character special file 65534:65534 644\nfifo 65534:65534 644\n"));
        QCOMPARE(sh(QStringLiteral("cd %1 && find . -type f | xargs getfacl -c | grep -c '^user:bin:'").arg(quoted(tree))).trimmed(),
                 QStringLiteral("3"));
    }

    // A backup walks one item at a time in the order folders list them; what it opens is
    // still only what it was asked for: a folder swapped with a link to root's folder, and
    // files swapped with a device node and a FIFO, give no block of root's items, open no
    // device and wait on no FIFO.
    void aBackupReadsOnlyTheTreeItWasAskedFor()
    {
        QVERIFY(shOk(QStringLiteral("cd %1 && mkdir -p B/sub && touch B/a B/f B/g B/sub/c && mknod B/device c 1 3 && "
                                    "mkfifo B/fifo && ln -s %2/tree/inner B/subL && chown -R 65534:65534 B")
                         .arg(quoted(attacker), quoted(sentinel))));
        const QString tree = attacker + "/B";
        const int watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
        QVERIFY(watch >= 0);
        const auto closeWatch = qScopeGuard([watch] { close(watch); });
        QVERIFY(inotify_add_watch(watch, QFile::encodeName(tree + "/device").constData(), IN_OPEN) >= 0);
        int written = 0;
        {
            Swapper inner(tree + "/sub", tree + "/subL");
            Swapper device(tree + "/f", tree + "/device");
            Swapper fifo(tree + "/g", tree + "/fifo");
            for (int i = 0; i < 150; ++i) {
                auto text = std::make_shared<QByteArray>();
                const auto result = call([&](MGAclServiceProxy &proxy, std::shared_ptr<Call> result) {
                    proxy.backupAclEntriesWithUrl(
                        QUrl::fromLocalFile(tree), [text](const QByteArray &piece) { *text += piece; },
                        [result](MGResultError error) {
                            result->error = error;
                            result->done = true;
                        });
                });
                QVERIFY2(result->done, "a backup waited on the FIFO");
                // Root's inner folder names bin and holds "deep"; nobody's tree does neither.
                QVERIFY2(!text->contains("deep") && !text->contains("user:bin:"), text->constData());
                written += !result->error;
            }
            QVERIFY(inner.swaps() > 0 && device.swaps() > 0 && fifo.swaps() > 0);
        }
        qInfo("%d backups went through", written);
        QVERIFY(written > 0);
        char events[4096];
        QCOMPARE(::read(watch, events, sizeof events), ssize_t(-1));
        QCOMPARE(errno, EAGAIN);
    }
};

QTEST_GUILESS_MAIN(tst_MGAclServiceRaces)
#include "tst_MGAclServiceRaces.moc"
