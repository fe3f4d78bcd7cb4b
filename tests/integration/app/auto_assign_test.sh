#!/usr/bin/env bash
# The whole program, a 120-row orchestral template on a lagging Logic 12 and a loopback iPad
# whose workspace holds 150 banks in 12 groups: "Add All Logic Tracks and Attempt Auto Assign"
# chosen from the scenario links every exactly named row, the console lists the estimated matches
# and applies them, and clicks on linked tracks focus their banks on the iPad. Real time.
set -uo pipefail
program=$1
peer=$2
work=$(mktemp -d)
trap 'exec 3>&- 2>/dev/null; kill $(jobs -p) 2>/dev/null; [ -n "${KEEP:-}" ] || rm -rf "$work"' EXIT
fail() { echo "FAIL: $*"; exit 1; }

port=$(python3 -c 'import socket; s=socket.socket(socket.AF_INET, socket.SOCK_DGRAM); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
mkdir -p "$work/home"

# The workspace, the template (exact names, desk-numbered names with only an unnumbered bank,
# and rows no bank resembles), the project's own empty profile, and what each row must become.
python3 - "$work" <<'PY'
import json, sys
work = sys.argv[1]
groups = [
    ("Group WW High", ["Piccolo", "Flute", "Oboe"]),
    ("Group WW Low", ["Clarinet", "Bassoon", "Contrabassoon"]),
    ("Group Brass High", ["Horn", "Trumpet"]),
    ("Group Brass Low", ["Trombone", "Tuba", "Cimbasso"]),
    ("Group Timpani", ["Timpani", "Gran Cassa"]),
    ("Group Tuned Perc", ["Glockenspiel", "Xylophone", "Marimba"]),
    ("Group Keys", ["Celesta", "Piano"]),
    ("Group Harps", ["Harp"]),
    ("Group High Strings", ["Violin I", "Violin II"]),
    ("Group Low Strings", ["Viola", "Cello", "Double Bass"]),
    ("Group Choir", ["Soprano", "Alto", "Tenor", "Bass Voice"]),
    ("Group Synth", ["Pad", "Pulse"]),
]
articulations = ["Legato", "Sustain", "Staccato", "Spiccato", "Marcato", "Tremolo", "Pizzicato",
                 "Trill", "Swell", "Flutter", "Harmonics", "Col Legno", "Sordino"]
sections, banks = {}, []
for g, (group, instruments) in enumerate(groups):
    count = 13 if g < 6 else 12
    section = "Section %d" % (g // 3 + 1)
    for n in range(count):
        instrument = instruments[n % len(instruments)]
        name = "%s %s" % (instrument, articulations[n // len(instruments)])
        bank = {"uuid": "BANK-%03d" % len(banks), "name": name,
                "groupUUID": "GROUP-%02d" % g, "groupName": group, "sectionName": section,
                "articulationCount": 4, "articulationNames": ["Long", "Short", "Accent", "Trill"]}
        banks.append(bank)
        sections.setdefault(section, []).append(bank)
names = [b["name"] for b in banks]
assert len(banks) == 150 and len(set(names)) == 150, (len(banks), len(set(names)))
workspace = {"workspaceUUID": "WS-1", "workspaceName": "Orchestra",
             "sections": [{"name": s, "banks": b} for s, b in sections.items()]}
json.dump(workspace, open(work + "/workspace.json", "w"))

exact = names[0:150:3][:40] + names[1:150:3][:46]
estimated = ["%s %d" % (name, 2) for name in names[2:150:3][:20]]
loose = ["Click", "Video Guide", "Temp Mix", "Print Bus", "Reference", "Dialogue"]
flat = exact + estimated + loose
assert len(flat) == 112
# Four Track Stacks (their headers are rows too) hold the first 116 rows; 120 rows in all.
tracks, rows = [], []
per = [30, 30, 30, 22]
at = 0
for s, size in enumerate(per):
    members = flat[at:at + size]
    at += size
    tracks.append({"stack": "Stack %s" % "ABCD"[s], "tracks": members})
    rows += ["Stack %s" % "ABCD"[s]] + members
tracks += flat[at:]
rows += flat[at:]
spares = ["Spare %d" % n for n in range(1, 121 - len(rows))]
tracks += spares
rows += spares
assert len(rows) == 120, len(rows)
by_name = {b["name"]: b["uuid"] for b in banks}
row_of = {name: i + 1 for i, name in enumerate(rows)}
expect_exact = {row_of[n]: by_name[n] for n in exact}
expect_estimated = {row_of[n]: by_name[n[:-2]] for n in estimated}
json.dump({"exact": expect_exact, "estimated": expect_estimated},
          open(work + "/expected.json", "w"))
scenario = {"logic": {"project": "Orchestra Template", "version": 12, "locale": "en",
                      "notifications": "none", "selectionSettleDelay": 0.35,
                      "selectionSettleJitter": 0.05, "tracks": tracks},
            "steps": [{"at": 4.0, "do": "menu",
                       "item": "Add All Logic Tracks and Attempt Auto Assign"},
                      {"at": 14.0, "do": "click", "track": row_of[exact[5]]},
                      {"at": 15.5, "do": "click", "track": row_of[estimated[3]]},
                      {"at": 17.0, "do": "menu", "item": "Save Mappings"}],
            "endAfter": 18.0}
json.dump(scenario, open(work + "/scenario.json", "w"), indent=1)
open(work + "/clicks", "w").write("%s %s\n" % (by_name[exact[5]], by_name[estimated[3][:-2]]))
empty = {"version": 1, "trackIndexToPC": {}, "trackIndexToName": {}, "trackIndexToChannel": {},
         "trackIndexToEventType": {}, "trackIndexToNote": {},
         "oscBankFocusMappingsByTrackIndex": {}}
json.dump(empty, open(work + "/home/Orchestra Template.json", "w"))
PY
[ -f "$work/scenario.json" ] || fail "could not write the scenario"

mkfifo "$work/console"
(sleep 1.0; exec "$peer" --port "$port" --name "Score iPad" --answer-snapshot "$work/workspace.json" \
  ping wait-for /pong listen --seconds 22) >"$work/peer.log" 2>&1 &
timeout 90 "$program" run --console --scenario "$work/scenario.json" --quit-after-scenario \
  --events --no-bonjour --midi memory --port "$port" --bind 127.0.0.1 --home "$work/home" \
  <"$work/console" >"$work/program.log" 2>&1 &
program_pid=$!
exec 3>"$work/console"

# Waits up to $2 seconds for a line matching $1 in the program's output.
await() {
  for _ in $(seq $(( $2 * 10 ))); do
    grep -qE "$1" "$work/program.log" && return 0
    sleep 0.1
  done
  cat "$work/program.log"; fail "no line matching \"$1\" within $2 s"
}
await "Auto Assign completed" 25
echo "fly to the moon" >&3
echo "review" >&3
await 'estimated match(es)? to review' 3
echo "review apply-all" >&3
await 'Applied all remaining estimated matches' 3
echo "status" >&3
await 'Estimated matches waiting: 0' 3
wait "$program_pid"
status=$?
exec 3>&-
wait  # the iPad stops listening on its own
[ "$status" -eq 0 ] || { cat "$work/program.log"; fail "run exited $status"; }
log=$work/program.log

grep -q '\[Console\] Unknown command "fly to the moon"' "$log" || fail "the unknown command was not named"
grep -q 'EVENT Auto Assign completed' "$log" || fail "the summary is not in the event log"
grep -q '\[Scenario\] "Add All Logic Tracks and Attempt Auto Assign": adding a row' "$log" ||
  fail "the menu step did not report what it did"

python3 - "$work" <<'PY' || { grep -E "AutoAssign|Console" "$work/program.log" | head -60; exit 1; }
import json, re, sys
work = sys.argv[1]
expected = json.load(open(work + "/expected.json"))
profile = json.load(open(work + "/home/Orchestra Template.json"))
links = {int(row): m["bankUUID"] for row, m in profile["oscBankFocusMappingsByTrackIndex"].items()}
log = open(work + "/program.log").read()
problems = []
for row, uuid in expected["exact"].items():
    if links.get(int(row)) != uuid:
        problems.append("exact row %s: %s, not %s" % (row, links.get(int(row)), uuid))
listed = [line for line in log.splitlines() if re.match(r"\[Console\] \d+\. track \d+ ", line)]
listed_rows = {int(re.match(r"\[Console\] \d+\. track (\d+) ", line).group(1)) for line in listed}
for row, uuid in expected["estimated"].items():
    if int(row) not in listed_rows:
        problems.append("estimated row %s was not listed by review" % row)
    if links.get(int(row)) != uuid:
        problems.append("estimated row %s: %s, not %s" % (row, links.get(int(row)), uuid))
applied = re.search(r"Applied all remaining estimated matches: applied (\d+), skipped (\d+)", log)
if not applied or int(applied.group(1)) != len(listed):
    problems.append("apply-all did not apply every listed match: %s" % (applied and applied.group(0)))
if problems:
    print("FAIL:\n  " + "\n  ".join(problems[:20]))
    sys.exit(1)
print("auto assign: %d exact rows linked, %d estimated matches listed and applied"
      % (len(expected["exact"]), len(listed)))
PY

read -r exact_bank estimated_bank <"$work/clicks"
focused=$(grep -E '^RX /tessiva/bank/focus' "$work/peer.log" | grep -oE 'BANK-[0-9]+' | tr '\n' ' ')
echo "focused: $focused"
[ "$focused" = "$exact_bank $estimated_bank " ] ||
  { tail -40 "$work/peer.log"; fail "clicks on linked tracks must focus $exact_bank then $estimated_bank"; }
echo "auto assign end to end: passed"
