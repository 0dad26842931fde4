#!/usr/bin/env bash
# Measures what the test suite catches with mutations it did not choose.
# scripts/mutants.pl lists every one-line mutation of src/ and tools/ (six
# classes: comparisons, bounds, inverted conditions, swapped literals, deleted
# calls, replaced statuses); a seeded sample takes an equal share of each class.
# Each mutation is applied in turn, the tree in build-mutants is rebuilt
# incrementally, and the tests of the mutated folder run (every test for the
# lowest layers, which all the others rest on; end-to-end tests carry their
# subsystems' labels), stopping at the first failure: killed when one fails,
# survived when all pass, not built when it does not compile. A mutation that
# does not compile tests nothing: the next of the seeded order takes its place,
# so the sample holds N built ones. The source is put back after each one, and
# on any exit.
#   MUTANTS=N        the sample's size in built mutations (default 60)
#   MUTANTS_SEED=S   its seed (default: today's date, so each day samples anew)
source "$(dirname "$0")/common.sh"
install_packages
count=${MUTANTS:-60}
seed=${MUTANTS_SEED:-$(date +%Y%m%d)}
dir="$ROOT/build-mutants"
log="$dir/mutants.log"
build "$dir" >/dev/null
: >"$log"
echo "mutants: seed $seed, $count mutations"

cd "$ROOT"
selected=$(perl scripts/mutants.pl $(git ls-files 'src/*.cpp' 'tools/*.cpp') | perl -e '
	use List::Util qw(shuffle);
	my ($seed) = @ARGV;
	my %by_class;
	while (<STDIN>) { my $class = (split /\t/)[2]; push @{$by_class{$class}}, $_; }
	srand($seed);
	my @classes = sort keys %by_class;
	my %pools = map { $_ => [shuffle @{$by_class{$_}}] } @classes;
	my @picked;
	while (grep { @{$pools{$_}} } @classes) {
		for my $class (@classes) { push @picked, shift @{$pools{$class}} if @{$pools{$class}}; }
	}
	print @picked;
' "$seed")
[ -n "$selected" ] || { echo "mutants: nothing to mutate" >&2; exit 2; }

# The test labels of a source folder: its subsystem's own, or every test for the
# layers below the handlers.
labels() {
	case $1 in
	src/wire/* | src/platform/* | src/contract/* | tools/uci/*) echo '.*' ;;
	tools/pemo-cli/*) echo '(^|:)(tools)(:|$)' ;;
	src/*) local folder=${1#src/}; echo "(^|:)(${folder%%/*})(:|\$)" ;;
	esac
}

backup= original=
restore() { [ -n "$backup" ] && cp "$backup" "$original" && rm -f "$backup"; backup=; }
trap restore EXIT

killed=0 survived=0 unbuilt=0
while [ $((killed + survived)) -lt "$count" ] && IFS=$'\t' read -r file line class mutated; do
	original="$ROOT/$file"
	backup=$(mktemp)
	cp "$original" "$backup"
	LINE=$line TEXT=$mutated perl -i -pe 'if ($. == $ENV{LINE}) { $_ = "$ENV{TEXT}\n" }' "$original"
	printf '== %s:%s %s\n%s\n' "$file" "$line" "$class" "$mutated" >>"$log"
	# Nothing in the loop reads its input, which is the sample: a mutated tool that
	# read standard input once swallowed the rest of it.
	if ! cmake --build "$dir" -j"$(nproc)" </dev/null >>"$log" 2>&1; then
		verdict="not built"; unbuilt=$((unbuilt + 1))
	elif (cd "$dir" && ctest -L "$(labels "$file")" -j"$(nproc)" --timeout 120 --stop-on-failure </dev/null >>"$log" 2>&1); then
		verdict=survived; survived=$((survived + 1))
	else
		verdict=killed; killed=$((killed + 1))
	fi
	restore
	printf '%-9s %-8s %s:%s  %s\n' "$verdict" "$class" "$file" "$line" "$(echo "$mutated" | sed 's/^[[:space:]]*//' | cut -c1-90)"
done <<<"$selected"
# The tree is left built from the unchanged source.
cmake --build "$dir" -j"$(nproc)" >>"$log" 2>&1
built=$((killed + survived))
printf 'mutants: seed %s: %d killed, %d survived, %d not built; %d%% of the built killed (details in %s)\n' \
	"$seed" "$killed" "$survived" "$unbuilt" "$((built > 0 ? 100 * killed / built : 0))" "$log"
