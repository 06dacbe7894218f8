#pragma once

#include <cerrno>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

// A folder's items as the kernel lists them, read in large batches with getdents64 (readdir
// reads them in 32 KiB pieces through a buffer of its own; this hands each name over where
// it lies). The walks' common ground.
namespace MGFolderListing {
// What a walk asks of every item's status.
inline constexpr unsigned StatusMask = STATX_TYPE | STATX_MODE | STATX_UID | STATX_GID | STATX_NLINK | STATX_MNT_ID;

// Calls `item(name, type)` for each item of the folder open at `fd` but "." and "..", in the
// order the folder lists them (type a DT_ value, DT_UNKNOWN where the file system does not
// say). Answers 0, or the errno that ended the listing.
template <typename Item>
int forEach(int fd, Item &&item)
{
    struct Entry
    {
        ino64_t d_ino;
        off64_t d_off;
        unsigned short d_reclen;
        unsigned char d_type;
        char d_name[];
    };
    alignas(Entry) char buffer[32 * 1024];
    for (;;) {
        const long n = syscall(SYS_getdents64, fd, buffer, sizeof buffer);
        if (n == 0)
            return 0;
        if (n < 0)
            return errno;
        for (long offset = 0; offset < n;) {
            const auto *entry = reinterpret_cast<const Entry *>(buffer + offset);
            offset += entry->d_reclen;
            const char *name = entry->d_name;
            if (name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0)))
                continue;
            item(name, entry->d_type);
        }
    }
}
}
