#!/usr/bin/env bash
# Runs a command with the real NDI runtime in a network of its own that holds only loopback, and
# ends with the command's exit code:
#   ndi-network.sh RUNTIME_DIRECTORY -- command [argument…]
# Ends with 77 ("skipped") where the runtime or such a network cannot be had. The network matters:
# senders listen on all addresses, and would be seen by every NDI program near this machine.
set -u
runtime=$1; shift 2
skip() { echo "skipped: $1"; exit 77; }

[ -e "$runtime/libndi.so.5" ] || skip "no NDI runtime"
ldd "$runtime/libndi.so.5" 2>/dev/null | grep -q 'not found' && skip "no NDI runtime (its libavahi-client3 is missing)"
isolate=(unshare --net)
"${isolate[@]}" true 2>/dev/null || isolate=(unshare --user --map-root-user --net)
"${isolate[@]}" true 2>/dev/null || skip "no network namespace"
command -v ip >/dev/null || skip "no ip command"

directory=$(mktemp -d) || exit 1
trap 'rm -rf "$directory"' EXIT
# Found without multicast: there is no mDNS on loopback.
echo '{"ndi":{"networks":{"ips":"127.0.0.1","discovery":""}}}' >"$directory/ndi-config.v1.json"
export NDI_CONFIG_DIR=$directory NDI_RUNTIME_DIR_V5=$runtime
unset NDI_RUNTIME_DIR_V6
"${isolate[@]}" bash -c 'ip link set lo up && exec "$@"' ndi-network "$@" &
child=$!
trap 'kill "$child" 2>/dev/null; wait "$child" 2>/dev/null; exit 143' TERM INT
wait "$child"
status=$?
rm -rf "$directory"
exit "$status"
