#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# The tests of kernels, front end and sessions on ARM64, by qemu-user, on a processor for each instruction level: installs the cross compiler
# where it is missing, unpacks the libraries of the target into build-arm64-sysroot, builds, runs. Exit code 0: everything passed, and each
# processor took its level.
#
#   scripts/test_arm64.sh                 those that say whether these processors give the same results
#   scripts/test_arm64.sh --part          of these the kernels and the recorded sessions alone, in some minutes; exit code 77 where compiler or
#                                         libraries of the target cannot be had
#   scripts/test_arm64.sh --write PAGE    and their counts into the table of PAGE (docs/platforms.md)
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
folders="frontend nn network_scores builtin_fft api engine"
without=1
if [ "${1:-}" = --part ]; then
  folders="nn builtin_fft"
  without=77
fi
(ensure_packages $build_packages $arm64_packages && scripts/arm64_sysroot.sh build-arm64-sysroot) || {
  echo "$0: compiler or libraries of ARM64 cannot be had"
  exit $without
}
cmake --preset arm64 >&2
cmake --build --preset arm64 -j "$(build_jobs)" --target wvad_platform_test $(printf 'wvad_%s_test ' $folders) >&2
mkdir -p build-logs
result=0
# What the emulator calls its processors, and the level that each has to take: without sums of products, with those of one kind, with all.
for processor in cortex-a53=neon cortex-a76=dotprod max=i8mm; do
  level=${processor#*=}
  log="$PWD/build-logs/arm64-$level.xml"
  # The one that is left out starts its own program anew, which the system can do for a foreign processor only where binfmt is set up.
  QEMU_CPU=${processor%=*} ctest --preset arm64 -R "^(platform\.ProcessorWords|($(echo $folders | tr ' ' '|'))\.)" \
    -E VariableThatNamesTheReferenceIsReadOnce -j "$(build_jobs)" --no-tests=error --output-junit "$log" || result=1
  [ "${1:-}" = --part ] || scripts/platform_row.py "ARM64, qemu-user, $level" build-arm64 "$log" "$@"
  grep -q "^level $level\$" "$log" || {
    echo "$0: ${processor%=*} did not take the level $level" >&2
    result=1
  }
done
exit $result
