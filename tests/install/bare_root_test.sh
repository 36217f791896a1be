#!/bin/bash
# Installs the Debian packages into a bare Debian, builds the programs of the getting-started page
# there, runs everything, and removes the packages again. Needs root's rights.
#
#   bare_root_test.sh FOLDER_OF_PACKAGES
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
project=$(cd "$here/../.." && pwd)
fail() { echo "$*" >&2; exit 1; }

if [ "${1:-}" != --inside ]; then
  root=$(mktemp -d)
  status=0
  as_root=(env)
  [ "$(id -u)" = 0 ] || as_root=(sudo -n -E)
  "${as_root[@]}" unshare --mount --propagation private -- \
    "$BASH" "$0" --inside "$root" "$(realpath "$1")" || status=$?
  "${as_root[@]}" rm -rf --one-file-system "$root"
  exit $status
fi

root=$2 packages=$3
. "$project/scripts/debian_root.sh"
log=$packages/bare_root.log
make_debian_root amd64 "$root" >"$log" 2>&1 || fail "no bare Debian: $log"
mkdir -p "$root/trial"
cp "$packages"/*.deb "$root/trial/"
cp -R "$project/examples" "$root/trial/"
# The C program and the CMake file as the page has them.
page=$project/docs/getting_started_linux.md
sed -n '/^## In C/,/^`tervalon/s/^    //p' "$page" >"$root/trial/prog.c"
mkdir "$root/trial/project"
sed -n '/^## With CMake/,/^`-D/s/^    //p' "$page" >"$root/trial/project/CMakeLists.txt"
cp "$root/trial/prog.c" "$root/trial/project/prog.cc"

inside() {
  env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C DEBIAN_FRONTEND=noninteractive \
    chroot "$root" sh -ec "cd /trial; $1" </dev/null
}
install() {
  inside "apt-get -q -y --no-install-recommends install $1" >>"$log" 2>&1 || fail "installing: $log"
}
files() {
  inside "find / -xdev \( -path /proc -o -path /dev -o -path /trial -o -path /var \) -prune \
    -o -print" | sort
}

install "libcairo2 libexpat1 libsqlite3-0 libnetcdf19 libgtk-3-0"
files >"$packages/before"
install "./libtervalon1_*.deb ./tervalon_*.deb ./tervalon-view_*.deb"
inside "tervalon --version; tervalon simulate DEMO.RAW; tervalon info DEMO.RAW" >/dev/null ||
  fail "the program does not run"
inside "tervalon plot DEMO.RAW -o /trial/picture.png" >/dev/null || fail "no picture"
inside "tervalon-view --version" >/dev/null || fail "the browser does not run"
inside "dpkg --purge tervalon tervalon-view libtervalon1" >/dev/null
files >"$packages/after"
diff "$packages/before" "$packages/after" || fail "^ left behind by the packages, or taken away"

install "gcc g++ libc6-dev pkg-config cmake make ./libtervalon1_*.deb ./libtervalon-dev_*.deb"
inside 'cc prog.c $(pkg-config --cflags --libs tervalon) -o prog; ./prog' |
  grep -qx 'function 1: Standard centroid' || fail "the C program"
inside 'cmake -S project -B build >/dev/null; cmake --build build >/dev/null; build/prog' |
  grep -qx 'function 1: Standard centroid' || fail "the CMake program"
inside 'cc examples/c/read_raw.c $(pkg-config --cflags --libs tervalon) -o read; ./read DEMO.RAW' |
  grep -q 'highest at 4.67 min' || fail "the example"
inside "dpkg --purge libtervalon-dev" >/dev/null
install "./libtervalon1_*.deb ./python3-tervalon_*.deb"
inside 'python3 -B -c "import tervalon; print(tervalon.open(\"DEMO.RAW\")[1].at_time(4.67))"' |
  grep -qx '<Scan 141 at 4.6667 min, 63 points>' || fail "the Python package"
inside "dpkg --purge python3-tervalon libtervalon1" >/dev/null
inside "find / -xdev -path /trial -prune -o -name '*tervalon*' -print" | grep -v '^/proc' &&
  fail "^ left behind"
rm -f "$packages"/{before,after} "$log"
echo "installed, run and removed in a bare Debian"
