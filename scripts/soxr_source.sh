#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Unpacks the sources of libsoxr, as Debian has them, into a folder: where a library of the target cannot be installed, it is built along.
# Nothing is installed, and the system's package sources stay as they are.
#
#   scripts/soxr_source.sh FOLDER      FOLDER/src, FOLDER/LICENCE; does nothing where it is complete
set -eu
folder=$1
[ -e "$folder/complete" ] && exit 0
. /etc/os-release
mkdir -p "$folder/apt/lists/partial" "$folder/apt/cache/archives/partial" "$folder/apt/sources"
folder=$(cd "$folder" && pwd)
cat >"$folder/apt/sources/source.sources" <<EOF
Types: deb-src
URIs: http://deb.debian.org/debian
Suites: $VERSION_CODENAME
Components: main
Signed-By: /usr/share/keyrings/debian-archive-keyring.gpg
EOF
source_apt() {
  apt-get -q -o APT::Sandbox::User=root -o Dir::State::lists="$folder/apt/lists" -o Dir::Cache="$folder/apt/cache" \
    -o Dir::Etc::SourceList=/dev/null -o Dir::Etc::SourceParts="$folder/apt/sources" "$@" >&2
}
source_apt update
(cd "$folder" && source_apt source --download-only libsoxr)
tar -xf "$folder"/libsoxr_*.orig.tar.* -C "$folder" --strip-components=1
rm -r "$folder/apt"
: >"$folder/complete"
