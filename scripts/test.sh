#!/usr/bin/env bash
# Builds everything and runs the whole test suite, then again built with the
# address and undefined-behaviour sanitizers.
source "$(dirname "$0")/common.sh"
install_packages
"$ROOT/scripts/check-sources.sh"
build "$BUILD_DIR"
run_suite "$BUILD_DIR"
build "$ROOT/build-asan" -DPEMO_SANITIZE=address
run_suite "$ROOT/build-asan"
