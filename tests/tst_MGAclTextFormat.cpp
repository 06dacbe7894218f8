// The backup text: what getfacl writes is read back to the same ACLs, and what is written
// is what getfacl writes for the same items.
#include "MGAclTextFormat.h"
#include "MGFileItem.h"
#include "MGPosixAclStore.h"
#include "ShellHelpers.h"

using namespace MGAclTextFormat;

class tst_MGAclTextFormat : public QObject
{
    Q_OBJECT

    SharedTemporaryDir tmp;

    static MGPosixItemState stateOf(const QString &path)
    {
        const MGResult<MGFileItem> item = MGFileItem::open(QFile::encodeName(path), "read");
        if (!item)
            return {};
        const MGResult<MGPosixItemState> state = MGPosixAclStore::readState(*item);
        return state ? *state : MGPosixItemState();
    }

private slots:
    // Names are one word of a line, as getfacl writes them; paths keep their spaces.
    void namesAndPathsAreEscapedAsGetfaclDoes()
    {
        QCOMPARE(MGAclTextFormat::escapeName("sp ace\tt\\x\n"), QByteArray("sp\\040ace\\011t\\\\x\\012"));
        QCOMPARE(MGAclTextFormat::escapePath("a b\\c\n"), QByteArray("a b\\\\c\\012"));
        QCOMPARE(MGAclTextFormat::unescapePath(MGAclTextFormat::escapeName("sp ace\tt\\x\n")), QByteArray("sp ace\tt\\x\n"));
    }

    // Items with odd names, named and numeric identities, default ACLs and special bits:
    // each block is what getfacl writes, byte for byte (without its effective comments).
    void blocksAreWhatGetfaclWrites_data()
    {
        QTest::addColumn<QString>("setup");
        QTest::newRow("plain file") << "touch x && chmod 640 x";
        QTest::newRow("named entries") << "touch x && setfacl -m u:nobody:rw,g:adm:r,u:4242:x x";
        QTest::newRow("folder with defaults and set-id") << "mkdir x && chmod 2775 x && setfacl -d -m u:daemon:rwx,g:4343:r x";
        QTest::newRow("sticky folder") << "mkdir x && chmod 1777 x";
        // More ids than are looked up one by one, in both of a folder's ACLs.
        QTest::newRow("many named entries, with and without accounts")
            << manyEntriesCommand("e") + " && mkdir x && setfacl -M e x && sed 's/^/d:/' e | setfacl -M - x && rm e";
    }
    void blocksAreWhatGetfaclWrites()
    {
        QFETCH(QString, setup);
        const QString folder = tmp.path(QString::number(qHash(setup)));
        QVERIFY(shOk("mkdir -p " + quoted(folder) + " && cd " + quoted(folder) + " && " + setup));
        Names names;
        const QByteArray ours = block(QFile::encodeName(folder + "/x").mid(1), stateOf(folder + "/x"), names);
        const QString theirs = sh("getfacl -E --absolute-names " + quoted(folder + "/x") + " | sed 's|^# file: /|# file: |'");
        QCOMPARE(QString::fromUtf8(ours), theirs);
    }

    void oddNamesAreEscapedAsGetfaclEscapesThem()
    {
        const QString odd = tmp.path("we ird\nna\\me\x01");
        QVERIFY(shOk("touch " + quoted(odd)));
        Names names;
        const QByteArray ours = block(QFile::encodeName(odd).mid(1), stateOf(odd), names);
        const QString theirs = sh("getfacl -E --absolute-names " + quoted(odd) + " | sed 's|^# file: /|# file: |'");
        QCOMPARE(QString::fromUtf8(ours), theirs);
        QCOMPARE(escapePath("a\\b\nc"), QByteArray("a\\\\b\\012c"));
    }

    // What getfacl -R writes reads back to each item's own ACLs.
    void getfaclBackupsReadBack()
    {
        const QString root = tmp.path("tree");
        QVERIFY(shOk("mkdir -p " + quoted(root) + "/sub && cd " + quoted(root) + " && touch a sub/b 'c d' && "
                     "setfacl -m u:nobody:rwx,m::r a && setfacl -d -m g:adm:rx sub && chown 1:2 sub/b"));
        QString why;
        const auto blocks = parse(sh("cd " + quoted(root) + " && getfacl -R . 2>/dev/null").toUtf8(), &why);
        QVERIFY2(blocks, qPrintable(why));
        QCOMPARE(blocks->size(), 5);
        for (const Block &b : *blocks) {
            const MGPosixItemState state = stateOf(root + "/" + QFile::decodeName(b.path));
            QVERIFY2(b.access == (state.access.isEmpty() ? MGPosixAcl::fromMode(state.mode) : state.access), b.path.constData());
            QVERIFY2(b.defaultAcl == state.defaultAcl, b.path.constData());
            QCOMPARE(*b.owner, state.owner);
            QCOMPARE(*b.group, state.group);
        }
    }

