#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# wine_run.sh PROGRAM [ARGUMENT...]: runs a program for 64-bit or 32-bit Windows by Wine, without a display, silent where the program is silent.
#
# Wine's homes lie below build-windows-sysroot. There "C:" is a folder of that home, "Z:" the root of this system, and the folder for temporary
# files lies on "Z:", where what is built lies. Wine's desktop is not started: nothing here shows windows. Programs of 32 bits are run by this
# system's wine32, or else by that of scripts/wine32_root.sh, which sees this tree and /tmp of this system.
set -eu
tree=$(cd "$(dirname "$0")/.." && pwd)
root=$tree/build-windows-sysroot
# Names are UTF-8, whatever the caller's language.
export WINEDEBUG="${WINEDEBUG:--all}" WINEDLLOVERRIDES="mscoree,mshtml=;explorer.exe,winemenubuilder.exe=d" LC_ALL=C.UTF-8
unset DISPLAY WAYLAND_DISPLAY

# The two bytes of the processor, behind the mark whose place stands at 60.
mark=$(od -An -tu4 -j60 -N4 "$1" | tr -d ' ')
case $(od -An -tx2 -j$((mark + 4)) -N2 "$1" | tr -d ' ') in
  014c) bits=32 ;;
  *) bits=64 ;;
esac
export WINEPREFIX="$root/wine$bits"

run() {
  if [ $bits = 64 ]; then
    wine "$@"
  elif [ -x /usr/lib/wine/wine ]; then
    WINEARCH=win32 /usr/lib/wine/wine "$@"
  else
    # In mounts of its own, so that nothing is left mounted.
    map=
    [ "$(id -u)" = 0 ] || map=--map-root-user
    # shellcheck disable=SC2086,SC2016
    unshare $map --mount sh -c '
      tree=$1 root=$2 here=$3
      shift 3
      for place in "$tree" /tmp; do
        mkdir -p "$root$place"
        mount --rbind "$place" "$root$place"
      done
      mount --rbind /proc "$root/proc"
      exec chroot "$root" sh -c '"'"'cd "$1" && shift && exec env WINEARCH=win32 HOME=/root /usr/lib/wine/wine "$@"'"'"' sh "$here" "$@"
    ' sh "$tree" "$root/wine32-root" "$PWD" "$@"
  fi
}

# Wine's services start with its first program and outlive it. They are started apart, so that they hold none of the caller's files; programs
# that are started side by side wait for the one that does it.
(
  flock 9
  # It knows its folder for temporary files by name, and may have been moved.
  if [ "$(cat "$WINEPREFIX/prepared" 2>/dev/null)" != "$root" ]; then
    mkdir -p "$root/tmp"
    for name in TMP TEMP; do
      run reg add 'HKCU\Environment' /v "$name" /d "Z:$root/tmp" /f 9>&-
    done
    echo "$root" >"$WINEPREFIX/prepared"
  else
    # A program that meets the services just ending may fail before it begins; the next starts them anew.
    run cmd /c exit 9>&- || run cmd /c exit 9>&- || :
  fi
) 9>"$root/wine$bits.lock" </dev/null >/dev/null 2>&1
run "$@"
