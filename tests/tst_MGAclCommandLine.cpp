#include "MGAclCommandLine.h"
#include "CommandLineHelpers.h"

#include <QDir>
#include <QElapsedTimer>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRandomGenerator>

class tst_MGAclCommandLine : public QObject
{
    Q_OBJECT

    SharedTemporaryDir tmp;

private slots:
    void listShowsEveryItem()
    {
        REQUIRE_ROOT();
        const QString file = tmp.path("file");
        QVERIFY(shOk(QStringLiteral("touch %1 && chown 0:0 %1 && chmod 640 %1 && setfacl -m u:nobody:rw-,g:daemon:r--,m::r-- %1")
                         .arg(quoted(file))));
        const Run run = acl({"list", file});
        QCOMPARE(run.status, 0);
        // nobody's write is what the mask takes away, as getfacl's "#effective:r--" says.
        QCOMPARE(run.out, QStringLiteral("# owner: root\n"
                                         "# group: root\n"
                                         "## Access Control List\n"
                                         "1\tuser:nobody\t65534\tfile\tallow\trw-\tr--\tno\tread-write\n"
                                         "2\tgroup:daemon\t1\tfile\tallow\tr--\tr--\tno\tread\n"
                                         "## POSIX Permissions\n"
                                         "4\towner\t0\tfile\tallow\trw-\trw-\tno\tread-write\n"
                                         "5\towning-group\t0\tfile\tallow\tr--\tr--\tno\tread\n"
                                         "6\tother\t-\tfile\tallow\t---\t---\tno\tno-access\n"
                                         "7\tmask\t-\tfile\tallow\tr--\tr--\tno\tread\n"));
        QVERIFY(run.err.isEmpty());
    }

    void folderEntriesSayWhereTheyApply()
    {
        const QString folder = tmp.path("folder");
        QVERIFY(shOk(QStringLiteral("mkdir %1 && setfacl -m u:nobody:r-x,u:daemon:rwx %1 && setfacl -d -m u:nobody:r-x,g:daemon:r %1")
                         .arg(quoted(folder))));
        const QString out = acl({"list", folder}).out;
        QVERIFY2(out.contains("\tuser:nobody\t65534\tfolder+new-items\tallow\tr-x\tr-x\t"), qPrintable(out));
        QVERIFY(out.contains("\tuser:daemon\t1\tfolder\tallow\trwx\trwx\t"));
        QVERIFY(out.contains("\tgroup:daemon\t1\tnew-items\tallow\tr--\tr--\t"));
        // What a folder passes on to its owner names no account.
        QVERIFY(out.contains("\towner\t-\tnew-items\tallow\trwx\trwx\t"));
    }

    // A user and a group of one name are two kinds; an account named "5000" is not id 5000.
    void identitiesThatLookAlikeAreToldApart()
    {
        REQUIRE_ROOT();
        const QString file = tmp.path("alike");
        QVERIFY(shOk(QStringLiteral("touch %1 && chmod 600 %1 && setfacl -m u:daemon:rw,g:daemon:r,u:5000:r--,u:7000:rw- %1")
                         .arg(quoted(file))));
        if (!shOk("useradd --badname -M -u 7000 5000"))
            QSKIP("cannot add an account named 5000 here");
        const Run list = acl({"list", file});
        const Run json = acl({"list", "--json", file});
        const Run named = acl({"access", "5000", file});
        const Run byId = acl({"access", "uid:5000", file});
        const Run byAccount = acl({"access", "user:5000", file});
        shOk("userdel 5000");
        for (const char *line : {"\tuser:daemon\t1\tfile\tallow\trw-\t", "\tgroup:daemon\t1\tfile\tallow\tr--\t",
                                 "\tuser:5000\t5000\tfile\tallow\tr--\t", "\tuser:5000\t7000\tfile\tallow\trw-\t"})
            QVERIFY2(list.out.contains(line), qPrintable(list.out));
        // In JSON an id without an account has no name, so "5000" is the account's alone.
        QHash<qint64, QJsonValue> names;
        for (const QJsonValue entry : QJsonDocument::fromJson(json.out.toUtf8()).object()["entries"].toArray())
            names.insert(entry["id"].toInteger(-1), entry["name"]);
        QVERIFY(names.value(5000).isUndefined());
        QCOMPARE(names.value(7000).toString(), QStringLiteral("5000"));
        QVERIFY(named.out.contains("write\twrite-data\tyes\t"));
        QVERIFY(byAccount.out.contains("write\twrite-data\tyes\t"));
        QVERIFY2(byId.out.contains("write\twrite-data\tno\t") && byId.out.contains("read\tread-data\tyes\t"), qPrintable(byId.out));
        QCOMPARE(acl({"access", "uid:x", file}).status, 1);
    }

