#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Lays out every tracked C and C++ file as .clang-format says.
#
#   scripts/format.sh           writes them
#   scripts/format.sh --check   changes nothing, names what is laid out otherwise, and fails if anything is
#
# Versions of clang-format differ in details: it is Debian 12's that counts.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh

case "${1-}" in
  "") how="-i" ;;
  --check) how="--dry-run -Werror" ;;
  *)
    echo "usage: $0 [--check]" >&2
    exit 2
    ;;
esac
ensure_packages clang-format-14
git ls-files -z '*.c' '*.cc' '*.h' | xargs -0 -r clang-format-14 $how
