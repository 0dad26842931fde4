#!/usr/bin/env bash
# Builds a Release tree and prints every figure: in-process costs, end-to-end
# latency and throughput against the simulated gateway with ratios to the floor,
# callgrind instruction counts, memory and binary sizes, dynamically and
# statically linked.
source "$(dirname "$0")/common.sh"
PACKAGES+=(binutils)
install_packages
dir="$ROOT/build-release"
build "$dir" -DCMAKE_BUILD_TYPE=Release -- pemo_micro_bench pemo_load_bench pemo_cost_probe pemo-agent sim-root

echo "== in-process costs"
"$dir/bench/pemo_micro_bench" --benchmark_min_time=0.5

echo
echo "== end to end (simulated gateway, loopback)"
"$dir/bench/pemo_load_bench"

echo
echo "== memory after a short warm-up only, as the static build below is measured"
"$dir/bench/pemo_load_bench" --memory-only

echo
echo "== instructions (callgrind, one operation)"
# The probe enters private namespaces, so its profile goes to the build tree.
for what in cipher cfg_get walk; do
	profile="$dir/callgrind.$what"
	valgrind --tool=callgrind --vgdb=no --instr-atstart=no --callgrind-out-file="$profile" \
		"$dir/bench/pemo_cost_probe" "$what" >/dev/null 2>&1
	printf '%-8s %s instructions\n' "$what" "$(grep -E '^totals:' "$profile" | awk '{print $2}')"
	rm -f "$profile"
done

echo
echo "== binary size (stripped)"
strip -o "$dir/pemo-agent.stripped" "$dir/src/pemo-agent"
printf 'agent, dynamically linked: %s KiB\n' $(( $(stat -c %s "$dir/pemo-agent.stripped") / 1024 ))

echo
echo "== statically linked agent (the simulated gateway root of a static build)"
static="$ROOT/build-static"
build "$static" -DCMAKE_BUILD_TYPE=Release -DPEMO_STATIC=ON -- pemo-agent sim-root pemo_load_bench
strip -o "$static/pemo-agent.stripped" "$static/src/pemo-agent"
printf 'agent, statically linked: %s KiB\n' $(( $(stat -c %s "$static/pemo-agent.stripped") / 1024 ))
"$static/bench/pemo_load_bench" --memory-only
