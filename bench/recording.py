#!/usr/bin/python3
"""Measures the real program: start-up to a painted window, then a recording of a still screen.

    tests/harness/desktop.sh --audio -- bench/recording.py --recorder PROGRAM --player PROGRAM
        [--seconds 60] [--starts 5]

Prints rows of a Markdown table, and notes the targets (page.py). The player covers the screen, so
that nothing on it changes.
"""
import argparse
import ctypes
import os
import pathlib
import statistics
import subprocess
import sys
import time

import page

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tools" / "demo"))
from driver import Helpers, Recorder, now, run  # noqa: E402

BACKGROUND = "#ff00ff"  # nothing in the window has this colour


class Pixel:
    """Reads one pixel of the screen in well under a millisecond."""

    def __init__(self):
        self.x11 = ctypes.CDLL("libX11.so.6")
        for name in ("XOpenDisplay", "XGetImage"):
            getattr(self.x11, name).restype = ctypes.c_void_p
        for name in ("XDefaultRootWindow", "XGetPixel"):
            getattr(self.x11, name).restype = ctypes.c_ulong
        self.display = ctypes.c_void_p(self.x11.XOpenDisplay(None))
        self.root = ctypes.c_ulong(self.x11.XDefaultRootWindow(self.display))

    def read(self, x, y):
        image = ctypes.c_void_p(self.x11.XGetImage(
            self.display, self.root, x, y, 1, 1, ctypes.c_ulong(0xffffff), 2))
        value = self.x11.XGetPixel(image, 0, 0) & 0xffffff
        self.x11.XDestroyImage(image)
        return f"#{value:06x}"


def start_up(recorder, work_dir):
    """Milliseconds from starting the process to its window painted in the middle of the screen."""
    pixel = Pixel()
    run("xsetroot", "-solid", BACKGROUND)
    begin = now()
    process = subprocess.Popen([recorder], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                               env={**os.environ, "PODIUMCAST_WORK_DIR": str(work_dir)})
    try:
        while pixel.read(960, 540) == BACKGROUND and now() - begin < 20000:
            time.sleep(0.001)
        return now() - begin
    finally:
        process.terminate()
        process.wait()


def idle_percent(recorder, seconds=10):
    cpu = recorder.cpu_seconds()
    time.sleep(seconds)
    return (recorder.cpu_seconds() - cpu) / seconds * 100


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--recorder", required=True)
    parser.add_argument("--player", required=True)
    parser.add_argument("--seconds", type=float, default=60)
    parser.add_argument("--starts", type=int, default=5)
    options = parser.parse_args()
    with Helpers(options.player) as helpers:
        work_dir = helpers.directory / "presentations"
        work_dir.mkdir()
        starts = [start_up(options.recorder, work_dir) for _ in range(options.starts)]
        print(f"| start-up to a painted window, median of {options.starts} | "
              f"{statistics.median(starts):.0f} ms (first {starts[0]:.0f} ms) |")
        cover = helpers.directory / "cover.png"
        run("/usr/bin/convert", "-size", "1920x1080", "plasma:fractal", "-depth", 8, cover)
        with Recorder([options.recorder], work_dir) as recorder:
            time.sleep(3)
            visible = idle_percent(recorder)
            run("xdotool", "windowminimize", recorder.window[0])
            time.sleep(1)
            hidden = idle_percent(recorder)
            run("xdotool", "windowmap", recorder.window[0], "windowactivate", recorder.window[0])
            recorder.start_recording()
            helpers.slide(f"show {cover}")
            time.sleep(5)
            cpu, early = recorder.cpu_seconds(), recorder.memory("VmRSS")
            time.sleep(options.seconds)
            cpu, late = recorder.cpu_seconds() - cpu, recorder.memory("VmRSS")
            peak = recorder.memory("VmHWM")
            parts = [recorder.memory(field) for field in ("RssAnon", "RssFile", "RssShmem")]
            proportional = recorder.memory("Pss", "smaps_rollup")
            helpers.slide("hide")
            recorder.stop_recording()
            recorder.close()
    print(f"| CPU of the idle window: visible with its preview, minimised | {visible:.1f} %, {hidden:.1f} % "
          "of a core |")
    print("| CPU of recording a still 1920x1080 screen, with sound, pointer and window | "
          f"{cpu:.2f} s in {options.seconds:.0f} s |")
    print(f"| its memory: at the start, at the end, peak (VmHWM) | {early:.0f} MB, {late:.0f} MB, "
          f"{peak:.0f} MB |")
    print("| of that at the end: its own, files (libraries), shared with the X server | "
          + ", ".join(f"{part:.0f} MB" for part in parts) + " |")
    print(f"| the proportional share at the end (PSS) | {proportional:.0f} MB |")
    minute = cpu * 60 / options.seconds
    page.target("idle window, visible", "under 12 % of a core", f"{visible:.1f} %", visible < 12)
    page.target("idle window, minimised", "under 0.5 % of a core", f"{hidden:.1f} %", hidden < 0.5)
    page.target("CPU of recording a still 1920x1080 screen", "under 1 s a minute", f"{minute:.2f} s",
                minute < 1)
    page.target("its peak memory", "under 150 MB", f"{peak:.0f} MB", peak < 150)


if __name__ == "__main__":
    main()
