#!/usr/bin/python3
"""Records a talk for as long as it is told and fails when the recorder takes more and more; see hour.sh.

Every 30 seconds comes a new slide, twice a second the pointer moves, the microphone hears a tone. Once a
minute it says what the recorder takes; the table at the end is that of the page.
"""
import argparse
import pathlib
import statistics
import sys
import time

import numpy

import page
from compare import DECK, SIZE

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tools" / "demo"))
from driver import Helpers, Recorder, now, run, sleep_until  # noqa: E402

SLIDE_SECONDS = 30
SETTLING = 5  # minutes: caches fill
GROWTH = 4  # MB: what the allocator may keep back


class Minute:
    """What the recorder takes while a minute passes."""

    def __init__(self, recorder):
        self.recorder, self.cpu, self.sizes = recorder, recorder.cpu_seconds(), []

    def look(self):
        self.sizes.append(self.recorder.memory("VmRSS"))

    def end(self):
        self.cpu = self.recorder.cpu_seconds() - self.cpu
        self.least = min(self.sizes)  # captures under way come and go, what leaks stays
        self.proportional = self.recorder.memory("Pss", "smaps_rollup")
        proc = pathlib.Path(f"/proc/{self.recorder.process.pid}")
        self.threads = len(list((proc / "task").iterdir()))
        self.descriptors = len(list((proc / "fd").iterdir()))


class Talk:
    def __init__(self, helpers, recorder):
        self.helpers, self.recorder, self.slides = helpers, recorder, 0
        self.deck = [helpers.directory / f"slide{number:02}.png" for number in range(len(DECK) - 1)]
        for path, drawing in zip(self.deck, DECK):  # but the last, which is the first once more
            run("/usr/bin/convert", "-size", SIZE, *drawing, "-depth", 8, path)

    def minute(self):
        minute = Minute(self.recorder)
        for _ in range(60 // SLIDE_SECONDS):
            self.helpers.slide(f"show {self.deck[self.slides % len(self.deck)]}")
            self.slides += 1
            begin = now()
            for half in range(1, 2 * SLIDE_SECONDS):
                sleep_until(begin + half * 500)
                moves = len(self.recorder.pointer.moves)
                self.recorder.pointer.move(200 + moves * 37 % 1501, 150 + moves * 53 % 757)
                minute.look()
            sleep_until(begin + SLIDE_SECONDS * 1000)
        minute.end()
        return minute


def lines(presentation, name):
    return len((presentation / name).read_text().splitlines())


def record(talk, minutes):
    """Returns what each minute took, the peak, and a row of the page that says what was recorded."""
    recorder = talk.recorder
    presentation = recorder.start_recording()
    talk.helpers.play_tone(minutes * 60 + 60)
    time.sleep(3)
    before = lines(presentation, "timestamps_ms.txt")
    taken = []
    for number in range(1, minutes + 1):
        minute = talk.minute()
        taken.append(minute)
        print(f"minute {number}: {minute.least:.1f} MB, PSS {minute.proportional:.1f} MB, {minute.threads} "
              f"threads, {minute.descriptors} descriptors, {minute.cpu:.2f} s CPU", file=sys.stderr)
    peak = recorder.memory("VmHWM")
    slides = lines(presentation, "timestamps_ms.txt") - before
    moves = len(recorder.pointer.moves)
    talk.helpers.slide("hide")
    seconds = (recorder.stop_recording() - recorder.start_pressed) / 1000
    recorder.close()
    sound = ((presentation / "audio.wav").stat().st_size - 44) / 48000 / 4
    found = lines(presentation, "mouse_positions.txt")
    complete = slides == talk.slides and abs(sound - seconds) < 1 and found >= moves
    return taken, peak, complete, (
        f"| recorded | {slides} slides of {talk.slides}, {sound:.1f} s of sound in {seconds:.1f} s, "
        f"{found} positions of the pointer |")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--recorder", required=True)
    parser.add_argument("--player", required=True)
    parser.add_argument("--minutes", type=int, required=True)
    options = parser.parse_args()
    with Helpers(options.player) as helpers:
        with Recorder([options.recorder], helpers.directory / "presentations") as recorder:
            taken, peak, complete, recorded = record(Talk(helpers, recorder), options.minutes)
    first = min(SETTLING, len(taken) // 2)
    settled = taken[first:]
    slope = numpy.polyfit(range(len(settled)), [minute.least for minute in settled], 1)[0] * 60
    halves = settled[:len(settled) // 2], settled[len(settled) // 2:]
    most = {name: [max(getattr(minute, name) for minute in half) for half in halves]
            for name in ("threads", "descriptors")}
    cpu = [minute.cpu for minute in taken]
    page.section("hour", "\n".join([
        f"| {len(taken)} minutes | |", "|---|---|", recorded,
        f"| memory between captures: in minute {first + 1}, in the last | {settled[0].least:.1f} MB, "
        f"{settled[-1].least:.1f} MB |",
        f"| its slope from minute {first + 1} on | {slope:+.2f} MB an hour |",
        f"| peak (VmHWM) | {peak:.1f} MB |",
        f"| proportional share (PSS): in minute {first + 1}, in the last | "
        f"{settled[0].proportional:.1f} MB, {settled[-1].proportional:.1f} MB |",
        *(f"| {name}: at most in the first half, in the second | {of[0]}, {of[1]} |"
          for name, of in most.items()),
        f"| CPU a minute: median, largest | {statistics.median(cpu):.2f} s, {max(cpu):.2f} s |", ""]))
    complaints = [complaint for complaint, is_so in (
        ("something was not recorded", not complete),
        ("the peak is 150 MB or more", peak >= 150),
        ("the memory grows", slope * (len(settled) - 1) / 60 > GROWTH),
        *((f"there are more and more {name}", of[1] > of[0]) for name, of in most.items())) if is_so]
    return "WRONG: " + "; ".join(complaints) if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
