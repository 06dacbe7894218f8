#pragma once

#include "MGNtSecurityDescriptor.h"

#include <QByteArray>

// A security descriptor in the binary, self-relative form servers keep: owner, group, the
// entries of its access control list in their order, by SID (names are not part of it), and
// the control flags. Every offset and size is checked against the bytes given; anything that
// does not fit is an error, never a read past them.
class MGNtBinaryDescriptor
{
public:
    static MGResult<MGNtSecurityDescriptor> parse(const QByteArray &bytes);
    // The form a write takes: owner and group where set, the list as it is, the control flags
    // of the list kept (those of audit entries, which are not sent, left out). Every SID must
    // be known; a list past the largest size the form holds is an error.
    static MGResult<QByteArray> encode(const MGNtSecurityDescriptor &descriptor);
    // A SID ("S-1-5-32-544") in its binary form; none for text that is no SID.
    static std::optional<QByteArray> sidBytes(const QString &text);

    // The rights "Full Control" stands for on a share, which an absent list grants to all.
    static constexpr quint32 FullControl = 0x001F01FF;
};
