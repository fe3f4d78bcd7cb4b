#!/usr/bin/env bash
# The iPad asks the Mac to select Logic tracks by bank (`tessiva-peer select`), against a lagging
# Logic 12 that posts no notification, in real time: a mapped bank selects its track and gets a
# success result with no bank focus sent back for it; an unmapped bank and a bank mapped to a track
# inside a collapsed Track Stack get failure results with their messages.
set -uo pipefail
program=$1
peer=$2
work=$(mktemp -d)
trap 'kill $(jobs -p) 2>/dev/null; [ -n "${KEEP:-}" ] || rm -rf "$work"' EXIT
fail() { echo "FAIL: $*"; exit 1; }

port=$(python3 -c 'import socket; s=socket.socket(socket.AF_INET, socket.SOCK_DGRAM); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')

# Rows: 1 Piano, 2 Harp, 3 Celesta, 4 Strings (stack, collapsed at once: 5-7 hidden), 8 Horn.
cat >"$work/scenario.json" <<'JSON'
{"logic": {"project": "Nav Session", "version": 12, "notifications": "none",
           "selectionSettleDelay": 0.35,
           "tracks": ["Piano", "Harp", "Celesta",
                      {"stack": "Strings", "tracks": ["Violins", "Violas", "Celli"]}, "Horn"]},
 "steps": [{"at": 0.2, "do": "collapse", "stack": 4}],
 "endAfter": 11.0}
JSON
mkdir -p "$work/home"
python3 - "$work/home/Nav Session.json" <<'PY'
import json, sys
names = {1: "Piano", 2: "Harp", 3: "Celesta", 4: "Strings", 5: "Violins", 6: "Violas",
         7: "Celli", 8: "Horn"}
mapped = {3: "BANK-CELESTA", 6: "BANK-VIOLAS"}
def rowmap(value):
    return {str(row): value(row) for row in names}
profile = {"version": 1, "trackIndexToPC": rowmap(lambda r: r), "trackIndexToName": rowmap(names.get),
           "trackIndexToChannel": rowmap(lambda r: 1),
           "trackIndexToEventType": rowmap(lambda r: "programChange"), "trackIndexToNote": {},
           "oscBankFocusMappingsByTrackIndex": {
               str(row): {"id": "00000000-0000-4000-8000-%012d" % row, "trackIndex": row,
                          "trackName": names[row], "bankUUID": bank, "bankName": bank.title(),
                          "updatedAt": 694224000}
               for row, bank in mapped.items()}}
json.dump(profile, open(sys.argv[1], "w"))
PY

(sleep 1.0; exec "$peer" --port "$port" --name "Nav iPad" ping wait-for /pong listen --seconds 1.5 \
   select --request REQ-1 --bank BANK-CELESTA listen --seconds 2.5 \
   select --request REQ-2 --bank BANK-NOWHERE listen --seconds 1 \
   select --request REQ-3 --bank BANK-VIOLAS listen --seconds 2.5) >"$work/peer.log" 2>&1 &
timeout 60 "$program" run --scenario "$work/scenario.json" --quit-after-scenario --events \
  --no-bonjour --midi memory --port "$port" --bind 127.0.0.1 --home "$work/home" \
  >"$work/program.log" 2>&1
status=$?
wait %1
[ "$status" -eq 0 ] || { cat "$work/program.log"; fail "run exited $status"; }

results=$(grep -F 'RX /tessiva/navigation/direct/result' "$work/peer.log")
echo "$results"
show() { cat "$work/peer.log"; grep -E "EVENT|Direct" "$work/program.log" | tail -40; }
line() { grep -F "[s:$1, " <<<"$results"; }
[ "$(grep -c . <<<"$results")" -eq 3 ] || { show; fail "expected three results"; }
line REQ-1 | grep -qF 's:BANK-CELESTA, s:success, i:3, ' || { show; fail "REQ-1 did not succeed"; }
line REQ-2 | grep -F 's:failure, i:0, ' | grep -qF 'No Logic track is mapped to bank BANK-NOWHERE.' ||
  { show; fail "REQ-2: no unmapped-bank failure"; }
line REQ-3 | grep -F 's:failure, i:6, ' |
  grep -qF 'Logic track 6 “Violas” is hidden inside a collapsed Track Stack.' ||
  { show; fail "REQ-3: no collapsed-stack failure"; }
grep -qF "EVENT Logic track detected: #3" "$work/program.log" ||
  { show; fail "Logic did not report track 3 as selected"; }
focus=$(grep -cF 'RX /tessiva/bank/focus' "$work/peer.log")
[ "$focus" -eq 0 ] || { show; fail "the navigation sent $focus bank focus messages to the iPad"; }
grep -F 'RX /tessiva/navigation/direct/mode' "$work/peer.log" | tail -1 | grep -qF '[i:1, ' ||
  { show; fail "direct navigation was not announced as available"; }
echo "direct navigation: success, unmapped and collapsed-stack results as expected"
