#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# wine32_root.sh FOLDER: a Debian of 32 bits with its Wine, in FOLDER, for programs of 32-bit Windows. Does nothing where it is there, or where this
# system has that Wine itself (the package wine32 of the architecture i386). Installs what makes it; needs an x86-64 processor and system that run
# 32-bit programs.
set -eu
. "$(dirname "$0")/packages.sh"
folder=$1
[ -e "$folder/complete" ] || [ -x /usr/lib/wine/wine ] && exit 0
ensure_packages mmdebstrap arch-test
mkdir -p "$(dirname "$folder")"
# From where this system's own packages come.
release=$(. /etc/os-release && echo "$VERSION_CODENAME")
sources=$(apt-get indextargets --format 'deb $(SITE) $(RELEASE) $(COMPONENT) $(ORIGIN)' 'Created-By: Packages' | sed -n 's/ Debian$//p' |
  grep " $release main$" | sort -u | head -n 1)
mmdebstrap --architectures=i386 --variant=apt --include=wine,wine32,libwine "$release" "$folder" "$sources" >&2
: >"$folder/complete"
