#!/usr/bin/env bash
# Runs `tessiva-focus demo` and checks that its story happened, line by line.
set -uo pipefail
program=$1
output=$(timeout 60 "$program" demo 2>&1)
status=$?
echo "$output"
[ "$status" -eq 0 ] || { echo "FAIL: demo exited $status"; exit 1; }
expect() {
  grep -qF -- "$1" <<<"$output" || { echo "FAIL: missing line: $1"; exit 1; }
}
expect "[iPad] RX /pong [s:Demo Mac]"
expect "Auto-loaded mappings for Logic project: Orchestral Template - Tracks"
expect "[iPad] RX /tessiva/bank/focus [s:bank, s:6F1C2A10-0000-4000-8000-000000000001, s:Violins I, s:Violins I Legato, i:2, s:Strings]"
expect "[MIDI out] Network Session 1: C0 01"
[ "$(grep -c -- "Network Session 1: C0 09" <<<"$output")" -eq 1 ] ||
  { echo "FAIL: the repeated click on Horns sent its Program Change again"; exit 1; }
expect "Recall prompt \"Saved mappings found for Cue 2\" answered \"Load Cue 2\""
expect "[MIDI out] Network Session 1: C0 2D"
expect "[MIDI out] Tessiva MIDI (virtual source): 90 3C 64"
expect "Demo finished: every step happened."
echo "demo: all key lines present"
