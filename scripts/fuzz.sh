#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (address and undefined-behaviour
# sanitizers) and runs each for FUZZ_SECONDS (default 600), or until FUZZ_RUNS
# inputs (default: no limit). Crashes are written to the current directory as
# crash-*; turn each into a regression test.
source "$(dirname "$0")/common.sh"
PACKAGES+=(clang libclang-rt-14-dev)
install_packages
dir="$ROOT/build-fuzz"
CC=clang CXX=clang++ build "$dir" -DPEMO_FUZZ=ON -DPEMO_BUILD_TESTS=OFF -DPEMO_BUILD_SIM=OFF \
	-DCMAKE_BUILD_TYPE=Release -DFUZZ_SECONDS="${FUZZ_SECONDS:-600}" -DFUZZ_RUNS="${FUZZ_RUNS:--1}" -- \
	fuzz_message fuzz_discovery fuzz_uci fuzz_parsers fuzz_platform_data
cmake --build "$dir" --target fuzz-run
