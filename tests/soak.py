#!/usr/bin/python3
"""Records for a while on a desktop where everything keeps changing, and checks what it left.

    soak.py --recorder PROGRAM --player PROGRAM [--service PROGRAM] [--minutes N]

Runs inside tests/harness/desktop.sh --audio --screen 3840x1080 (tests/soak.sh, ctest). A round of
about 20 s: a new picture, a slide asked for, a notice while the slides are frozen, a monitor that
comes and goes, the microphone unplugged and plugged in again; the service and the object store go
away in turn for some seconds. At the end the slides must be those that this makes and no other,
the sound as long as the clock says, memory, threads and queues no larger than at the beginning.
"""
import argparse
import os
import pathlib
import subprocess
import sys
import threading
import time

import numpy

HERE = pathlib.Path(__file__).resolve().parent
sys.path[:0] = [str(HERE / "e2e"), str(HERE.parent / "tools" / "demo")]
import live  # noqa: E402
from check_presentation import CLOCK, LATEST, Check, pixels  # noqa: E402
from driver import Failure, Helpers, Recorder, now, run, sleep_until  # noqa: E402
from presentation import snapshots  # noqa: E402

PICTURES = 6
OUTAGE = 4  # s
MICROPHONE = ("module-remap-source", "source_name=virtmic", "master=mic.monitor", "channels=1",
              "master_channel_map=front-left", "channel_map=mono",
              "source_properties=device.description=VirtMic")


COMPLAINTS = []


def expect(condition, complaint):
    if not condition:
        COMPLAINTS.append(complaint)
        print("WRONG:", complaint)


def row(name, value):
    """Of the table in docs/PERFORMANCE.md, which tests/soak.sh fills in."""
    print(f"| {name} | {value} |")


class Watch(threading.Thread):
    """Looks at the process every other second."""

    def __init__(self, process):
        super().__init__(daemon=True)
        self.proc, self.samples, self.ended = pathlib.Path(f"/proc/{process}"), [], threading.Event()

    def run(self):
        while not self.ended.wait(2):
            status = dict(line.split(":", 1) for line in
                          (self.proc / "status").read_text().splitlines())
            self.samples.append((int(status["VmRSS"].split()[0]) / 1024, int(status["Threads"]),
                                 len(list((self.proc / "fd").iterdir()))))

    def check(self, growth):
        """The last quarter against the second: the first still fills caches."""
        self.ended.set()
        self.join()
        quarter = len(self.samples) // 4
        early, late = self.samples[quarter:2 * quarter], self.samples[-quarter:]
        # The least of each: captures under way come and go, what leaks stays.
        memory = [min(sample[0] for sample in part) for part in (early, late)]
        row("memory between captures", f"{memory[0]:.1f} MB in the second quarter, {memory[1]:.1f} MB in "
            f"the last; peak {max(sample[0] for sample in self.samples):.1f} MB")
        expect(memory[1] - memory[0] <= growth, "the memory grows")
        for column, name in ((1, "threads"), (2, "descriptors")):
            most = [max(sample[column] for sample in part) for part in (early, late)]
            row(name, f"at most {most[0]} in the second quarter, {most[1]} in the last")
            expect(most[1] <= most[0] + 2, f"there are more and more {name}")


