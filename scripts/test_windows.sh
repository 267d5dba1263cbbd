#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# The libraries for 64-bit Windows, and their tests by Wine: installs Debian's cross compiler and its 64-bit Wine where they are missing, makes the
# libraries of the target in build-windows-sysroot, builds, runs. Exit code 0: everything passed.
#
#   scripts/test_windows.sh                 the tests of the platform layer, the DLLs, and those that say whether this system gives the same
#                                           results
#   scripts/test_windows.sh --write PAGE    and their counts into the table of PAGE (docs/platforms.md)
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
ensure_packages $build_packages g++-mingw-w64-x86-64-posix wine wine64 googletest dpkg-dev python3 ccache
WVAD_JOBS=$(build_jobs) scripts/windows_sysroot.sh build-windows-sysroot/x86_64-w64-mingw32 x86_64-w64-mingw32
cmake --preset win64 >&2
cmake --build --preset win64 -j "$(build_jobs)" --target wvad wvad-stream wvad_models wvad_platform_test wvad_dll_test wvad_frontend_test \
  wvad_nn_test wvad_network_scores_test wvad_builtin_fft_test wvad_api_test wvad_engine_test wvad_stream_test wvad_stream_threads_test \
  wvad_stream_c_client wvad_stream_cxx_client >&2
mkdir -p build-logs
result=0
ctest --preset win64 -R '^(stream_)?exports|^(platform|dll|stream|stream_threads)\.' -j "$(build_jobs)" --no-tests=error || result=1
ctest --preset win64 -R '^(frontend|nn|network_scores|builtin_fft|api|engine)\.' -E '^frontend\.transform_' -j "$(build_jobs)" \
  --no-tests=error --output-junit "$PWD/build-logs/windows.xml" || result=1
scripts/platform_row.py "Windows on x86-64, Wine" build-win64 build-logs/windows.xml "$@"
exit $result
