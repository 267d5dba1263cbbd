# SPDX-License-Identifier: Apache-2.0
# Sourced by the other scripts: installs Debian packages that are missing. Needs root or sudo only if one is.

build_packages="g++ cmake ninja-build pkg-config libfftw3-dev libboost-dev libboost-thread-dev libboost-system-dev libsndfile1-dev
  libflac-dev libmpg123-dev libogg-dev libsoxr-dev nettle-dev zlib1g-dev libcli11-dev nlohmann-json3-dev libavformat-dev libavcodec-dev
  libavutil-dev libswresample-dev libpugixml-dev portaudio19-dev
  libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev"
test_packages="libgtest-dev libgmock-dev libbenchmark-dev ccache python3 binutils file man-db universal-ctags ffmpeg chromium nodejs abigail-tools
  libxml2-utils praat sctk zsh fish python3-numpy python3-pip python3-setuptools python3-venv python3-wheel patchelf mypy
  python3-distributed
  gstreamer1.0-plugins-base gstreamer1.0-tools"
windows_packages="g++-mingw-w64-x86-64-posix g++-mingw-w64-i686-posix wine wine64 googletest dpkg-dev python3 ccache"
js_packages="emscripten nodejs esbuild node-typescript ccache"
arm64_packages="g++-aarch64-linux-gnu qemu-user python3 ccache"

install_quietly() {
  $as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "$@" </dev/null >&2
}

ensure_packages() {
  missing=""
  for package in "$@"; do
    if ! dpkg-query -W -f '${Status}\n' "$package" 2>/dev/null | grep -q '^install ok installed$'; then
      missing="$missing $package"
    fi
  done
  [ -z "$missing" ] && return 0
  as_root=""
  if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
      echo "$0: these packages are missing, and there is neither root nor sudo to install them:$missing" >&2
      return 1
    fi
    as_root="sudo"
  fi
  echo "installing:$missing" >&2
  # A machine that never fetched its package lists knows no packages; one with old lists asks for files that are gone.
  set -- $missing
  if ! ls /var/lib/apt/lists/*_Packages* >/dev/null 2>&1 || ! install_quietly "$@"; then
    $as_root apt-get update -q </dev/null >&2
    install_quietly "$@"
  fi
}

# What several compilers at once may need of memory: one for each core, but no more than one for each GiB. WVAD_JOBS says another number.
build_jobs() {
  if [ -n "${WVAD_JOBS:-}" ]; then
    echo "$WVAD_JOBS"
    return
  fi
  cores=$(nproc)
  gib=$(sed -n 's/^MemAvailable: *\([0-9]*\) kB/\1/p' /proc/meminfo 2>/dev/null)
  gib=$((${gib:-2097152} / 1048576))
  [ "$gib" -ge 1 ] || gib=1
  [ "$cores" -lt "$gib" ] && echo "$cores" || echo "$gib"
}
