#!/usr/bin/env bash
# Source rules that a grep can keep. Exits 1 with the offending lines.
set -euo pipefail
cd "$(dirname "$0")/.."
status=0

# json-c's raw getters convert between types and give a JSON null as a null text,
# which a std::string cannot be built from: only the typed readers in json.h use them.
if hits=$(git grep -nE 'json_object_get_(string|int|int64|double|boolean)\b' -- src tools sim fuzz bench \
          ':!src/platform/json.h'); then
  printf 'raw json-c getter outside src/platform/json.h (use json_text / json_integer):\n%s\n' "$hits" >&2
  status=1
fi

# The layers of src/, lowest first: a folder includes only from its own layer and
# those below it (docs/architecture.md).
layers=(wire platform contract info firmware diag control wifi quicksetup request core)
declare -A rank
for k in "${!layers[@]}"; do rank[${layers[$k]}]=$k; done
upward=
for dir in src/*/; do
  from=$(basename "$dir")
  [ -n "${rank[$from]+x}" ] || { upward+="src/$from: a folder missing from the layer list"$'\n'; continue; }
  while IFS=: read -r file line to; do
    [ -n "${rank[$to]+x}" ] || continue
    [ "${rank[$to]}" -le "${rank[$from]}" ] || upward+="$file:$line includes from $to/"$'\n'
  done < <(git grep -nE '^#include "[a-z_]+/' -- "$dir" | sed -E 's|^([^:]*):([0-9]+):#include "([a-z_]+)/.*|\1:\2:\3|')
done
if [ -n "$upward" ]; then
  printf 'includes that run up the layers (%s):\n%s' "${layers[*]}" "$upward" >&2
  status=1
fi

# The README's table of the simulated gateway's knobs is the one in sim/knobs.tsv.
if stale=$(grep -v '^#' sim/knobs.tsv | while IFS=$'\t' read -r name default meaning; do
	grep -qxF "| \`$name\` | \`$default\` | $meaning |" README.md || echo "$name"
done; grep -oE '^\| `[a-z0-9_]+` \| `' README.md | cut -d'`' -f2 | while read -r name; do
	grep -q "^$name	" sim/knobs.tsv || echo "$name (only in the README)"
done) && [ -n "$stale" ]; then
  printf 'the README'"'"'s knob table differs from sim/knobs.tsv for:\n%s\n' "$stale" >&2
  status=1
fi

# Every file path and test name that README.md and docs/ mention exists: a
# document that names what is gone is no longer true.
if stale=$(perl -e '
	my %tests;
	for my $file (split /\n/, `git ls-files "tests/*.cpp"`) {
		open my $in, "<", $file or next; local $/; my $text = <$in>;
		$tests{"$1.$2"} = 1 while $text =~ /TEST(?:_F|_P)?\((\w+),\s*(\w+)\)/g;
	}
	open my $cmake, "<", "tests/CMakeLists.txt" or die; { local $/; $_ = <$cmake>; }
	$tests{"$1.$2"} = 1 while /add_test\(NAME (\w+)\.(\w+)/g;
	my %suites = map { (split /\./)[0] => 1 } keys %tests;
	for my $doc ("README.md", glob("docs/*.md")) {
		open my $in, "<", $doc or next; local $/; my $text = <$in>;
		while ($text =~ /`([^`\n]+)`/g) {
			my $word = $1;
			$word =~ s/^\.\///; $word =~ s/[.,:;]$//;
			next if $word =~ /[*\s<>]|NAME|SEED|SECONDS/;
			if ($word =~ m{^(src|tests|tools|sim|scripts|examples|bench|docs|packaging|data|fuzz)/[\w./-]+$}) {
				print "$doc: no $word\n" unless -e $word;
			} elsif ($word =~ /^([A-Z]\w+)\.([A-Z]\w+)$/ && $suites{$1}) {
				print "$doc: no test $word\n" unless $tests{$word};
			}
		}
	}
') && [ -n "$stale" ]; then
  printf 'documents that name what does not exist:\n%s\n' "$stale" >&2
  status=1
fi

exit $status
