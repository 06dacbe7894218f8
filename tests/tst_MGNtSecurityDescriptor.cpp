// A file server's descriptor as text and as the editor's list, and its entries as the
// command line writes them: what a server's client library gives is read exactly, what is
// written (in the binary form) reads back the same, and the edits of set and remove keep
// canonical order.
#include "MGNtBinaryDescriptor.h"
#include "MGNtEntryText.h"
#include "MGNtInheritance.h"
#include "MGNtSecurityDescriptor.h"
#include "MGItemPaths.h"

#include <QtTest>

class tst_MGNtSecurityDescriptor : public QObject
{
    Q_OBJECT

    static constexpr const char *BySid = "REVISION:1,OWNER:S-1-5-21-1-2-3-1000,GROUP:S-1-22-2-0,"
                                         "ACL:S-1-1-0:1/3/0x00000004,ACL:S-1-5-21-1-2-3-1002:0/0/0x001f01ff,"
                                         "ACL:S-1-3-0:0/27/0x10000000";
    static constexpr const char *ByName = "REVISION:1,OWNER:MGSERVER\\alice,GROUP:Unix Group\\root,"
                                          "ACL:\\Everyone:1/3/0x00000004,ACL:S-1-5-21-1-2-3-1002:0/0/0x001f01ff,"
                                          "ACL:\\Creator Owner:0/27/0x10000000";

private slots:
    void readsBothReadingsIntoOneList()
    {
        const auto descriptor = MGNtSecurityDescriptor::parse(BySid, ByName);
        QVERIFY(descriptor);
        QCOMPARE(descriptor->ownerName, QStringLiteral("MGSERVER\\alice"));
        QCOMPARE(descriptor->aces.size(), 3);
        QCOMPARE(descriptor->aces[0].name, QStringLiteral("Everyone"));
        QCOMPARE(descriptor->aces[1].name, QString()); // a SID the server cannot name
        QCOMPARE(descriptor->aces[2].mask, 0x10000000u); // a generic right, kept
        const MGAclList list = descriptor->list(true);
        const auto entries = MGAclLists::aclEntries(list);
        QCOMPARE(entries.size(), 3);
        QCOMPARE(entries[0]->tag(), int(MGAclEntry::Deny));
        QVERIFY(!entries[0]->isPosix());
        QCOMPARE(entries[1]->identityText(), QStringLiteral("S-1-5-21-1-2-3-1002"));
        QVERIFY(entries[2]->inherited());
        QCOMPARE(entries[2]->flags() & MGAclFlag::Inheritance, quint32(MGAclFlag::FileInherit | MGAclFlag::DirectoryInherit | MGAclFlag::OnlyInherit));
        // Back through the wire and into a descriptor: the same, and its text in decimal.
        const auto copy = MGAclLists::fromCbor(MGAclLists::toCbor(list), nullptr);
        QVERIFY(copy);
        const auto again = MGNtSecurityDescriptor::fromList(*copy);
        QVERIFY(again);
        QVERIFY(*again == *descriptor);
        // And in the binary form a write takes, read back the same, order and flags kept.
        auto protectedOne = *again;
        protectedOne.control = MGNtSecurityDescriptor::ProtectedFlag | 0x0400;
        const auto bytes = MGNtBinaryDescriptor::encode(protectedOne);
        QVERIFY(bytes);
        const auto back = MGNtBinaryDescriptor::parse(*bytes);
        QVERIFY(back && *back == *descriptor);
        QVERIFY(back->isProtected());
        QCOMPARE(back->control, quint16(0x8000 | 0x1000 | 0x0400 | 0x0004));
        QVERIFY(descriptor->isCanonical());
    }

