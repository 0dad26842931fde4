#!/usr/bin/env bash
# Runs every example in examples/ against a freshly seeded simulated gateway and
# compares what it leaves with its checked-in transcript (examples/NAME.transcript).
# With --update the transcripts are written anew: their diff is what to review.
source "$(dirname "$0")/common.sh"
install_packages
build "$BUILD_DIR" -- e2e_tests pemo-agent pemo-cli sim-root
[ "${1:-}" = --update ] && export PEMO_UPDATE_TRANSCRIPTS=1
cd "$BUILD_DIR/tests"
./e2e_tests --gtest_filter='Examples/*:CheckKit.*:Knobs/CheckKitFault.*'
[ -z "${PEMO_UPDATE_TRANSCRIPTS:-}" ] || git -C "$ROOT" diff --stat -- examples
