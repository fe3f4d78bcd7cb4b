#!/usr/bin/env bash
# The transfers with a loopback iPad, real time, real UDP on 127.0.0.1:
#  1. an iPad that closes in the middle of a navigation export: the export fails after its
#     silence and nothing is saved; asked again, the export is saved in the chosen folder;
#  2. scheduled MIDI runs: a malformed one is refused, a good one plays to its end, a cancelled
#     one releases what it left sounding;
#  3. an articulation-set import whose first four acknowledgements are lost: the first file is
#     sent three times and reported unacknowledged, the second is sent again and imported, the
#     broken file is never sent; with "Add Logic Tracks and Auto Assign After Import" on, the
#     import that brought a set in goes on to auto assign.
set -uo pipefail
program=$1
peer=$2
work=$(mktemp -d)
trap 'exec 3>&- 2>/dev/null; kill $(jobs -p) 2>/dev/null; [ -n "${KEEP:-}" ] || rm -rf "$work"' EXIT
fail() { echo "FAIL: $*"; exit 1; }

free_port() {
  python3 -c 'import socket; s=socket.socket(socket.AF_INET, socket.SOCK_DGRAM); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'
}
mac_port=$(free_port)
ipad_port=$(free_port)
mkdir -p "$work/home" "$work/sets/Strings" "$work/received" "$work/exports"

# Articulation sets: a small one, a large one (chunked), a broken one and a file that is not one.
small='<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict><key>Name</key><string>Horns</string></dict></plist>'
printf '%s\n' "$small" >"$work/sets/A Horns.plist"
python3 - "$work/sets/Strings/B Violins.plist" <<'PY'
import sys
items = "".join("<dict><key>Name</key><string>Articulation %d — légato ✓</string>"
                "<key>ID</key><integer>%d</integer></dict>" % (n, n) for n in range(120))
open(sys.argv[1], "w").write('<?xml version="1.0" encoding="UTF-8"?>\n<plist version="1.0">'
                             "<dict><key>Articulations</key><array>%s</array></dict></plist>\n" % items)
PY
printf '<plist><dict><key>Name</key>\n' >"$work/sets/C Broken.plist"
printf 'not a set\n' >"$work/sets/readme.txt"
python3 -c 'import json; print(json.dumps({"assignments": [{"bank": "B-%d" % n, "track": n} for n in range(200)]}))' >"$work/navigation.json"

mkfifo "$work/console"
timeout 120 "$program" run --console --events --no-bonjour --midi memory --port "$mac_port" \
  --bind 127.0.0.1 --home "$work/home" <"$work/console" >"$work/program.log" 2>&1 &
program_pid=$!
exec 3>"$work/console"

await() {  # pattern, seconds[, file]
  local file=${3:-$work/program.log}
  for _ in $(seq $(( $2 * 10 ))); do
    grep -qE -- "$1" "$file" && return 0
    sleep 0.1
  done
  echo "--- program"; tail -60 "$work/program.log"; for f in "$work"/peer*.log; do echo "--- $f"; tail -n 30 "$f"; done
  fail "no line matching \"$1\" within $2 s"
}

# 1. The first iPad answers the export request with 2 of its 6 chunks, then is gone.
sleep 1
"$peer" --port "$mac_port" --bind-port "$ipad_port" --name "Closing iPad" \
  --answer-export "$work/navigation.json" --export-chunks 6 --export-vanish-after 2 \
  ping wait-for /pong listen --seconds 20 >"$work/peer1.log" 2>&1 &
peer1=$!
await "Tessiva: iPad connected" 10
echo "menu iPad Transfers > Export Navigation Assignments... --path $work/exports" >&3
await "VANISHING after 2 of 6 chunks" 5 "$work/peer1.log"
wait "$peer1"
await "EVENT Navigation export failed.*stopped sending navigation export" 14
[ -z "$(ls -A "$work/exports")" ] || fail "a partial export was saved"

