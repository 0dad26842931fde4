#!/bin/sh
# Our uci tool against the platform's own (built from the pinned upstream sources):
#   suite   the upstream tool's shunit2 suite, run with our tool: every test passes;
#   cross   every kind of change staged by either tool reads the same through both
#           (show, show -X, changes, export, get), and a commit by either writes
#           the same file.
# usage: uci_interop.sh suite|cross OUR_UCI PLATFORM_PREFIX WORK_DIR
# Runs in private user and mount namespaces with a private /tmp (both tools use
# /tmp/.uci); exits 77 (skipped) when those or the platform build are missing.
set -eu
mode=$1 ours=$2 prefix=$3 work=$4
# In CI nothing may be skipped: what cannot run there fails the run.
skip() { [ "${CI:-}" = true ] && { echo "FAILED: $* (nothing is skipped in CI)"; exit 1; }; echo "SKIPPED: $*"; exit 77; }
[ -x "$prefix/bin/uci" ] || skip "no platform uci under $prefix (needs ../shared/third_party)"
if [ -z "${UCI_INTEROP_INSIDE:-}" ]; then
  unshare -rm true 2>/dev/null || skip "no private user and mount namespaces here"
  export UCI_INTEROP_INSIDE=1
  # /tmp becomes an overlay whose changes stay in a tmpfs of our own: a checkout
  # under /tmp (CI may clone there) is still seen, and nothing reaches the host's.
  mkdir -p "$work.tmp"
  exec unshare -rm sh -c 'mount -t tmpfs tmpfs "$1" && mkdir "$1/upper" "$1/work" &&
    mount -t overlay overlay -o "lowerdir=/tmp,upperdir=$1/upper,workdir=$1/work" /tmp && shift && exec "$@"' \
    sh "$work.tmp" "$0" "$@"
fi
real="$prefix/bin/uci"
export LD_LIBRARY_PATH="$prefix/lib"
rm -rf "$work" && mkdir -p "$work"

if [ "$mode" = suite ]; then
  cp -r "$prefix/share/uci-tests/." "$work"
  sed -i 's/^VALGRIND=.*/VALGRIND=""/' "$work/tests.sh"
  cd "$work"
  UCI_BIN="$ours" sh tests.sh >report.txt 2>&1 || true
  cat report.txt
  grep -q '^tests failed: *0 ' report.txt && grep -q '^tests total: *112 ' report.txt
  exit
fi

seed() {
  cat <<'EOF'
config sys 'main'
	option opt 'plain'
	option hash "a#b" # comment
	list l 'a'
	list l 'b c'
	option ml 'line one
line "two"'

config iface
	option ssid 'first'

config iface
	option ssid "second \"quoted\" \
joined"

config other
EOF
}

# The scenarios: uci arguments, one command per line (<LF> for a line feed in a value).
scenario() {
  case $1 in
  set) printf '%s\n' "set p.main.opt=new value" "set p.@iface[1].ssid=it's \"q\" \$(x)" \
         "set p.extra=newtype" "set p.extra.x=1" "set p.main.hash=" "set p.main.opt=new value" ;;
  add) printf '%s\n' "add p iface" "add p zz" "set p.@zz[0].k=v" ;;
  lists) printf '%s\n' "add_list p.main.l=x y" "add_list p.main.opt=second" "add_list p.@iface[0].n=1" \
           "del_list p.main.l=a" "del_list p.main.ml=nothing" ;;
  delete) printf '%s\n' "delete p.main.opt" "delete p.@iface[0]" "delete p.main.l=1" "delete p.main.l=x" "delete p.main.l=" "delete p.other" ;;
  rename) printf '%s\n' "rename p.main=primary" "rename p.@iface[0]=named" "rename p.primary.hash=hash2" ;;
  reorder) printf '%s\n' "reorder p.@iface[1]=0" "reorder p.main=9" "reorder p.other=1" ;;
  revert) printf '%s\n' "set p.main.opt=1" "set p.@iface[0].ssid=2" "add_list p.main.l=3" \
            "revert p.main.opt" "revert p.@iface[0]" ;;
  refused) printf '%s\n' "set p.nosuch.x=1" "set p.@iface[9].ssid=x" "set p.s=bad type" "set q.s.o=x" \
             "add_list p.nosuch.l=x" "del_list p.nosuch.l=x" "set p.main.x=1" ;;
  values) printf '%s\n' "set p.main.tab=a	b" "set p.main.eq=a=b=c" "set p.main.bs=back\\slash" \
            "set p.main.nl=one<LF>two" "set p.main.q='\"'" ;;
  esac
}

