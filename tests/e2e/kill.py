#!/usr/bin/python3
"""Kills real recordings at random moments and reads what the next start of the program makes of them.

    kill.py --recorder PROGRAM --player PROGRAM [--rounds N] [--seed N] [--power-cut]

Each start of the recorder repairs what the one before left, and is then killed itself. The recordings
are read with programs that know nothing of the recorder, and compared with what happened on the
desktop: at most LIMIT of it may be missing. That the comparison can fail is shown by one recording
which is read before it is repaired. With --power-cut the disk is an image file, and what counts is a
copy of that file from the moment of the kill: it has nothing of what the system still held in memory.

Runs inside tests/harness/desktop.sh --audio.
"""
import argparse
import filecmp
import pathlib
import random
import re
import shutil
import signal
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "tools" / "demo"))
import disk  # noqa: E402
from check_presentation import numbers  # noqa: E402
from driver import (RECORD, Failure, Helpers, Recorder, expect, now, run,  # noqa: E402
                    sleep_until, wait_for)
from presentation import expect_readable, pixel, seconds_of_sound, slides  # noqa: E402

LIMIT = 2000  # ms
PROBLEMS = (Failure, subprocess.CalledProcessError, ValueError)
# A picture stays long enough to be captured, however its time falls between two captures.
PICTURE_MS = 1300
LINES = {"timestamps_ms.txt": rb"(\d+ \d+\n)*", "mouse_positions.txt": rb"(\d+ -?\d+ -?\d+\n)*"}
FILES = r"\d+-\d{4,}\.png|presentation\.xml|audio\.wav|screens_geometry\.txt|\.recovered|" + "|".join(
    map(re.escape, LINES))


class Truth:
    """What happened on the desktop during one recording; times in ms since the epoch."""

    def __init__(self):
        self.presentation = self.audio_began = self.killed = None
        self.pictures, self.moves = [], []  # (time, colour), (time, x, y)


def record(helpers, recorder, colours, delay, kill):
    """Starts a recording and has kill() end it so many ms after the button was pressed."""
    wait_for("the list of microphones", lambda: "loadSelectedAudioInput" in recorder.output())
    button = wait_for("the record button", lambda: recorder.look(RECORD))[0]
    before, truth, step = recorder.presentations(), Truth(), 0
    end = recorder.pointer.click(*button) + delay
    while now() < end:
        if not truth.presentation:
            truth.presentation = next(iter(recorder.presentations() - before), None)
        elif not truth.audio_began:
            truth.audio_began = (truth.presentation / "audio.wav").exists() and now()
        else:
            if not truth.pictures or now() - truth.pictures[-1][0] >= PICTURE_MS:
                colour = colours[len(truth.pictures) % len(colours)]
                helpers.slide(f"show {helpers.directory / colour}.png")
                truth.pictures.append((now(), colour))
            step += 1
            recorder.pointer.move(300 + step, 200 + step % 7)
            truth.moves.append((now(), 300 + step, 200 + step % 7))
        sleep_until(min(end, now() + 20))
    truth.killed = now()
    kill()
    recorder.process.wait()
    truth.presentation = truth.presentation or next(iter(recorder.presentations() - before), None)
    helpers.slide("hide")
    return truth


