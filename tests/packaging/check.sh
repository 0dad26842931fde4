#!/bin/sh
# Checks the gateway packaging: the init script parses, and an install into a
# staging directory puts exactly the agent and its feature list in place (the uci
# tool only when asked).
# Usage: check.sh SOURCE_DIR BUILD_DIR
set -eu
source=$1 build=$2
sh -n "$source/packaging/openwrt/pemo-agent/files/pemo-agent.init"
grep -q 'procd_set_param respawn' "$source/packaging/openwrt/pemo-agent/files/pemo-agent.init"
grep -q 'BuildPackage,pemo-agent' "$source/packaging/openwrt/pemo-agent/Makefile"

stage="$build/packaging-stage"
rm -rf "$stage"
DESTDIR="$stage" cmake --install "$build" --prefix /usr >/dev/null
found=$(cd "$stage" && find . -type f | sort | tr '\n' ' ')
expected="./etc/pemo-agent/feature.json ./usr/sbin/pemo-agent "
if [ "$found" != "$expected" ]; then
	echo "installed: $found" >&2
	echo "expected:  $expected" >&2
	exit 1
fi
rm -rf "$stage"
echo "packaging: 1 passed, 0 failed"
