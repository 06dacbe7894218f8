#pragma once

#include "MGNtBinaryDescriptor.h"
#include "MGServerCredentials.h"
#include "ShellHelpers.h"

#include <QRandomGenerator>
#include <QtTest>

// The Samba server tests/smb/with-server starts beside a suite (CTest runs the suites named
// after file servers through it): its share "acls" keeps NT ACLs (and maps them to POSIX
// ACLs), its share "ntacls" keeps NT ACLs alone, its share "plain" keeps none.
struct SmbServer
{
    QString root = qEnvironmentVariable("MARROWGATE_SMB_ROOT");
    QString auth = qEnvironmentVariable("MARROWGATE_SMB_AUTH");
    QString conf = qEnvironmentVariable("MARROWGATE_SMB_CONF");
    QString share = QStringLiteral("acls");

    // The same server, on the share where NT ACLs alone decide.
    static SmbServer ntShare()
    {
        SmbServer server;
        server.root = qEnvironmentVariable("MARROWGATE_SMB_NT_ROOT");
        server.share = QStringLiteral("ntacls");
        return server;
    }

    bool running() const { return !root.isEmpty(); }
    static QByteArray url(const QString &path) { return QByteArray("smb://127.0.0.1/acls/") + QUrl::toPercentEncoding(path, "/"); }
    QByteArray urlOf(const QString &path) const
    {
        return "smb://127.0.0.1/" + share.toUtf8() + '/' + QUrl::toPercentEncoding(path, "/");
    }
    QString authFile(const QString &account) const { return auth + QLatin1Char('/') + account + QStringLiteral(".auth"); }
    MGServerCredentials login(const QString &account) const
    {
        return MGServerCredentials(account, QStringLiteral("pw-%1").arg(account).toUtf8(), QStringLiteral("MGSERVER"));
    }
    // A folder or file on the share, owned by `owner`, with what the server derives for it.
    QString make(const QString &name, bool folder, const QString &owner = QStringLiteral("mgalice")) const
    {
        const QString path = root + QLatin1Char('/') + name;
        sh((folder ? QStringLiteral("mkdir -p %1") : QStringLiteral("touch %1")).arg(quoted(path)));
        sh(QStringLiteral("chown %1 %2").arg(owner, quoted(path)));
        return path;
    }
    // What smbcacls says of an item, by SIDs: "ACL:SID:TYPE/FLAGS/MASK" lines, owner and group.
    QStringList smbcacls(const QString &name, const QString &account = QStringLiteral("mgalice"),
                         const QString &extra = QStringLiteral("--numeric")) const
    {
        const QString out = sh(QStringLiteral("smbcacls -s %1 //127.0.0.1/%5 %2 -A %3 %4")
                                   .arg(quoted(conf), quoted(name), quoted(authFile(account)), extra)
                                   .arg(share));
        QStringList lines;
        for (const QString &line : out.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
            if (line.startsWith(QLatin1String("ACL:")) || line.startsWith(QLatin1String("OWNER:"))
                || line.startsWith(QLatin1String("GROUP:")))
                lines << line;
        }
        return lines;
    }
    bool smbcaclsSet(const QString &name, const QString &acl, const QString &account = QStringLiteral("mgalice")) const
    {
        return shOk(QStringLiteral("smbcacls -s %1 //127.0.0.1/%5 %2 -A %3 --numeric -S %4")
                        .arg(quoted(conf), quoted(name), quoted(authFile(account)), quoted(acl))
                        .arg(share));
    }
    // The control flags smbcacls shows ("SR|PD|DP"; PD: protected from inheritance).
    QString control(const QString &name) const
    {
        return sh(QStringLiteral("smbcacls -s %1 //127.0.0.1/%5 %2 -A %3 | sed -n 's/^CONTROL://p'")
                      .arg(quoted(conf), quoted(name), quoted(authFile(QStringLiteral("mgadmin"))))
                      .arg(share))
            .trimmed();
    }
    // Turns inheritance off for an item, its inherited entries removed, as smbcacls does.
    bool protect(const QString &name) const
    {
        return shOk(QStringLiteral("smbcacls -s %1 //127.0.0.1/%5 %2 -A %3 --inherit=remove")
                        .arg(quoted(conf), quoted(name), quoted(authFile(QStringLiteral("mgadmin"))))
                        .arg(share));
    }
    // The SID the server gives an account.
    QString sid(const QString &account) const
    {
        return sh(QStringLiteral("pdbedit -s %1 -L -v -u %2 | sed -n 's/^User SID: *//p'").arg(quoted(conf), quoted(account)))
            .trimmed();
    }
};

// A callback entry (the kind conditional permissions use) letting Everyone read, with the
// flags given, in the bytes a server keeps; without the condition's data, which Samba 4.17
// does not keep.
inline QByteArray everyoneCallbackEntry(quint8 flags)
{
    const QByteArray everyone = *MGNtBinaryDescriptor::sidBytes(QStringLiteral("S-1-1-0"));
    QByteArray entry;
    entry.append(char(9)).append(char(flags)).append(char(8 + everyone.size())).append(char(0));
    entry.append("\xa9\x00\x12\x00", 4);
    return entry + everyone;
}

#define SKIP_WITHOUT_SERVER(server)                                                                                   \
    if (!(server).running())                                                                                           \
        QSKIP("runs beside a Samba server: tests/smb/with-server SUITE");
