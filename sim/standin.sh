#!/bin/sh
# One stand-in for every platform tool the agent calls, installed under each tool's
# name. Each call appends its exact argument list to /sim/calls.log, acts like the
# real tool as far as the agent's flows need, reads the scenario knobs under
# /sim/knobs (one file per knob), and refuses arguments it does not know.
# Nothing here reaches outside the simulated gateway.

SIM=/sim
tool=${0##*/}

quote() {
	case $1 in
	'' | *[!A-Za-z0-9_./:=,@%+-]*)
		printf "'%s'" "$(printf '%s' "$1" | sed -e ':a' -e '$!{N;ba' -e '}' -e "s/'/'\\\\''/g" -e 's/\n/\\n/g')" ;;
	*) printf '%s' "$1" ;;
	esac
}

record() {
	line=$tool
	for word in "$@"; do line="$line $(quote "$word")"; done
	printf '%s\n' "$line" >>"$SIM/calls.log"
}

# A knob's value: its file under /sim/knobs, else its default in /sim/knobs.tsv.
knob() {
	if [ -f "$SIM/knobs/$1" ]; then head -n 1 "$SIM/knobs/$1"
	else awk -F '\t' -v name="$1" '$1 == name { print $2 }' "$SIM/knobs.tsv"; fi
}

# The platform's reload of firewall or parental rules: rules the agent marked
# for deletion go, and the rest are numbered again from 1 without gaps.
drop_marked_rules() {
	package=$1 n=1 kept=0 dropped=0
	while uci -q get "$package.rule$n" >/dev/null; do
		if [ "$(uci -q get "$package.rule$n.delete")" = 1 ]; then
			uci delete "$package.rule$n"
			dropped=$((dropped + 1))
		else
			kept=$((kept + 1))
			if [ $kept -ne $n ]; then
				uci rename "$package.rule$n=rule$kept"
				if [ "$package" = firewall ]; then
					uci set "firewall.rule$kept.CurPos=$kept"
					uci set "firewall.rule$kept.service=service$kept"
				fi
			fi
		fi
		n=$((n + 1))
	done
	[ $dropped -gt 0 ] || return 0
	if [ "$package" = firewall ]; then
		uci set firewall.general.rules_count=$kept
		uci set firewall.general.NextRulePos=$((kept + 1))
	else
		uci set parental.general.count=$kept
	fi
	uci commit "$package"
}

refuse() {
	echo "REFUSED $tool" >>"$SIM/calls.log"
	echo "$tool: unknown arguments: $*" >&2
	exit 2
}

record "$@"

case $tool in
sys)
	case "$*" in
	mfsh)
		printf 'LD Version: %s\nModel Name: HG-2400\nSerial Number: HG24A0001234\n' \
			"$(cat /tmp/firmware_version 2>/dev/null || echo 1.0.12)" ;;
	"portspeed 4")
		if [ "$(knob wan_link)" = down ]; then echo "Port 4: off-link"
		else echo "Port 4: $(knob wan_speed)M"; fi ;;
	*) refuse "$@" ;;
	esac ;;

ping)
	[ $# -eq 3 ] && [ "$1" = -c ] || refuse "$@"
	count=$2 host=$3 received=$2
	[ "$(knob ping)" = reply ] || received=0
	echo "PING $host ($host): 56 data bytes"
	n=0
	while [ $n -lt "$received" ]; do
		echo "64 bytes from $host: seq=$n ttl=117 time=12.400 ms"
		n=$((n + 1))
	done
	echo
	echo "--- $host ping statistics ---"
	echo "$count packets transmitted, $received packets received, $(((count - received) * 100 / count))% packet loss" ;;

traceroute)
	[ $# -eq 3 ] && [ "$1" = -q ] || refuse "$@"
	echo "traceroute to $3 ($3), 30 hops max, 38 byte packets"
	echo " 1  gateway.isp.example (100.64.0.1)  1.204 ms"
	echo " 2  *"
	echo " 3  core1.isp.example (203.0.113.9)  8.551 ms"
	echo " 4  $3 ($3)  12.870 ms" ;;

route)
	[ $# -eq 0 ] || refuse "$@"
	cat <<'TABLE'
Kernel IP routing table
Destination     Gateway         Genmask         Flags Metric Ref    Use Iface
default         100.64.0.1      0.0.0.0         UG    0      0        0 eth4
100.64.0.0      *               255.255.192.0   U     0      0        0 eth4
192.168.1.0     *               255.255.255.0   U     0      0        0 br-lan
TABLE
	;;

ifconfig)
	[ $# -eq 1 ] || refuse "$@"
	echo "$1      Link encap:Ethernet  HWaddr 02:10:18:AA:BB:01"
	address=$(knob wan_ip)
	[ -n "$address" ] && [ "$address" != none ] &&
		echo "          inet addr:$address  Bcast:100.64.63.255  Mask:255.255.192.0"
	echo "          UP BROADCAST RUNNING MULTICAST  MTU:1500  Metric:1" ;;

hv1905App)
	case "$1:$#" in
	2:2 | 3:5 | 4:4 | 7:3 | 9:5 | 10:2 | 15:5 | 16:2) ;;
	*) refuse "$@" ;;
	esac
	case $(knob hv1905) in
	ok) echo 00 >/tmp/1905ReturnValue ;;
	fail) echo 01 >/tmp/1905ReturnValue ;;
	silent) ;; # never answers
	esac ;;

