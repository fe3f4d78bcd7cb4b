#!/usr/bin/env bash
# Logic's tempo reaches the iPad in real time: 120 when the bridge has attached and the iPad is
# connected, then 120.00005 (a repeat), 96, 0 and "abc" (unreadable) on the control bar: the iPad
# hears exactly 120 and 96.
set -uo pipefail
program=$1
peer=$2
work=$(mktemp -d)
trap 'kill $(jobs -p) 2>/dev/null; [ -n "${KEEP:-}" ] || rm -rf "$work"' EXIT
fail() { echo "FAIL: $*"; exit 1; }

port=$(python3 -c 'import socket; s=socket.socket(socket.AF_INET, socket.SOCK_DGRAM); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')

cat >"$work/scenario.json" <<'JSON'
{"logic": {"project": "Tempo Session", "version": 12, "tracks": ["Piano", "Bass"]},
 "steps": [{"at": 3.0, "do": "tempo", "bpm": 120.00005},
           {"at": 3.6, "do": "tempo", "bpm": 96},
           {"at": 4.2, "do": "tempo", "bpm": 0},
           {"at": 4.8, "do": "tempo", "bpm": "abc"}],
 "endAfter": 6.0}
JSON
mkdir -p "$work/home"

(sleep 1.0; exec "$peer" --port "$port" --name "Tempo iPad" ping wait-for /pong listen --seconds 5) \
  >"$work/peer.log" 2>&1 &
timeout 60 "$program" run --scenario "$work/scenario.json" --quit-after-scenario --events \
  --no-bonjour --midi memory --port "$port" --bind 127.0.0.1 --home "$work/home" \
  >"$work/program.log" 2>&1
status=$?
wait %1
[ "$status" -eq 0 ] || { cat "$work/program.log"; fail "run exited $status"; }

tempos=$(grep -F 'RX /tessiva/logic/tempo ' "$work/peer.log" | sed -E 's/ from .*//')
echo "$tempos"
expected=$'RX /tessiva/logic/tempo [f:120.0]\nRX /tessiva/logic/tempo [f:96.0]'
[ "$tempos" = "$expected" ] || { cat "$work/peer.log"; fail "the iPad did not hear exactly 120 then 96"; }
echo "tempo: the iPad heard 120 and 96 only"
