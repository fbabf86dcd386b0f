#!/usr/bin/env bash
# Installs what is missing and cross-builds the Windows program and its tests, warnings as errors:
#   PODIUMCAST_WINDOWS_SDK=… tools/windows/build.sh [argument of cmake --build …]  (--target windows)
# The variable names the SDK, a directory or an archive (tools/windows/sdk.sh). Beside each program
# lies a qt.conf, so that it finds Qt's plugins in the SDK.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

tools/install-dependencies.sh tools/packages.txt tools/packages-windows.txt
PODIUMCAST_WINDOWS_SDK=$(tools/windows/sdk.sh)
export PODIUMCAST_WINDOWS_SDK
[ $# -gt 0 ] || set -- --target windows
tools/build.sh windows "$@"

find build/windows -name '*.exe' -printf '%h\n' | sort -u | while IFS= read -r directory; do
    printf '[Paths]\nPrefix=Z:%s/qt\n' "$PODIUMCAST_WINDOWS_SDK" > "$directory/qt.conf"
done
