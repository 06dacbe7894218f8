#pragma once

#include "CBIdentity.h"
#include "MGAclProtocol.h"
#include "MGPosixLists.h"

#include <QCborArray>
#include <QFile>
#include <sys/stat.h>

// Requests built from the protocol's table of arguments, so that a suite covers every
// method and every argument there is, and a new one cannot be left out.
namespace ProtocolHelpers {

// A list that takes every permission of group and others away from an item owned by root:
// writing it is a change anyone can see.
inline QCborValue closingList(bool folder)
{
    MGPosixItemState state;
    state.mode = (folder ? S_IFDIR : S_IFREG) | 0700;
    return MGAclLists::toCbor(MGPosixLists::listFromState(state));
}

// Arguments every one of which is right: a write of them changes `item` (a folder for a
// propagation, a file otherwise), for real (dryRun is false).
inline QCborMap validArguments(MGAclRemoteMethod method, const QString &file, const QString &folder)
{
    const bool walks = method == MGAclRemoteMethod::PropagateEntries || method == MGAclRemoteMethod::BackupEntries
        || method == MGAclRemoteMethod::AuditAccess;
    const QString item = walks ? folder : file;
    QCborMap arguments;
    for (const MGAclProtocol::Argument &argument : MGAclProtocol::arguments(method)) {
        QCborValue value;
        switch (argument.type) {
        case MGAclProtocol::ArgumentType::Path: value = QFile::encodeName(item); break;
        case MGAclProtocol::ArgumentType::Entries: value = closingList(walks); break;
        case MGAclProtocol::ArgumentType::Identity:
            value = CBIdentity::user(65534).uniqueIdentifier().toString(QUuid::WithoutBraces);
            break;
        case MGAclProtocol::ArgumentType::RequestNumber:
        case MGAclProtocol::ArgumentType::Number: value = 1; break;
        case MGAclProtocol::ArgumentType::Level: value = QStringLiteral("write"); break;
        case MGAclProtocol::ArgumentType::Flag: value = false; break;
        case MGAclProtocol::ArgumentType::SpecialBits: value = 0; break;
        case MGAclProtocol::ArgumentType::Credentials:
            value = QCborMap{{QStringLiteral("user"), QStringLiteral("nobody")}, {QStringLiteral("password"), QByteArray("x")},
                             {QStringLiteral("domain"), QString()}};
            break;
        case MGAclProtocol::ArgumentType::Account: value = QStringLiteral("MGSERVER\\nobody"); break;
        }
        // What the item must still hold ("expected", its device and inode) is left out: a
        // write of these arguments is refused by nothing else. So are special bits to give it.
        // A file server's account is for server items only.
        const bool expectation = argument.type == MGAclProtocol::ArgumentType::Entries
            || argument.type == MGAclProtocol::ArgumentType::Number || argument.type == MGAclProtocol::ArgumentType::SpecialBits
            || argument.type == MGAclProtocol::ArgumentType::Credentials || argument.type == MGAclProtocol::ArgumentType::Account;
        if (!argument.optional || !expectation)
            arguments.insert(QString(argument.name), value);
    }
    return arguments;
}

// Values an argument of the type must never be taken for.
inline QList<QCborValue> wrongValues(MGAclProtocol::ArgumentType type)
{
    switch (type) {
    case MGAclProtocol::ArgumentType::Path:
        return {QStringLiteral("/tmp"), 5, QByteArray("relative/path"), QByteArray("/tmp\0x", 6), QByteArray("smbx://h/s"), QCborValue()};
    case MGAclProtocol::ArgumentType::Entries:
        return {QCborMap(), QStringLiteral("entries"), 3, QCborValue()};
    case MGAclProtocol::ArgumentType::Identity:
        return {5, QStringLiteral("not-a-uuid"), QByteArray("65534"), QCborValue()};
    case MGAclProtocol::ArgumentType::RequestNumber:
    case MGAclProtocol::ArgumentType::Number:
        return {QStringLiteral("1"), -1, 1.5, QCborValue()};
    case MGAclProtocol::ArgumentType::Level:
        return {3, QStringLiteral("everything"), QByteArray("write"), QCborValue()};
    case MGAclProtocol::ArgumentType::Flag:
        return {QStringLiteral("yes"), 1, QStringLiteral("true"), QCborValue()};
    case MGAclProtocol::ArgumentType::SpecialBits: // permission bits, a file type, beyond a mode
        return {QStringLiteral("2048"), -1, 0777, 04777, 0100000, qint64(1) << 40, 1.5, QCborValue()};
    case MGAclProtocol::ArgumentType::Credentials: // not a map, a field missing or too long, a text password
        return {QStringLiteral("alice:secret"), QCborMap{{QStringLiteral("user"), QStringLiteral("alice")}},
                QCborMap{{QStringLiteral("user"), QString(300, 'a')}, {QStringLiteral("password"), QByteArray("x")}, {QStringLiteral("domain"), QString()}},
                QCborMap{{QStringLiteral("user"), QStringLiteral("a")}, {QStringLiteral("password"), QStringLiteral("x")}, {QStringLiteral("domain"), QString()}},
                QCborValue()};
    case MGAclProtocol::ArgumentType::Account: // not text, empty, longer than a name
        return {5, QByteArray("mgbob"), QString(), QString(513, 'a'), QCborValue()};
    }
    return {};
}
}
