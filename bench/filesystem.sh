# Sourced by the benchmark scripts. make_work TYPE makes $work: a fresh folder in the current
# folder, or, with TYPE (tmpfs, ext4, xfs or btrfs; root only), the root of a file system of
# that type mounted for the run (a sparse loop image of IMAGE_SIZE, 2G unless set, or memory
# for tmpfs; ext4 gets an inode per 4 KiB, enough for four trees of a million files in 24G).
# Everything is unmounted and removed when the script exits.
make_work() {
    local type=${1:-}
    work=$(mktemp -d "$PWD/benchmark-XXXXXX")
    if [ -z "$type" ]; then
        trap 'rm -rf "$work"' EXIT
        return
    fi
    [ "$(id -u)" -eq 0 ] || { echo "mounting $type needs root" >&2; exit 1; }
    image="$work.img"
    trap 'umount "$work" 2>/dev/null || umount -l "$work" 2>/dev/null; rm -rf "$work" "$image"' EXIT
    case "$type" in
        tmpfs) mount -t tmpfs -o "size=${IMAGE_SIZE:-2G},nr_inodes=0" benchmark "$work" ;;
        ext4|xfs|btrfs)
            truncate -s "${IMAGE_SIZE:-2G}" "$image"
            case "$type" in
                ext4) mkfs.ext4 -q -F -i 4096 "$image" ;;
                xfs) mkfs.xfs -q "$image" ;;
                btrfs) mkfs.btrfs -q "$image" >/dev/null ;;
            esac
            mount -o loop "$image" "$work" ;;
        *) echo "unknown file system type: $type" >&2; exit 64 ;;
    esac
}
