#pragma once

#include "MGNtSecurityDescriptor.h"

#include <QByteArray>

// A security descriptor in the binary, self-relative form servers send where no text form
// is offered (a share's own permissions): owner, group and the entries of its access control
// list, by SID (names are not part of it). Every offset and size is checked against the bytes
// given; anything that does not fit is an error, never a read past them.
class MGNtBinaryDescriptor
{
public:
    static MGResult<MGNtSecurityDescriptor> parse(const QByteArray &bytes);

    // The rights "Full Control" stands for on a share, which an absent list grants to all.
    static constexpr quint32 FullControl = 0x001F01FF;
};
