#!/usr/bin/env bash
# Cross-builds the agent for a gateway architecture (armhf or mipsel) with
# Debian's cross toolchain, runs the unit tests under qemu-user, and prints the
# stripped sizes. Usage: scripts/cross.sh ARCH   (as root: it installs what it needs)
source "$(dirname "$0")/common.sh"
arch=${1:-}
case $arch in
armhf) triplet=arm-linux-gnueabihf qemu=qemu-arm ;;
mipsel) triplet=mipsel-linux-gnu qemu=qemu-mipsel ;;
*) echo "usage: scripts/cross.sh armhf|mipsel" >&2; exit 2 ;;
esac
PACKAGES+=("crossbuild-essential-$arch" qemu-user)
install_packages

# The target's libraries are unpacked into a folder of the build, not installed:
# the machine's own packages stay as they are.
dir=$ROOT/build-cross-$arch
sysroot=$dir/sysroot
if [ ! -f "$sysroot/.unpacked" ]; then
  dpkg --print-foreign-architectures | grep -qx "$arch" || dpkg --add-architecture "$arch"
  apt-get update -qq || echo "apt-get update reported errors; downloading with the indexes it has" >&2
  mkdir -p "$dir/debs" "$sysroot"
  (cd "$dir/debs" && apt-get download -q \
    "libjson-c-dev:$arch" "libjson-c5:$arch" "libsqlite3-dev:$arch" "libsqlite3-0:$arch" "libgtest-dev:$arch")
  for deb in "$dir"/debs/*.deb; do dpkg -x "$deb" "$sysroot"; done
  touch "$sysroot/.unpacked"
fi

units=(platform_tests core_tests request_tests info_tests diag_tests control_tests firmware_tests wifi_tests
       quicksetup_tests)
export PKG_CONFIG_LIBDIR=$sysroot/usr/lib/$triplet/pkgconfig PKG_CONFIG_SYSROOT_DIR=$sysroot
build "$dir" -DCMAKE_TOOLCHAIN_FILE="$ROOT/cmake/cross.cmake" -DPEMO_CROSS_TRIPLET=$triplet \
  -DPEMO_CROSS_SYSROOT="$sysroot" -DPEMO_CROSS_QEMU="$(command -v $qemu)" -DCMAKE_BUILD_TYPE=Release \
  -DPEMO_BUILD_BENCH=OFF -DPEMO_THIRD_PARTY="$dir/no-third-party" -- pemo-agent uci "${units[@]}"
# The unit tests; end-to-end tests need the simulated gateway, which runs host binaries.
(cd "$dir" && ctest --output-on-failure -j"$(nproc)" -LE e2e -E '^UciInterop|_NOT_BUILT')
cp "$dir/src/pemo-agent" "$dir/pemo-agent.stripped"
$triplet-strip "$dir/pemo-agent.stripped"
printf '%s: pemo-agent %s bytes stripped (%s unstripped)\n' "$arch" \
  "$(stat -c %s "$dir/pemo-agent.stripped")" "$(stat -c %s "$dir/src/pemo-agent")"