    void accessSaysWhatEachPermissionIsAndWhoDecides()
    {
        const QString file = tmp.path("exe");
        QVERIFY(shOk(QStringLiteral("touch %1 && chmod 750 %1 && setfacl -m u:nobody:rwx,m::r-x %1").arg(quoted(file))));
        const Run run = acl({"access", "nobody", file});
        QCOMPARE(run.status, 0);
        QVERIFY2(run.out.startsWith("read\tread-data\tyes\tthe entry for the user nobody\n"), qPrintable(run.out));
        QVERIFY(run.out.contains("write\twrite-data\tno\tthe entry for the user nobody, limited by the mask\n"));
        QVERIFY(run.out.contains("execute\texecute\tyes\t"));
        QVERIFY(run.out.contains("administration\ttake-ownership\tno\t\n"));
        // A sticky folder lets them delete only what they own.
        const QString sticky = tmp.path("sticky");
        QVERIFY(shOk(QStringLiteral("mkdir -m 1777 %1").arg(quoted(sticky))));
        QVERIFY(acl({"access", "nobody", sticky}).out.contains("write\tdelete-subfolders-and-files\tpartly\t"));
    }

    // What the item allows is not what the identity can reach: a closed folder above says so.
    void accessNamesTheFolderThatKeepsTheIdentityOut()
    {
        REQUIRE_ROOT();
        const QString closed = tmp.path("closed"), file = closed + "/inside";
        QVERIFY(shOk(QStringLiteral("mkdir %1 && chmod 700 %1 && touch %2 && setfacl -m u:nobody:rw %2")
                         .arg(quoted(closed), quoted(file))));
        const Run run = acl({"access", "nobody", file});
        QCOMPARE(run.status, 0);
        QVERIFY2(run.out.startsWith(QStringLiteral("# \u201cnobody\u201d cannot enter the folder \u201c%1\u201d").arg(closed)),
                 qPrintable(run.out));
        QVERIFY(run.out.contains("read\tread-data\tyes\t"));
        const QJsonObject json = QJsonDocument::fromJson(acl({"access", "nobody", file, "--json"}).out.toUtf8()).object();
        QCOMPARE(json["blockedBy"].toString(), closed);
        QVERIFY(acl({"access", "root", file}).out.startsWith("read\t"));
        QVERIFY(shOk(QStringLiteral("setfacl -m u:nobody:x %1").arg(quoted(closed))));
        QVERIFY(acl({"access", "nobody", file}).out.startsWith("read\t"));
    }

    // Scripts read the same words whatever the language; only headings and the sentence on
    // who decides follow it.
    void wordsScriptsReadAreTheSameInEveryLanguage()
    {
        const QString folder = tmp.path("languages");
        QVERIFY(shOk(QStringLiteral("mkdir %1 && setfacl -m u:daemon:rwx,g:daemon:r-x,m::r-x %1 && setfacl -d -m u:bin:r %1")
                         .arg(quoted(folder))));
        auto parsed = [](const QString &out, int columns) {
            QStringList lines;
            for (const QString &line : out.split('\n', Qt::SkipEmptyParts)) {
                if (!line.startsWith('#'))
                    lines << line.section('\t', 0, columns - 1);
            }
            return lines.join('\n');
        };
        for (const QStringList &command : {QStringList{"list", folder}, QStringList{"access", "daemon", folder}}) {
            const Run english = aclIn("C.UTF-8", command), german = aclIn("de_DE.UTF-8", command);
            QCOMPARE(german.status, 0);
            const int columns = command.first() == "list" ? 9 : 3;
            QVERIFY(!parsed(english.out, columns).isEmpty());
            QCOMPARE(parsed(german.out, columns), parsed(english.out, columns));
        }
        // The human parts are German, consistently with --help.
        QVERIFY(aclIn("de_DE.UTF-8", {"list", folder}).out.contains("## Zugriffssteuerungsliste\n"));
        QVERIFY(aclIn("de_DE.UTF-8", {"access", "daemon", folder}).out.contains("\tder Eintrag f\u00fcr den Benutzer daemon"));
        QVERIFY(aclIn("de_DE.UTF-8", {"--help"}).out.startsWith("Aufruf: marrowgate-acl PATH\n"));
    }

