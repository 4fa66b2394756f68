#!/usr/bin/env bash
# The panel view's browser test:  run-browser-test.sh PANELHOST DRIVERLIB PANELVIEW DEMOCONFIG
# Exit status 77 (reported as skipped) when node or Debian's chromium is not installed; scripts/setup
# installs both and the test's npm packages.
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
for tool in node /usr/bin/chromium; do
  if ! command -v "$tool" >/dev/null; then
    echo "$tool is not installed: the panel view's browser test is skipped (run scripts/setup)"
    exit 77
  fi
done
if [[ ! -d "$here/node_modules/playwright-core" ]]; then
  echo "FAIL: playwright-core is missing in $here/node_modules: run scripts/setup"
  exit 1
fi
exec node "$here/browser-test.js" "$@"