    void malformedTextsSayWhere_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("problem");
        QTest::newRow("no file line") << QByteArray("user::rwx\n") << "line 1: expected \u201c# file: PATH\u201d";
        QTest::newRow("bad tag") << QByteArray("# file: a\nuser::rwx\nbogus::rwx\n") << "line 3: \u201cbogus::rwx\u201d: \u201cbogus\u201d is not u, g, m or o";
        QTest::newRow("bad permissions") << QByteArray("# file: a\nuser::rwz\n") << "line 2: \u201cuser::rwz\u201d: permissions are r, w, x, X or -, or one octal digit";
        QTest::newRow("unknown user") << QByteArray("# file: a\nuser::rwx\nuser:no-such-user-here:r\n") << "line 3: \u201cuser:no-such-user-here:r\u201d: there is no user \u201cno-such-user-here\u201d";
        QTest::newRow("two owners") << QByteArray("# file: a\n# owner: root\n# owner: bin\nuser::rwx\n") << "line 3: a second owner line for one item";
        QTest::newRow("two paths") << QByteArray("# file: a\n# file: b\nuser::rwx\n") << "line 2: a second file line for one item";
        QTest::newRow("no path") << QByteArray("# file: \nuser::rwx\n") << "line 1: the file line names no path";
        QTest::newRow("flags") << QByteArray("# file: a\n# flags: --x\n") << "line 2: flags are s or -, s or -, t or - (such as -s-)";
        QTest::newRow("no other") << QByteArray("\n# file: a\nuser::rwx\ngroup::r-x\n") << "line 2: the ACL has no \u201cother::\u201d entry";
        QTest::newRow("text after an entry") << QByteArray("# file: a\nuser::rwx more\n") << "line 2: \u201cuser::rwx more\u201d: permissions are r, w, x, X or -, or one octal digit";
        QTest::newRow("empty item") << QByteArray("# file: a\n# owner: root\n\n") << "line 4: the item has no entries";
    }
    // What setfacl --restore takes, it reads the same way.
    void blocksAreReadAsSetfaclReadsThem()
    {
        QString why;
        const auto blocks = parse("# file: a\n# owner: nobody-here-at-all\n# flags: s-t\nuser::rwx\nuser::r--\n"
                                  "group::r-x\nuser:odd#name-unknown-but-numeric-not:r\n", &why);
        QVERIFY(!blocks); // an entry's unknown name refuses the file, as setfacl does
        const auto read = parse("# file: a b\n# owner: nobody-here-at-all\n# flags: s-t\nuser::rwx\nuser::r--\n"
                                "group::r-x\nother::---\t#effective:---\nuser:4711:rw-\ndefault:user:4712:r\n", &why);
        QVERIFY2(read && read->size() == 1, qPrintable(why));
        const Block &b = read->first();
        QCOMPARE(b.path, QByteArray("a b"));
        QVERIFY(!b.owner && b.unknownOwner == QStringLiteral("nobody-here-at-all"));
        QCOMPARE(*b.flags, mode_t(S_ISUID | S_ISVTX));
        QCOMPARE(*b.access.perm(MGPosixAcl::UserObj), quint16(4)); // the later entry
        QCOMPARE(*b.access.perm(MGPosixAcl::Mask), quint16(7)); // none given: the one that limits nothing
        // The default ACL takes its base entries from the access ACL.
        QCOMPARE(*b.defaultAcl.perm(MGPosixAcl::GroupObj), quint16(5));
        QCOMPARE(*b.defaultAcl.perm(MGPosixAcl::Mask), quint16(5));
    }

    void malformedTextsSayWhere()
    {
        QFETCH(QByteArray, text);
        QFETCH(QString, problem);
        QString why;
        QVERIFY(!parse(text, &why));
        QCOMPARE(why, problem);
    }

    void entriesAsTyped()
    {
        QString why;
        auto e = parseEntry("d:u:nobody:rX", true, &why);
        QVERIFY(e && e->isDefault && e->tag == MGPosixAcl::User && e->id == 65534 && *e->perm == 4 && e->executeIfSearchable);
        e = parseEntry("o:5", true, &why); // setfacl's short form, with an octal digit
        QVERIFY(e && e->tag == MGPosixAcl::Other && *e->perm == 5);
        e = parseEntry("group::-", true, &why);
        QVERIFY(e && !e->isDefault && e->tag == MGPosixAcl::GroupObj && *e->perm == 0);
        e = parseEntry("u:4711", false, &why); // an id without an account
        QVERIFY(e && e->id == 4711 && !e->perm);
        QVERIFY(!parseEntry("m:nobody:r", true, &why));
        QVERIFY(!parseEntry("u:nobody", true, &why));
        QCOMPARE(why, QStringLiteral("\u201cu:nobody\u201d: expected [d:]u|g:[NAME]:PERMISSIONS or [d:]m|o:[:]PERMISSIONS"));
    }
};

QTEST_GUILESS_MAIN(tst_MGAclTextFormat)
#include "tst_MGAclTextFormat.moc"
