#include "MGAclItemStamp.h"

#include "MGItemPaths.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

MGAclItemStamp MGAclItemStamp::of(const QUrl &url)
{
    return url.isLocalFile() ? of(MGItemPaths::nativePath(url)) : MGAclItemStamp();
}

MGAclItemStamp MGAclItemStamp::of(const QByteArray &path)
{
    struct statx status {};
    if (path.isEmpty() || statx(AT_FDCWD, path.constData(), 0, STATX_INO | STATX_CTIME | STATX_BTIME, &status) != 0)
        return {};
    const qint64 born = (status.stx_mask & STATX_BTIME) ? status.stx_btime.tv_sec * 1000000000 + status.stx_btime.tv_nsec : 0;
    return {true, quint64(makedev(status.stx_dev_major, status.stx_dev_minor)), status.stx_ino, born,
            status.stx_ctime.tv_sec, status.stx_ctime.tv_nsec};
}

MGAclItemStamp::Difference MGAclItemStamp::to(const MGAclItemStamp &now) const
{
    if (!now.known)
        return known ? Difference::Gone : Difference::None;
    if (!known)
        return Difference::Changed;
    if (!isSameItem(now))
        return Difference::Replaced;
    return now.changedSeconds == changedSeconds && now.changedNanoseconds == changedNanoseconds ? Difference::None
                                                                                                 : Difference::Changed;
}
