#!/usr/bin/env bash
# Checks the examples of the PDL guide with pdlcheck:  check-guide.sh PDLCHECK GUIDE
#
# Every block fenced as ```pdl is a complete module that must load without any diagnostic. A block
# fenced as ```pdl fails shows a mistake: its lines "// pdlcheck: LINE: SEVERITY: TEXT" are the exact
# output expected (for the block as a file of its own), and the status must be 1.
set -uo pipefail

pdlcheck=$(cd "$(dirname "$1")" && pwd -P)/$(basename "$1")
guide=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

awk -v dir="$work" '
  /^```pdl( fails)?$/ { n++; kind = ($2 == "fails") ? "fails" : "clean"; file = sprintf("%s/example-%02d.%s.pdl", dir, n, kind); inblock = 1; next }
  /^```/ && inblock { inblock = 0; close(file); next }
  inblock { print > file }
' "$guide"

failures=0
count=0
for file in "$work"/example-*.pdl; do
  [[ -e "$file" ]] || continue
  count=$((count + 1))
  name=$(basename "$file")
  out=$(cd "$work" && "$pdlcheck" "$name")
  status=$?
  if [[ "$name" == *.fails.pdl ]]; then
    expected=$(sed -n "s|^// pdlcheck: |$name:|p" "$file")
    if [[ $status -ne 1 || "$out" != "$expected" ]]; then
      echo "FAIL: guide example $name (status $status, expected 1)"
      diff -u <(printf '%s\n' "$expected") <(printf '%s\n' "$out")
      sed 's/^/    | /' "$file"
      failures=$((failures + 1))
    fi
  elif [[ $status -ne 0 || -n "$out" ]]; then
    echo "FAIL: guide example $name (status $status, expected 0)"
    printf '%s\n' "$out"
    sed 's/^/    | /' "$file"
    failures=$((failures + 1))
  fi
done
echo "$count guide examples checked, $failures failed"
[[ $count -gt 0 && $failures -eq 0 ]]
