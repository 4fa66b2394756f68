#!/usr/bin/env bash
# pdlcrypt round trip: roundtrip-test.sh PDLCRYPT PANELHOST DRIVERLIB BASECONFIG CONFIG
# CONFIG, laid over the panel's BASECONFIG, is a config tree whose PDL/counter.pdl prints what its init code computes. The test enciphers
# it, loads both twins into a panel and compares what they print; deciphers it back and compares the
# bytes; and checks that a foreign key, a damaged header and damaged text are refused with their reasons.
set -uo pipefail
pdlcrypt=$(realpath "$1")
panelhost=$(realpath "$2")
driver=$(realpath "$3")
baseconfig=$4
config=$5

work=$(cd "$(mktemp -d)" && pwd -P)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/bin"
cp "$driver" "$work/bin/libmoduledriver.so"
mkdir -p "$work/config"
cp -r "$baseconfig/." "$work/config/"
cp -r "$config/." "$work/config/"
failed=0
check() { # check DESCRIPTION COMMAND...: the command must succeed
  local what=$1; shift
  if ! "$@"; then echo "FAILED: $what"; failed=1; fi
}
refused() { # refused STATUS EXPECTED-MESSAGE ARGS...: pdlcrypt must exit so with exactly this message
  local expected=$1 message=$2; shift 2
  local out status
  out=$("$pdlcrypt" "$@" 2>&1 >/dev/null); status=$?
  if [[ $status -ne $expected || "$out" != "$message" ]]; then
    echo "FAILED: pdlcrypt $* gave status $status and \"$out\", expected $expected and \"$message\""
    failed=1
  fi
}

pdl="$work/config/PDL"
check "encrypt" "$pdlcrypt" encrypt "$pdl/counter.pdl" "$pdl/twin.pdl.enc"
printf 'moduleCreate 0 1 1 PDL/counter.pdl\n' > "$work/plain.script"
printf 'moduleCreate 0 1 1 PDL/twin.pdl\n' > "$work/twin.script"
(cd "$work" && "$panelhost" --script "$work/plain.script" >"$work/plain.out" 2>/dev/null)
(cd "$work" && "$panelhost" --script "$work/twin.script" >"$work/twin.out" 2>"$work/twin.err")
check "the plain module prints something" test -s "$work/plain.out"
check "the enciphered twin prints what the plain module prints" cmp "$work/plain.out" "$work/twin.out"
check "the enciphered twin loads" grep -qxF "[Startup] INFO   Module 0.1.1 Load OK" "$work/twin.err"

check "decrypt" "$pdlcrypt" decrypt "$pdl/twin.pdl.enc" "$work/back.pdl"
check "deciphering gives the plain text back" cmp "$pdl/counter.pdl" "$work/back.pdl"

refused 1 "pdlcrypt: $pdl/twin.pdl.enc: enciphered under another key" decrypt -k OtherKey "$pdl/twin.pdl.enc" "$work/x"
refused 1 "pdlcrypt: $pdl/counter.pdl: not an enciphered PDL file (no header)" decrypt "$pdl/counter.pdl" "$work/x"
refused 1 "pdlcrypt: $pdl/twin.pdl.enc: is enciphered already" encrypt "$pdl/twin.pdl.enc" "$work/x"
head -c 12 "$pdl/twin.pdl.enc" > "$work/short.enc"
refused 1 "pdlcrypt: $work/short.enc: too short for an enciphered PDL file" decrypt "$work/short.enc" "$work/x"
cp "$pdl/twin.pdl.enc" "$work/version.enc"; printf '\x07' | dd of="$work/version.enc" bs=1 seek=4 conv=notrunc 2>/dev/null
refused 1 "pdlcrypt: $work/version.enc: damaged or unknown format: version 7, expected 2" decrypt "$work/version.enc" "$work/x"
cp "$pdl/twin.pdl.enc" "$work/type.enc"; printf '\x09' | dd of="$work/type.enc" bs=1 seek=8 conv=notrunc 2>/dev/null
refused 1 "pdlcrypt: $work/type.enc: damaged or unknown format: cipher type 9, expected 3" decrypt "$work/type.enc" "$work/x"
# Flipping a bit of the enciphered text flips the same bit of the plain text: a space becomes a control byte.
cp "$pdl/twin.pdl.enc" "$work/text.enc"
offset=$(( 20 + $(head -c 200 "$pdl/counter.pdl" | grep -bo ' ' | head -1 | cut -d: -f1) ))
byte=$(od -An -tu1 -j "$offset" -N1 "$work/text.enc" | tr -d ' ')
printf "\\x$(printf '%02x' $(( byte ^ 0x20 )))" | dd of="$work/text.enc" bs=1 seek="$offset" conv=notrunc 2>/dev/null
refused 1 "pdlcrypt: $work/text.enc: damaged: the deciphered text holds a control byte at offset $offset" decrypt "$work/text.enc" "$work/x"
refused 2 "usage: pdlcrypt encrypt|decrypt [-k KEY] INPUT OUTPUT" decrypt "$work/text.enc"
exit $failed
