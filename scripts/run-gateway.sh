#!/usr/bin/env bash
# Builds everything and runs the agent inside the simulated gateway, in the
# foreground, on this machine's network (port 263). Ctrl-C stops it.
# Arguments go to the agent (for example: -d 6).
source "$(dirname "$0")/common.sh"
install_packages
build "$BUILD_DIR" -- pemo-cli sim-root
cli=$BUILD_DIR/tools/pemo-cli
cat <<EOT
Simulated gateway starting (password 5927, the factory default). From another terminal:
  $cli get Device.WiFi.SSID.1.SSID          # see docs/protocol.md for more
  $cli hosts
  scripts/gateway-ctl.sh log -f              # the gateway's syslog
  scripts/gateway-ctl.sh calls -f            # every platform call the agent makes
  scripts/gateway-ctl.sh knob                # the scenario knobs, to set with: knob NAME VALUE
  scripts/gateway-ctl.sh shell               # a shell inside the gateway
Ctrl-C stops the gateway.
EOT
# gateway-ctl.sh finds the gateway through the launcher's id: this process's,
# once it execs gateway.sh.
echo $$ >"$BUILD_DIR/sim-gateway.pid"
(
	for _ in $(seq 100); do
		if "$cli" -t 1 query >/dev/null 2>&1; then
			echo "pemo-agent is listening on 127.0.0.1:263"
			exit 0
		fi
		sleep 0.2
	done
	echo "pemo-agent did not answer within 20 s: see scripts/gateway-ctl.sh log" >&2
) &
exec "$ROOT/sim/gateway.sh" --root "$BUILD_DIR/sim-root" --mnt "$BUILD_DIR/sim-mnt" -- "$@"
