#!/usr/bin/env bash
# panelhost stops cleanly on a signal while it waits for input:
#   run-signal-stop.sh PANELHOST DRIVERLIB DEMOCONFIG SIGNAL
# The panel runs the demo with standard input held open; once it has answered a first command it gets
# the signal, and must then shut the core down (its last log line) and exit with status 0.
set -uo pipefail

panelhost=$1
driver=$2
democonfig=$3
signal=$4

work=$(mktemp -d)
holder=
pid=
cleanup() {
  [[ -n "$pid" ]] && kill -KILL "$pid" 2>/dev/null
  [[ -n "$holder" ]] && kill "$holder" 2>/dev/null
  rm -rf "$work"
}
trap cleanup EXIT
mkdir -p "$work/bin" "$work/config"
cp "$driver" "$work/bin/libmoduledriver.so"
cp -r "$democonfig/." "$work/config/"
mkfifo "$work/input"

(cd "$work" && exec "$panelhost" <"$work/input" >"$work/stdout" 2>"$work/stderr") &
pid=$!
# Holds the input open without ever ending it.
exec 3>"$work/input"
echo "hwList" >&3

for _ in $(seq 1 200); do
  grep -q "^0.1.1 " "$work/stdout" 2>/dev/null && break
  sleep 0.05
done
if ! grep -q "^0.1.1 " "$work/stdout"; then
  echo "panelhost did not answer hwList"
  cat "$work/stderr"
  exit 1
fi

kill "-$signal" "$pid"
status=0
for _ in $(seq 1 200); do
  kill -0 "$pid" 2>/dev/null || break
  sleep 0.05
done
if kill -0 "$pid" 2>/dev/null; then
  echo "panelhost did not stop on SIG$signal"
  exit 1
fi
wait "$pid"
status=$?
pid=
exec 3>&-

failed=0
if [[ $status -ne 0 ]]; then
  echo "exit status $status after SIG$signal, expected 0"
  failed=1
fi
if ! grep -qxF "[Startup] INFO Unloading modules..." "$work/stderr"; then
  echo "the core was not shut down"
  failed=1
fi
if [[ $failed -ne 0 ]]; then
  cat "$work/stderr"
fi
exit $failed
