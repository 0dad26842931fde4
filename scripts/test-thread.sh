#!/usr/bin/env bash
# The whole test suite built with the thread sanitizer.
source "$(dirname "$0")/common.sh"
install_packages
# A race stops the process that has it, the agent included, so the test that
# drove it fails instead of leaving a report in a log nobody reads.
export TSAN_OPTIONS="halt_on_error=1 ${TSAN_OPTIONS:-}"
build "$ROOT/build-tsan" -DPEMO_SANITIZE=thread
run_suite "$ROOT/build-tsan"
