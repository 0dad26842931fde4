# Shared by the set-up scripts: install what is missing, then configure and build.
set -euo pipefail

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
BUILD_DIR=${BUILD_DIR:-$ROOT/build}
# valgrind: its callgrind.h is compiled into the instruction-count probe, which
# every build makes along with the benchmarks.
PACKAGES=(g++ cmake make pkg-config libjson-c-dev libsqlite3-dev libgtest-dev libbenchmark-dev
          busybox-static dash sqlite3 iproute2 util-linux valgrind)

install_packages() {
  local missing=()
  for p in "${PACKAGES[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  if [ "$(id -u)" -ne 0 ]; then
    echo "missing packages: ${missing[*]}; run as root so they can be installed" >&2
    exit 1
  fi
  echo "installing: ${missing[*]}"
  # An index that a mirror is still syncing must not stop the others: the
  # install below says clearly what it then cannot find.
  apt-get update -qq || echo "apt-get update reported errors; installing with the indexes it has" >&2
  DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "${missing[@]}" >/dev/null
}

# build DIR [CMAKE-OPTION...] [-- TARGET...]: configure DIR, then build the targets
# (all by default).
build() {
  local dir=$1 options=() targets=()
  shift
  while [ $# -gt 0 ] && [ "$1" != -- ]; do options+=("$1"); shift; done
  [ $# -gt 0 ] && shift
  for t in "$@"; do targets+=(--target "$t"); done
  cmake -S "$ROOT" -B "$dir" "${options[@]}" >/dev/null
  cmake --build "$dir" -j"$(nproc)" "${targets[@]}"
}

# run_suite DIR: the whole test suite of a build.
run_suite() {
  (cd "$1" && ctest --output-on-failure -j"$(nproc)" --timeout 300)
}