    void refusesWhatItCannotCarry()
    {
        QVERIFY(!MGNtSecurityDescriptor::parse("REVISION:1,ACL:S-1-1-0:5/0/0x1", "REVISION:1,ACL:\\Everyone:5/0/0x1"));
        QVERIFY(!MGNtSecurityDescriptor::parse("REVISION:1,ACL:S-1-1-0:0/64/0x1", "REVISION:1,ACL:\\Everyone:0/64/0x1"));
        QVERIFY(!MGNtSecurityDescriptor::parse(BySid, "REVISION:1,OWNER:x,GROUP:y")); // read across a change
        QVERIFY(!MGNtSecurityDescriptor::parse("REVISION:1,BOGUS:1", "REVISION:1,BOGUS:1"));
        MGAclList local{QStringLiteral("ACL"), MGAclEntry::aclEntry(MGAclEntry::Allow, CBIdentity::user(0, "root"), 1, 0, true, false)};
        QVERIFY(!MGNtSecurityDescriptor::fromList(local));
    }

    void canonicalOrderAndWhatAServerKeeps()
    {
        auto descriptor = *MGNtSecurityDescriptor::parse(BySid, ByName);
        std::swap(descriptor.aces[0], descriptor.aces[1]); // an allow before a deny
        QVERIFY(!descriptor.isCanonical());
        // A server keeps the order it is given: another order is another list.
        auto sorted = *MGNtSecurityDescriptor::parse(BySid, ByName);
        QVERIFY(!sorted.holdsSameAs(descriptor));
        auto mapped = sorted;
        mapped.aces[2].mask = 0x001f01ff; // the generic right, mapped by a server
        QVERIFY(mapped.holdsSameAs(sorted));
        mapped.aces[2].mask = 0x1;
        QVERIFY(!mapped.holdsSameAs(sorted));
        QVERIFY(descriptor.binarySize() < MGNtSecurityDescriptor::MaximumBinarySize);
    }

    void entriesAsTheCommandLineWritesThem()
    {
        QString why;
        const auto entry = MGNtEntryText::parse(QStringLiteral("ACL:DOM\\team:DENIED/OI|CI|IO/RWD"), &why);
        QVERIFY(entry && entry->ace);
        QCOMPARE(entry->who, QStringLiteral("DOM\\team"));
        QCOMPARE(entry->ace->type, int(MGNtAce::Denied));
        QCOMPARE(entry->ace->flags, 0xbu);
        QCOMPARE(entry->ace->mask, 0x00120089u | 0x00120116u | 0x00010000u);
        QCOMPARE(MGNtEntryText::format(MGNtAce{0, 0x13, 0x001200a9, {}, QStringLiteral("Everyone")}),
                 QStringLiteral("ACL:Everyone:ALLOWED/OI|CI|I/READ"));
        QCOMPARE(MGNtEntryText::maskText(0x4), QStringLiteral("0x00000004"));
        for (const char *bad : {"ACL:x:MAYBE/0/READ", "ACL:x:ALLOWED/XX/READ", "ACL:x:ALLOWED/0/QQ", "ACL::ALLOWED/0/READ", "a/b"})
            QVERIFY2(!MGNtEntryText::parse(QString::fromUtf8(bad), &why), bad);
        const auto alone = MGNtEntryText::parse(QStringLiteral("DOM\\bob"), &why);
        QVERIFY(alone && !alone->ace);

        // set: an entry of the same account, type and flags gives way; a deny goes before the
        // allows, an allow before the inherited entries.
        MGAclList list = MGNtSecurityDescriptor::parse(BySid, ByName)->list(true);
        MGNtEntryText::set(list, MGNtAce{MGNtAce::Denied, 0x3, 0x6, {}, {}}, QStringLiteral("Everyone"));
        MGNtEntryText::set(list, MGNtAce{MGNtAce::Allowed, 0, 0x1, {}, {}}, QStringLiteral("DOM\\bob"));
        auto written = *MGNtSecurityDescriptor::fromList(list);
        QVERIFY(written.isCanonical());
        QCOMPARE(written.aces.size(), 4);
        QCOMPARE(written.aces[0].mask, 0x6u);
        QCOMPARE(written.aces[2].name, QStringLiteral("DOM\\bob"));
        QVERIFY(written.aces[2].sid.isEmpty()); // looked up by the server
        QVERIFY(!MGNtBinaryDescriptor::encode(written)); // which a write does first
        QCOMPARE(MGNtEntryText::remove(list, MGNtEntryText::Entry{QStringLiteral("carol"), std::nullopt}), 0);
        QCOMPARE(MGNtEntryText::remove(list, *alone), 1);
        // Inherited entries are the parent's: never removed here.
        QCOMPARE(MGNtEntryText::remove(list, MGNtEntryText::Entry{QStringLiteral("S-1-3-0"), std::nullopt}), 0);
    }