def check(presentation, truth):
    """Reads a presentation; returns by how many ms of each kind it is short."""
    for path in presentation.iterdir():
        expect(re.fullmatch(FILES, path.name), f"{path.name} was left behind")
    expect_readable(presentation)
    for name, lines in LINES.items():
        path = presentation / name
        content = path.read_bytes() if path.exists() else b""
        expect(re.fullmatch(lines, content), f"{name} ends with {content[-40:]}")
    found = [number for number, _ in slides(presentation)]
    expect(found == list(range(1, len(found) + 1)), f"slides {found}")
    if not truth.audio_began:
        return {}

    colours = {pixel(presentation, 0, number)[-6:] for number in found}
    positions = {(x, y) for _, x, y in numbers(presentation / "mouse_positions.txt", 3)}
    sound, audio = 0, presentation / "audio.wav"
    if audio.exists():
        # The tone has no silence: zeros at the end are samples that never reached the disk.
        samples = audio.read_bytes()[44:]
        sound = seconds_of_sound(presentation) * 1000
        sound *= len(samples.rstrip(b"\0")) / max(1, len(samples))
    # A picture counts once it could have been captured, a move once the pointer is followed.
    short = {
        "sound": truth.killed - truth.audio_began - sound,
        "slides": max([truth.killed - time for time, colour in truth.pictures
                       if colour not in colours], default=0),
        "pointer": max([truth.killed - time for time, x, y in truth.moves
                        if time > truth.audio_began + 300 and (x, y) not in positions], default=0),
    }
    for kind, amount in short.items():
        expect(-300 < amount <= LIMIT, f"{kind}: {amount:.0f} ms are missing")
    return short


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--recorder", required=True)
    parser.add_argument("--player", required=True)
    parser.add_argument("--rounds", type=int, default=10)
    parser.add_argument("--seed", type=int, default=random.randrange(10000))
    parser.add_argument("--longest", type=float, default=4000)
    parser.add_argument("--power-cut", action="store_true")
    options = parser.parse_args()
    if options.power_cut:
        disk.enter_namespace()
    print(f"seed {options.seed}", flush=True)
    chance = random.Random(options.seed)
    worst, truth = {}, None
    with Helpers(options.player) as helpers:
        work_dir, image = helpers.directory / "presentations", helpers.directory / "disk"
        snapshot = helpers.directory / "snapshot"
        colours = [f"{40 + 20 * i:02X}{(i * 70) % 250:02X}{240 - 30 * i:02X}" for i in range(8)]
        for colour in colours:
            helpers.picture(colour, f"xc:#{colour}")
        helpers.play_tone(60 + 10 * options.rounds)
        if options.power_cut:
            disk.mount(work_dir, 160, image)
        for number in range(options.rounds + 1):
            with Recorder([options.recorder], work_dir) as recorder:
                if truth and truth.presentation and (not options.power_cut or truth.delay > LIMIT
                                                     or truth.presentation.exists()):
                    wait_for("the repair", lambda: (truth.presentation / ".recovered").exists()
                             and not (truth.presentation / ".recording").exists())
                    wait_for("the message", lambda: "been repaired" in str(recorder.told()))
                    short = check(truth.presentation, truth)
                    print(f"{truth.delay:.0f} ms:", {kind: round(short[kind]) for kind in short},
                          flush=True)
                    for kind, amount in short.items():
                        worst[kind] = max(amount, worst.get(kind, 0))
                if number == options.rounds:
                    break

                def kill():
                    if options.power_cut:
                        # What is on its way to the disk arrives; what nobody sent stays where it is.
                        recorder.process.send_signal(signal.SIGSTOP)
                        snapshot.touch()
                        while not filecmp.cmp(image, snapshot, shallow=False):
                            shutil.copyfile(image, snapshot)
                    recorder.process.send_signal(signal.SIGKILL)

                delay = 3000 if number == 0 else chance.uniform(0, options.longest)
                truth = record(helpers, recorder, colours, delay, kill)
                truth.delay = delay
            if options.power_cut:
                run("umount", work_dir)
                snapshot.replace(image)
                run("mount", "-o", "loop", image, work_dir)
            if number == 0:
                unrepaired = shutil.copytree(truth.presentation, helpers.directory / "unrepaired")
                (unrepaired / ".recording").unlink()
                try:
                    check(unrepaired, truth)
                except PROBLEMS as failure:
                    print(f"before the repair: {failure}")
                else:
                    raise Failure("nothing was wrong before the repair")
    print(f"{options.rounds} recordings; missing at most "
          + ", ".join(f"{amount:.0f} ms of {kind}" for kind, amount in worst.items()))


if __name__ == "__main__":
    try:
        main()
    except PROBLEMS as error:
        sys.exit(f"FAILED: {error}")