    // The JSON of random ACLs, access and default, says what getfacl says, the mask's limit
    // included.
    void jsonSaysWhatGetfaclSays()
    {
        QRandomGenerator random(20261124);
        const QStringList users{"daemon", "bin", "sys", "nobody"}, groups{"daemon", "bin", "sys", "adm"};
        auto perms = [&random] {
            return QString(random.bounded(2) ? 'r' : '-') + (random.bounded(2) ? 'w' : '-') + (random.bounded(2) ? 'x' : '-');
        };
        for (int round = 0; round < 12; ++round) {
            const bool folder = round % 2;
            const QString item = tmp.path(QStringLiteral("random-%1").arg(round));
            QVERIFY(shOk((folder ? "mkdir " : "touch ") + quoted(item)));
            for (const bool isDefault : {false, true}) {
                if (isDefault && !folder)
                    continue;
                QStringList entries;
                for (const QString &user : users) {
                    if (random.bounded(2))
                        entries << "u:" + user + ":" + perms();
                }
                for (const QString &group : groups) {
                    if (random.bounded(2))
                        entries << "g:" + group + ":" + perms();
                }
                if (random.bounded(2))
                    entries << "m::" + perms();
                if (!entries.isEmpty())
                    QVERIFY(shOk(QStringLiteral("setfacl %1 -m %2 %3").arg(isDefault ? "-d" : "", entries.join(','), quoted(item))));
            }
            // getfacl's lines, each with what it grants: "default:user:bin:r-x" -> "r--".
            QMap<QString, QString> expected;
            for (const QString &line : sh("getfacl -cp " + quoted(item)).split('\n', Qt::SkipEmptyParts)) {
                const QString entry = line.section('\t', 0, 0);
                const qsizetype effective = line.indexOf("#effective:");
                expected.insert(entry, effective < 0 ? entry.right(3) : line.mid(effective + 11, 3));
            }
            const Run run = acl({"list", "--json", item});
            QCOMPARE(run.status, 0);
            const QJsonObject json = QJsonDocument::fromJson(run.out.toUtf8()).object();
            QCOMPARE(json["path"].toString(), item);
            QCOMPARE(json["folder"].toBool(), folder);
            QMap<QString, QString> listed;
            for (const QJsonValue value : json["entries"].toArray()) {
                const QJsonObject entry = value.toObject();
                const QString kind = entry["kind"].toString();
                const QString tag = kind == "owner" ? "user:" : kind == "owning-group" ? "group:"
                    : kind == "user" || kind == "group" ? kind + ":" + entry["name"].toString(QString::number(entry["id"].toInt()))
                                                        : kind + ":";
                const QString applies = entry["appliesTo"].toString();
                QStringList prefixes;
                if (applies != "new-items")
                    prefixes << "";
                if (applies.contains("new-items"))
                    prefixes << "default:";
                for (const QString &prefix : prefixes) {
                    const QJsonValue effective = prefix.isEmpty() || applies == "new-items" ? entry["effective"]
                                                                                            : entry["effectiveForNewItems"];
                    listed.insert(prefix + tag + ":" + entry["permissions"].toString(), effective.toString());
                }
                QCOMPARE(entry["maskLimits"].toBool(), entry["effective"] != entry["permissions"]
                                                           || (entry.contains("effectiveForNewItems") && entry["effectiveForNewItems"] != entry["permissions"]));
            }
            QCOMPARE(listed, expected);
        }
    }

