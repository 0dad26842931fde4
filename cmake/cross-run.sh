#!/bin/sh
# Runs a cross-built test program under qemu-user (cmake/cross.cmake names it the
# emulator). qemu-user cannot make namespaces for its guest, so they are made
# around it: private user, mount and network namespaces, as the tests make them.
# usage: cross-run.sh QEMU TRIPLET SYSROOT PROGRAM [ARGUMENTS...]
qemu=$1 triplet=$2 sysroot=$3
shift 3
exec unshare --user --map-root-user --mount --net -- env PEMO_NAMESPACES_MADE=1 \
	"$qemu" -L "/usr/$triplet" -E "LD_LIBRARY_PATH=$sysroot/usr/lib/$triplet" "$@"
