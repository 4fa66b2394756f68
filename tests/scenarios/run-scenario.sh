#!/usr/bin/env bash
# Runs one scenario: run-scenario.sh PANELHOST DRIVERLIB SCENARIODIR DEMOCONFIG
#
# A scenario directory holds:
#   script           shell commands for panelhost --script (lines starting with # are comments)
#   expected         the exact standard output
#   uses-demo        (optional, empty) start from a copy of the demo panel's config/ tree
#   config/          (optional) a config tree, copied over the demo's when uses-demo is there
#   args             (optional) further panelhost options, one line
#   status           (optional) the expected exit status, 0 when absent
#   stderr-contains  (optional) lines that must each appear, as they stand, in standard error
#   no-driver        (optional, empty) leave bin/libmoduledriver.so out
#   script2          (optional) a second run in the same working directory after the first has ended
#                    (what a restart keeps); its standard output must equal expected2, its status 0
# The text @WORK@ in expected and stderr-contains stands for the working directory (its path varies).
# The working directory is a fresh temporary directory with bin/libmoduledriver.so and config/.
set -uo pipefail

panelhost=$1
driver=$2
scenario=$3
democonfig=$4

work=$(cd "$(mktemp -d)" && pwd -P)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/bin" "$work/config"
if [[ ! -e "$scenario/no-driver" ]]; then
  cp "$driver" "$work/bin/libmoduledriver.so"
fi
if [[ -e "$scenario/uses-demo" ]]; then
  cp -r "$democonfig/." "$work/config/"
fi
if [[ -d "$scenario/config" ]]; then
  cp -r "$scenario/config/." "$work/config/"
fi
args=()
if [[ -f "$scenario/args" ]]; then
  read -r -a args < "$scenario/args"
fi

(cd "$work" && "$panelhost" "${args[@]}" --script "$scenario/script") >"$work/stdout" 2>"$work/stderr" </dev/null
status=$?
# The working directory's path varies from run to run: outputs show it as @WORK@.
sed -i "s|$work|@WORK@|g" "$work/stdout" "$work/stderr"

expected_status=0
if [[ -f "$scenario/status" ]]; then
  expected_status=$(cat "$scenario/status")
fi

failed=0
if [[ "$status" != "$expected_status" ]]; then
  echo "exit status $status, expected $expected_status"
  failed=1
fi
if ! diff -u "$scenario/expected" "$work/stdout"; then
  echo "standard output differs from $scenario/expected (- expected, + actual)"
  failed=1
fi
if [[ -f "$scenario/stderr-contains" ]]; then
  while IFS= read -r line; do
    if ! grep -qxF -- "$line" "$work/stderr"; then
      echo "standard error lacks the line: $line"
      failed=1
    fi
  done < "$scenario/stderr-contains"
fi
if [[ $failed -eq 0 && -f "$scenario/script2" ]]; then
  (cd "$work" && "$panelhost" "${args[@]}" --script "$scenario/script2") >"$work/stdout2" 2>"$work/stderr" </dev/null
  status=$?
  sed -i "s|$work|@WORK@|g" "$work/stdout2" "$work/stderr"
  if [[ "$status" != 0 ]]; then
    echo "second run: exit status $status, expected 0"
    failed=1
  fi
  if ! diff -u "$scenario/expected2" "$work/stdout2"; then
    echo "second run: standard output differs from $scenario/expected2 (- expected, + actual)"
    failed=1
  fi
fi
if [[ $failed -ne 0 ]]; then
  echo "--- standard error ---"
  cat "$work/stderr"
fi
exit $failed
