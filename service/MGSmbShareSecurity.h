#pragma once

#include "MGNtSecurityDescriptor.h"
#include "MGSmbClient.h"

// A share's own permissions, which the server checks before any item's: asked of the
// server's share service (its "srvsvc" pipe, level 502 of the share information), as the
// connection's account. Servers show them only to their administrators (Samba: root and
// holders of the disk operator privilege): to anyone else the answer is "not shown", which
// is no error.
class MGSmbShareSecurity
{
public:
    explicit MGSmbShareSecurity(const MGSmbClient &client) : m_client(client) {}

    // The descriptor of the share an item is on (`smb://server/share/…`), or none where the
    // server does not show it to this account.
    MGResult<std::optional<MGNtSecurityDescriptor>> descriptorFor(const QByteArray &url) const;
    // The same where it is shown; none where the server does not show it or cannot be asked
    // (a server without the share service): either way the share's permissions are not known.
    std::optional<MGNtSecurityDescriptor> shownDescriptorFor(const QByteArray &url) const;
    // What an answer that could not count them says, in the desktop's language.
    static QString notCounted();

private:
    const MGSmbClient &m_client;
};
