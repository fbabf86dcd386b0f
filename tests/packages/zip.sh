#!/usr/bin/env bash
# The portable ZIP: what is in it, what the launcher passes on, and a recording, which lands beside
# the launcher and leaves the program's directory as it was.   zip.sh ARCHIVE SETUP.exe VERSION
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
source tests/packages/wine.sh

place="build/package-test/zip/Vorträge und 講演"
rm -rf build/package-test/zip
mkdir -p "$place"
unzip -q "$1" -d "$place"
root=$(echo "$PWD/$place"/*)
/usr/bin/python3 tests/packages/inspect_windows.py "$root" "$2" "$3"

# Another program in the program's place tells what arrives there.
stand_in="$PWD/$place/stand-in"
mkdir -p "$stand_in/app"
cp "$root/PodiumcastRecorderLauncher.exe" "$stand_in/"
cp build/windows/tests/packages/ArgumentsEcho.exe "$stand_in/app/PodiumcastRecorder.exe"
expect_arguments() { # <what follows the program's name> <command>…
    local expected=$1 code=0 line
    shift
    rm -f "$stand_in/command-line.txt"
    (cd "$stand_in" && "$@") || code=$?
    [ "$code" = 7 ] || fail "the launcher ended with $code instead of the program's 7"
    line=$(cat "$stand_in/command-line.txt")
    [ "$line" = "\"Z:${stand_in//\//\\}\\app\\PodiumcastRecorder.exe\"$expected" ] ||
        fail "instead of <$expected> the program's command line was <$line>"
}
raw=$'  one\ttwo   "three  four"five "" \\\\"six" \\ "seven'
printf '@"PodiumcastRecorderLauncher.exe"%s\r\n@exit %%errorlevel%%\r\n' "$raw" > "$stand_in/line.bat"
expect_arguments "$raw" wine cmd /c line.bat
expect_arguments ' plain "with blank" Łódź "講演 \"quoted\""' \
    wine PodiumcastRecorderLauncher.exe plain 'with blank' Łódź '講演 "quoted"'
expect_arguments '' wine PodiumcastRecorderLauncher.exe

list() { (cd "$root" && find . -path ./Presentations -prune -o -type f -printf '%p %s\n' | sort); }
before=$(list)
record "$root/PodiumcastRecorderLauncher.exe"
[ "$(list)" = "$before" ] || fail "the recording changed the program's directory"
echo "The portable ZIP is good."
