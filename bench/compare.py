#!/usr/bin/python3
"""Records one deck with several programs in turn; see compare.sh, which runs it on a virtual screen.

Every program has the whole screen to itself and begins before the first slide. A slide counts as
found when a picture of it is there, at its place in the order; what each program does besides (this
one: sound, pointer, window) is in its figures, too. The X server's share is not.
"""
import argparse
import os
import pathlib
import subprocess
import sys
import time

import numpy

import page

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tools" / "demo"))
from driver import Helpers, Recorder, run  # noqa: E402

SIZE = "1920x1080"
SAME = 1.0  # mean difference of the channels of two pictures of one slide, at most

PAPER = ["xc:white", "-fill", "#203060", "-pointsize", "90", "-annotate", "+120+160"]
LINES = ["How it was measured", "What came out", "What it means for us"]


def text(*lines):
    drawing = [*PAPER, "The second chapter", "-pointsize", "54"]
    for number, line in enumerate(lines):
        drawing += ["-annotate", f"+160+{340 + 110 * number}", f"- {line}"]
    return drawing


def code(last):
    drawing = ["xc:#202428", "-fill", "#d0d8e0", "-font", "DejaVu-Sans-Mono", "-pointsize", "44"]
    for number, line in enumerate(["int sum(const int* v, int n)", "{", "    int s = 0;",
                                   "    for (int i = 0; i < n; ++i)", "        s += v[i];", last, "}"]):
        drawing += ["-annotate", f"+140+{200 + 90 * number}", line]
    return drawing


def curve(*colours):
    drawing = ["xc:#f8f8f0", "-stroke", "black", "-strokewidth", "4", "-fill", "none",
               "-draw", "line 200,900 1800,900 line 200,100 200,900"]
    for number, colour in enumerate(colours):
        drawing += ["-stroke", colour, "-draw",
                    f"bezier 200,900 700,{800 - 250 * number} 1200,{300 + 200 * number} 1800,200"]
    return drawing


TITLE = [*PAPER, "A talk about something", "-pointsize", "50", "-annotate", "+120+300", "by somebody"]
DECK = [  # changes as talks have them: new pages, one line more, a word, a picture, back to the start
    TITLE, text(*LINES[:1]), text(*LINES[:2]), text(*LINES),
    ["-seed", "7", "plasma:orange-navy"], ["-seed", "8", "plasma:white-green"],
    curve("red"), curve("red", "blue"), code("    return s;"), code("    return s / n;"),
    [*PAPER, "Questions?"], TITLE]


def cpu_seconds(process):
    fields = pathlib.Path(f"/proc/{process.pid}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def peak_memory(process):
    for line in pathlib.Path(f"/proc/{process.pid}/status").read_text().splitlines():
        if line.startswith("VmHWM:"):
            return int(line.split()[1]) / 1024
    return 0.0


class Show:
    """Shows the deck and measures a process meanwhile."""

    def __init__(self, helpers, deck, seconds):
        self.helpers, self.deck, self.seconds = helpers, deck, seconds

    def run(self, process):
        begin, cpu = time.monotonic(), cpu_seconds(process)
        for slide in self.deck:
            self.helpers.slide(f"show {slide}")
            time.sleep(self.seconds)
        self.minutes = (time.monotonic() - begin) / 60
        self.cpu = (cpu_seconds(process) - cpu) / self.minutes
        self.peak = peak_memory(process)
        self.helpers.slide("hide")


def pixels(path):
    data = subprocess.run(["/usr/bin/convert", path, "-depth", "8", "rgb:-"], check=True,
                          stdout=subprocess.PIPE).stdout
    return numpy.frombuffer(data, numpy.uint8).astype(numpy.int16)


def found(deck, pictures):
    """How many slides of the deck are among the pictures, in its order (longest common row)."""
    truth = [pixels(slide) for slide in deck]
    row = [0] * (len(truth) + 1)
    for picture in map(pixels, pictures):
        before = row[:]
        for i, slide in enumerate(truth):
            same = numpy.abs(slide - picture).mean() < SAME
            row[i + 1] = max(before[i + 1], row[i], before[i] + same)
    return row[-1]


def recorder_row(show, program):
    work_dir = show.helpers.directory / "presentations"
    with Recorder([program], work_dir) as recorder:
        presentation = recorder.start_recording()
        show.run(recorder.process)
        recorder.stop_recording()
        recorder.close()
    pictures = sorted(presentation.glob("0-*.png"))
    size = sum(path.stat().st_size for path in presentation.rglob("*") if path.is_file())
    sound = (presentation / "audio.wav").stat().st_size
    return ["this recorder", show, size - sound, sound, pictures]


def ffmpeg_row(show, name, directory, *arguments):
    directory.mkdir()
    process = subprocess.Popen(
        ["ffmpeg", "-nostdin", "-loglevel", "error", "-f", "x11grab", "-draw_mouse", "0", "-video_size",
         SIZE, *arguments], cwd=directory)
    try:
        time.sleep(3)
        show.run(process)
    finally:
        process.terminate()
        process.wait()
    files = sorted(directory.iterdir())
    return [name, show, sum(path.stat().st_size for path in files), 0,
            [path for path in files if path.suffix == ".png"]]


def table(rows, deck):
    lines = ["| | CPU seconds a minute | MB a minute | and of sound | peak memory | pictures | "
             "slides found | missed |", "|---|---|---|---|---|---|---|---|"]
    for name, show, size, sound, pictures in rows:
        count = found(deck, pictures)
        slides = f"{len(pictures)} | {count} | {len(deck) - count}" if pictures \
            else "a video | it looks for none | "
        lines.append(f"| {name} | {show.cpu:.2f} | {size / 1e6 / show.minutes:.2f} | "
                     f"{sound / 1e6 / show.minutes:.1f} | {show.peak:.0f} MB | {slides} |")
    return "\n".join(lines) + "\n"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--recorder", required=True)
    parser.add_argument("--player", required=True)
    parser.add_argument("--seconds-per-slide", type=float, default=5)
    options = parser.parse_args()
    with Helpers(options.player) as helpers:
        deck = []
        for number, drawing in enumerate(DECK):
            deck.append(helpers.directory / f"slide{number:02}.png")
            run("/usr/bin/convert", "-size", SIZE, *drawing, "-depth", 8, deck[-1])

        def show():
            return Show(helpers, deck, options.seconds_per_slide)

        display = os.environ["DISPLAY"]
        rows = [
            recorder_row(show(), options.recorder),
            ffmpeg_row(show(), "ffmpeg, one frame a second, `gt(scene,0.1)`",
                       helpers.directory / "scenes", "-framerate", "1", "-i", display,
                       "-vf", "select='eq(n,0)+gt(scene,0.1)'", "-vsync", "vfr", "%04d.png"),
            ffmpeg_row(show(), "the same, `gt(scene,0.001)`", helpers.directory / "sensitive",
                       "-framerate", "1", "-i", display,
                       "-vf", "select='eq(n,0)+gt(scene,0.001)'", "-vsync", "vfr", "%04d.png"),
            ffmpeg_row(show(), "ffmpeg, 30 frames a second, x264 veryfast",
                       helpers.directory / "video", "-framerate", "30", "-i", display,
                       "-c:v", "libx264", "-preset", "veryfast", "video.mkv"),
        ]
        text = table(rows, deck)
    page.section("ffmpeg", text)


if __name__ == "__main__":
    main()
