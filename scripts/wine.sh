#!/bin/bash
# Runs Windows programs under Wine.
#
#   scripts/wine.sh setup [x86_64]   finds or makes a Wine and starts it; fails when none can be had
#   scripts/wine.sh run EXE ARG...   runs a program (scripts/run-windows.sh is short for it)
#   scripts/wine.sh stop             ends the Wine servers that are kept between runs
#
# 64-bit programs run under Debian's wine64. For 32-bit programs a `wine` on PATH that really runs
# them is used as it is. Otherwise, with root's rights, a small i386 Debian with Wine is installed
# once in a directory of its own (a few minutes, 1 GB), and programs run in it by chroot, with the
# machine's own directories under their usual names.
#
# One Wine server and one X server stay up between runs (a session), because starting them takes
# longer than most tests. The session ends by itself when nothing has run for a minute. Its mounts
# live in a mount namespace of their own and vanish with it.
#
# TERVALON_WINE_CACHE   where all this is kept (default: ~/.cache/tervalon)
set -euo pipefail

project=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
caches=${TERVALON_WINE_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/tervalon}
idle_seconds=60

say() { echo "wine.sh: $*" >&2; }

have_root() { [ "$(id -u)" = 0 ] || sudo -n true 2>/dev/null; }

as_root() {
  if [ "$(id -u)" = 0 ]; then "$@"; else sudo -n -E "$@"; fi
}

# ---- Which Wine ------------------------------------------------------------------------------

# Each processor has a Wine, a session and a directory of its own.
use_processor() {
  processor=$1
  cache=$caches/wine-$processor
  root=$cache/root
  session=$cache/session
  export WINEPREFIX=$cache/prefix
  if [ "$processor" = i386 ]; then
    wine=wine wineserver=wineserver
  else
    wine=/usr/lib/wine/wine64 wineserver=/usr/lib/wine/wineserver64
  fi
}

# The one that a program is for, from its file header.
processor_of() {
  local header machine
  header=$(od -An -td4 -j60 -N4 "$1") || return 1
  machine=$(od -An -tx2 -j$((header + 4)) -N2 "$1") || return 1
  if [ "$machine" = " 8664" ]; then echo x86_64; else echo i386; fi
}

export WINEDEBUG=${WINEDEBUG:--all}
export WINEDLLOVERRIDES='mscoree,mshtml=' # no offers to install .NET or a browser

# Many a machine has only the 64-bit Wine, which starts but runs nothing of ours.
host_wine_works() {
  command -v wine >/dev/null && command -v wineserver >/dev/null || return 1
  command -v xvfb-run >/dev/null && command -v i686-w64-mingw32-gcc-posix >/dev/null || return 1
  local probe=$cache/probe.exe status=0
  [ -f "$probe" ] ||
    echo 'int main(void) { return 42; }' | i686-w64-mingw32-gcc-posix -x c -static -o "$probe" - || return 1
  WINEPREFIX=$cache/probe-prefix timeout 120 wine "$probe" </dev/null >/dev/null 2>&1 || status=$?
  rm -rf "$cache/probe-prefix"
  [ "$status" = 42 ]
}

# "host" or "chroot", found out once.
wine_kind() {
  if [ "$processor" = x86_64 ]; then
    [ -x "$wine" ] && command -v xvfb-run >/dev/null && echo host && return
    say "wine64 or xvfb-run is missing"
    return 1
  fi
  case $(cat "$cache/kind" 2>/dev/null) in
    host) command -v wine >/dev/null && echo host && return ;;
    chroot) [ -d "$root" ] && echo chroot && return ;;
  esac
  if host_wine_works; then
    echo host >"$cache/kind"
  else
    [ -d "$root" ] || build_chroot || return 1
    echo chroot >"$cache/kind"
  fi
  cat "$cache/kind"
}

# ---- The chroot ------------------------------------------------------------------------------

build_chroot() {
  if ! have_root || ! as_root unshare --mount true 2>/dev/null; then
    say "no Wine that runs 32-bit programs, and no rights to install one in a chroot"
    return 1
  fi
  say "installing an i386 Debian with Wine in $root (once)"
  rm -rf --one-file-system "$root".building.*
  local building log=$cache/build.log
  building=$(mktemp -d "$root.building.XXXXXX")
  # The name `root` is given only to a whole one.
  if as_root unshare --mount --propagation private \
    "$BASH" "${BASH_SOURCE[0]}" fill-chroot "$building" >"$log" 2>&1 </dev/null; then
    as_root mv -T "$building" "$root"
  else
    say "that failed; the last lines of $log:"
    tail -n 20 "$log" >&2
    as_root rm -rf --one-file-system "$building"
    return 1
  fi
}

