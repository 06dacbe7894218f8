#pragma once

#include "MGAclTextFormat.h"
#include "MGError.h"
#include "MGFileItem.h"
#include "MGOrderedWalk.h"
#include "MGTextPieces.h"

#include <functional>

// Writes the ACLs of an item and everything below it in the text form that getfacl -R
// writes and setfacl --restore reads (MGAclTextFormat), in getfacl -R's order
// (MGOrderedWalk): no link followed, no mount point crossed. Special files are included
// (reading their ACL opens nothing); links are not. Paths are written without their
// leading slash, as getfacl writes absolute paths. With `itemOnly`, only the item itself
// is written, as getfacl -R writes a link given as the path (it reads what the link leads
// to and goes no further).
//
// The text goes to the sink in pieces as the walk produces it (MGTextPieces).
class MGAclBackup
{
public:
    using Sink = std::function<void(const QByteArray &text)>;

    MGAclBackup(const MGFileItem &item, Sink sink, bool itemOnly = false);
    void setStopFlag(std::shared_ptr<const std::atomic<bool>> stop) { m_stop = std::move(stop); }

    // The number of items written, or the error that kept the item itself from being read.
    // Items below that cannot be read are left out and reported after the walk.
    MGResult<qint64> run();

private:
    // Adds an item's block to the text; 0 or the errno that kept it from being read.
    int write(MGDescriptor item, const struct statx &status, const QByteArray &path, bool folder);

    const MGFileItem &m_item;
    std::shared_ptr<const std::atomic<bool>> m_stop;
    const bool m_itemOnly;
    MGAclTextFormat::Names m_names;
    MGTextPieces m_text;
    std::atomic<qint64> m_items = 0;
};
