#!/usr/bin/env bash
# Builds everything and runs the whole test suite, then again built with the
# address and undefined-behaviour sanitizers, and with the thread sanitizer.
source "$(dirname "$0")/common.sh"
install_packages
"$ROOT/scripts/check-sources.sh"
build "$BUILD_DIR"
run_suite "$BUILD_DIR"
# Benchmarks say nothing under a sanitizer: those builds leave them out, and
# they reuse the platform's libuci that the first build made.
platform_uci="-DPEMO_PLATFORM_UCI=$BUILD_DIR/platform-uci"
build "$ROOT/build-asan" -DPEMO_SANITIZE=address -DPEMO_BUILD_BENCH=OFF "$platform_uci"
run_suite "$ROOT/build-asan"
# A race stops the process that has it, the agent included, so the test that
# drove it fails instead of leaving a report in a log nobody reads.
export TSAN_OPTIONS="halt_on_error=1 ${TSAN_OPTIONS:-}"
build "$ROOT/build-tsan" -DPEMO_SANITIZE=thread -DPEMO_BUILD_BENCH=OFF "$platform_uci"
run_suite "$ROOT/build-tsan"
