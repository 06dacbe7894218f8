/* The least a propagation must do per file, as a reference for the walk's own cost: in one
 * thread, open each file's name in its folder for reading, set its access ACL, change its
 * owner and group through that descriptor, close it. No status is asked, nothing is checked
 * and no link, mount or second name is looked out for, so this is not safe to run on a tree
 * that others may change: it is a yardstick, not a tool.
 *
 *   marrowgate-propagation-floor FOLDER GID
 * gives every file below FOLDER owner root, group GID and the ACL user::rw-, user:nobody:r--,
 * group::r--, mask::r--, other::---, and prints the CPU time and wall-clock time per file. */
#define _GNU_SOURCE
#include <dirent.h>
#include <fcntl.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/xattr.h>
#include <time.h>
#include <unistd.h>

static unsigned char acl[4 + 5 * 8];
static long files;
static gid_t group;

static void entry(int i, uint16_t tag, uint16_t perm, uint32_t id)
{
    unsigned char *p = acl + 4 + i * 8;
    memcpy(p, &tag, 2);
    memcpy(p + 2, &perm, 2);
    memcpy(p + 4, &id, 4);
}

static double cpuSeconds(void)
{
    struct rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec + (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

static int walk(int folder)
{
    DIR *listing = fdopendir(folder);
    if (!listing)
        return -1;
    for (struct dirent *d; (d = readdir(listing));) {
        if (!strcmp(d->d_name, ".") || !strcmp(d->d_name, ".."))
            continue;
        if (d->d_type == DT_DIR) {
            const int sub = openat(folder, d->d_name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
            if (sub < 0 || walk(sub) != 0)
                return -1;
        } else if (d->d_type == DT_REG) {
            const int fd = openat(folder, d->d_name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
            if (fd < 0 || fsetxattr(fd, "system.posix_acl_access", acl, sizeof acl, 0) != 0 || fchown(fd, 0, group) != 0) {
                perror(d->d_name);
                return -1;
            }
            close(fd);
            ++files;
        }
    }
    closedir(listing);
    return 0;
}

int main(int argc, char **argv)
{
    if (argc != 3) {
        fprintf(stderr, "usage: marrowgate-propagation-floor FOLDER GID\n");
        return 64;
    }
    group = (gid_t)atol(argv[2]);
    const uint32_t version = 2;
    memcpy(acl, &version, 4);
    entry(0, 0x01, 6, UINT32_MAX); /* user:: */
    entry(1, 0x02, 4, 65534);      /* user:nobody */
    entry(2, 0x04, 4, UINT32_MAX); /* group:: */
    entry(3, 0x10, 4, UINT32_MAX); /* mask:: */
    entry(4, 0x20, 0, UINT32_MAX); /* other:: */
    struct timespec start, end;
    clock_gettime(CLOCK_MONOTONIC, &start);
    const double cpuStart = cpuSeconds();
    const int root = open(argv[1], O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (root < 0 || walk(root) != 0)
        return 1;
    clock_gettime(CLOCK_MONOTONIC, &end);
    const double wall = (end.tv_sec - start.tv_sec) + (end.tv_nsec - start.tv_nsec) / 1e9;
    printf("%ld files, %.2f us CPU and %.2f us wall-clock time per file\n", files, (cpuSeconds() - cpuStart) / files * 1e6,
           wall / files * 1e6);
    return 0;
}
