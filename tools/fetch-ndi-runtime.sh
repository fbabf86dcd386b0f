#!/usr/bin/env bash
# Gets the NDI runtime for the tests that need the real one, and prints its directory:
#   tools/fetch-ndi-runtime.sh
# The runtime is proprietary: it is kept below build/, never committed and never shipped. It comes
# from a package of the npm registry, of which nothing is run, and is used only if its checksum is
# the known one. Without network, or on another processor, this says so and ends with 0: the tests
# that need the runtime are then skipped.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

archive=https://registry.npmjs.org/grandiose-mac/-/grandiose-mac-0.0.6.tgz
file=package/lib/linux_x64/libndi.so.5
sha256=ab8c84c67e58b87a8a75bb68c06709cb30c5089cfc8d89ce689cf9afea80d7eb
directory=$PWD/build/ndi-runtime

is_known() { echo "$sha256  $1" | sha256sum --check --status 2>/dev/null; }
skip() { echo "fetch-ndi-runtime.sh: no NDI runtime: $1" >&2; exit 0; }

if ! is_known "$directory/libndi.so.5"; then
    [ "$(uname -sm)" = "Linux x86_64" ] || skip "only for Linux on x86_64"
    work=$(mktemp -d)
    trap 'rm -rf "$work"' EXIT
    curl -fsSL --retry 3 --max-time 120 -o "$work/package.tgz" "$archive" ||
        skip "the package cannot be downloaded"
    tar -xzf "$work/package.tgz" -C "$work" "$file" || skip "the package lacks the library"
    is_known "$work/$file" || skip "the library is not the known one"
    mkdir -p "$directory"
    mv "$work/$file" "$directory/libndi.so.5"
fi
echo "$directory"
