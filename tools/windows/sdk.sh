#!/usr/bin/env bash
# Prints the directory of the Windows SDK (it holds toolchain.cmake) that PODIUMCAST_WINDOWS_SDK
# names: a directory, or an archive, which is unpacked once below build/.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

sdk=${PODIUMCAST_WINDOWS_SDK-}
[ -e "$sdk" ] || {
    echo "Set PODIUMCAST_WINDOWS_SDK to a Windows SDK, a directory or an archive (now: '$sdk')." >&2
    exit 2
}
if [ -f "$sdk" ]; then
    unpacked=$PWD/build/windows-sdk
    if [ ! "$unpacked/complete" -nt "$sdk" ]; then
        rm -rf "$unpacked"
        mkdir -p "$unpacked"
        tar -xf "$sdk" -C "$unpacked"
        touch "$unpacked/complete"
    fi
    sdk=$unpacked
fi
found=$(find "$sdk" -maxdepth 2 -name toolchain.cmake -print -quit)
[ -n "$found" ] || { echo "There is no toolchain.cmake in $sdk." >&2; exit 2; }
cd "$(dirname "$found")" && pwd
