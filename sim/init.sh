#!/bin/sh
# First process of the simulated gateway (PID 1 inside it): provides /proc and the
# system log, then runs the agent in the foreground with the given arguments.
export PATH=/usr/sbin:/usr/bin:/sbin:/bin
mount -t proc proc /proc
# Writes to the kernel's cache knob land in a plain file of the simulation.
mount --bind /sim/drop_caches /proc/sys/vm/drop_caches
syslogd -O /var/log/messages
# A test's preparation of the gateway before the agent starts (gateway.h).
[ -z "${PEMO_SIM_SETUP:-}" ] || sh -c "$PEMO_SIM_SETUP"
# The one knob read at start: a gateway whose probe daemon never made its database.
[ "$(cat /sim/knobs/probe_db 2>/dev/null)" != missing ] || rm -f /tmp/lanwatch.db
# In the foreground, so that Ctrl-C on the terminal reaches it (a background
# command of a script would ignore SIGINT).
if [ -n "${PEMO_FAST_SLEEPS:-}" ]; then
	# A sanitizer runtime wants to be loaded first; the preloaded library only
	# forwards sleeps, so the order does not matter to it.
	LD_PRELOAD=/sim/fastsleep.so ASAN_OPTIONS="${ASAN_OPTIONS:+$ASAN_OPTIONS:}verify_asan_link_order=0" \
		/usr/sbin/pemo-agent "$@"
else
	/usr/sbin/pemo-agent "$@"
fi
status=$?
echo "$status" >/sim/agent.exit
exit $status