# Stages a scenario with one tool, reads and commits with another; prints all it saw.
transcript() {
  stager=$1 reader=$2 name=$3 dir="$work/$name.$(basename "$(dirname "$1")").$(basename "$(dirname "$2")")"
  mkdir -p "$dir/config"
  seed >"$dir/config/p"
  scenario "$name" | while IFS= read -r line; do
    cmd=${line%% *} arg=$(printf '%s' "${line#* }" | awk '{ gsub(/<LF>/, "\n"); print }')
    # A refused command is part of the scenario: its status is compared, and the
    # reads below still run (under set -e its failure would end the transcript).
    status=0
    if [ "$cmd" = add ]; then "$stager" -c "$dir/config" -t "$dir/save" add ${arg% *} ${arg#* } 2>&1 || status=$?
    else "$stager" -c "$dir/config" -t "$dir/save" "$cmd" "$arg" 2>&1 || status=$?; fi
    echo "[$line] $status"
  done
  # A batch goes on past a command it does not know or cannot do, and its status
  # is its own. Its messages are compared without blank lines: the platform's tool
  # adds one to each after the first (its message buffer keeps every line feed).
  printf '%s\n' "set p.main.batch=1" "nosuch" "add_list p.main.batch" |
    "$stager" -c "$dir/config" -t "$dir/save" batch >"$dir/batch" 2>&1 && status=0 || status=$?
  grep -v '^$' "$dir/batch" || true; echo "[batch] $status"
  r="$reader -c $dir/config -t $dir/save"
  for args in "show p" "-X show p" "changes p" "export p" "get p.@iface[0].ssid" "get p.@iface[-1].ssid" "get p.@iface[-2].ssid" "get p.@iface[2].ssid" "get p.main.l"; do
    echo "== $args"; $r $args 2>&1 || echo "status $?"
  done
  $r commit p; echo "== committed $?"; cat "$dir/config/p"
  echo "== left staged"; cat "$dir/save/p" 2>/dev/null || true
}

# The same tool under two names, so a transcript's paths name the stager and reader.
mkdir -p "$work/platform" "$work/ours"
ln -s "$real" "$work/platform/uci"
ln -s "$ours" "$work/ours/uci"
failed=0
# Without a command, with an unknown option or command: the same help and exit
# status. Paths to the tool aside, the help differs in -C, which ours does not
# offer, and in which of -n and -N is marked the default (-N is, in both).
usage() {
  "$@" >"$work/usage" 2>&1 && echo "status 0" || echo "status $?"
  sed 's|[^ ]*/uci\([ :]\)|uci\1|g; /^	-C /d; s/ (default)$//' "$work/usage"
}
for args in "" "-q" "-Z" "frob"; do
  usage "$ours" $args >"$work/usage.ours"
  usage "$real" $args | diff -u - "$work/usage.ours" || { echo "FAIL: 'uci $args', the platform tool against ours"; failed=1; }
done
# Package texts (printf formats) the parser reads in its less common ways or
# refuses, then change-file lines beside the seeded package: both tools print
# the same for each.
parsed() {
  for text in "config t a;option x 'y';option z w" "config t 'a';option x 'y' ;option z w" "config t\noption x a;b c\noption y 'a'b\"c\"#d" \
      "config t\noption x \"a\\\\\r\nb\"\noption y a\\\\\r\nb" "config t\n#option x\n option y 1 # z" "c t 's'\n\to v '1'\n\tl x 'a'\n\tl x 'b'" \
      "config sys 'main" "config t\noption x \"abc" "config t\noption x \"ab\\\\" "config t\noption x 'a\nb" "package" "package a b" \
      "package a-b" "frob x" "config" "config a-b" "config t x-y" "config t 'a'\nconfig u 'a'" "option o v" \
      "config t\noption" "config t\noption a-b v" "config t\nlist"; do
    rm -rf "$work/r" && mkdir -p "$work/r/config" "$work/r/save"
    printf -- "$text\n" >"$work/r/config/p"
    echo "== $text"; "$1" -c "$work/r/config" -t "$work/r/save" show p 2>&1 || echo "status $?"
    echo "== import"; "$1" -c "$work/r/save" import q <"$work/r/config/p" 2>&1 || echo "status $?"
  done
  for change in "garbage" "p.main.x" "-p.nosuch" "@p.main=" "+p.main.l" "p.main.opt='a" "^p.@iface[0]=x" \
      "p.main.opt='6'\n-p.main.opt" "p.main.a='1' extra\nother.main.x='1'\n|p.main='x'\np.main.b='2'"; do
    rm -rf "$work/r" && mkdir -p "$work/r/config" "$work/r/save"
    seed >"$work/r/config/p"; printf -- "$change\n" >"$work/r/save/p"
    echo "== change $change"; "$1" -c "$work/r/config" -t "$work/r/save" show p 2>&1 || echo "status $?"
  done
}
# The platform's messages name the tool by its path and the byte where its
# parser stopped; ours do neither.
parsed "$real" | sed 's|^[^ ]*/uci: |uci: |; s|, byte [0-9]*$||' >"$work/parsed.expected"
parsed "$ours" >"$work/parsed.got"
diff -au "$work/parsed.expected" "$work/parsed.got" || { echo "FAIL: packages and changes read, ours against the platform tool"; failed=1; }

for name in set add lists delete rename reorder revert refused values; do
  transcript "$work/platform/uci" "$work/platform/uci" "$name" | sed "s|$work/[^ ]*/||g" >"$work/expected"
  for pair in "ours ours" "ours platform" "platform ours"; do
    set -- $pair
    transcript "$work/$1/uci" "$work/$2/uci" "$name" | sed "s|$work/[^ ]*/||g" >"$work/got"
    if ! diff -u "$work/expected" "$work/got" >"$work/diff"; then
      echo "FAIL $name: staged by $1, read and committed by $2 (against the platform tool alone):"
      cat "$work/diff"
      failed=1
    fi
  done
done
[ $failed = 0 ] && echo "all scenarios read and commit the same through both tools"
exit $failed
