"""Drives the real recorder on a virtual desktop as a person would: window, pointer, keyboard, clock.

Shared by the demonstration, the end-to-end tests and the measurements. Everything runs inside
tests/harness/desktop.sh. Times are milliseconds since the epoch, as the slide player gives them.
"""
import os
import pathlib
import re
import shlex
import shutil
import signal
import subprocess
import sys
import tempfile
import time

import numpy

WINDOW = "Podiumcast Recorder"
TONE_HERTZ = 1000
# What the buttons look like: the round red one of the main screen, and the push buttons of the
# recording screen, which have one colour each.
RECORD, STOP, OTHER = "record", "d00026", "2a2840"


signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))  # so that `with` blocks clean up


class Failure(Exception):
    """What did not happen, in words for whoever reads the test's output."""


def expect(condition, complaint):
    if not condition:
        raise Failure(complaint)


def now():
    return time.time() * 1000


def run(*command, **options):
    return subprocess.run([str(part) for part in command], check=True, text=True,
                          stdout=subprocess.PIPE, **options).stdout


def wait_for(what, condition, seconds=10):
    """Returns the first true result of condition(); fails with `what` when none comes."""
    end = time.monotonic() + seconds
    while True:
        result = condition()
        if result:
            return result
        if time.monotonic() > end:
            raise Failure(f"{what}: not within {seconds} s")
        time.sleep(0.02)


def sleep_until(moment):
    time.sleep(max(0, (moment - now()) / 1000))


