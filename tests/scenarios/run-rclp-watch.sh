#!/usr/bin/env bash
# The remote control link end to end: panelhost --rclp-listen on a free loopback port, the rclp tool
# watching a pattern while the panel's state changes from the shell and from other rclp commands.
#   run-rclp-watch.sh PANELHOST DRIVERLIB DEMOCONFIG RCLPTOOL
set -uo pipefail

panelhost=$1
driver=$2
democonfig=$3
rclp=$4

work=$(cd "$(mktemp -d)" && pwd -P)
panel_pid=
cleanup() {
  [[ -n "$panel_pid" ]] && kill "$panel_pid" 2>/dev/null
  exec 3>&- 2>/dev/null
  rm -rf "$work"
}
trap cleanup EXIT
mkdir -p "$work/bin" "$work/config"
cp "$driver" "$work/bin/libmoduledriver.so"
cp -r "$democonfig/." "$work/config/"
mkfifo "$work/input"

fail() {
  echo "FAILED: $*"
  echo "--- panel stdout ---"; cat "$work/stdout"
  echo "--- panel stderr ---"; cat "$work/stderr"
  echo "--- watch ---"; cat "$work/watch" 2>/dev/null
  exit 1
}

# Waits up to 10 s for a fixed line in a file.
wait_for() {
  for _ in $(seq 100); do
    grep -qF -- "$2" "$1" 2>/dev/null && return 0
    sleep 0.1
  done
  return 1
}

(cd "$work" && TMPDIR="$work" exec "$panelhost" --rclp-listen 127.0.0.1:0 <"$work/input" >"$work/stdout" 2>"$work/stderr") &
panel_pid=$!
exec 3>"$work/input"
wait_for "$work/stderr" "Listening for RCLP connections on 127.0.0.1:" || fail "the panel does not listen"
port=$(sed -n 's/.*Listening for RCLP connections on 127\.0\.0\.1:\([0-9]*\)$/\1/p' "$work/stderr")
address=127.0.0.1:$port

# A bad pattern is refused before any connection.
"$rclp" watch "$address" 'DEMO.[A:2-1]' >"$work/bad" 2>&1
[[ $? == 2 ]] || fail "a bad pattern does not give status 2"
grep -qF 'rclp: bad pattern "DEMO.[A:2-1]": ' "$work/bad" || fail "no clear message for a bad pattern: $(cat "$work/bad")"

# An entry that exists before the watch: its present value is the watch's first line, which also
# tells that the subscription stands.
echo "stateSet DEMO.FADER.LEVEL 0" >&3
echo "stateGet DEMO.FADER.LEVEL" >&3
wait_for "$work/stdout" "DEMO.FADER.LEVEL=0" || fail "the shell does not answer"
"$rclp" --count 5 watch "$address" 'DEMO.[A:*].[B:*]' >"$work/watch" 2>&1 &
watch_pid=$!
wait_for "$work/watch" "update DEMO.FADER.LEVEL=0" || fail "the watch did not get the present value"
echo "stateSet DEMO.FADER.LEVEL 42" >&3
wait_for "$work/watch" "update DEMO.FADER.LEVEL=42" || fail "the shell's change did not arrive"
"$rclp" set "$address" DEMO.FADER.TOUCH 1 || fail "rclp set"
wait_for "$work/watch" "update DEMO.FADER.TOUCH=1" || fail "the client's change did not arrive"
"$rclp" trigger "$address" DEMO.FADER.LEVEL bump || fail "rclp trigger"
"$rclp" call "$address" F.DEMO.RUN speed=3 mode=fast || fail "rclp call"
wait "$watch_pid" || fail "watch ended with an error"
# Malformed requests are answered by the server and fail the command.
"$rclp" set "$address" 'DEMO.[A:*]' 1 2>"$work/refused" && fail "a write to a pattern succeeded"
grep -qF 'rclp: server: a pattern names no single entry: "DEMO.[A:*]"' "$work/refused" || fail "no server error: $(cat "$work/refused")"

echo "rclpShow" >&3
echo "quit" >&3
exec 3>&-
wait "$panel_pid"
status=$?
panel_pid=
[[ $status == 0 ]] || fail "panelhost ended with $status"

expected='update DEMO.FADER.LEVEL=0
update DEMO.FADER.LEVEL=42
update DEMO.FADER.TOUCH=
update DEMO.FADER.TOUCH=1
trigger DEMO.FADER.LEVEL=bump'
actual=$(sed -E 's/^[0-9]{2}:[0-9]{2}:[0-9]{2}\.[0-9]{3} //' "$work/watch")
[[ "$actual" == "$expected" ]] || fail "watch printed other lines"
grep -cE '^[0-9]{2}:[0-9]{2}:[0-9]{2}\.[0-9]{3} ' "$work/watch" | grep -qx 5 || fail "lines without a timestamp"
grep -qxF "CALL F.DEMO.RUN speed=3 mode=fast" "$work/stdout" || fail "the call did not reach IFunctionID"
grep -qE '^127\.0\.0\.1:[0-9]+ \(inactive\)$' "$work/stdout" || fail "rclpShow does not list the ended clients"

# Nobody listens any more.
"$rclp" set "$address" X 1 2>"$work/gone" && fail "a set after the end succeeded"
grep -qF "rclp: cannot connect to $address: Connection refused" "$work/gone" || fail "no clear message: $(cat "$work/gone")"
echo "rclp watch scenario passed"
