#!/usr/bin/python3
"""What the real recorder does on a real (virtual) desktop, one scenario a ctest entry.

    scenarios.py SCENARIO --recorder PROGRAM --player PROGRAM [--seconds N]

Runs inside tests/harness/desktop.sh --audio; see tests/e2e/CMakeLists.txt for the screens.
"""
import argparse
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "tools" / "demo"))
from check_presentation import numbers  # noqa: E402
import disk  # noqa: E402
import disk_faults  # noqa: E402
from driver import (RECORD, STOP, WINDOW, Failure, Helpers, Recorder, expect, run,  # noqa: E402
                    wait_for)
from presentation import expect_complete, pixel, slides, snapshots  # noqa: E402


def still(helpers, recorder, options):
    """The recorder's own window makes no slides; after a real change it settles at once."""
    presentation = recorder.start_recording()
    time.sleep(3)  # the start has a cost of its own
    costs = []
    # Programs beside this one make the same work dearer: the cheapest of three stretches counts.
    while not costs or options.limits and min(costs) >= 1 and len(costs) < 3:
        cpu = recorder.cpu_seconds()
        time.sleep(options.seconds)
        costs.append((recorder.cpu_seconds() - cpu) * 60 / options.seconds)
    peak = recorder.memory("VmHWM")
    print(f"{costs} CPU seconds a minute, at most {peak:.0f} MB")
    expect(not options.limits or min(costs) < 1 and peak < 150, "that is too much")
    first = [time for _, time in slides(presentation)]
    expect(len(first) == 1, f"the still screen made more slides than the first: {first}")
    run("xsetroot", "-solid", "#406080")
    time.sleep(8)
    later = [time for _, time in slides(presentation)][len(first):]
    expect(later, "the change of the background made no slide")
    # The window shows the new slide, and that is a change of the screen itself.
    expect(later[-1] - later[0] <= 2300, f"the window did not settle: {later}")
    recorder.stop_recording()
    recorder.close()
    print(f"{len(first)} slide(s) in {options.seconds} s, {len(later)} after the change")


def idle(helpers, recorder, options):
    """The preview costs little, and nothing at all while nobody can see it."""
    def percent():
        time.sleep(3)
        cpu = recorder.cpu_seconds()
        time.sleep(10)
        return (recorder.cpu_seconds() - cpu) * 10

    visible = percent()
    run("xdotool", "windowminimize", recorder.window[0])
    hidden = percent()
    run("xdotool", "windowmap", recorder.window[0])
    again = percent()
    recorder.close()
    print(f"of one core: {visible:.1f} %, minimised {hidden:.1f} %, then {again:.1f} %")
    expect(hidden < 0.5 < visible < 12 and 0.5 < again < 12, "the preview runs at the wrong time")


def monitors(helpers, recorder, options):
    """One picture for each screen, in Qt's order, also after a screen was plugged in."""
    desktop = helpers.directory / "desktop.png"
    run("/usr/bin/convert", "-size", "1920x1080", f"xc:#{COLOURS[0]}", "-size", "960x1080",
        f"xc:#{COLOURS[1920]}", "+append", desktop)
    run("xsetroot", "-solid", f"#{COLOURS[2880]}")
    presentation = recorder.start_recording()
    helpers.slide(f"show {desktop}")
    # A capture may come just when the picture's window is there, but not its picture yet.
    wait_for("a slide of the picture",
             lambda: pixel(presentation, 0, len(slides(presentation))).endswith(COLOURS[0]))
    covered = len(slides(presentation))
    run("xrandr", "--setmonitor", "THIRD", "960/254x1080/286+2880+0", "none")
    wait_for("a slide of three screens", lambda: list(presentation.glob("2-*.png")))
    wait_for("its line", lambda: len(slides(presentation)) > covered)
    time.sleep(2.5)
    helpers.slide("hide")
    recorder.stop_recording()
    again = recorder.start_recording()  # nothing of the first one goes on in the second
    run("xrandr", "--delmonitor", "THIRD")
    time.sleep(1)
    recorder.stop_recording()
    recorder.close()
    counts = [len(snapshot["screens"]) for snapshot in snapshots(again)]
    expect(counts == [3, 2], f"screens in the second recording's snapshots: {counts}")
    layouts = [[screen["geometry"] for screen in snapshot["screens"]]
               for snapshot in snapshots(presentation)]
    expect(len(layouts[0]) == 2 and len(layouts[-1]) == 3,
           f"screens in the snapshots: {[len(layout) for layout in layouts]}")
    plugged = min(snapshot["time"] for snapshot in snapshots(presentation)
                  if len(snapshot["screens"]) == 3)
    for number, moment in slides(presentation)[covered - 1:covered + 1]:
        count = len(list(presentation.glob(f"*-{number:04}.png")))
        layout = layouts[0] if moment < plugged else layouts[-1]
        expect(count == len(layout), f"slide {number} at {moment} ms has {count} pictures")
        for screen, area in enumerate(layout):
            found = pixel(presentation, screen, number)
            wanted = f"{area['width']} {area['height']} {COLOURS[area['x']]}"
            expect(found.startswith(wanted), f"screen {screen} of slide {number}: {found}, "
                   f"not {wanted}")
    new = [moment for _, moment in slides(presentation) if moment >= plugged]
    expect(new and new[0] - plugged <= 1100, f"plugged in at {plugged} ms, slides at {new}")
    print(f"slides at {[moment for _, moment in slides(presentation)]}, third screen at {plugged}")


