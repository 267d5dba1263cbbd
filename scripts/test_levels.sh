#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# The tests of kernels, front end and sessions on every instruction level of this processor's kind that it runs, each forced in turn, and what a
# frame costs on it. Exit code 0: everything passed.
#
#   scripts/test_levels.sh                 on the build of the preset ci, which it makes
#   scripts/test_levels.sh --write PAGE    and their counts into the table of PAGE (docs/platforms.md)
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
ensure_packages $build_packages $test_packages
cmake --preset ci >&2
cmake --build --preset ci -j "$(build_jobs)" \
  --target wvad_frontend_test wvad_nn_test wvad_network_scores_test wvad_builtin_fft_test wvad_api_test wvad_engine_test wvad_stage_bench >&2
mkdir -p build-logs
case $(uname -m) in
  x86_64) platform="Linux on x86-64" levels="ref sse sse41 avx2 avx512" ;;
  *) platform="Linux on $(uname -m)" levels="ref neon dotprod i8mm" ;;
esac
result=0
for level in $levels; do
  log="$PWD/build-logs/level-$level"
  export WVAD_FORCE_KERNELS=$level
  ctest --preset ci -R '^(frontend|nn|network_scores|builtin_fft|api|engine)\.' -j "$(build_jobs)" --no-tests=error --output-junit "$log.xml" || result=1
  build-ci/bin/wvad_stage_bench models/lstm_fb40.bin models/lstm_fb75.bin models/dnn_fb75.bin --benchmark_filter='EndToEnd/.*/(int8|fixed|int)/' \
    --benchmark_out_format=json --benchmark_out="$log.json" >/dev/null
  scripts/platform_row.py "$platform, $level" build-ci "$log.xml" --bench "$log.json" "$@"
done
exit $result
