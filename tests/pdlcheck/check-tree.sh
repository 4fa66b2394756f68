#!/usr/bin/env bash
# Runs pdlcheck over every PDL file below the tests directory and the demo panel's PDL:
#   check-tree.sh PDLCHECK TESTSDIR DEMOCONFIG
#
# What each file is expected to give:
#   - a file X.pdl with a sidecar X.pdl.pdlcheck: exactly the lines of the sidecar and exit status 1
#     when a line says "error:". pdlcheck runs in the file's directory on ./X.pdl; the directory's path
#     in messages is written as ./;
#   - a PDL file of a scenario (tests/scenarios/NAME/config/...): it is checked against the scenario's
#     config tree (on top of the demo's when the scenario uses it). The scenario's stderr-contains is
#     the expectation: every parser message "@WORK@/config/FILE(LINE): TEXT" must come out as
#     "FILE:LINE: error: TEXT". A file that the scenario fails to load (a parser message for it,
#     "cannot create module ... from FILE" in its expected output, or "failed to load PDL for module ...
#     - type T" for a file below PDL/T/) must give status 1 and show every report
#     "@WORK@/config/FILE(LINE): " of stderr-contains as an error with the report's text; any other
#     file must give status 0 (its reports come from running it);
#   - any other file: status 0 and no error.
# An enciphered X.pdl.enc without a plain twin is checked as X.pdl, the name a panel loads it by.
# Files that another PDL file includes (of the same scenario, or anywhere below the tests directory) are
# not modules of their own: skipped.
set -uo pipefail

pdlcheck=$(cd "$(dirname "$1")" && pwd -P)/$(basename "$1")
testsdir=$(cd "$2" && pwd -P)
democonfig=$(cd "$3" && pwd -P)
failures=0
checked=0

fail() {
  echo "FAIL: $*"
  failures=$((failures + 1))
}

is_included() {  # FILE ROOT: true when another PDL file below ROOT includes FILE by its name
  local name
  name=$(basename "$1")
  grep -rlsE --include='*.pdl' "include[[:space:]]+\"([^\"]*/)?${name//./\\.}\"" "$2" | grep -qvxF "$1"
}

check_sidecar() {  # FILE
  local file=$1 dir out status expected
  dir=$(dirname "$file")
  out=$(cd "$dir" && "$pdlcheck" "./$(basename "$file")")
  status=$?
  out=${out//$dir\//./}
  expected=0
  grep -q ': error: ' "$file.pdlcheck" && expected=1
  if [[ $status -ne $expected ]] || ! diff -u "$file.pdlcheck" <(printf '%s\n' "$out" | sed '/^$/d'); then
    fail "$file: status $status (expected $expected), output above differs from $file.pdlcheck"
  fi
}

check_scenario_file() {  # SCENARIODIR RELATIVE-PATH
  local scenario=$1 rel=$2 work out status meant=0 line text file n msg
  work=$(mktemp -d)
  mkdir -p "$work/config"
  [[ -e "$scenario/uses-demo" ]] && cp -r "$democonfig/." "$work/config/"
  cp -r "$scenario/config/." "$work/config/"
  out=$("$pdlcheck" --config "$work/config" "$work/config/$rel")
  status=$?
  out=${out//$work/@WORK@}
  rm -rf "$work"

  # The scenario fails to load the file when the panel printed a parser message for it, when the host
  # could not create the module from it, or when the panel found no loadable PDL for its module type.
  local expect_lines=() report_lines=()
  if [[ -f "$scenario/stderr-contains" ]]; then
    mapfile -t lines < "$scenario/stderr-contains"
    for ((n = 0; n < ${#lines[@]}; n++)); do
      line=${lines[n]}
      if [[ "$line" =~ ^@WORK@/config/(.+)\(([0-9]+)\):\ (.*)$ ]]; then
        file=${BASH_REMATCH[1]}
        msg=${BASH_REMATCH[3]}
        [[ "$file" == "$rel" ]] || continue
        if [[ -n "$msg" ]]; then
          expect_lines+=("@WORK@/config/$file:${BASH_REMATCH[2]}: error: $msg")
          meant=1
        elif ((n + 1 < ${#lines[@]})); then
          text=${lines[n + 1]}
          [[ "$text" == current\ * ]] && ((n + 2 < ${#lines[@]})) && text=${lines[n + 2]}
          report_lines+=("@WORK@/config/$file:*: error: $text")
        fi
      elif [[ "$line" =~ failed\ to\ load\ PDL\ for\ module\ .*\ -\ type\ (.+)$ ]] &&
           [[ "$rel" == PDL/${BASH_REMATCH[1]}/* ]]; then
        meant=1
      fi
    done
  fi
  if grep -q "cannot create module .* from $rel\$" "$scenario/expected" 2>/dev/null; then
    meant=1
  fi
  # Reports with a position are load errors only in a file that does not load; in one that loads they
  # come from running it, which the checker does not do.
  if [[ $meant -eq 1 ]]; then
    expect_lines+=("${report_lines[@]+"${report_lines[@]}"}")
  fi

  for expected in "${expect_lines[@]+"${expect_lines[@]}"}"; do
    local found=0
    while IFS= read -r got; do
      # shellcheck disable=SC2053
      if [[ "$got" == $expected ]]; then found=1; break; fi
    done <<< "$out"
    [[ $found -eq 1 ]] || fail "$scenario: $rel: pdlcheck does not report: $expected"$'\n'"$out"
  done
  if [[ $meant -eq 1 && $status -ne 1 ]]; then
    fail "$scenario: $rel: the scenario fails to load it, pdlcheck gives status $status"$'\n'"$out"
  elif [[ $meant -eq 0 && $status -ne 0 ]]; then
    fail "$scenario: $rel: the scenario loads it, pdlcheck gives status $status"$'\n'"$out"
  fi
}

while IFS= read -r -d '' file; do
  if [[ "$file" == *.enc ]]; then
    # An enciphered source is loaded under its plain name; with a plain twin beside it, the twin counts.
    file=${file%.enc}
    [[ -e "$file" ]] && continue
  fi
  checked=$((checked + 1))
  if [[ -f "$file.pdlcheck" ]]; then
    check_sidecar "$file"
    continue
  fi
  if [[ "$file" =~ ^$testsdir/scenarios/([^/]+)/config/(.+)$ ]]; then
    scenario=$testsdir/scenarios/${BASH_REMATCH[1]}
    if is_included "$file" "$scenario/config"; then
      continue
    fi
    check_scenario_file "$scenario" "${BASH_REMATCH[2]}"
    continue
  fi
  if is_included "$file" "$testsdir"; then
    continue
  fi
  out=$("$pdlcheck" "$file")
  status=$?
  [[ $status -eq 0 ]] || fail "$file: status $status"$'\n'"$out"
done < <(find "$testsdir" \( -name '*.pdl' -o -name '*.pdl.enc' \) -type f -print0 | sort -z)

# The demo panel, against its own configuration.
out=$("$pdlcheck" --config "$democonfig" "$democonfig"/PDL/*/*.pdl)
status=$?
checked=$((checked + 1))
[[ $status -eq 0 && -z "$out" ]] || fail "demo: status $status"$'\n'"$out"

echo "$checked checked, $failures failed"
[[ $failures -eq 0 ]]
