#!/usr/bin/env bash
# Builds everything and runs the agent inside the simulated gateway, in the
# foreground, on this machine's network (port 263). Ctrl-C stops it.
# Arguments go to the agent (for example: -d 6).
source "$(dirname "$0")/common.sh"
install_packages
build "$BUILD_DIR" -- pemo-cli sim-root
cat <<EOT
Simulated gateway starting. From another terminal:
  $BUILD_DIR/tools/pemo-cli query
  $BUILD_DIR/tools/pemo-cli get '{"Device":{"WiFi":{"RadioNumberOfEntries":0}}}'
  $BUILD_DIR/tools/pemo-cli schema
Password: 5927 (the factory default). Ctrl-C stops the gateway.
EOT
exec "$ROOT/sim/gateway.sh" --root "$BUILD_DIR/sim-root" --mnt "$BUILD_DIR/sim-mnt" -- "$@"