# 2 and 3. The same iPad comes back (same address) and stays. Its first "/pong" may be lost: the
# Mac's connection to that address was refused while nobody listened, so it pings twice.
"$peer" --port "$mac_port" --bind-port "$ipad_port" --name "Studio iPad" \
  --answer-export "$work/navigation.json" --export-chunks 6 \
  --accept-imports "$work/received" --drop-import-acks 4 \
  ping listen --seconds 0.3 ping wait-for /pong \
  run --raw '{"version":1,"runID":"bad","notes":"C4"}' run --id bad2 --channel 0 \
  run --id R1 --channel 1 --notes 60,62,64,65,67,69,71,72 --interval-ms 20 --gate-ms 15 \
  run --id R2 --notes 48,50,52,53,55,57,59,60,62,64 --interval-ms 100 --legato --overlap-ms 30 \
  listen --seconds 0.35 cancel-run --id R2 --channel 1 \
  listen --seconds 45 >"$work/peer2.log" 2>&1 &
await "MIDI run cancelled" 10
echo "menu iPad Transfers > Export Navigation Assignments... --path $work/exports" >&3
await "EVENT Navigation export saved" 10
echo "menu iPad Transfers > Add Logic Tracks and Auto Assign After Import" >&3
echo "menu iPad Transfers > Import Articulation Sets... --path $work/sets" >&3
await "EVENT Articulation set import finished" 45
await "EVENT Auto assign after import — Adding the Logic tracks" 5
echo "status" >&3
echo "menu Quit Tessiva Focus" >&3
wait "$program_pid"
status=$?
exec 3>&-
log=$work/program.log
[ "$status" -eq 0 ] || { tail -40 "$log"; fail "run exited $status"; }

expect() { grep -qE -- "$1" "$log" || { grep -E "Transfers|Articulation|MIDIRun|export" "$log" | tail -40; fail "$2"; }; }
# Export.
saved=$(ls "$work/exports")
[ "$(echo "$saved" | wc -l)" -eq 1 ] || fail "expected one saved export, found: $saved"
cmp -s "$work/exports/$saved" "$work/navigation.json" || fail "the saved export differs from the iPad's"
expect "Saved the iPad's navigation export .* to $work/exports/navigation.json" "not told where"
# Runs.
expect "EVENT MIDI run skipped — The /tessiva/midi/run/schedule payload from .* has no" \
  "the run without its keys was not refused"
expect "EVENT MIDI run refused — Refused the MIDI run from .*\"channelOneBased\" is 0" \
  "the run on channel 0 was not refused"
expect "Run R1 played 8 note\(s\)" "R1 did not play to its end"
expect "Run R2 cancelled by .* released [12] sounding note" "R2 did not release its notes"
# Import.
expect "\[1 of 3\] The iPad did not acknowledge A Horns.plist after 3 attempts" "A was not reported"
# In path order: "C Broken.plist" comes before "Strings/B Violins.plist".
expect "\[2 of 3\] C Broken.plist is not a readable property list" "C was not refused"
expect "\[3 of 3\] The iPad imported B Violins.plist" "B was not imported after its retry"
expect "EVENT Articulation set sent again — Sent B Violins.plist .* attempt 2 of 3" \
  "B was not sent a second time"
[ "$(grep -c 'OSC TX: /tessiva/articulationset/import \[file=A Horns.plist' "$log")" -eq 3 ] ||
  fail "A was not sent three times"
grep -q "OSC TX: /tessiva/articulationset/import/chunk \[transferID=.*, chunk=1, chunks=" "$log" ||
  fail "B did not go in chunks"
! grep -q "C Broken.plist, transferID" "$log" || fail "the broken file was sent"
cmp -s "$work/received/B Violins.plist" "$work/sets/Strings/B Violins.plist" ||
  fail "the iPad did not receive B intact"
grep -q "Articulation sets: 1 of 3 imported (2 not imported)" "$log" || fail "no menu status line"
echo "transfers: export (gone iPad, then saved), runs (refused, played, cancelled), import (lost acks retried and reported)"
