#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# The libraries and the program for Windows, and their tests by Wine: installs Debian's cross compilers and its Wine where they are missing, makes
# the libraries of the targets in build-windows-sysroot, builds, runs. Exit code 0: everything passed.
#
#   scripts/test_windows.sh                 64 and 32 bits: the tests of the platform layer, the DLLs, those that say whether this system gives
#                                           the same results, and the program beside that of this system
#   scripts/test_windows.sh --bits 64       one of them
#   scripts/test_windows.sh --write PAGE    and their counts into the table of PAGE (docs/platforms.md)
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
widths="64 32"
write=
while [ $# -gt 0 ]; do
  case $1 in
    --bits) widths=$2 ;;
    --write) write=$2 ;;
    *)
      echo "usage: $0 [--bits 64|32] [--write PAGE]" >&2
      exit 2
      ;;
  esac
  shift 2
done
ensure_packages $build_packages wine wine64 googletest dpkg-dev python3 ccache
mkdir -p build-logs
jobs=$(build_jobs)
result=0

# The program of this system, with the same transform, beside which the one for Windows is held.
cmake --preset builtin-fft >&2
cmake --build --preset builtin-fft -j "$jobs" --target wvad_program >&2

for bits in $widths; do
  case $bits in
    64) triplet=x86_64-w64-mingw32 ;;
    *) triplet=i686-w64-mingw32 ;;
  esac
  ensure_packages "g++-mingw-w64-$(echo ${triplet%%-*} | tr _ -)-posix"
  WVAD_JOBS=$jobs scripts/windows_sysroot.sh "build-windows-sysroot/$triplet" "$triplet"
  WVAD_JOBS=$jobs scripts/windows_decoders.sh "build-windows-sysroot/$triplet" "$triplet"
  [ "$bits" = 64 ] || scripts/wine32_root.sh build-windows-sysroot/wine32-root
  preset=win$bits
  cmake --preset "$preset" >&2
  cmake --build --preset "$preset" -j "$jobs" --target wvad wvad-stream wvad_models wvad_program wvad_platform_test wvad_dll_test \
    wvad_frontend_test wvad_nn_test wvad_network_scores_test wvad_builtin_fft_test wvad_api_test wvad_engine_test wvad_stream_test \
    wvad_stream_threads_test wvad_stream_c_client wvad_stream_cxx_client wvad_wvad_windows_test >&2
  ctest --preset "$preset" -R '^(stream_)?exports|^(platform|dll|stream|stream_threads|wvad_windows|program)\.' -j "$jobs" --no-tests=error || result=1
  # Those that are left out build the transform for other systems.
  ctest --preset "$preset" -R '^(frontend|nn|network_scores|builtin_fft|api|engine)\.' -E '^frontend\.transform_' -j "$jobs" \
    --no-tests=error --output-junit "$PWD/build-logs/windows$bits.xml" || result=1
  scripts/platform_row.py "Windows, $bits bits, Wine" "build-win$bits" "build-logs/windows$bits.xml" ${write:+--write "$write"}
done
exit $result
