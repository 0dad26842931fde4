#!/usr/bin/env bash
# The UCI torture test for as long as asked (10 minutes by default): the platform's
# uci tool, ours and the agent's connections writing the same packages while
# readers load them. Usage: scripts/torture.sh [SECONDS] [SEED]
# Prints the seed, then the operations, changes lost and corrupt reads.
source "$(dirname "$0")/common.sh"
install_packages
seconds=${1:-600}
seed=${2:-$(date +%s)}
build "$BUILD_DIR" -- e2e_tests pemo-agent sim-root platform-uci uci
cd "$BUILD_DIR/tests"
PEMO_TORTURE_SECONDS=$seconds PEMO_TORTURE_SEED=$seed ./e2e_tests --gtest_filter='Torture.*'