class Soak:
    def __init__(self, helpers, recorder, servers):
        self.helpers, self.recorder, self.servers = helpers, recorder, servers
        self.reasons, self.rounds, self.replaced = [], 0, 0
        self.notice = helpers.picture("notice", "xc:#d00026")
        self.pictures = [helpers.picture(f"picture{number}", "-seed", 1,
                                         f"plasma:hsl({number * 60},80%,50%)-black")
                         for number in range(PICTURES)]

    def wander(self, seconds):
        """The pointer moves four times a second, never twice to one place."""
        moves, end = self.recorder.pointer.moves, now() + seconds * 1000
        while now() < end:
            self.recorder.pointer.move(200 + len(moves) * 37 % 1501, 150 + len(moves) * 53 % 757)
            sleep_until(min(now() + 240, end))

    def because(self, why, begin, end=None):
        self.reasons.append({"why": why, "from": begin, "to": (end or now()) + LATEST,
                             "screens": self.screens, "picture": self.shown})

    def show(self, picture):
        self.shown = picture
        return self.helpers.slide(f"show {picture}")

    def round(self):
        picture = self.pictures[self.rounds % PICTURES]
        self.rounds += 1
        self.screens = 1
        begin, end = self.show(picture)
        self.because(picture.stem, begin, end)
        self.wander(2)
        self.because("a slide asked for", self.recorder.capture_slide())
        self.wander(1.5)
        self.frozen(picture)
        self.monitor()
        if self.rounds % 3 == 0:
            self.replace_microphone()
        if self.servers:
            self.outage()
        self.wander(1)

    def frozen(self, picture):
        self.recorder.toggle_freeze()
        self.wander(0.4)
        self.show(self.notice)
        self.wander(1.5)
        self.show(picture)
        self.wander(0.4)
        self.recorder.toggle_freeze()
        self.wander(1.5)

    def monitor(self):
        for self.screens, command in ((2, ("--setmonitor", "RIGHT", "1920/508x1080/286+1920+0",
                                           "none")), (1, ("--delmonitor", "RIGHT"))):
            begin = now()
            run("xrandr", *command)
            self.because(f"{self.screens} screen(s)", begin)
            self.wander(2.5)

    def replace_microphone(self):
        self.replaced += 1
        run("pactl", "unload-module", MICROPHONE[0])
        self.wander(1.5)
        run("pactl", "load-module", *MICROPHONE)

    def outage(self):
        """The service and the store in turn; each meets a new slide, which may have to wait."""
        switch, away, back = (self.servers.switch_service, "down", "up") if self.rounds % 2 else (
            self.servers.command_store, {"cmd": "close"}, {"cmd": "open"})
        switch(away)
        self.because("a slide asked for", self.recorder.capture_slide())
        self.wander(OUTAGE)
        switch(back)

    def check(self, presentation, stop):
        check = Check(presentation, {"pointer": self.recorder.pointer.moves, "tone": 0})
        check.prepare()
        lines = check.slide_lines()
        self.check_slides(check, lines, stop)
        seconds = (stop - check.zero) / 1000
        samples = numpy.memmap(presentation / "audio.wav", "<i4", "r", 44)
        length = samples.size / 48000
        expect(abs(length - seconds) < 0.15, "the sound is not as long as the clock says")
        parts = samples[:samples.size // 480 * 480].reshape(-1, 480)  # of 10 ms
        loud = numpy.concatenate([abs(some // 65536).max(axis=1) > 1000
                                  for some in numpy.array_split(parts, 60)])
        begin = int(loud.argmax())
        silent = int((~loud[begin:]).sum()) * 10
        row("sound", f"{length:.3f} s of {seconds:.3f} s by the clock: {(length / seconds - 1) * 1e6:+.0f} "
            f"ppm; {silent} ms of silence in the tone")
        expect(loud.any(), "the sound is silent")
        expect(silent <= 500 * self.replaced, "the sound has gaps")
        changes = len(snapshots(presentation))
        row("layouts of the screens", f"{changes} for {2 * self.rounds} changes of the monitors")
        expect(changes == 2 * self.rounds + 1, "a change of the monitors was missed or doubled")
        positions = [position[1:] for position in check.positions]
        row("pointer", f"{len(positions)} of {len(check.moves)} moves")
        expect(positions == [move[2:] for move in check.moves], "the pointer's way is another")
        return len(lines)

    def check_slides(self, check, lines, stop):
        shown = {picture: pixels(picture) for picture in self.pictures}
        wrong, waiting, own = [], list(self.reasons), 0
        last = self.hidden - check.zero
        first = self.reasons[0]["from"] - check.zero
        for number, moment in lines:
            if not first <= moment <= last:
                own += 1  # the recorder's window
                continue
            at = check.zero + moment
            reason = next((each for each in waiting
                           if each["from"] - CLOCK <= at <= each["to"] + CLOCK), None)
            files = sorted(check.slide_directory.glob(f"*-{number:04}.png"))
            if not reason:
                wrong.append(f"slide {number} at {moment} ms has no reason")
                continue
            waiting.remove(reason)
            if len(files) != reason["screens"]:
                wrong.append(f"slide {number} at {moment} ms has {len(files)} pictures")
            if not numpy.array_equal(pixels(files[0]), shown[reason["picture"]]):
                wrong.append(f"slide {number} at {moment} ms is not {reason['picture'].stem}")
        wrong += [f"no slide for {reason['why']} at {reason['from'] - check.zero:.0f} ms"
                  for reason in waiting]
        row("slides", f"{len(self.reasons) - len(waiting)} of {len(self.reasons)} that had to be; {own} more "
            f"of the recorder's own window; {len(wrong)} missing, too many or with a wrong picture")
        expect(not wrong, "; ".join(wrong[:10]))

    def check_live(self, presentation):
        servers = self.servers
        files = {path.name.lower() for path in presentation.glob("slides_*/*.png")}
        stored = {entry["key"].rsplit("/", 1)[-1] for entry in servers.objects()}
        pings = [request["json"]["presentation_stream_ping_data"]["recording_app"]["recording"]
                 ["slides_stats"] for request in servers.requests()
                 if request["path"] == live.PINGS and request["status"] == 200]
        waiting = [ping["to_upload_count"] for ping in pings]
        behind = [ping["captured_count"] - ping["saved_count"] for ping in pings]
        row("live stream", f"{len(stored)} of {len(files)} pictures in the store, {len(pings)} pings; at most "
            f"{max(waiting)} waited for the store and {max(behind)} for the disk")
        expect(stored == files, f"not in the store: {sorted(files - stored)[:5]}")
        quarter = len(pings) // 4
        for name, queue in (("upload", waiting), ("saving", behind)):
            expect(max(queue[-quarter:]) <= max(queue[:2 * quarter]) + 1,
                   f"the queue for {name} grows: {queue}")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--recorder", required=True)
    parser.add_argument("--player", required=True)
    parser.add_argument("--service", default="", help="stream live; the test service's program")
    parser.add_argument("--minutes", type=float, default=2)
    parser.add_argument("--growth", type=float, default=4,
                        help="MB of memory: what the allocator may keep back")
    options = parser.parse_args()
    user = [] if os.geteuid() == 0 else ["--map-root-user"]
    if subprocess.run(["unshare", "--mount", *user, "true"]).returncode != 0:
        options.service = ""  # no way to trust the service's authority
    run("xrandr", "--setmonitor", "LEFT", "1920/508x1080/286+0+0", "screen")
    with Helpers(options.player) as helpers:
        work_dir = helpers.directory / "presentations"
        servers = options.service and live.Servers(
            helpers, options.service, store_endpoint="endpoint")  # the one that can go away
        with live.LiveRecorder(servers, f"{servers.launcher()} '{options.recorder}'", work_dir) \
                if servers else Recorder([options.recorder], work_dir) as recorder:
            soak = Soak(helpers, recorder, servers)
            presentation = recorder.start_recording()
            helpers.play_tone(int(options.minutes * 60) + 120)
            recorder.prepare_keys()
            watch = Watch(recorder.process.pid)
            watch.start()
            end = time.monotonic() + options.minutes * 60
            while time.monotonic() < end:
                soak.round()
            row("rounds", f"{soak.rounds}, in them {2 * soak.rounds} changes of the monitors, "
                f"{soak.rounds if servers else 0} outages, {soak.replaced} new microphones")
            watch.check(options.growth)
            soak.hidden = helpers.slide("hide")[0]
            soak.wander(2)
            stop = recorder.stop_recording()
            recorder.close()
            print("The operator was told:", sorted(set(recorder.told())))
            soak.check(presentation, stop)
            if servers:
                soak.check_live(presentation)
            run("xmllint", "--noout", presentation / "presentation.xml")
    return 1 if COMPLAINTS else 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except (Failure, subprocess.CalledProcessError) as error:
        sys.exit(f"FAILED: {error}")
