#!/usr/bin/env bash
# Runs the TextMate grammar test with a real tokeniser:  run-textmate-test.sh SOURCEDIR
# Exit status 77 (reported as skipped) when node is not installed.
set -uo pipefail
src=$1
here=$src/editors/test
if ! command -v node >/dev/null; then
  echo "node is not installed: the TextMate grammar test is skipped"
  exit 77
fi
if [[ ! -d "$here/node_modules/vscode-textmate" || ! -d "$here/node_modules/vscode-oniguruma" ]]; then
  echo "FAIL: the tokeniser packages are missing in $here/node_modules: run scripts/setup"
  exit 1
fi
mapfile -d '' tests < <(find "$src/tests" -name '*.pdl' -type f -print0 | sort -z)
exec node "$here/tokenize.js" "$src/editors/textmate/pdl.tmLanguage.json" "$src/source/pdlscanner.l" \
  "$src/docs/pdl-guide.md" --valid "$src"/examples/demo/config/PDL/*/*.pdl --any "${tests[@]}"