COLOURS = {0: "203040", 1920: "405060", 2880: "607080"}  # by the left edge of the screen


def prepare_monitors(helpers):
    run("xrandr", "--setmonitor", "LEFT", "1920/508x1080/286+0+0", "screen")
    run("xrandr", "--setmonitor", "RIGHT", "960/254x1080/286+1920+0", "none")
    return {}


def start_settings(helpers):
    """Starts the desktop's settings, in which scale() changes the resolution."""
    (helpers.directory / "xsettings").write_text(f"Xft/DPI {96 * 1024}\n")
    helpers.settings = helpers.start("xsettingsd", "-c", helpers.directory / "xsettings",
                                     stderr=subprocess.DEVNULL)
    return {}


def scale(helpers, recorder, options):
    """The display's scale changes: pointer, geometry and pictures still mean the same pixels."""
    presentation = recorder.start_recording()
    recorder.pointer.move(1900, 1000)
    time.sleep(1)
    (helpers.directory / "xsettings").write_text(f"Xft/DPI {192 * 1024}\n")
    helpers.settings.send_signal(signal.SIGHUP)
    wait_for("the new scale", lambda: snapshots(presentation)[-1]
             ["screens"][0]["device_pixel_ratio"] == 2)
    time.sleep(0.5)
    recorder.pointer.move(1800, 900)
    time.sleep(2.5)
    recorder.process.send_signal(signal.SIGTERM)
    recorder.wait_for_end()
    expect_complete(presentation, 3)
    screens = [snapshots(presentation)[which]["screens"][0] for which in (0, -1)]
    sizes = [(screen["geometry"]["width"] * screen["device_pixel_ratio"],
              screen["geometry"]["height"] * screen["device_pixel_ratio"]) for screen in screens]
    expect(sizes == [(1920, 1080)] * 2, f"the screen's pixels before and after: {sizes}")
    moves = [tuple(position) for _, *position in numbers(presentation / "mouse_positions.txt", 3)]
    expect((1900, 1000) in moves and moves[-1] == (1800, 900), f"the pointer's moves: {moves}")
    last = len(slides(presentation))
    expect(last > 1, "the window, drawn larger, made no slide")
    expect(pixel(presentation, 0, last).startswith("1920 1080 "), "the slide's size")


def terminate(helpers, recorder, options):
    """SIGTERM in mid-recording: the recording is finished first. What was written is private."""
    presentation = recorder.start_recording()
    time.sleep(3)
    recorder.process.send_signal(signal.SIGTERM)
    recorder.wait_for_end()
    expect_complete(presentation, 2.5)
    config = pathlib.Path(os.environ["XDG_CONFIG_HOME"])
    written = [*recorder.work_dir.rglob("*"), *config.rglob("Podiumcast*/**/*")]
    expect({".conf", ".log", ".png", ".wav", ".xml", ".txt"} <= {path.suffix for path in written},
           f"not all kinds of files are there: {written}")
    shared = [str(path) for path in written if path.stat().st_mode & 0o077]
    expect(not shared, f"others may read {shared}")


