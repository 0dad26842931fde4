#!/usr/bin/env bash
# Reaches into the simulated gateway that scripts/run-gateway.sh runs, from the host.
#   knob                 every scenario knob: its value now, default and meaning
#   knob NAME [VALUE]    one knob's value, or set it (the stand-ins read it at once)
#   log [-f]             the gateway's syslog (the agent's messages); -f follows it
#   calls [-f]           the platform calls made so far, one a line; -f follows them
#   shell                a shell inside the gateway (exit leaves it running)
set -euo pipefail
ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
BUILD_DIR=${BUILD_DIR:-$ROOT/build}
record=$BUILD_DIR/sim-gateway.pid

usage() { sed -n '2,7s/^# \{0,1\}//p' "$0" >&2; exit 2; }
[ $# -ge 1 ] || usage

# The gateway's first process: the child of the launcher that run-gateway.sh recorded.
launcher=$(cat "$record" 2>/dev/null) || { echo "gateway-ctl: no gateway is running (start scripts/run-gateway.sh)" >&2; exit 1; }
init=
for child in $(cat "/proc/$launcher/task/$launcher/children" 2>/dev/null); do
	[ -d "/proc/$child/root/sim/knobs" ] && init=$child
done
if [ -z "$init" ]; then
	echo "gateway-ctl: the gateway recorded in $record is gone" >&2
	exit 1
fi
inside=/proc/$init/root

show() {  # show FILE [-f]
	if [ "${2:-}" = -f ]; then exec tail -n +1 -f "$inside$1"; fi
	[ $# -le 1 ] || usage
	cat "$inside$1"
}

case $1 in
knob)
	table=$inside/sim/knobs.tsv
	if [ $# -eq 1 ]; then
		grep -v '^#' "$table" | while IFS=$'\t' read -r name default meaning; do
			value=$default
			[ -f "$inside/sim/knobs/$name" ] && value=$(head -n 1 "$inside/sim/knobs/$name")
			printf '%-12s %-14s (default %s) %s\n' "$name" "$value" "$default" "$meaning"
		done
		exit 0
	fi
	name=$2
	grep -q "^$name	" "$table" || { echo "gateway-ctl: no knob '$name' (gateway-ctl.sh knob lists them)" >&2; exit 2; }
	if [ $# -eq 2 ]; then
		if [ -f "$inside/sim/knobs/$name" ]; then head -n 1 "$inside/sim/knobs/$name"
		else awk -F '\t' -v name="$name" '$1 == name { print $2 }' "$table"; fi
	elif [ $# -eq 3 ]; then
		printf '%s\n' "$3" >"$inside/sim/knobs/$name"
	else
		usage
	fi ;;
log) show /var/log/messages "${@:2}" ;;
calls) show /sim/calls.log "${@:2}" ;;
shell)
	[ $# -eq 1 ] || usage
	exec nsenter --target "$init" --mount --pid --root --wd env PATH=/usr/sbin:/usr/bin:/sbin:/bin /bin/sh ;;
*) usage ;;
esac
