#!/bin/sh
# Checks the gateway packaging: the init script parses, the recipe keeps its
# promises (licence file, conffiles, the shipped log level), and an install into
# a staging directory puts exactly the agent and its feature list in place (the
# uci tool only when asked).
# Usage: check.sh SOURCE_DIR BUILD_DIR
set -eu
source=$1 build=$2
sh -n "$source/packaging/openwrt/pemo-agent/files/pemo-agent.init"
grep -q 'procd_set_param respawn' "$source/packaging/openwrt/pemo-agent/files/pemo-agent.init"
recipe="$source/packaging/openwrt/pemo-agent/Makefile"
grep -q 'BuildPackage,pemo-agent' "$recipe"
# The recipe names a licence file that exists, ships no feature list as a
# conffile (an upgrade must bring the new one), and the init script's default
# log level is the one the shipped configuration sets.
test -f "$source/$(sed -n 's/^PKG_LICENSE_FILES:=//p' "$recipe")"
sed -n '/conffiles/,/endef/p' "$recipe" | grep -q feature.json && { echo "feature list is a conffile" >&2; exit 1; }
shipped=$(sed -n "s/.*option log_level '\([0-9]*\)'.*/\1/p" "$source/packaging/openwrt/pemo-agent/files/pemo-agent.config")
grep -q "config_get log_level main log_level $shipped\$" "$source/packaging/openwrt/pemo-agent/files/pemo-agent.init" ||
	{ echo "the init script's default log level is not the shipped $shipped" >&2; exit 1; }

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
