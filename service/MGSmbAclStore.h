#pragma once

#include "MGAclList.h"
#include "MGNtSecurityDescriptor.h"
#include "MGSmbClient.h"

// Reads and writes the entry list of an item on an SMB file server (MGNtSecurityDescriptor)
// over one connection.
//
// A write sends the access control list whole, in the list's order (canonical or not), with
// owner and group where they change, after checking that the server still holds what the
// caller read, and reads it back: what the server then holds is either what was sent or,
// where it kept something else, what it held before (put back). The descriptor's control
// flags stay as the server keeps them: an item protected from inheritance stays protected.
// Entries known by name only are looked up by the server first. Entries of kinds the list
// cannot hold (object, callback) stay where they were among the others. Audit entries (the
// SACL) are never sent, and stay as they are.
class MGSmbAclStore
{
public:
    explicit MGSmbAclStore(const MGSmbClient &client) : m_client(client) {}

    // Without `names`, by SIDs alone (one request less): what a comparison needs.
    MGResult<MGNtSecurityDescriptor> readDescriptor(const QByteArray &url, bool names = true) const;
    MGResult<MGAclList> read(const QByteArray &url) const;
    // With `expected`, only while the item still holds those entries.
    MGResultError write(const QByteArray &url, const MGAclList &list, const std::optional<MGAclList> &expected) const;
    MGResultError writeDescriptor(const QByteArray &url, const MGNtSecurityDescriptor &descriptor,
                                  const MGNtSecurityDescriptor &current) const;

    static inline const QString ReadFailure = QStringLiteral("Cannot read the permissions of");
    static inline const QString WriteFailure = QStringLiteral("Cannot change the permissions of");

    const MGSmbClient &client() const { return m_client; }

private:
    MGResult<bool> isDirectory(const QByteArray &url) const;
    // Gives entries (and an owner) known by name only their SIDs, or says which name the
    // server does not know.
    MGResultError lookUpNames(const QByteArray &url, MGNtSecurityDescriptor &descriptor) const;
    MGResultError send(const QByteArray &url, const MGNtSecurityDescriptor &descriptor, const MGNtSecurityDescriptor &current) const;
    const MGSmbClient &m_client;
};