halvo_WPS_ctrl)
	case $1 in WPS24G_GUI | WPS5G_GUI | WPS_HW) ;; *) refuse "$@" ;; esac
	[ $# -eq 1 ] || refuse "$@"
	# A new session clears the last one's outcome.
	rm -f /tmp/wps_success /tmp/pbc_overlap /tmp/wps_timeout
	case $(knob wps) in
	success) touch /tmp/wps_success ;;
	overlap) touch /tmp/pbc_overlap ;;
	timeout) touch /tmp/wps_timeout ;;
	esac ;;

SpeedTest)
	case "$*" in
	"-c 10 -f /tmp/SpeedTestURL -p 80 -s up -l 1000" | \
		"-c 10 -f /tmp/SpeedTestURL -p 80 -s down -u /speedtest/random3500x3500.jpg") ;;
	*) refuse "$@" ;;
	esac
	knob speedtest >/tmp/SpeedTestInfo ;;

hvhttpd)
	[ $# -eq 4 ] && [ "$1" = -p ] && [ "$3" = -P ] || refuse "$@"
	sleep 100000 >/dev/null 2>&1 &
	echo $! >"$4" ;;

get_online_info)
	[ $# -eq 0 ] || refuse "$@"
	latest=$(knob fw_latest)
	if [ "$(knob fw_online)" = yes ]; then
		echo success >/tmp/get_online_info
		printf 'FW version: %s\nRelease date: 2026-11-01\n' "$latest" >/tmp/hvfw_info
		printf 'model: HG-2400\nhttp://fw.isp.example/HG-2400-%s.bin\n' "$latest" >/tmp/fw_online_info
	else
		echo fail >/tmp/get_online_info
	fi ;;

get_online_fw)
	[ $# -eq 1 ] || refuse "$@"
	case $(knob fw_download) in
	success) echo image >/tmp/rootfs && echo success >/tmp/get_online_fw ;;
	fail) echo fail >/tmp/get_online_fw ;;
	hang) ;; # the download never finishes
	esac ;;

fw_upgrade)
	[ "$1" = fw_check ] && [ $# -le 2 ] || refuse "$@"
	if [ "$(knob fw_image)" = good ]; then echo "Image check OK"
	else echo "Wrong image: signature mismatch"; fi ;;

do_fw_upgrade.sh | halvo_led_ctrl | reboot | romreset) ;; # recorded only: the gateway would restart

getGuestWifiBonus.sh)
	[ "$1 $2" = "get_time_gui ath3" ] && [ $# -eq 2 ] || refuse "$@"
	deadline=$(cat "$SIM/state/guest_deadline_24G" 2>/dev/null)
	now=$(date +%s)
	# Whole minutes, rounded up (all the app shows): a transcript then does not
	# depend on the second it was made in.
	if [ -n "$deadline" ] && [ "$deadline" -gt "$now" ]; then echo $(((deadline - now + 59) / 60 * 60)); else echo 0; fi ;;

addGuestWifiBonus.sh)
	[ $# -eq 3 ] && [ "$1" = 3 ] || refuse "$@"
	case $2 in 24G | 5G) ;; *) refuse "$@" ;; esac
	hours=${3%%:*} minutes=${3#*:}
	mkdir -p "$SIM/state"
	echo $(($(date +%s) + hours * 3600 + minutes * 60)) >"$SIM/state/guest_deadline_$2" ;;

removeGuestWifiBonus.sh)
	[ $# -eq 3 ] && [ "$1 $2" = "remove_rule 3" ] || refuse "$@"
	rm -f "$SIM/state/guest_deadline_$3" ;;

uci_apply)
	[ $# -eq 1 ] || refuse "$@"
	case $(knob uci_apply) in
	ok) case $1 in firewall | parental) drop_marked_rules "$1" ;; esac ;;
	keep) ;; # a platform whose reload leaves the marked rules
	*) exit 1 ;;
	esac ;;

wifi_setting_flag.sh)
	touch /etc/pemo-agent/wifi_setting_flag ;;

*)
	refuse "$@" ;;
esac
exit 0
