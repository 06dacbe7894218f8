#include "CBIdentityAuthority.h"
#include "MGIdentities.h"
#include "QueueHelpers.h"

#include <QProcess>
#include <QSignalSpy>
#include <QtTest>
#include <unistd.h>

class tst_MGIdentities : public QObject
{
    Q_OBJECT
private slots:
    void uuidsFollowTheLocalScheme()
    {
        QCOMPARE(CBIdentity::user(501).uniqueIdentifier(), QUuid("FFFFEEEE-DDDD-CCCC-BBBB-AAAA000001F5"));
        QCOMPARE(CBIdentity::group(20).uniqueIdentifier(), QUuid("ABCDEFAB-CDEF-ABCD-EFAB-CDEF00000014"));
        QCOMPARE(CBIdentity::decodeUuid(QUuid("FFFFEEEE-DDDD-CCCC-BBBB-AAAAFFFFFFFE")),
                 std::make_pair(CBIdentity::Class::User, quint32(0xFFFFFFFE)));
        QCOMPARE(CBIdentity::decodeUuid(QUuid("12345678-DDDD-CCCC-BBBB-AAAA000001F5")).first, CBIdentity::Class::None);
        QCOMPARE(CBIdentity::decodeUuid(QUuid()).first, CBIdentity::Class::None);
    }

    void authorityReadsTheAccountDatabase()
    {
        const auto &authority = CBIdentityAuthority::defaultIdentityAuthority();
        const auto root = authority.userWithName("root");
        QVERIFY(root && root->isUser() && root->posixID() == 0);
        QCOMPARE(authority.identityWithUniqueIdentifier(root->uniqueIdentifier()), root);
        QCOMPARE(authority.groupWithGid(0)->posixName(), QStringLiteral("root"));
        QCOMPARE(authority.currentUser().posixID(), quint32(getuid()));
        QVERIFY(!authority.userWithName("no-such-user-here"));
        // An id without an account is still an identity, shown by number.
        const CBIdentity orphan = authority.identityForId(CBIdentity::Class::User, 3999999);
        QCOMPARE(orphan.displayName(), QStringLiteral("uid:3999999"));
        const QList<gid_t> groups = authority.groupIdsOfUser(*root);
        QVERIFY(groups.contains(0));
    }

    void fullNamedIdentitiesListUsersThenGroups()
    {
        const QVariantList list = MGIdentities::sharedIdentities()->fullNamedIdentities();
        const qsizetype separator = list.indexOf(QVariant(QStringLiteral("-----")));
        QVERIFY(separator > 0);
        for (qsizetype i = 0; i < separator; ++i)
            QVERIFY(list[i].value<CBIdentity>().isUser());
        QCOMPARE(list[separator + 1].metaType(), QMetaType::fromType<QString>());
        for (qsizetype i = separator + 2; i < list.size(); ++i)
            QVERIFY(list[i].value<CBIdentity>().isGroup());
    }

    void aChangedGroupDatabaseIsAnnounced()
    {
        if (geteuid() != 0)
            QSKIP("needs root to add a group");
        MGIdentities *identities = MGIdentities::sharedIdentities();
        QTRY_VERIFY(identities->fullNamedIdentities().size() > 0);
        QVERIFY(flushMainQueue()); // the watch is set up on the event loop
        QSignalSpy spy(identities, &MGIdentities::identitiesUpdated);
        const QString name = QStringLiteral("mgtest%1").arg(getpid());
        if (QProcess::execute("groupadd", {name}) != 0)
            QSKIP("groupadd is not available");
        const bool announced = spy.wait(5000);
        const bool listed = [&] {
            for (const QVariant &item : identities->fullNamedIdentities()) {
                if (item.value<CBIdentity>().posixName() == name)
                    return true;
            }
            return false;
        }();
        QProcess::execute("groupdel", {name});
        QVERIFY(announced);
        QVERIFY(listed);
    }

    void reloadAnnouncesTheChange()
    {
        QSignalSpy spy(MGIdentities::sharedIdentities(), &MGIdentities::identitiesUpdated);
        MGIdentities::sharedIdentities()->reload();
        QCOMPARE(spy.count(), 1);
    }
};

QTEST_GUILESS_MAIN(tst_MGIdentities)
#include "tst_MGIdentities.moc"