# As root, in a mount namespace of its own.
fill_chroot() {
  . "$project/scripts/debian_root.sh"
  make_debian_root i386 "$1"
  chroot "$1" apt-get -q -y --no-install-recommends install \
    wine wine32 xvfb xauth fonts-wine fonts-liberation
  chroot "$1" apt-get clean
  rm -rf "$1"/var/lib/apt/lists/*
}

# As root, in the session's mount namespace: puts the machine's own directories into the chroot under
# their own names, so that a path means the same inside and outside.
mount_machine() {
  local directory
  for directory in /*; do
    case $directory in
      /bin | /boot | /etc | /lib* | /lost+found | /run | /sbin | /sys | /usr | /var) continue ;;
    esac
    [ -d "$directory" ] && [ ! -L "$directory" ] || continue
    mkdir -p "$root$directory"
    mount --rbind "$directory" "$root$directory"
  done
  for directory in "$project" "$WINEPREFIX" "$session"; do # they may stand in /usr or /var
    mkdir -p "$root$directory"
    mount --rbind "$directory" "$root$directory"
  done
}

# ---- The session -----------------------------------------------------------------------------

# A process's start time, to tell it from a later one of the same number; nothing for a dead one.
start_time() { sed 's/.*) //' "/proc/$1/stat" 2>/dev/null | awk '$1 != "Z" { print $20 }'; }

# True while the process that wrote $session/pid runs and Wine is ready. Leaves its number in `pid`.
session_lives() {
  local started
  [ -f "$session/display" ] && read -r pid started 2>/dev/null <"$session/pid" &&
    [ "$(start_time "$pid")" = "$started" ]
}

# Runs for as long as the session lives: where Wine is, as the user. Text, because the chroot need not
# see this file. The server is there before the first program, which would otherwise start one that
# ends at once when it is idle; and its end is waited for, whoever started it.
serve='
  { echo "$DISPLAY"; echo "${XAUTHORITY:-}"; } >"$session/display.new"
  "$wineserver" -k
  "$wineserver" -p"$idle_seconds"
  "$wine" wineboot -i
  mv "$session/display.new" "$session/display"
  "$wineserver" -w'

start_session() {
  mkdir -p "$session" "$WINEPREFIX"
  rm -f "$session"/*
  local command=("$BASH" "${BASH_SOURCE[0]}" "session-$kind" "$processor" "$(id -u):$(id -g)")
  [ "$kind" = host ] ||
    command=(unshare --mount --propagation private -- "${command[@]}")
  [ "$kind" = host ] || [ "$(id -u)" = 0 ] || command=(sudo -n -E "${command[@]}")
  setsid "${command[@]}" </dev/null >"$session/log" 2>&1 9>&- &
  local child=$! tries
  for ((tries = 0; tries < 1800; ++tries)); do
    session_lives && return
    kill -0 "$child" 2>/dev/null || break
    sleep 0.1
  done
  say "Wine did not start:"
  tail -n 20 "$session/log" >&2
  return 1
}

run_session() {
  export session idle_seconds wine wineserver
  echo "$$ $(start_time $$)" >"$session/pid"
  cd /
  if [ "$1" = chroot ]; then
    mount_machine
    exec chroot --userspec="$2" "$root" xvfb-run -a sh -c "$serve"
  fi
  exec xvfb-run -a sh -c "$serve"
}

# Leaves `kind` set and a session running.
ensure_session() {
  mkdir -p "$cache"
  exec 9>"$cache/lock"
  flock 9
  kind=$(wine_kind) || return 1
  # Again, where the display went with another that just ended.
  session_lives || start_session || start_session || return 1
  exec 9>&-
}

# ---- Running ---------------------------------------------------------------------------------

# Becomes the given command, in the session and in this working directory.
exec_in_session() {
  [ "$kind" = chroot ] || exec "$@"
  local enter=(nsenter --target "$pid" --mount --root -- chroot --userspec="$(id -u):$(id -g)" /
    sh -c 'cd "$1" 2>/dev/null || cd /; shift; exec "$@"' sh "$PWD" "$@")
  [ "$(id -u)" = 0 ] || exec sudo -n -E "${enter[@]}"
  exec "${enter[@]}"
}

run() {
  local program name value
  program=$(realpath -e "$1") || exit 1
  shift
  use_processor "$(processor_of "$program")"
  ensure_session || exit 1
  { read -r DISPLAY && read -r XAUTHORITY; } <"$session/display"
  export DISPLAY XAUTHORITY
  # A path in one of our variables is handed on as the Windows program has to write it.
  for name in ${!TERVALON_*}; do
    value=${!name}
    if [[ $value == /* ]]; then
      value=Z:${value//\//\\}
      export "$name=$value"
    fi
  done
  exec_in_session "$wine" "$program" "$@"
}

stop() {
  session_lives && kind=$(wine_kind) || return 0
  (exec_in_session "$wineserver" -k) || true # everything else of the session ends with it
  local tries
  for ((tries = 0; tries < 100; ++tries)); do
    session_lives || return 0
    sleep 0.1
  done
  say "the session's process $pid is still there"
  return 1
}

case ${1:-} in
  setup)
    use_processor "${2:-i386}"
    ensure_session
    say "$processor programs run in ${kind/host/Wine on this machine}"
    ;;
  run) shift && run "$@" ;;
  stop)
    for processor in i386 x86_64; do
      use_processor "$processor"
      stop
    done
    ;;
  fill-chroot) fill_chroot "$2" ;;
  session-host | session-chroot)
    use_processor "$2"
    run_session "${1#session-}" "$3"
    ;;
  *)
    sed -n '4,6s/^# *//p' "${BASH_SOURCE[0]}" >&2
    exit 2
    ;;
esac
