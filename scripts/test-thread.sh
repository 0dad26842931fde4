#!/usr/bin/env bash
# The whole test suite built with the thread sanitizer.
source "$(dirname "$0")/common.sh"
install_packages
build "$ROOT/build-tsan" -DPEMO_SANITIZE=thread
run_suite "$ROOT/build-tsan"
