#!/usr/bin/env bash
# Installs what is missing of the Debian packages that the given lists name:
#   tools/install-dependencies.sh tools/packages.txt [tools/packages-test.txt …]
# Nothing missing: no root rights and no network are needed, and nothing is run.
set -euo pipefail

mapfile -t wanted < <(sed 's/#.*//' "$@" | tr -s '[:space:]' '\n' | sed '/^$/d' | sort -u)
installed=$(dpkg-query -W -f='${db:Status-Status} ${Package}\n' "${wanted[@]}" 2>/dev/null |
    sed -n 's/^installed //p' | sort -u) || true
mapfile -t missing < <(comm -23 <(printf '%s\n' "${wanted[@]}") <(printf '%s\n' "$installed"))
[ ${#missing[@]} -gt 0 ] || exit 0

echo "Installing ${#missing[@]} missing packages: ${missing[*]}"
as_root=()
if [ "$(id -u)" != 0 ]; then
    command -v sudo >/dev/null || {
        echo "These packages are missing and sudo is not there. As root, please run:" >&2
        echo "  apt-get update && apt-get install --no-install-recommends ${missing[*]}" >&2
        exit 1
    }
    as_root=(sudo)
fi
apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q -o DPkg::Lock::Timeout=300)
"${apt[@]}" update
"${apt[@]}" install -y --no-install-recommends "${missing[@]}"
