#!/usr/bin/env bash
# The installer: installer.sh SETUP.exe ARCHIVE VERSION (installer.py says what is tested)
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
source tests/packages/wine.sh

rm -rf "$WINEPREFIX"/drive_c/users/*/AppData/Local/Programs/"Podiumcast Recorder" build/package-test/unpacked
unzip -q "$2" -d build/package-test/unpacked
wineserver -k || true
tests/harness/desktop.sh --audio -- /usr/bin/python3 tests/packages/installer.py \
    "$1" build/package-test/unpacked/* "$3"
