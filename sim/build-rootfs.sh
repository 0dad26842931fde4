#!/bin/sh
# Builds the simulated gateway's root file system from the project.
# Usage: build-rootfs.sh ROOT AGENT UCI FASTSLEEP
#   ROOT   directory to (re)create, under the build directory
#   AGENT  the pemo-agent binary; UCI  the uci tool
#   FASTSLEEP  the library that shortens the agent's sleeps (gateway.sh --fast-sleeps)
set -eu
root=$1 agent=$2 uci=$3 fastsleep=$4
sim=$(cd "$(dirname "$0")" && pwd)
source_dir=$(dirname "$sim")

[ -x /bin/dash ] || { echo "build-rootfs: /bin/dash missing" >&2; exit 1; }
[ -x /bin/busybox ] || { echo "build-rootfs: /bin/busybox missing (install busybox-static)" >&2; exit 1; }
command -v sqlite3 >/dev/null || { echo "build-rootfs: sqlite3 missing" >&2; exit 1; }

rm -rf "$root"
mkdir -p "$root"
cd "$root"
mkdir -p bin sbin usr/bin usr/sbin etc/config etc/pemo-agent tmp var/run var/log proc dev sim/knobs root
chmod 1777 tmp

# busybox for the shell and every ordinary tool
cp /bin/busybox bin/busybox
for applet in $(bin/busybox --list-full); do
	mkdir -p "$(dirname "$applet")"
	[ -e "$applet" ] || ln -s /bin/busybox "$applet"
done

# A binary with the shared libraries it loads.
install_binary() {
	cp "$1" "$root$2"
	ldd "$1" 2>/dev/null | awk '{ for (i = 1; i <= NF; i++) if ($i ~ /^\//) print $i }' |
		while read -r lib; do
			mkdir -p "$root$(dirname "$lib")"
			[ -e "$root$lib" ] || cp -L "$lib" "$root$lib"
		done
}
# The shell is dash, not busybox's: the distribution's busybox shell runs its own
# applets ahead of PATH, so "reboot" or "ping" would reach busybox's real tools
# instead of the gateway's stand-ins below.
rm -f bin/sh
install_binary /bin/dash /bin/sh
install_binary "$agent" /usr/sbin/pemo-agent
install_binary "$uci" /sbin/uci
# The probe database's own client, for people and tests inside the gateway.
install_binary "$(command -v sqlite3)" /usr/bin/sqlite3

cp "$fastsleep" sim/fastsleep.so

# The platform tools, all served by one stand-in.
cp "$sim/standin.sh" sim/standin
cp "$sim/knobs.tsv" sim/knobs.tsv
cp "$sim/init.sh" sim/init
chmod 755 sim/standin sim/init
for tool in /usr/sbin/sys /bin/ping /usr/bin/traceroute /sbin/route /sbin/ifconfig \
	/usr/sbin/hv1905App /bin/halvo_WPS_ctrl /usr/bin/SpeedTest /bin/hvhttpd \
	/usr/sbin/get_online_info /usr/sbin/get_online_fw /usr/sbin/fw_upgrade \
	/usr/sbin/do_fw_upgrade.sh /usr/sbin/halvo_led_ctrl /sbin/reboot /sbin/romreset \
	/bin/getGuestWifiBonus.sh /bin/addGuestWifiBonus.sh /bin/removeGuestWifiBonus.sh \
	/sbin/uci_apply /etc/pemo-agent/wifi_setting_flag.sh; do
	rm -f ".$tool"
	ln -s /sim/standin ".$tool"
done

# Seeded state of a gateway in use.
cp "$sim"/seed/etc/config/* etc/config/
cp "$source_dir/data/feature.json" etc/pemo-agent/feature.json
cp "$sim"/seed/tmp/* tmp/
printf '\100\037\000\000\020\047\000\000' >tmp/bwm_result # rx 8000, tx 10000, native order
"$sim/seed-db.sh" tmp/lanwatch.db
printf 'root:x:0:0:root:/root:/bin/sh\n' >etc/passwd
printf 'root:x:0:\n' >etc/group

# Device nodes are bound from the host at start; these are the mount points, plus
# regular files standing in for the console and the flash partition.
touch dev/null dev/zero dev/random dev/urandom dev/console sim/drop_caches sim/calls.log
printf '\377\001' >dev/mtdblock3
