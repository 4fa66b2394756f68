#!/usr/bin/env bash
# The command line of pdlcheck: exit statuses, output forms, --json.   check-cli.sh PDLCHECK
set -uo pipefail
pdlcheck=$(cd "$(dirname "$1")" && pwd -P)/$(basename "$1")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
printf 'module $a\ninit\n  $a := 1\nend init\n' > good.pdl
printf 'module $a\ninit\n  $b := 1\nend init\n' > bad.pdl
printf 'include "gone.pdl"\n' > warn.pdl
mkdir dir.pdl

failures=0
# One case per line: expected status | expected output (a shell pattern; empty: no output) | arguments
while IFS='|' read -r want pattern args; do
  [[ -z "$want" || "$want" == \#* ]] && continue
  # shellcheck disable=SC2086
  out=$("$pdlcheck" $args 2>&1)
  status=$?
  # shellcheck disable=SC2053
  if [[ $status -ne $want ]] || [[ -z "$pattern" && -n "$out" ]] || [[ -n "$pattern" && "$out" != $pattern ]]; then
    echo "FAIL: pdlcheck $args: status $status (expected $want), output:"
    printf '%s\n' "$out"
    failures=$((failures + 1))
  fi
done <<'CASES'
0||good.pdl
1|bad.pdl:3: error: undeclared variable b|bad.pdl
1|bad.pdl:3: error: undeclared variable b|good.pdl bad.pdl
0|warn.pdl:1: warning: Failed to open include file "*/gone.pdl"*|warn.pdl
2|missing.pdl: error: cannot open the file|missing.pdl
2|dir.pdl: error: cannot open the file|dir.pdl
2|*missing.pdl: error: cannot open the file|bad.pdl missing.pdl
2|pdlcheck: no file to check*|
2|pdlcheck: unknown option --frobnicate*|--frobnicate good.pdl
2|pdlcheck: bad module position "8.0.0"*|--module 8.0.0 good.pdl
2|pdlcheck: bad module position "1.2"*|--module 1.2 good.pdl
2|pdlcheck: --config needs a value*|good.pdl --config
2|nowhere: error: not a configuration directory|--config nowhere good.pdl
0||--module 7.31.255 good.pdl
0|Usage: pdlcheck*|--help
CASES

# --json: one document with every file, its status and its diagnostics.
"$pdlcheck" --json good.pdl bad.pdl > out.json
status=$?
if [[ $status -ne 1 ]] || ! python3 - out.json <<'PY'
import json, sys
d = json.load(open(sys.argv[1]))
assert d["status"] == 1 and d["errors"] == 1 and d["warnings"] == 0, d
assert [f["file"] for f in d["files"]] == ["good.pdl", "bad.pdl"], d
assert [f["status"] for f in d["files"]] == ["clean", "errors"], d
assert d["files"][1]["diagnostics"] == [{"file": "bad.pdl", "line": 3, "severity": "error",
                                         "message": "undeclared variable b"}], d
PY
then
  echo "FAIL: --json (status $status)"
  cat out.json
  failures=$((failures + 1))
fi
echo "pdlcheck command line: $failures failed"
[[ $failures -eq 0 ]]
