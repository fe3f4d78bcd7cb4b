#!/bin/bash
# Bonjour advertising against a real mDNS responder, entirely inside a private network namespace:
# its own loopback and a veth pair whose both ends stay inside, its own /run, its own dbus-daemon
# and avahi-daemon. Nothing reaches the machine's network. Exit 77 (skip) when namespaces or the
# tools are unavailable.
#   bonjour_netns_test.sh <tessiva-focus binary> <tessiva-peer binary>
set -u
HOST_BIN=${1:?usage: bonjour_netns_test.sh <tessiva-focus> <tessiva-peer>}
PEER_BIN=${2:?usage: bonjour_netns_test.sh <tessiva-focus> <tessiva-peer>}
SKIP=77

skip() { echo "SKIP: $*"; exit $SKIP; }

if [ "${TESSIVA_NETNS_INNER:-}" != 1 ]; then
    for tool in ip unshare dbus-daemon avahi-daemon avahi-browse mount; do
        command -v "$tool" >/dev/null 2>&1 || skip "$tool is not installed"
    done
    [ "$(id -u)" = 0 ] || skip "creating a network namespace needs root"
    NS="tessiva-link-$$"
    ip netns add "$NS" 2>/dev/null || skip "cannot create a network namespace (ip netns add failed)"
    trap 'ip netns delete "$NS" 2>/dev/null' EXIT
    # A private mount namespace too, so /run (dbus and avahi sockets, pid files) is our own.
    TESSIVA_NETNS_INNER=1 ip netns exec "$NS" unshare --mount --propagation private \
        bash "$0" "$HOST_BIN" "$PEER_BIN"
    exit $?
fi

# ---- inside the namespace ----
WORK=$(mktemp -d /tmp/tessiva-bonjour.XXXXXX)
mount -t tmpfs tmpfs /run || skip "cannot mount a private /run"
mkdir -p /run/dbus /run/avahi-daemon
PIDS=()
cleanup() {
    for pid in "${PIDS[@]}"; do kill "$pid" 2>/dev/null; done
    wait 2>/dev/null
    rm -rf "$WORK"
}
trap cleanup EXIT

ip link set lo up
# avahi never uses loopback interfaces, so give it a veth pair that lives only in here.
ip link add tsv0 type veth peer name tsv1 || skip "cannot create a veth pair"
ip addr add 169.254.213.1/24 dev tsv0
ip link set tsv0 up
ip link set tsv1 up

# Prints the port of the link host logging to $1 once it has reported both its Bonjour outcome
# and its port (it prints the port after the outcome); nothing if that takes over 10 s.
host_port() {
    local port=""
    for _ in $(seq 100); do
        port=$(sed -n 's/^EVENT OSC listener ready — Listening for inbound OSC UDP on port \([0-9]*\)$/\1/p' "$1" | head -1)
        [ -n "$port" ] && grep -q "EVENT OSC Bonjour" "$1" && break
        sleep 0.1
    done
    echo "$port"
}

# First without any responder: the failure is logged and an iPad still connects by address.
# The whole Mac program, with the simulated Logic and MIDI kept in memory.
mac() {
    "$HOST_BIN" run --port 0 --bind 127.0.0.1 --midi memory --logic simulated --events --home "$WORK/$1" </dev/null
}
mac alone-home >"$WORK/alone.log" 2>&1 &
ALONE=$!
PIDS+=($ALONE)
ALONE_PORT=$(host_port "$WORK/alone.log")
if ! grep -q "^EVENT OSC Bonjour failed — OSC Bonjour failed: " "$WORK/alone.log" || [ -z "$ALONE_PORT" ]; then
    echo "FAIL: no responder, but no \"OSC Bonjour failed\" entry or no port"; cat "$WORK/alone.log"; exit 1
fi
if ! "$PEER_BIN" --port "$ALONE_PORT" ping wait-for /pong --timeout 5 >"$WORK/peer.log" 2>&1; then
    echo "FAIL: without a responder the iPad could not connect by address"; cat "$WORK/peer.log"; exit 1
fi
kill "$ALONE" 2>/dev/null
echo "PASS: without a responder: $(grep -m1 '^EVENT OSC Bonjour failed' "$WORK/alone.log" | sed 's/.*— //'), and /pong still answered"

cat > "$WORK/dbus.conf" <<'CONF'
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <listen>unix:path=/run/dbus/system_bus_socket</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*"/>
    <allow receive_sender="*"/>
  </policy>
</busconfig>
CONF
cat > "$WORK/avahi.conf" <<'CONF'
[server]
use-ipv4=yes
use-ipv6=no
allow-interfaces=tsv0
enable-dbus=yes
ratelimit-interval-usec=0
[wide-area]
enable-wide-area=no
[publish]
publish-hinfo=no
publish-workstation=no
CONF

export DBUS_SYSTEM_BUS_ADDRESS=unix:path=/run/dbus/system_bus_socket
dbus-daemon --config-file="$WORK/dbus.conf" --nofork --nopidfile >"$WORK/dbus.log" 2>&1 &
PIDS+=($!)
for _ in $(seq 50); do [ -S /run/dbus/system_bus_socket ] && break; sleep 0.1; done
[ -S /run/dbus/system_bus_socket ] || { echo "FAIL: private dbus-daemon did not start"; cat "$WORK/dbus.log"; exit 1; }

avahi-daemon -f "$WORK/avahi.conf" --no-drop-root --no-chroot --no-rlimits --no-proc-title \
    >"$WORK/avahi.log" 2>&1 &
PIDS+=($!)
for _ in $(seq 100); do grep -q "Server startup complete" "$WORK/avahi.log" && break; sleep 0.1; done
grep -q "Server startup complete" "$WORK/avahi.log" || { echo "FAIL: avahi-daemon did not start"; cat "$WORK/avahi.log"; exit 1; }

mac home >"$WORK/host.log" 2>&1 &
PIDS+=($!)
PORT=$(host_port "$WORK/host.log")
[ -n "$PORT" ] || { echo "FAIL: the Mac did not listen"; cat "$WORK/host.log"; exit 1; }
if ! grep -q "EVENT OSC Bonjour advertising — Advertising _tessiva-osc._udp on UDP port $PORT as Tessiva Focus" "$WORK/host.log"; then
    echo "FAIL: the link did not report its advertisement"; cat "$WORK/host.log"; exit 1
fi

# Parseable output escapes the space in the instance name as \032.
RESOLVED='^=;[^;]*;IPv4;Tessiva(\\032| )Focus;_tessiva-osc\._udp;local;[^;]*;[^;]*;'"$PORT"';'
BROWSE=""
for _ in $(seq 20); do
    BROWSE=$(timeout 10 avahi-browse -rpt _tessiva-osc._udp 2>&1)
    echo "$BROWSE" | grep -Eq "$RESOLVED" && break
    sleep 0.2
done
echo "$BROWSE"
if echo "$BROWSE" | grep -Eq "$RESOLVED"; then
    echo "PASS: avahi-browse resolved \"Tessiva Focus\" to UDP port $PORT"
    exit 0
fi
echo "FAIL: \"Tessiva Focus\" on port $PORT was not resolved"; cat "$WORK/host.log" "$WORK/avahi.log"
exit 1
