"""Scenarios of scenarios.py in which the disk of a recording fails."""
import math
import re
import time

import numpy

import disk
from check_presentation import numbers
from driver import RECORD, STOP, Recorder, expect, run, wait_for
from presentation import expect_complete, pixel, slides
from slowdisk import SlowDisk


def told_once(recorder, words):
    """Once; what comes during a stop is said again after it, when the window has been cleared."""
    told = recorder.told()
    expect(max(map(told.count, told), default=0) <= 2, f"told the operator: {told}")
    expect(any(words in message for message in told), f'told the operator not "{words}", but {told}')


def full(helpers, recorder, options):
    """The disk is full from one moment to the next, in the middle of a slide and of the sound."""
    noise = helpers.picture("noise", "xc:gray", "+noise", "random")
    presentation = recorder.start_recording()
    time.sleep(2)
    begun = recorder.output().count("slides in queue")
    helpers.slide(f"show {noise}")
    wait_for("the slide", lambda: recorder.output().count("slides in queue") > begun)
    disk.fill(recorder.work_dir, 1 << 20)  # while it is being encoded: room for a part of it
    wait_for("the failure", lambda: recorder.told())
    disk.fill(recorder.work_dir, 30_000)
    helpers.slide("hide")
    wait_for("the end of the recording", lambda: recorder.look(RECORD), 20)
    told_once(recorder, "in PNG format failed.")
    told_once(recorder, "stopped because the disk is full")
    recorder.close()
    # The operator is told of the first one, the log of each.
    failed = {int(number) for number in
              re.findall(r'\[SlideSaver\] saving ".*/0-(\d+)\.png" failed', recorder.output())}
    expect_complete(presentation, 1, failed)


def warned(recorder):
    """Whether there is a red bar at the top of the window."""
    x, y, width, _ = recorder.geometry()
    colour = run("import", "-window", "root", "-crop", f"1x1+{x + width - 3}+{y + 3}", "-depth", 8,
                 "-format", "%[hex:p{0,0}]", "info:")
    return int(colour[:2], 16) > 0x80 > int(colour[2:4], 16)


def nearly_full(helpers, recorder, options):
    """The disk fills up during a recording: a warning in time, then a clean end; no new start."""
    expect(not warned(recorder), "warned of a disk with room")
    presentation = recorder.start_recording()
    expect(not warned(recorder), "warned of a disk with room")
    disk.fill(recorder.work_dir, 400_000_000)
    wait_for("the warning", lambda: warned(recorder))
    time.sleep(1)
    expect(not recorder.told(), f"told the operator: {recorder.told()}")
    disk.fill(recorder.work_dir, 40_000_000)
    filled = time.monotonic()
    wait_for("the end of the recording", lambda: recorder.look(RECORD))
    stopped_after = time.monotonic() - filled
    told_once(recorder, "stopped because the disk is full")
    expect_complete(presentation, 2)
    recorder.pointer.click(*recorder.look(RECORD)[0])
    wait_for("the refusal", lambda: "not started: the disk is full" in recorder.told()[-1])
    expect(len(recorder.presentations()) == 1, "a recording was started on a full disk")
    (recorder.work_dir / "something else").unlink()
    wait_for("no warning", lambda: not warned(recorder))
    recorder.pointer.move(0, 0)
    presentation = recorder.start_recording()
    recorder.stop_recording()
    recorder.close()
    expect_complete(presentation)
    print(f"stopped {stopped_after:.1f} s after the disk was full")


