#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# The tests of kernels, front end and sessions on ARM64, by qemu-user: installs the cross compiler where it is missing, unpacks the libraries of
# the target into build-arm64-sysroot, builds, runs. Exit code 0: everything passed.
#
#   scripts/test_arm64.sh                 those that say whether this processor gives the same results
#   scripts/test_arm64.sh --write PAGE    and their counts into the table of PAGE (docs/platforms.md)
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
ensure_packages $build_packages g++-aarch64-linux-gnu qemu-user python3 ccache
scripts/arm64_sysroot.sh build-arm64-sysroot
cmake --preset arm64 >&2
cmake --build --preset arm64 -j "$(build_jobs)" \
  --target wvad_frontend_test wvad_nn_test wvad_network_scores_test wvad_builtin_fft_test wvad_api_test wvad_engine_test >&2
mkdir -p build-logs
result=0
# The one that is left out starts its own program anew, which the system can do for a foreign processor only where binfmt is set up.
ctest --preset arm64 -R '^(frontend|nn|network_scores|builtin_fft|api|engine)\.' -E VariableThatNamesTheReferenceIsReadOnce -j "$(build_jobs)" --no-tests=error \
  --output-junit "$PWD/build-logs/arm64.xml" || result=1
scripts/platform_row.py "ARM64, qemu-user" build-arm64 build-logs/arm64.xml "$@"
exit $result
