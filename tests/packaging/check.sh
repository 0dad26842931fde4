#!/bin/sh
# Checks the gateway packaging: the init script parses, the recipe keeps its
# promises (licence file, conffiles, the shipped log level), and its install
# steps put exactly the package's files in place (our uci tool is never one).
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

# The recipe's own install steps, run as the SDK runs them on this build's
# install tree (a cross build's under scripts/cross.sh), must put exactly the
# package's files in place, each with its mode.
stage="$build/packaging-stage"
rm -rf "$stage"
DESTDIR="$stage/install" cmake --install "$build" --prefix /usr >/dev/null
sed -n '/^define Package\/pemo-agent\/install/,/^endef/p' "$recipe" | sed '1d;$d' |
	sed -e "s|\$(1)|$stage/root|g" -e "s|\$(PKG_INSTALL_DIR)|$stage/install|g" \
	    -e 's|\$(INSTALL_DIR)|install -d -m0755|g' -e 's|\$(INSTALL_BIN)|install -m0755|g' \
	    -e 's|\$(INSTALL_DATA)|install -m0644|g' -e 's|\$(INSTALL_CONF)|install -m0600|g' >"$stage/install.sh"
grep -q '\$(' "$stage/install.sh" && { echo "the recipe's install uses a variable this check does not know" >&2; exit 1; }
(cd "$source/packaging/openwrt/pemo-agent" && sh -e "$stage/install.sh")
found=$(cd "$stage/root" && find . -type f -printf '%p:%m\n' | sort | tr '\n' ' ')
expected="./etc/config/pemo-agent:600 ./etc/init.d/pemo-agent:755 ./etc/pemo-agent/feature.json:644 ./usr/sbin/pemo-agent:755 "
if [ "$found" != "$expected" ]; then
	echo "installed: $found" >&2
	echo "expected:  $expected" >&2
	exit 1
fi
rm -rf "$stage"
echo "packaging: 1 passed, 0 failed"
