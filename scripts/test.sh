#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# From a fresh Debian 12 to passed tests: installs what they need, builds with warnings as errors, runs all tests plainly and under the
# Address and UB sanitizers, those that use threads under the thread sanitizer, and those of networks and sessions on the reference kernels
# alone and on the transform of this tree. Exit code 0: everything passed.
#
#   scripts/test.sh           all of it
#   scripts/test.sh --quick   the plain build alone
#   scripts/test.sh --clang   all of it, a build of library and program with clang, and the kernels and recorded sessions of ARM64 by an emulator,
#                             where the cross compiler can be had
#   scripts/test.sh --all     that, and what asks for large packages of its own: the other platforms by emulators (ARM64, Windows), the package
#                             for JavaScript (emscripten, 1 GB), the tests on a cluster of Slurm, the packages made twice and tried (as root)
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh

quick=no
clang=no
all=no
for argument in "$@"; do
  case "$argument" in
    --quick) quick=yes ;;
    --clang) clang=yes ;;
    --all)
      clang=yes
      all=yes
      ;;
    *)
      echo "usage: $0 [--quick] [--clang] [--all]" >&2
      exit 2
      ;;
  esac
done

ensure_packages $build_packages $test_packages
if [ "$clang" = yes ]; then ensure_packages clang; fi
if [ "$all" = yes ]; then ensure_packages slurm-wlm munge; fi
jobs=$(build_jobs)
logs=build-logs
mkdir -p "$logs"

# failed_tests LOG: what ctest says of each test that failed, and the words of the test, 100 lines of each at most.
failed_tests() {
  awk '/^ *Start +[0-9]+:/ || /^ *[0-9]+\/[0-9]+ Test +#/ || /% tests passed/ { left = /\*\*\*/ && !/Skipped/ ? 100 : 0 }
       left-- > 0' "$1"
}

# step NAME COMMAND...: runs it into a log file, and shows the log only if it fails. What this machine cannot have (exit code 77) is told and
# left out.
step() {
  name=$1
  shift
  started=$(date +%s)
  if "$@" >"$logs/$name.log" 2>&1 </dev/null; then
    echo "ok      $name ($(($(date +%s) - started)) s) $(grep -E '% tests passed' "$logs/$name.log" || true)"
  elif [ $? -eq 77 ]; then
    echo "left out $name: $(tail -n 1 "$logs/$name.log")"
  else
    tail -n 200 "$logs/$name.log"
    # Of thousands of tests the one that failed need not be among the last.
    failed_tests "$logs/$name.log"
    echo "FAILED  $name, see $logs/$name.log" >&2
    exit 1
  fi
}

# build PRESET [TARGET...]
build() {
  preset=$1
  shift
  step "configure-$preset" cmake --preset "$preset"
  if [ $# -gt 0 ]; then set -- --target "$@"; fi
  step "build-$preset" cmake --build --preset "$preset" -j "$jobs" "$@"
}

step format scripts/format.sh --check
build ci
step test-ci ctest --preset ci -j "$jobs" --no-tests=error
[ "$quick" = yes ] && exit 0

# Suppressed reports would be no reports: both sanitizers end the program at the first finding.
export ASAN_OPTIONS=detect_stack_use_after_return=1:strict_string_checks=1
export UBSAN_OPTIONS=print_stacktrace=1
build asan-ubsan
step test-asan-ubsan ctest --preset asan-ubsan -j "$jobs" --no-tests=error

build tsan wvad_threaded_tests
step test-tsan ctest --preset tsan --no-tests=error

# Without instruction levels: what the networks and whole sessions give must not depend on them.
build ref wvad_nn_test wvad_network_scores_test wvad_api_test
step test-ref ctest --preset ref -R '^(nn|network_scores|api)\.' -j "$jobs" --no-tests=error

# Without FFTW; the wheel for Python is then not under the GPL, and says so.
build builtin-fft wvad_frontend_test wvad_network_scores_test wvad_api_test wvad_builtin_fft_test wvad wvad-stream \
  wvad_program wvad_audio_reader
step test-builtin-fft ctest --preset builtin-fft -R '^(frontend|network_scores|api|builtin_fft)\.|^fft_linkage|^python\.installation' -j "$jobs" --no-tests=error

if [ "$clang" = yes ]; then build clang wvad_program wvad_example_sentences; fi
if [ "$clang" = yes ] && [ "$all" = no ]; then step arm64 scripts/test_arm64.sh --part; fi
if [ "$all" = yes ]; then
  step arm64 scripts/test_arm64.sh
  step windows scripts/test_windows.sh
  step js scripts/test_js.sh
  step make-packages scripts/make_packages.sh --twice
  step test-packages scripts/test_packages.sh
fi
