#!/usr/bin/python3
"""The installer, silently, under Wine: it installs what the ZIP holds and the program starts; nothing
touches a program that runs; installing again and removing leave what the user made.

Runs inside tests/harness/desktop.sh:  installer.py SETUP.exe DIRECTORY-OF-THE-ZIP VERSION
"""
import os
import pathlib
import shutil
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parents[2] / "tools/demo"))
from driver import Failure, Helpers, Recorder, expect, wait_for  # noqa: E402

setup, unpacked, version = sys.argv[1], pathlib.Path(sys.argv[2]), sys.argv[3]
user = next(path for path in pathlib.Path(os.environ["WINEPREFIX"], "drive_c/users").iterdir()
            if path.name != "Public")
installed = user / "AppData/Local/Programs/Podiumcast Recorder"
shortcut = user / "AppData/Roaming/Microsoft/Windows/Start Menu/Programs/Podiumcast Recorder.lnk"
UNINSTALLER = installed / "uninstall.exe"
KEY = r"HKCU\Software\Microsoft\Windows\CurrentVersion\Uninstall\PodiumcastRecorder"


def wine(*command):
    """The exit code of a Windows program."""
    return subprocess.run(["wine", *map(str, command)], stdout=subprocess.DEVNULL, timeout=120).returncode


def contents(directory):
    return {path.relative_to(directory): path.read_bytes()
            for path in directory.rglob("*") if path.is_file()}


def known_version():
    answer = subprocess.run(["wine", "reg", "query", KEY, "/v", "DisplayVersion"], text=True,
                            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    return answer.stdout.split()[-1] if answer.returncode == 0 else None


def main():
    product = contents(unpacked)
    expect(wine(setup, "/S") == 0, "the installer failed")
    there = contents(installed)
    there.pop(UNINSTALLER.relative_to(installed))
    expect(there == product, f"installed and unpacked differ: {set(there) ^ set(product)}")
    expect(shortcut.exists(), "there is no entry in the start menu")
    expect(known_version() == version, f"Windows knows version {known_version()}")

    presentations = installed / "Presentations"
    with Recorder(["wine", str(installed / "PodiumcastRecorderLauncher.exe")], presentations, "Z:",
                  True) as recorder:
        wait_for("the work directory beside the launcher", presentations.is_dir)
        expect(wine(setup, "/S") == 2, "a running program was installed over")
        expect(wine(installed / "PodiumcastRecorderLauncher.exe") == 0, "a second start failed")
        # With "_?=" it does not go on as a copy of itself; that stands without quotes, blanks or not.
        in_place = pathlib.Path(os.environ["WINEPREFIX"], "drive_c/uninstall.bat")
        in_place.write_text('@"{0}\\uninstall.exe" /S _?={0}\r\n@exit %errorlevel%\r\n'.format(
            "Z:" + str(installed).replace("/", "\\")))
        expect(wine("cmd", "/c", r"C:\uninstall.bat") == 2, "a running program was removed")
        recorder.close()

    # What the user has: a presentation, and something of theirs between the program's files.
    slide = presentations / "Presentation 2026-01-31T15-45-02" / "0-0001.png"
    slide.parent.mkdir()
    slide.write_bytes(b"a slide")
    (installed / "app/notes.txt").write_text("mine")
    theirs = {path: data for path, data in contents(installed).items()
              if path not in product and path.name != UNINSTALLER.name}

    stale = installed / "app" / "qt.conf"
    stale.write_text("of another version")
    uninstaller = UNINSTALLER.read_bytes()
    # Stands in for one that fails: it ends with 7 and leaves a file.
    shutil.copy("build/windows/tests/packages/ArgumentsEcho.exe", UNINSTALLER)
    code = wine(setup, "/S")
    pathlib.Path("command-line.txt").unlink()
    expect(code == 2, "what could not be removed was installed over")
    expect(stale.read_text() == "of another version", "files changed although the installer gave up")
    for healthy_or_damaged in uninstaller, b"damaged":
        UNINSTALLER.write_bytes(healthy_or_damaged)
        expect(wine(setup, "/S") == 0, "installing again failed")
        expect(contents(installed).items() >= (product | theirs).items(), "installing again lost something")

    expect(wine(UNINSTALLER, "/S") == 0, "the uninstaller failed")
    # It goes on as a copy of itself.
    wait_for("the end of the uninstaller", lambda: known_version() is None, 30)
    expect(contents(installed) == theirs, "left behind: "
           f"{set(contents(installed)) - set(theirs)}, lost: {set(theirs) - set(contents(installed))}")
    expect(not shortcut.exists(), "the entry in the start menu is still there")
    expect([path.name for path in sorted(installed.iterdir())] == ["Presentations", "app"],
           "directories were left behind")


try:
    with Helpers():
        main()
except (Failure, subprocess.TimeoutExpired) as error:
    sys.exit(f"The installer's test failed: {error}")
print("The installer is good.")
