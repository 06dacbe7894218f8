# Sourced by the benchmarks that read a whole tree.
#   against_getfacl N BUILD-FOLDER FILE-SYSTEM NAME ARGUMENT...
# builds a tree of N files (default 100,000) in folders of 100, every tenth with a named
# entry and the folders passing one on (on a file system of that type when one is given,
# see filesystem.sh), reads it once (this machine cannot drop caches), then times
# `getfacl -R` of it against `marrowgate-acl ARGUMENT...` (TREE among them stands for the
# tree) in one hyperfine run (Debian package hyperfine), both written to /dev/null, and
# prints the times and the ratio.
against_getfacl() {
    local files=${1:-100000} build filesystem=${3:-} name=$4
    build=$(cd "${2:-$(dirname "$0")/../build}" && pwd)
    shift 4
    local acl="$build/bin/marrowgate-acl"
    command -v hyperfine >/dev/null || { echo "needs hyperfine (apt-get install hyperfine)" >&2; exit 1; }
    source "$(dirname "${BASH_SOURCE[0]}")/filesystem.sh"
    make_work "$filesystem"
    local tree="$work/tree"
    # An audit for nobody ends at the first folder on the path nobody cannot enter.
    chmod 755 "$work"
    local arguments=("${@//TREE/$tree}")
    mkdir "$tree"
    setfacl -d -m u:nobody:rX "$tree"
    python3 - "$tree" "$files" <<'PY'
import os, sys
root, files = sys.argv[1], int(sys.argv[2])
for n in range(files):
    folder = os.path.join(root, "folder%d" % (n // 100))
    if n % 100 == 0:
        os.mkdir(folder)
    open(os.path.join(folder, "file%d" % n), "w").close()
PY
    find "$tree" -name 'file*0' -exec setfacl -m g:adm:r {} +
    getfacl -R "$tree" >/dev/null 2>&1
    hyperfine -N --warmup 1 --runs 10 --export-json "$work/times.json" \
        -n "getfacl -R" "bash -c 'getfacl -R $tree >/dev/null 2>&1'" \
        -n "$name" "bash -c '$acl ${arguments[*]} >/dev/null 2>&1'" >/dev/null
    python3 - "$work/times.json" "$files" "$(stat -f -c %T "$tree")" <<'PY'
import json, sys
runs = json.load(open(sys.argv[1]))["results"]
base = runs[0]["mean"]
print(f'{int(sys.argv[2]):,} files on {sys.argv[3]}')
for r in runs:
    print(f'{r["command"]:24s} {r["mean"]:7.3f} s ± {r["stddev"]:5.3f} (min {r["min"]:.3f}, max {r["max"]:.3f})  '
          f'{base/r["mean"]:5.2f}× as fast as getfacl -R')
PY
}