class Helpers:
    """The processes around the recorder; they end with the `with` block."""

    def __init__(self, player=None, launcher=""):
        self.directory = pathlib.Path(tempfile.mkdtemp(prefix="podiumcast-"))
        self.processes = []
        self.start("openbox", stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        wait_for("the window manager",
                 lambda: "window id" in run("xprop", "-root", "_NET_SUPPORTING_WM_CHECK"))
        self.player = player and self.start(
            *shlex.split(launcher), player, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
            bufsize=1)

    def start(self, *command, **options):
        self.processes.append(subprocess.Popen([str(part) for part in command], **options))
        return self.processes[-1]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for process in self.processes:
            process.terminate()
        for process in self.processes:
            process.wait()
        shutil.rmtree(self.directory, ignore_errors=True)

    def slide(self, command):
        """Has the player show or hide a picture; returns the two times around the change."""
        self.player.stdin.write(command + "\n")
        answer = self.player.stdout.readline().split()
        if len(answer) != 3:
            raise Failure(f"the player could not {command}")
        return [int(answer[1]), int(answer[2])]

    def picture(self, name, *drawing):
        """A picture as large as a usual screen, drawn by ImageMagick."""
        path = self.directory / f"{name}.png"
        run("/usr/bin/convert", "-size", "1920x1080", *drawing, "-depth", 8, path)
        return path

    def play_tone(self, seconds=3600):
        """Has the virtual microphone hear a sine; returns the time before it began."""
        tone = self.directory / "tone.wav"
        run("sox", "-n", "-r", 8000, "-c", 1, "-b", 16, tone, "synth", seconds, "sine", TONE_HERTZ,
            "vol", 0.5)
        begin = now()
        self.start("paplay", "--device=mic", "--latency-msec=500", tone)
        return begin


def screenshot(path):
    run("import", "-window", "root", "-define", "png:compression-level=1", path)


class Pointer:
    """The mouse; remembers where it was moved and when."""

    def __init__(self):
        self.moves = []

    def move(self, x, y):
        before = now()
        run("xdotool", "mousemove", x, y)
        self.moves.append([before, now(), x, y])

    def click(self, x, y):
        self.move(x, y)
        run("xdotool", "click", 1)
        return now()


class Recorder:
    """The recorder's process with its window and its directory of presentations."""

    def __init__(self, command, work_dir, path_prefix="", own_place=False, **environment):
        """With own_place the program itself finds work_dir, as the one that its package gives it."""
        self.work_dir = pathlib.Path(work_dir)
        if not own_place:
            self.work_dir.mkdir(parents=True, exist_ok=True)
            environment["PODIUMCAST_WORK_DIR"] = path_prefix + str(self.work_dir)
        self.pointer = Pointer()
        self.log = pathlib.Path(os.environ["XDG_RUNTIME_DIR"] if own_place else self.work_dir.parent,
                                "recorder.log")
        self.begin = now()
        self.windows = bool(path_prefix)
        self.frame = None
        self.process = subprocess.Popen(
            shlex.split(command) if isinstance(command, str) else command,
            stdout=self.log.open("w"), stderr=subprocess.STDOUT,
            env={**os.environ, "QT_QUICK_BACKEND": "software", **environment})
        self.window = wait_for("the recorder's window", self.find_window, 60)

    def __enter__(self):
        return self

    def __exit__(self, failure, *_):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()
        # A program that was killed does not end with what the sanitizer found.
        report = re.search(r"WARNING: ThreadSanitizer.*", self.output(), re.DOTALL)
        if report and not failure:
            raise Failure(report[0][:4000])

    def find_window(self):
        if self.process.poll() is not None:
            raise Failure(f"the recorder ended with {self.process.returncode}: "
                          + self.output()[-2000:])
        found = subprocess.run(["xdotool", "search", "--onlyvisible", "--name", f"^{WINDOW}$"],
                               stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        return found.stdout.split()[:1]

    def geometry(self):
        """x, y, width, height of the window's inside on the desktop."""
        text = run("xwininfo", "-id", *self.window)
        x, y, width, height = (
            int(re.search(name + r": +(-?\d+)", text)[1])
            for name in ("Absolute upper-left X", "Absolute upper-left Y", "Width", "Height"))
        if self.frame is None:  # nobody has resized it yet; Wine draws a frame inside it
            border = (width - 640) // 2
            self.frame = border, height - 480 - border
        border, top = self.frame
        return x + border, y + top, width - 2 * border, height - top - border

    def look(self, button):
        """The centres, on the desktop, of the buttons that look like this, in reading order."""
        x, y, width, height = self.geometry()
        data = subprocess.run(["import", "-window", "root", "-crop", f"{width}x{height}+{x}+{y}",
                               "+repage", "-depth", "8", "rgb:-"], check=True,
                              stdout=subprocess.PIPE).stdout
        if len(data) != width * height * 3:
            return []
        area = numpy.frombuffer(data, numpy.uint8).reshape(height, width, 3)
        if button == RECORD:
            mask = (area[:, :, 0] > 150) & (area[:, :, 1:] < 110).all(axis=2)
        else:
            mask = (area == numpy.frombuffer(bytes.fromhex(button), numpy.uint8)).all(axis=2)
        found = []
        for top, bottom in stretches(mask.any(axis=1)):
            for left, right in stretches(mask[top:bottom].any(axis=0)):
                tall, wide = bottom - top, right - left
                if (tall >= 50 and wide < 1.3 * tall if button == RECORD
                        else tall >= 20 and wide > 1.5 * tall):
                    found.append((x + (left + right) // 2, y + (top + bottom) // 2))
        return found

    def cpu_seconds(self):
        """What all its threads have used so far."""
        fields = pathlib.Path(f"/proc/{self.process.pid}/stat").read_text().rsplit(")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def memory(self, field, file="status"):
        """MB of resident memory: VmRSS now, VmHWM at its highest; Pss is in smaps_rollup."""
        text = pathlib.Path(f"/proc/{self.process.pid}/{file}").read_text()
        return int(re.search(rf"^{field}:\s+(\d+)", text, re.MULTILINE)[1]) / 1024

    def presentations(self):
        return {path.parent for path in self.work_dir.glob("*/presentation.xml")}

    def start_recording(self):
        """Clicks the record button; returns the presentation's directory once it is recording."""
        # The devices are listed a second after the start; a person needs longer than that.
        wait_for("the list of microphones", lambda: "loadSelectedAudioInput" in self.output())
        button = wait_for("the record button", lambda: self.look(RECORD))[0]
        before = self.presentations()
        self.start_pressed = self.pointer.click(*button)
        new = wait_for("a new presentation", lambda: self.presentations() - before)
        presentation = new.pop()
        wait_for("the first slide",
                 lambda: (presentation / "timestamps_ms.txt").exists(), 20)
        wait_for("the recording screen", lambda: self.look(STOP))
        del self.pointer.moves[:]
        return presentation

    def prepare_keys(self):
        """Freezes and unfreezes with the pointer; the button then has the keyboard's focus."""
        self.freeze_button = wait_for("the freeze button", lambda: self.look(OTHER))[0]
        for _ in range(2):
            self.pointer.click(*self.freeze_button)
            time.sleep(0.3)

    def toggle_freeze(self):
        run("xdotool", "key", "space")

    def capture_slide(self):
        run("xdotool", "key", "Tab")
        pressed = now()
        run("xdotool", "key", "space")
        run("xdotool", "key", "shift+Tab")
        return pressed

    def stop_recording(self):
        """Clicks the stop button; returns when it was pressed, once the recorder is idle again."""
        x, y, *_ = self.geometry()
        self.pointer.move(x + 7, y + 7)  # a button under the pointer has another colour
        button = wait_for("the stop button", lambda: self.look(STOP))[0]
        self.pointer.move(*button)
        pressed = now()
        run("xdotool", "click", 1)
        wait_for("the recorder being idle", lambda: self.look(RECORD), 30)
        return pressed

    def close(self):
        """Closes the window and waits for the program to end well."""
        if self.windows:  # the window manager only knows the desktop that Wine draws windows in
            x, y, width, _ = self.geometry()
            Pointer().click(x + width - 10, y - 10)
        else:
            for _ in range(3):  # as a person would who sees that the key did nothing
                run("xdotool", "windowactivate", "--sync", *self.window)
                run("xdotool", "key", "alt+F4")
                deadline = time.monotonic() + 10
                while time.monotonic() < deadline and self.process.poll() is None:
                    time.sleep(0.1)
                if "[LoginSettings] save" in self.output() or self.process.poll() is not None:
                    break
        self.wait_for_end()

    def wait_for_end(self, seconds=70):
        try:
            wait_for("the end of the program", lambda: self.process.poll() is not None, seconds)
        except Failure as failure:
            raise Failure(f"{failure}; its log ends: {self.output()[-1500:]}") from None
        if self.process.returncode != 0:
            raise Failure(f"the recorder ended with {self.process.returncode}: {self.output()[-2000:]}")

    def output(self):
        """What the program logged: on its standard output, or else (Windows) in its log file."""
        printed = self.log.read_text(errors="replace")  # without a look at a disk that may hang
        return printed or "".join(
            log.read_text(errors="replace") for log in sorted(self.work_dir.glob("*.log"))[:1])

    def told(self):
        """What the operator was told in the window, as the log has it."""
        return re.findall(r"\[Application\] told the operator (.*)", self.output())


def stretches(flags):
    """The (begin, end) of every run of true values."""
    edges = numpy.flatnonzero(numpy.diff(numpy.concatenate(([0], flags.astype(int), [0]))))
    return list(zip(edges[::2].tolist(), edges[1::2].tolist()))
