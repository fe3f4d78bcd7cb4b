#!/usr/bin/env bash
# The whole program against a Logic 12 that publishes each selection 0.35 s +- 0.1 s after the
# gesture and posts no notification: thirty clicks and arrow keys across a 40-track project with
# Track Stacks must come out as exactly the tracks selected, in order, both as "Logic track
# detected" entries and as bank focus datagrams received by a loopback iPad. Real time.
set -uo pipefail
program=$1
peer=$2
work=$(mktemp -d)
trap 'kill $(jobs -p) 2>/dev/null; [ -n "${KEEP:-}" ] || rm -rf "$work"' EXIT
fail() { echo "FAIL: $*"; exit 1; }

port=$(python3 -c 'import socket; s=socket.socket(socket.AF_INET, socket.SOCK_DGRAM); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')

# The project, its own profile (a bank and a Program Change for every row) and the steps, with
# the selections and bank focus messages they must produce.
python3 - "$work" <<'PY'
import json, sys, random
work = sys.argv[1]
tracks = ["Piano", "Harp",
          {"stack": "Strings", "tracks": ["Violins I", "Violins II", "Violas", "Celli", "Basses"]},
          "Celesta",
          {"stack": "Brass", "tracks": ["Horns", "Trumpets", "Trombones", "Tuba"]}]
tracks += ["Perc %d" % n for n in range(15, 41)]
rows = []
for entry in tracks:
    if isinstance(entry, dict):
        rows.append((entry["stack"], True))
        rows += [(name, False) for name in entry["tracks"]]
    else:
        rows.append((entry, False))
names = {i + 1: name for i, (name, _) in enumerate(rows)}
assert len(names) == 40
hidden = set(range(11, 15))  # Brass (row 10) is collapsed first
visible = [row for row in sorted(names) if row not in hidden]

rng = random.Random(40)
steps = [{"at": 0.3, "do": "collapse", "stack": 10}]
expected = []
current = None
at = 2.5
while len(expected) < 30:
    if current is not None and rng.random() < 0.4:
        position = visible.index(current)
        down = position == 0 or (position < len(visible) - 1 and rng.random() < 0.6)
        target = visible[position + 1] if down else visible[position - 1]
        steps.append({"at": round(at, 2), "do": "arrow", "direction": "down" if down else "up"})
    else:
        target = rng.choice([row for row in visible if row != current])
        steps.append({"at": round(at, 2), "do": "click", "track": target})
    expected.append(target)
    current = target
    at += 0.8
scenario = {"logic": {"project": "Lag Session", "version": 12, "locale": "en",
                      "notifications": "none", "selectionSettleDelay": 0.35,
                      "selectionSettleJitter": 0.1, "tracks": tracks},
            "steps": steps, "endAfter": round(at + 1.0, 2)}
json.dump(scenario, open(work + "/scenario.json", "w"), indent=1)

def rowmap(values):
    return {str(row): value for row, value in values.items()}
profile = {"version": 1,
           "trackIndexToPC": rowmap({row: row for row in names}),
           "trackIndexToName": rowmap(names),
           "trackIndexToChannel": rowmap({row: 1 for row in names}),
           "trackIndexToEventType": rowmap({row: "programChange" for row in names}),
           "trackIndexToNote": {},
           "oscBankFocusMappingsByTrackIndex": {
               str(row): {"id": "00000000-0000-4000-8000-%012d" % row, "trackIndex": row,
                          "trackName": name, "bankUUID": "BANK-%d" % row,
                          "bankName": "Bank %d" % row, "updatedAt": 694224000}
               for row, name in names.items()}}
json.dump(profile, open(work + "/profile.json", "w"))
open(work + "/expected", "w").write(" ".join(map(str, expected)) + "\n")
PY
[ -f "$work/scenario.json" ] || fail "could not write the scenario"
mkdir -p "$work/home"
mv "$work/profile.json" "$work/home/Lag Session.json"
expected=$(cat "$work/expected")

# The iPad pings once the Mac listens; the first click comes 2.5 s in.
(sleep 1.0; exec "$peer" --port "$port" --name "Lag iPad" ping wait-for /pong listen --seconds 29) \
  >"$work/peer.log" 2>&1 &
timeout 90 "$program" run --scenario "$work/scenario.json" --quit-after-scenario --events \
  --no-bonjour --midi memory --port "$port" --bind 127.0.0.1 --home "$work/home" \
  >"$work/program.log" 2>&1
status=$?
wait %1  # the iPad stops listening on its own once the scenario has ended
[ "$status" -eq 0 ] || { cat "$work/program.log"; fail "run exited $status"; }

detected=$(grep -oE 'EVENT Logic track detected: #[0-9]+' "$work/program.log" | grep -oE '[0-9]+$' |
  tr '\n' ' ' | sed 's/ $//')
focused=$(grep -E '^RX /tessiva/bank/focus' "$work/peer.log" | grep -oE 'BANK-[0-9]+' |
  sed 's/BANK-//' | tr '\n' ' ' | sed 's/ $//')
echo "expected: $expected"
echo "detected: $detected"
echo "focused:  $focused"
if [ "$detected" != "$expected" ] || [ "$focused" != "$expected" ]; then
  grep -E "EVENT|RX" "$work/program.log" "$work/peer.log" | tail -80
  fail "the selections seen differ from the tracks selected"
fi
echo "lagging Logic: 30 selections detected and focused in order"