def slow(helpers, recorder, options):
    """The disk takes 3 s for whatever it writes, for a while: the talk is as complete as ever."""
    def lecture(seconds, *colours):
        for colour in colours:
            run("xsetroot", "-solid", f"#{colour}")
            for step in range(round(seconds / len(colours) / 0.25)):
                recorder.pointer.move(200 + int(colour, 16) % 300, 100 + step)
                time.sleep(0.25)

    helpers.play_tone(60)
    with helpers.disk:  # ends before the recorder, which could not end on one that hangs
        presentation = recorder.start_recording()
        lecture(2, "104080")
        helpers.disk.set(changes=3)
        lecture(12, "208040", "804020", "208090")
        moves = recorder.pointer.moves[:]
        helpers.disk.set()
        lecture(2, "804090")
        stopped = recorder.stop_recording()
        told_once(recorder, "does not keep up with the sound")
        recorder.close()
        expect_complete(presentation)
        found = {pixel(presentation, 0, number)[-6:].lower() for number, _ in slides(presentation)}
        positions = numbers(presentation / "mouse_positions.txt", 3)
        length = float(run("soxi", "-D", presentation / "audio.wav"))
        samples = numpy.fromfile(presentation / "audio.wav", "<i4", offset=44) / 2**31
    expect(found >= {"104080", "208040", "804020", "208090", "804090"}, f"slides show only {found}")
    # The window's thread gives the pointer's moves their times: late ones are those it was busy at.
    times = {(x, y): moment for moment, x, y in positions}
    expect(times.keys() >= {(x, y) for _, _, x, y in moves}, "moves of the pointer are missing")
    zero = max(before - times[x, y] for before, _, x, y in moves)
    late = max(zero + times[x, y] - after for _, after, x, y in moves)
    wanted = (stopped - zero) / 1000
    # 1000 Hz at 48,000 samples a second: every sample is that of one wave before.
    jump = numpy.abs(samples[48:] - samples[:-48]).max()
    quiet = numpy.abs(samples[:samples.size // 480 * 480]).reshape(-1, 480).max(axis=1) < 0.05
    print(f"{length:.3f} s of {wanted:.3f} s of sound, jumps of at most {jump:.3f}, "
          f"{quiet.sum() * 10} ms quiet, the window at most {late:.0f} ms late")
    expect(abs(length - wanted) < 0.15, "the sound is not as long as the clock says")
    expect(jump < 0.1 and not quiet.any(), "the tone has gaps")
    expect(late < 1000, "the window did not answer")


def hanging(helpers, recorder, options):
    """A disk that fails is told of; one that never answers again is, too, and the window closes."""
    with helpers.disk as slow:  # at its end everything is in the directory behind
        presentation = recorder.start_recording()
        here = slow.behind / presentation.name
        slow.set(failing=["fsync", "fsyncdir"])
        run("xsetroot", "-solid", "#405060")
        for what in ("slide 2", "all of the recording"):  # who writes a file, and who looks after all
            wait_for(f"word of what happened to {what}", lambda: any(
                f"could not store {what}" in message for message in recorder.told()))
        slow.set()
        time.sleep(2)
        before = slides(here)
        slow.set(everything=math.inf)
        for number in range(1, 8):
            run("xsetroot", "-solid", f"#{number}0{number}0{number}8")
            time.sleep(1.2)
        told_once(recorder, "wait in memory to be written")
        told_once(recorder, "could not store")
        expect(recorder.look(STOP), "the recording screen has gone")
        run("xdotool", "windowactivate", "--sync", *recorder.window)
        closed = time.monotonic()
        run("xdotool", "key", "alt+F4")
        recorder.wait_for_end(20)
        print(f"ended after {time.monotonic() - closed:.1f} s; told {recorder.told()}")
    with Recorder(options.recorder, slow.behind) as second:
        wait_for("the repair", (here / ".recovered").exists)
        second.close()
    expect(slides(here)[:len(before)] == before and len(before) >= 2, f"{before}, then {slides(here)}")
    expect_complete(here, 2)


SCENARIOS = {each.__name__: each for each in (full, nearly_full, slow, hanging)}
MEGABYTES = {"full": 80, "nearly_full": 600}


def prepare(scenario, helpers, work_dir, options):
    """Makes the disk that the scenario needs; returns how the recorder is to be started on it."""
    if scenario in ("slow", "hanging"):
        helpers.disk = SlowDisk(work_dir)
    if scenario not in MEGABYTES:
        return {}
    disk.mount(work_dir, MEGABYTES[scenario], in_memory=bool(options.path_prefix))
    return {"own_place": True, "PODIUMCAST_WORK_DIR": disk.drive(work_dir)} if options.path_prefix else {}