    // What a folder's entries give a subfolder and a file: the flags each kind passes on,
    // no-propagate, inherit-only, and Creator Owner and Group made the item's own.
    void childrenInheritAsServersDo()
    {
        const QString team = QStringLiteral("S-1-5-21-9-9-9-1100"), bob = QStringLiteral("S-1-5-21-9-9-9-1001");
        const QList<MGNtAce> parent{{MGNtAce::Denied, 0x2, 0x00010040, bob, {}},          // subfolders, onward
                                    {MGNtAce::Allowed, 0x3, 0x001301bf, team, {}},        // everything below
                                    {MGNtAce::Allowed, 0x5, 0x001200a9, bob, {}},         // files, one level
                                    {MGNtAce::Allowed, 0x1, 0x001200a9, team, {}},        // files, onward
                                    {MGNtAce::Allowed, 0xb, 0x001f01ff, MGNtInheritance::CreatorOwner, {}},
                                    {MGNtAce::Allowed, 0x0, 0x001f01ff, team, {}}};       // the folder alone
        const QString owner = QStringLiteral("S-1-5-21-9-9-9-1000"), group = QStringLiteral("S-1-22-2-0");
        const auto text = [](const QList<MGNtAce> &aces) {
            QStringList lines;
            for (const MGNtAce &ace : aces)
                lines << QStringLiteral("%1:%2/0x%3/0x%4").arg(ace.sid).arg(ace.type).arg(ace.flags, 0, 16).arg(ace.mask, 0, 16);
            return lines;
        };
        QCOMPARE(text(MGNtInheritance::inheritedBy(parent, true, owner, group)),
                 QStringList({bob + ":1/0x12/0x10040", team + ":0/0x13/0x1301bf", team + ":0/0x19/0x1200a9",
                              owner + ":0/0x10/0x1f01ff", QStringLiteral("S-1-3-0:0/0x1b/0x1f01ff")}));
        QCOMPARE(text(MGNtInheritance::inheritedBy(parent, false, owner, group)),
                 QStringList({team + ":0/0x10/0x1301bf", bob + ":0/0x10/0x1200a9", team + ":0/0x10/0x1200a9",
                              owner + ":0/0x10/0x1f01ff"}));
        // A child keeps its explicit entries first; its old inherited ones give way.
        MGNtSecurityDescriptor child{owner, {}, group, {}, {{MGNtAce::Allowed, 0x10, 0x1, team, {}}, {MGNtAce::Denied, 0, 0x2, bob, {}}}};
        const MGNtSecurityDescriptor now = MGNtInheritance::withInherited(child, MGNtInheritance::inheritedBy(parent, false, owner, group));
        QCOMPARE(now.aces.size(), 5);
        QCOMPARE(now.aces.first().sid, bob);
        QVERIFY(now.isCanonical());
    }

    void aDesktopMountOfAShareNamesTheServersItem()
    {
        QCOMPARE(MGItemPaths::serverUrlForMountPath("/run/user/1000/gvfs/smb-share:server=nas.local,share=team%20files,user=bob/plans/2027"),
                 QUrl(QStringLiteral("smb://nas.local/team files/plans/2027")));
        QCOMPARE(MGItemPaths::serverUrlForMountPath("/run/user/1000/gvfs/smb-share:server=nas,share=team"), QUrl(QStringLiteral("smb://nas/team")));
        QVERIFY(!MGItemPaths::serverUrlForMountPath("/run/user/1000/gvfs/sftp:host=nas/x"));
        QVERIFY(!MGItemPaths::serverUrlForMountPath("/home/bob/gvfs/smb-share:server=nas,share=team"));
    }
};

QTEST_GUILESS_MAIN(tst_MGNtSecurityDescriptor)
#include "tst_MGNtSecurityDescriptor.moc"
