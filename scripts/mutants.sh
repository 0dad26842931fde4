#!/usr/bin/env bash
# Measures what the test suite catches. Each source mutation of
# scripts/mutants.txt is applied in turn, the tree in build-mutants is rebuilt
# incrementally, and the tests labelled with the mutated subsystem (its
# end-to-end tests among them) run: the mutation is killed when one fails,
# survived when all pass, stillborn when it does not build. The source is put
# back after each one, and on any exit.
#   MUTANTS=N        run a fixed sample of N mutations (seeded by MUTANTS_SEED, default 1)
#   MUTANTS_ONLY=L   run only the mutation labelled L
source "$(dirname "$0")/common.sh"
install_packages
list="$ROOT/scripts/mutants.txt"
dir="$ROOT/build-mutants"
log="$dir/mutants.log"
build "$dir" >/dev/null
: >"$log"

# The selected lines of the list, in list order.
selected=$(perl -e '
	use List::Util qw(shuffle);
	my ($count, $seed, $only) = @ARGV;
	my @lines = grep { !/^#/ && /\S/ } <STDIN>;
	@lines = grep { (split /\t/)[0] eq $only } @lines if length $only;
	if ($count > 0 && $count < @lines) {
		srand($seed);
		my %keep = map { $_ => 1 } (shuffle(0 .. $#lines))[0 .. $count - 1];
		@lines = @lines[grep { $keep{$_} } 0 .. $#lines];
	}
	print @lines;
' "${MUTANTS:-0}" "${MUTANTS_SEED:-1}" "${MUTANTS_ONLY:-}" <"$list")
[ -n "$selected" ] || { echo "mutants: nothing selected" >&2; exit 2; }

backup=
restore() { [ -n "$backup" ] && cp "$backup" "$original" && rm -f "$backup"; backup=; }
trap restore EXIT

# Replaces the one occurrence of TEXT in FILE ("@NL@" is a line break).
mutate() {
	perl -e '
		my ($file, $text, $replacement) = @ARGV;
		s/\@NL\@/\n/g for $text, $replacement;
		local $/; open my $in, "<", $file or die; my $source = <$in>; close $in;
		my $count = () = $source =~ /\Q$text\E/g;
		die "mutants: \"$text\" occurs $count times in $file\n" if $count != 1;
		$source =~ s/\Q$text\E/$replacement/;
		open my $out, ">", $file or die; print $out $source; close $out;
	' "$1" "$2" "$3"
}

killed=0 survived=0 stillborn=0
while IFS=$'\t' read -r label subsystem file text replacement; do
	original="$ROOT/$file"
	backup=$(mktemp)
	cp "$original" "$backup"
	mutate "$original" "$text" "$replacement"
	if ! cmake --build "$dir" -j"$(nproc)" >>"$log" 2>&1; then
		verdict=stillborn; stillborn=$((stillborn + 1))
	elif (cd "$dir" && ctest -L "(^|:)($subsystem)(:|\$)" -j"$(nproc)" --timeout 120 --stop-on-failure >>"$log" 2>&1); then
		verdict=survived; survived=$((survived + 1))
	else
		verdict=killed; killed=$((killed + 1))
	fi
	restore
	printf '%-26s %-10s %s\n' "$label" "$subsystem" "$verdict"
done <<<"$selected"
# The tree is left built from the unchanged source.
cmake --build "$dir" -j"$(nproc)" >>"$log" 2>&1
printf 'mutants: %d killed, %d survived, %d stillborn (details in %s)\n' "$killed" "$survived" "$stillborn" "$log"
