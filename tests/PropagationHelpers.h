#pragma once

#include "MGAclPropagator.h"
#include "MGPosixAclStore.h"

// Propagates a folder's own settings to everything below it, in this process; `summary`
// gets what the walk did.
inline MGResultError propagateOwnSettings(const QString &root, MGAclPropagator::Summary *summary = nullptr)
{
    const MGResult<MGFileItem> item = MGFileItem::open(QFile::encodeName(root), QStringLiteral("Cannot propagate"));
    if (!item)
        return item.error();
    const MGResult<MGAclList> list = MGPosixAclStore::read(*item);
    if (!list)
        return list.error();
    MGAclPropagator propagator(*item, *list);
    const MGResultError error = propagator.run();
    if (summary)
        *summary = propagator.summary();
    return error;
}