def start_session(helpers):
    """Starts the session manager; returns what its session's programs find in the environment."""
    home, address = helpers.directory / "home", helpers.directory / "session-manager"
    home.mkdir()
    tell = helpers.directory / "tell.sh"
    tell.write_text(f'#!/bin/sh\necho "$SESSION_MANAGER" >{address}\nexec sleep 600\n')
    tell.chmod(0o755)
    (home / ".xsmstartup").write_text(f"{tell}\n")
    authority = {"ICEAUTHORITY": str(home / "authority")}
    helpers.session = helpers.start("xsm", env={**os.environ, "HOME": str(home), **authority},
                                    stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    wait_for("the session manager", lambda: address.exists() and address.read_text().strip())
    return {"SESSION_MANAGER": address.read_text().strip(), **authority}


def logout(helpers, recorder, options):
    """The session ends in mid-recording, asked for in the session manager's window."""
    presentation = recorder.start_recording()
    time.sleep(1)
    helpers.session.send_signal(signal.SIGUSR1)  # a save that is not the end
    time.sleep(2)
    expect(recorder.look(STOP), "a checkpoint of the session ended the recording")
    menu = run("xdotool", "search", "--onlyvisible", "--name", "^xsm: ").split()[0]
    run("xdotool", "windowactivate", "--sync", menu)
    run("xdotool", "mousemove", "--window", menu, 139, 49, "mousedown", 1)
    time.sleep(0.5)  # the menu opens: "With Checkpoint" is its first line
    run("xdotool", "mousemove", "--window", menu, 139, 75, "mouseup", 1)
    name = ["xdotool", "search", "--onlyvisible", "--name", "^Shutdown$"]
    dialogue = wait_for("the dialogue", lambda: subprocess.run(
        name, stdout=subprocess.PIPE, text=True).stdout.split())[0]
    run("xdotool", "windowactivate", "--sync", dialogue)
    run("xdotool", "mousemove", "--window", dialogue, 172, 16, "click", 1, "type", "talk")
    run("xdotool", "mousemove", "--window", dialogue, 46, 136, "click", 1)
    recorder.wait_for_end(20)
    expect("the session ends" in recorder.output(), "the session manager did not ask")
    expect_complete(presentation, 2.5)
    expect(not list(presentation.glob(".*")), "the next start will take it for cut off")


def wine(helpers, recorder, options):
    """The Windows program: a second start ends, and so does the recording with the session."""
    started = subprocess.run(recorder.process.args, timeout=60, stdout=subprocess.DEVNULL, env={
        **os.environ, "PODIUMCAST_WORK_DIR": options.path_prefix + str(recorder.work_dir)})
    expect(started.returncode == 0, "the second start did not end well")
    wait_for("word of it", lambda: "the program was started again" in recorder.output())
    presentation = recorder.start_recording()
    time.sleep(3)
    run("wineboot", "--end-session")
    wait_for("the end of the program", lambda: recorder.process.poll() is not None)
    expect("the session ends" in recorder.output(), "the system did not ask")
    expect_complete(presentation, 2.5)
    expect(not list(presentation.glob(".*")), "the next start will take it for cut off")


def removed(helpers, recorder, options):
    """The presentation's directory vanishes: the recorder says it once and can record again."""
    presentation = recorder.start_recording()
    time.sleep(2)
    shutil.rmtree(presentation)
    for number in range(4):
        run("xsetroot", "-solid", f"#{number}0{number}0{number}8")
        time.sleep(1.2)
    recorder.stop_recording()
    told = recorder.told()
    expect(told and len(set(told)) == len(told), f"told the operator: {told}")
    presentation = recorder.start_recording()
    time.sleep(2)
    recorder.stop_recording()
    recorder.close()
    expect_complete(presentation, 1.5)


def beside(helpers, recorder, options):
    """Another recorder starts on the same directory: it does not repair what is being recorded."""
    presentation = recorder.start_recording()
    log = helpers.directory / "beside.log"
    runtime = helpers.directory / "runtime"
    runtime.mkdir(0o700)
    other = helpers.start(options.recorder, stdout=log.open("w"), stderr=subprocess.STDOUT,
                          env={**os.environ, "XDG_RUNTIME_DIR": str(runtime),
                               "PODIUMCAST_WORK_DIR": str(recorder.work_dir)})
    wait_for("the other's list", lambda: "[Presentation] loaded presentation" in log.read_text())
    time.sleep(1)
    other.terminate()
    other.wait()
    expect(not (presentation / ".recovered").exists(), "it was taken for dead")
    expect((presentation / "audio.wav").read_bytes()[40:44] == bytes(4), "its sound was touched")
    expect((presentation / ".recording").exists(), "its lock was removed")
    recorder.stop_recording()
    recorder.close()
    expect_complete(presentation, 1)
    expect(not list(presentation.glob(".*")), f"left behind: {list(presentation.glob('.*'))}")


def places(helpers, recorder, options):
    """Directories with letters of all kinds, with a path of more than 260 characters, read-only."""
    recorder.close()

    def start(work_dir):
        command = [*options.launcher.split(), options.recorder]
        return Recorder(command, work_dir, options.path_prefix)

    for name in ("Hörsaal 教室  Лекция #1 100%", "/".join(["a long name " + "x" * 50] * 5)):
        with start(helpers.directory / name) as recorder:
            presentation = recorder.start_recording()
            time.sleep(2)
            recorder.close()
            expect_complete(presentation, 1.5)
            print(f"{len(str(presentation))} characters: recorded")
    read_only = helpers.directory / "read-only"
    read_only.symlink_to("/proc")  # where not even root can make a directory
    with start(read_only) as recorder:
        recorder.pointer.click(*wait_for("the record button", lambda: recorder.look(RECORD))[0])
        time.sleep(2)
        expect(recorder.look(RECORD) and not recorder.look(STOP), "it seems to record nowhere")
        told = recorder.told()  # Windows: there is no log to read where nothing can be written
        expect(options.launcher or "no folder for it could be made" in told[0], f"told: {told}")
        recorder.close()


def windows():
    found = subprocess.run(["xdotool", "search", "--onlyvisible", "--name", f"^{WINDOW}$"],
                           stdout=subprocess.PIPE, text=True)
    return set(found.stdout.split())


def again(helpers, recorder, options):
    """A second start shows the first one's window; other users and directories have their own."""
    def start(**environment):
        return helpers.start(options.recorder, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                             env={**os.environ, "QT_QUICK_BACKEND": "software",
                                  "PODIUMCAST_WORK_DIR": str(recorder.work_dir), **environment})

    def start_beside(**environment):
        before = windows()
        process = start(**environment)
        return process, wait_for("another window", lambda: windows() - before, 30)

    first = recorder.window
    helpers.slide(f"show {helpers.picture('deck', 'xc:navy')}")
    run("xdotool", "windowminimize", "--sync", *first)
    expect(start().wait(20) == 0, "the second start did not end well")
    wait_for("the first window, active",
             lambda: run("xdotool", "getactivewindow").split() == first and windows() == set(first))
    helpers.slide("hide")

    runtime = helpers.directory / "other user"
    runtime.mkdir(0o700)
    start_beside(XDG_RUNTIME_DIR=str(runtime))
    start_beside(PODIUMCAST_WORK_DIR=str(helpers.directory / "other"))

    # Two at the same moment after a crash: one of them becomes the first, whatever was left behind.
    recorder.process.kill()
    recorder.process.wait()
    before = windows()
    pair = [start(), start()]
    wait_for("one window for two starts", lambda: len(windows() - before) == 1, 30)
    wait_for("one process for two starts", lambda: sum(p.poll() is None for p in pair) == 1)
    time.sleep(1)
    expect(len(windows() - before) == 1, "both starts opened a window")
    expect([p.poll() for p in pair if p.poll() is not None] == [0], "the other did not end well")


def main():
    scenarios = disk_faults.SCENARIOS | {each.__name__: each for each in (
        idle, still, monitors, terminate, removed, scale, beside, again, logout, places, wine)}
    parser = argparse.ArgumentParser()
    parser.add_argument("scenario", choices=scenarios)
    parser.add_argument("--recorder", required=True)
    parser.add_argument("--player")
    parser.add_argument("--seconds", type=float, default=20)
    parser.add_argument("--limits", action="store_true", help="check what a recording costs")
    parser.add_argument("--launcher", default="", help="what starts the recorder, e.g. wine")
    parser.add_argument("--path-prefix", default="", help="how the recorder sees /, e.g. Z:")
    options = parser.parse_args()
    os.umask(0)  # the program's own is what counts
    if options.scenario in disk_faults.SCENARIOS:
        disk.enter_namespace()
    with Helpers(options.player, options.launcher) as helpers:
        work_dir = helpers.directory / "presentations"
        prepare = {"monitors": prepare_monitors, "logout": start_session, "scale": start_settings}
        if options.scenario in disk_faults.SCENARIOS:
            environment = disk_faults.prepare(options.scenario, helpers, work_dir, options)
        else:
            environment = prepare.get(options.scenario, lambda _: {})(helpers)
        command = [*options.launcher.split(), options.recorder]
        with Recorder(command, work_dir, options.path_prefix, **environment) as recorder:
            scenarios[options.scenario](helpers, recorder, options)


if __name__ == "__main__":
    try:
        main()
    except (Failure, subprocess.CalledProcessError) as error:
        sys.exit(f"FAILED: {error}")
