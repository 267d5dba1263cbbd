#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# wine_run.sh PROGRAM [ARGUMENT...]: runs a program for 64-bit Windows by Wine, without a display, silent where the program is silent.
#
# Wine's home lies below build-windows-sysroot. There "C:" is a folder of that home, "Z:" the root of this system, and the folder for temporary
# files lies on "Z:", where what is built lies. Wine's desktop is not started: nothing here shows windows.
set -eu
root=$(cd "$(dirname "$0")/../build-windows-sysroot" && pwd)
export WINEPREFIX="$root/wine" WINEDEBUG="${WINEDEBUG:--all}" WINEDLLOVERRIDES="mscoree,mshtml=;explorer.exe=d"
unset DISPLAY WAYLAND_DISPLAY
# Wine's services start with its first program and outlive it. They are started apart, so that they hold none of the caller's files; programs
# that are started side by side wait for the one that does it.
(
  flock 9
  if [ ! -e "$WINEPREFIX/prepared" ]; then
    mkdir -p "$root/tmp"
    for name in TMP TEMP; do
      timeout 120 wine reg add 'HKCU\Environment' /v "$name" /d "Z:$root/tmp" /f 9>&-
    done
    : >"$WINEPREFIX/prepared"
  else
    timeout 120 wine cmd /c exit 9>&-
  fi
) 9>"$root/wine.lock" </dev/null >/dev/null 2>&1
exec wine "$@"