    // The README's question, "who may write here?", answered by jq from the JSON.
    void jqAnswersWhoMayWriteHere()
    {
        const QString file = tmp.path("who-writes");
        QVERIFY(shOk(QStringLiteral("touch %1 && chmod 640 %1 && setfacl -m u:daemon:rw,u:bin:rw,g:adm:rw,m::r %1 && "
                                    "setfacl -m u:bin:rw,m::rw %1")
                         .arg(quoted(file))));
        const QString who = sh(QStringLiteral("%1 list --json %2 | jq -r '.entries[] | select(.appliesTo != \"new-items\") "
                                              "| select(.kind != \"mask\" and (.effective | contains(\"w\"))) "
                                              "| .kind + \":\" + (.name // \"\")'")
                                   .arg(MARROWGATE_ACL_PATH, quoted(file)));
        QCOMPARE(who, QStringLiteral("user:daemon\nuser:bin\ngroup:adm\nowner:root\n"));
    }

    // Usage errors say what is wrong first, then the usage; nothing on standard output.
    void usageErrorsNameWhatIsWrong()
    {
        const QString file = tmp.path("usage-file");
        QVERIFY(shOk("touch " + quoted(file)));
        const QList<std::pair<QStringList, QString>> cases = {
            {{"frobnicate", tmp.path()}, "Unknown command \u201cfrobnicate\u201d."},
            {{"list"}, "list needs PATH."},
            {{"access", "nobody"}, "access needs PATH."},
            {{"access"}, "access needs USER-OR-GROUP PATH."},
            {{"list", file, file}, QStringLiteral("list takes PATH: \u201c%1\u201d is one too many.").arg(file)},
            {{"list", "--yaml", file}, "list has no option \u201c--yaml\u201d."},
            {{"set", file}, "set needs ENTRY."},
            {{"copy", file}, "copy needs TO."},
            {{"audit", "nobody", file, "--read", "--any"}, "Give at most one of --write, --read, --any."},
            {{"propagate", file}, QStringLiteral("propagate needs a folder: \u201c%1\u201d is not one.").arg(file)},
            {{"restore"}, "restore needs FILE|-."},
            {{"list", "-x", file}, "list has no option \u201c-x\u201d."},
            {{"--json"}, "Unknown option \u201c--json\u201d."},
        };
        for (const auto &[arguments, first] : cases) {
            const Run run = acl(arguments);
            QCOMPARE(run.status, 64);
            QCOMPARE(run.err.section('\n', 0, 0), first);
            QVERIFY2(run.err.contains("\n\nusage: marrowgate-acl PATH\n"), qPrintable(run.err));
            QVERIFY2(run.out.isEmpty(), qPrintable(run.out));
        }
        // "--" ends the options: a file may be called "--json".
        QVERIFY(shOk("cd " + quoted(tmp.path()) + " && touch -- --json"));
        QCOMPARE(acl({"list", "--", tmp.path("--json")}).status, 0);
    }

    void failuresExitWithOneAndSayWhy()
    {
        const Run missing = acl({"list", tmp.path("missing")});
        QCOMPARE(missing.status, 1);
        QVERIFY(missing.out.isEmpty());
        QVERIFY(missing.err.contains(tmp.path("missing")) && missing.err.contains("No such file"));
        const Run unknown = acl({"access", "no-such-account-here", tmp.path()});
        QCOMPARE(unknown.status, 1);
        QVERIFY(unknown.err.contains("no-such-account-here"));
        QCOMPARE(acl({"list"}).status, 64);
    }

    void pathsAreBytesAndLinksAreNamed()
    {
        // A name that is not UTF-8, and a link to it.
        const QString folder = tmp.path("bytes");
        QVERIFY(shOk(QStringLiteral("mkdir %1 && cd %1 && name=$(printf 'caf\\351') && touch \"$name\" && "
                                    "setfacl -m u:nobody:r-- \"$name\" && ln -s \"$name\" link")
                         .arg(quoted(folder))));
        const QString list = sh(QStringLiteral("%1 list \"%2/$(printf 'caf\\351')\"").arg(MARROWGATE_ACL_PATH, folder));
        QVERIFY2(list.contains("\tuser:nobody\t"), qPrintable(list));
        const Run viaLink = acl({"list", folder + "/link"});
        QCOMPARE(viaLink.status, 0);
        QVERIFY(viaLink.out.contains("\tuser:nobody\t"));
        // In JSON, the name's bytes beside its text.
        const QJsonObject json = QJsonDocument::fromJson(acl({"list", "--json", folder + "/link"}).out.toUtf8()).object();
        QCOMPARE(QByteArray::fromBase64(json["pathBase64"].toString().toLatin1()), QFile::encodeName(folder) + "/caf\351");
        QCOMPARE(json["path"].toString(), folder + "/caf\ufffd");
        QVERIFY2(viaLink.err.contains("leads through a link"), qPrintable(viaLink.err));
        // A path longer than the system takes is called that.
        const Run tooLong = acl({"list", "/" + QString(4234, 'a')});
        QCOMPARE(tooLong.status, 1);
        QVERIFY2(tooLong.err.contains("longer than"), qPrintable(tooLong.err));
    }

