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

exit $status
