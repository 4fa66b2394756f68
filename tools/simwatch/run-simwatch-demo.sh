#!/usr/bin/env bash
# The demo panel in simulator mode, watched through simwatch:
#   run-simwatch-demo.sh PANELHOST DRIVERLIB SIMWATCH DEMOCONFIG
# The simulator sees the start (modules, widgets, defaults, the lamps and texts the demo's PDL sets);
# a press typed into simwatch reaches the core's hardware event path. Every wait is bounded.
set -uo pipefail

panelhost=$1
driver=$2
simwatch=$3
democonfig=$4

work=$(cd "$(mktemp -d)" && pwd -P)
pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null; done
  wait 2>/dev/null
  rm -rf "$work"
}
trap cleanup EXIT
fail() {
  echo "FAILED: $*"
  for file in watch.out watch.err host.out host.err; do
    echo "--- $file ---"
    cat "$work/$file"
  done
  exit 1
}
# wait_for FILE LINE: until FILE holds LINE as a whole line, at most 10 s.
wait_for() {
  for _ in $(seq 200); do
    grep -qxF -- "$2" "$work/$1" && return 0
    sleep 0.05
  done
  return 1
}

mkdir -p "$work/bin" "$work/config"
cp "$driver" "$work/bin/libmoduledriver.so"
cp -r "$democonfig/." "$work/config/"
mkfifo "$work/watch.in" "$work/host.in"

"$simwatch" --port 0 --timeout 30 <"$work/watch.in" >"$work/watch.out" 2>"$work/watch.err" &
pids+=($!)
exec 3>"$work/watch.in"
for _ in $(seq 200); do
  grep -q "listening on" "$work/watch.err" && break
  sleep 0.05
done
port=$(sed -n 's/^simwatch: listening on 127\.0\.0\.1:\([0-9]*\)$/\1/p' "$work/watch.err")
[[ -n "$port" ]] || fail "simwatch did not start"

(cd "$work" && exec "$panelhost" --mode simulator --simulator "127.0.0.1:$port" <host.in >host.out 2>host.err) &
pids+=($!)
exec 4>"$work/host.in"
# Once the host answers, its start is over and the timing log is on.
echo "timing on" >&4
echo "stateGet SIMWATCH.READY" >&4
wait_for host.out "SIMWATCH.READY=" || fail "panelhost did not start"

for line in "HELLO 1" "MODULE 0.1.1 LampRow4 1" "WIDGET 0.1.1.1" "DEFAULT 0.1.1.1" \
            'TEXT 0.1.1.1 LABEL "CAM 1"' "BOOL 0.1.1.1 LAMP 1" 'TEXT 0.1.1.4 LABEL "CAM 4"' \
            'MODULE 0.1.2 Display2 ""' 'TEXT 0.1.2.1 TEXT "CAMERA 1"' "WIDGET 0.1.3.2"; do
  wait_for watch.out "$line" || fail "the simulator did not see: $line"
done

# A press from the simulator enters the core as a hardware event (its timing line); a line that is
# no event is refused by simwatch itself.
echo "PRESS 0.1.1.2" >&3
echo "PRESS 0.1.1" >&3
for _ in $(seq 100); do
  echo "timing dump" >&4
  sleep 0.1
  grep -q " EVENT 0.1.1.2 DOWN 0$" "$work/host.out" && break
done
grep -q " EVENT 0.1.1.2 DOWN 0$" "$work/host.out" || fail "the press did not reach the core"
grep -q "^simwatch: not sent: " "$work/watch.err" || fail "simwatch sent a line that is no event"

echo quit >&4
exec 4>&-
wait "${pids[1]}" || fail "panelhost ended with status $?"
# At the stop every control goes back to its defaults, which the simulator sees too.
wait_for watch.out "DEFAULT 0.1.3.2" || fail "no defaults at the stop"
echo "simwatch_demo: ok"
