#!/usr/bin/env bash
# Runs `tessiva-focus run` twice: once with a scenario that ends it, once stopped with Ctrl-C.
# Both must save the profile and leave a file that `profile check` accepts.
set -uo pipefail
program=$1
scenario=$2
home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT
fail() { echo "FAIL: $*"; exit 1; }

output=$(timeout 60 "$program" run --scenario "$scenario" --quit-after-scenario --events \
  --no-bonjour --midi memory --port 0 --bind 127.0.0.1 --home "$home" 2>&1)
status=$?
echo "$output"
[ "$status" -eq 0 ] || fail "run --scenario exited $status"
for line in "[Scenario] the user starts clicking" "[Scenario] click track 3" \
  "Project auto-restore observed Logic project title: Scoring Session.logicx - Tracks reason=startup" \
  "EVENT Project auto-restore observed title" "[Scenario] finished" "Saved mappings on quit"; do
  grep -qF -- "$line" <<<"$output" || fail "missing line: $line"
done
"$program" profile check "$home/Tessiva Focus Mappings.json" || fail "saved profile does not check"

log="$home/interrupted.log"
"$program" run --no-bonjour --midi memory --port 0 --bind 127.0.0.1 --home "$home" >"$log" 2>&1 &
pid=$!
for _ in $(seq 1 100); do
  grep -q "Project auto-restore observed Logic project title" "$log" && break
  sleep 0.1
done
kill -INT "$pid"
for _ in $(seq 1 100); do
  kill -0 "$pid" 2>/dev/null || break
  sleep 0.1
done
if kill -0 "$pid" 2>/dev/null; then kill -9 "$pid"; fail "run did not quit on Ctrl-C"; fi
wait "$pid"
status=$?
cat "$log"
[ "$status" -eq 0 ] || fail "run exited $status after Ctrl-C"
grep -qF "Quit requested (signal)" "$log" || fail "no quit line"
grep -qF "Saved mappings on quit" "$log" || fail "profile not saved on quit"
echo "run: scenario and Ctrl-C both quit cleanly"