    void windowCommandsSayWhatIsWrong()
    {
        const Run help = acl({"--help"});
        QCOMPARE(help.status, 0);
        QVERIFY(help.out.startsWith("usage: marrowgate-acl PATH") && help.out.contains("Exit status"));
        for (const QStringList &paths : {QStringList(), QStringList{tmp.path(), tmp.path()}}) {
            const Run run = acl(paths);
            QCOMPARE(run.status, 64);
            QVERIFY(run.err.contains("usage:"));
        }
        // A mistyped command is named as such, with the usage.
        const Run unknown = acl({"frobnicate", tmp.path()});
        QCOMPARE(unknown.status, 64);
        QVERIFY2(unknown.err.startsWith("Unknown command \u201cfrobnicate\u201d.") && unknown.err.contains("usage:"),
                 qPrintable(unknown.err));
        QVERIFY(unknown.out.isEmpty());
        // Paths that cannot be opened, where there is no display (with one, the window host
        // says it in a window too: its own suite shows that).
        const Run missing = acl({tmp.path("not-here")}, {}, nullptr, false);
        QCOMPARE(missing.status, 1);
        QVERIFY2(missing.err.contains("No such file"), qPrintable(missing.err));
        QVERIFY(shOk("ln -sfn " + quoted(tmp.path("not-here")) + " " + quoted(tmp.path("dangling"))));
        const Run dangling = acl({tmp.path("dangling")}, {}, nullptr, false);
        QCOMPARE(dangling.status, 1);
        QVERIFY2(dangling.err.contains("link to something that is not there"), qPrintable(dangling.err));
        // No display: no crash, a word on what works instead.
        const Run headless = acl({tmp.path()}, {}, nullptr, false);
        QCOMPARE(headless.status, 1);
        QVERIFY2(headless.err.contains("no display") && headless.err.contains("screenshot"), qPrintable(headless.err));
        const Run nowhere = acl({"screenshot", tmp.path(), "/no-such-folder/window.png"});
        QCOMPARE(nowhere.status, 1);
        QVERIFY2(nowhere.err.contains("/no-such-folder") && nowhere.err.contains("does not exist"), qPrintable(nowhere.err));
        QCOMPARE(acl({"screenshot", tmp.path(), "x.png", "--tab", "7"}).status, 64);
    }

    void screenshotsShowTheWindow()
    {
        const QString out = tmp.path("window.png");
        for (const QString &tab : {QStringLiteral("0"), QStringLiteral("1")}) {
            QFile::remove(out);
            const Run run = acl({"screenshot", tmp.path(), out, "--tab", tab});
            QCOMPARE(run.status, 0);
            const QImage image(out);
            QVERIFY(!image.isNull());
            QVERIFY(image.width() >= 300 && image.height() >= 180);
        }
        QCOMPARE(acl({"screenshot", tmp.path("missing"), out}).status, 1);
    }

    void aReadThatNeedsPrivilegeSaysSoWithoutThePrivilegedService()
    {
        REQUIRE_ROOT();
        QVERIFY(shOk(QStringLiteral("mkdir -m 700 %1 && touch %1/secret").arg(quoted(tmp.path("private")))));
        StagedBuild staged;
        REQUIRE_STAGED(staged);
        const Run run = acl({"list", tmp.path("private/secret")}, AsNobody, &staged);
        QCOMPARE(run.status, 1);
        QVERIFY2(run.err.startsWith("Error retrieving Acces Control List entries\n") && run.err.contains("privileged ACL service"),
                 qPrintable(run.err));
    }
};

QTEST_GUILESS_MAIN(tst_MGAclCommandLine)
#include "tst_MGAclCommandLine.moc"
