#!/usr/bin/env bash
# Runs a command that trusts one more certificate authority than the machine does:
#   with_authority.sh CA.pem command [argument…]
# The command sees a copy of the system's certificates with the authority added, in a mount
# namespace of its own; nothing changes for any other program, and it all ends with the command.
set -euo pipefail
authority=$(realpath -- "$1")
shift
user=()
[ "$(id -u)" = 0 ] || user=(--map-root-user)
exec unshare --mount "${user[@]}" bash -euo pipefail -c '
    copy=$(mktemp -d)
    mount -t tmpfs -o size=16m tmpfs "$copy"
    cp -RL /etc/ssl/certs/. "$copy" 2>/dev/null || true # links into nowhere stay behind
    cp -- "$0" "$copy/$(openssl x509 -noout -hash -in "$0").0" # the name by which it is looked up
    mount --bind "$copy" /etc/ssl/certs
    umount -l "$copy"
    rmdir "$copy"
    exec "$@"' "$authority" "$@"
