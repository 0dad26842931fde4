#!/bin/sh
# Creates the probe database with its two tables and the seeded rows.
# Usage: seed-db.sh DB [SQL...]   extra SQL files run after the seed (tests add rows)
#        seed-db.sh --empty DB    the tables only
set -eu
sim=$(cd "$(dirname "$0")" && pwd)
if [ "$1" = --empty ]; then
	sed -n '/^INSERT/q;p' "$sim/seed/lanwatch.sql" | sqlite3 "$2"
	exit 0
fi
db=$1
shift
sqlite3 "$db" <"$sim/seed/lanwatch.sql"
for extra in "$@"; do sqlite3 "$db" <"$extra"; done
