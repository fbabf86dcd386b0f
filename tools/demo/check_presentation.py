#!/usr/bin/python3
"""Checks a recorded presentation against what really happened on the desktop.

    check_presentation.py PRESENTATION TRUTH.json

TRUTH.json is what the demonstration noted (see demo.py): when which picture came onto the screen,
with a screenshot of each; every pointer move; the tone; start and stop. The files are read with
programs that have nothing to do with the recorder: xmllint, pngcheck, sox, ImageMagick, numpy.
Prints what the presentation holds, then every complaint; the exit code is 1 if there is one.
"""
import datetime
import json
import pathlib
import re
import subprocess
import sys

import numpy

import similarity

LATEST = 1100  # ms: captures are one second apart
CLOCK = 60     # ms: what reading two clocks of this machine may differ by
LATE_POINTER = 300  # ms: a busy machine hands events on late
LENGTH = 100   # ms: by which the sound may be longer or shorter than the recording


def run(*command):
    done = subprocess.run([str(part) for part in command], stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, errors="replace")
    return done.returncode, done.stdout.strip()


def pixels(path):
    """The picture as ImageMagick decodes it: rows x columns x red, green, blue."""
    data = subprocess.run(["/usr/bin/convert", str(path), "-background", "black", "-flatten",
                           "-depth", "8", "ppm:-"], check=True, stdout=subprocess.PIPE).stdout
    _, columns, rows, _ = data[:64].split()[:4]
    return numpy.frombuffer(data, numpy.uint8)[-int(rows) * int(columns) * 3:].reshape(
        int(rows), int(columns), 3)


def numbers(path, count):
    """The lines of a text file of integers; line ends of both platforms are taken."""
    lines = path.read_bytes().decode("ascii").splitlines() if path.exists() else []
    rows = [[int(word) for word in line.split(" ")] for line in lines]
    if any(len(row) != count for row in rows):
        raise ValueError(f"{path.name}: a line without its {count} numbers")
    return rows


class Check:
    def __init__(self, directory, truth):
        self.directory = pathlib.Path(directory)
        self.truth = truth
        self.complaints = []
        # A move to where the pointer is already makes no position.
        moves = truth["pointer"]
        self.moves = [move for last, move in zip([[]] + moves, moves) if move[2:] != last[2:]]

    def expect(self, condition, complaint):
        if not condition:
            self.complaints.append(complaint)
        return condition

    def all(self):
        print(f"Presentation: {self.directory}")
        self.prepare()
        for part in ("metadata", "sound", "pointer", "geometry", "slides"):
            self.check(part)
        for complaint in self.complaints:
            print("WRONG:", complaint)
        print(f"{len(self.complaints)} complaints" if self.complaints else "Everything is there.")
        return not self.complaints

    def prepare(self, zero=None):
        self.positions = numbers(self.directory / "mouse_positions.txt", 3)
        self.zero = self.find_zero() if zero is None else zero

    def check(self, part):
        try:
            getattr(self, part)()
        except (ValueError, KeyError, IndexError, TypeError, OSError,
                subprocess.SubprocessError) as error:
            self.complaints.append(f"{part}: {error}")

    def slide_lines(self):
        """Number and time of every slide, and the directory that holds them."""
        files = sorted(self.directory.rglob("timestamps_ms.txt"))
        if len(files) != 1:
            raise ValueError(f"{len(files)} files timestamps_ms.txt")
        self.slide_directory = files[0].parent
        return numbers(files[0], 2)

    def find_zero(self):
        """The clock time of the presentation's time 0.

        The pointer's moves tell it to the millisecond: a position is noted after the move began,
        so the smallest distance between both clocks is the true one. Without a pointer the tone's
        beginning in the sound tells it (and sound() compares both).
        """
        if self.positions and len(self.positions) == len(self.moves):
            return max(before - time
                       for (time, _, _), (before, *_) in zip(self.positions, self.moves))
        return self.truth["tone"] - self.tone_begin() * 1000

    def metadata(self):
        path = self.directory / "presentation.xml"
        code, text = run("xmllint", "--nonet", "--noout", path)
        self.expect(code == 0, f"presentation.xml is not well-formed: {text}")
        root, name, start = (run("xmllint", "--nonet", "--xpath", expression, path)[1] for expression
                             in ("name(/*)", "string(/*/name)", "string(/*/recordingStart)"))
        self.expect(root == "presentation", f"presentation.xml: the root is {root!r}")
        self.expect(name == self.truth["name"], f"presentation.xml: the name is {name!r}")
        seconds = datetime.datetime.fromisoformat(start).timestamp()
        self.expect(abs(seconds * 1000 - self.truth["startPressed"]) < 3000,
                    f"presentation.xml: recordingStart is {start}")
        print(f"  presentation.xml      {name!r}, recorded at {start}")

    def samples(self):
        return numpy.frombuffer(subprocess.run(
            ["sox", str(self.directory / "audio.wav"), "-t", "raw", "-e", "float", "-b", "32", "-c",
             "1", "-"], check=True, stdout=subprocess.PIPE).stdout, numpy.float32)

    def tone_begin(self):
        loud = numpy.flatnonzero(numpy.abs(self.samples()) > 0.05)
        if not loud.size:
            raise ValueError("there is no sound in audio.wav")
        return loud[0] / 48000

    def sound(self):
        path = self.directory / "audio.wav"
        rate, channels, bits, length = (float(run("soxi", option, path)[1])
                                        for option in ("-r", "-c", "-b", "-D"))
        self.expect((rate, bits) == (48000, 32), f"audio.wav has {rate:.0f} Hz and {bits:.0f} bits")
        wanted = (self.truth["stopPressed"] - self.zero) / 1000
        slack = self.truth.get("soundSlack", 0)
        self.expect(abs(length - wanted) * 1000 <= LENGTH + slack,
                    f"audio.wav lasts {length:.3f} s, the recording {wanted:.3f} s")
        begin = self.tone_begin()
        late = self.zero + begin * 1000 - self.truth["tone"]
        self.expect(-CLOCK - slack <= late <= 500,
                    f"the tone begins {late:.0f} ms after it was played: the clocks disagree")
        code, text = run("sox", path, "-n", "trim", begin + 0.2, length - begin - 0.4, "stat")
        hertz = int(re.search(r"Rough +frequency: +(\d+)", text)[1])
        self.expect(abs(hertz - self.truth["hertz"]) <= 5, f"the tone has {hertz} Hz")
        loud = numpy.abs(self.samples()[int((begin + 0.2) * rate):])
        quiet = loud[:loud.size // 480 * 480].reshape(-1, 480).max(axis=1) < 0.05
        self.expect(not quiet.any(), f"the tone has gaps, {quiet.sum() * 10} ms in all")
        print(f"  audio.wav             {length:.3f} s of {wanted:.3f} s, {rate:.0f} Hz, "
              f"{channels:.0f} channel(s), {bits:.0f} bits, {hertz} Hz heard {late:.0f} ms after it was "
              "played")

    def pointer(self):
        wanted = [move[2:] for move in self.moves]
        found = [position[1:] for position in self.positions]
        first = next((line for line, pair in enumerate(zip(found, wanted), 1)
                      if pair[0] != pair[1]), min(len(found), len(wanted)) + 1)
        self.expect(found == wanted, f"mouse_positions.txt: {len(found)} positions, "
                    f"{len(wanted)} moves, line {first} is the first that differs")
        times = [time for time, _, _ in self.positions]
        self.expect(times == sorted(times), "mouse_positions.txt: times go back")
        for (time, x, y), (before, after, *_) in zip(self.positions, self.moves):
            self.expect(before - CLOCK <= self.zero + time <= after + LATE_POINTER,
                        f"mouse_positions.txt: {time} {x} {y} has the wrong time")
        print(f"  mouse_positions.txt   {len(found)} positions of {len(wanted)} moves")

    def geometry(self):
        text = (self.directory / "screens_geometry.txt").read_text("utf-8")
        snapshots, decoder = [], json.JSONDecoder()
        while text:
            snapshot, end = decoder.raw_decode(text)
            snapshots.append(snapshot)
            text = text[end:]
        self.expect(snapshots and 0 <= snapshots[0]["time"] <= 500,
                    "screens_geometry.txt: the first snapshot is not at the beginning")
        screens = [[screen["geometry"][key] for key in ("x", "y", "width", "height")]
                   for screen in snapshots[-1]["screens"]]
        self.expect(screens == self.truth["screens"], f"screens_geometry.txt has {screens}")
        print(f"  screens_geometry.txt  {len(snapshots)} snapshot(s), last: " + ", ".join(
            f"{width}x{height}+{x}+{y}" for x, y, width, height in screens))

    def slides(self):
        """Every slide has its reason, and every reason its slide."""
        slides = self.slide_lines()
        directory = self.slide_directory
        times = [time for _, time in slides]
        self.expect([number for number, _ in slides] == list(range(1, len(slides) + 1)),
                    "timestamps_ms.txt: the slides are not numbered 1, 2, 3, …")
        self.expect(times == sorted(times), "timestamps_ms.txt: times go back")
        wanted = {f"{screen}-{number:04}.png" for number, _ in slides
                  for screen in range(len(self.truth["screens"]))}
        found = {path.name for path in directory.glob("*.png")}
        self.expect(found == wanted, f"slides missing: {sorted(wanted - found)}, "
                    f"without a line: {sorted(found - wanted)}")
        code, text = run("pngcheck", "-q", *sorted(directory.glob("*.png")))
        self.expect(code == 0, f"pngcheck: {text}")

        reasons, gone = self.reasons(), self.truth["hidden"][0]
        for number, time in slides:
            at, name = self.zero + time, f"slide {number} at {time} ms"
            file = directory / f"0-{number:04}.png"
            if at < self.truth["views"][0]["shown"][0] or at > gone:
                print(f"  {file.name} {time:>8} ms  the recorder's own window")
                continue
            reason = next((each for each in reasons if "slide" not in each
                           and each["from"] - CLOCK <= at <= each["to"] + CLOCK), None)
            if not self.expect(reason, f"{name}: nothing changed on the screen"):
                continue
            reason["slide"] = number
            view = reason["view"]
            same = numpy.array_equal(pixels(file), view["pixels"])
            self.expect(same, f"{name}: not what the screen showed ({view['name']})")
            print(f"  {file.name} {time:>8} ms  {reason['why']}, {at - reason['from']:.0f} ms after "
                  f"it, {'identical' if same else 'DIFFERENT'}")
        for reason in reasons:
            self.expect("slide" in reason or reason["optional"], f"no slide for {reason['why']}")

    def reasons(self):
        """What must have made a slide while the deck covered the screen, in order."""
        reasons, before = [], None
        for view in self.truth["views"]:
            view["pixels"] = pixels(view["screenshot"])
            now = similarity.reduced(view["pixels"])
            likeness = -1 if before is None else similarity.similarity(before, now)
            before = now
            self.expect(self.is_shown(view), f"the screen did not show {view['name']} as it is")
            name = view["name"]
            if likeness < similarity.LIMIT + 0.005:
                reasons.append({"why": name, "view": view, "from": view["shown"][0],
                                "to": view["shown"][1] + LATEST,
                                "optional": likeness > similarity.LIMIT - 0.005})
            else:
                print(f"  (no new slide for {name}: too like the one before)")
            if "forced" in view:
                reasons.append({"why": f"{name} again, asked for", "view": view, "optional": False,
                                "from": view["forced"], "to": view["forced"] + 500})
        return reasons

    @staticmethod
    def is_shown(view):
        """Whether the screenshot holds the picture pixel by pixel, centred on black.

        One that is larger than the screen was scaled by the player and is taken as it came. With
        transparency or more than 8 bits, two programs may round differently.
        """
        picture, screen = pixels(view["picture"]), view["pixels"].astype(int)
        rows, columns = picture.shape[:2]
        if rows > screen.shape[0] or columns > screen.shape[1]:
            return True
        y, x = (screen.shape[0] - rows) // 2, (screen.shape[1] - columns) // 2
        wanted = numpy.zeros_like(screen)
        wanted[y:y + rows, x:x + columns] = picture
        opaque, depth = run("/usr/bin/identify", "-format", "%[opaque] %z", view["picture"])[1].split()
        return abs(wanted - screen).max() <= (0 if opaque.lower() == "true" and depth == "8" else 3)


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    sys.exit(0 if Check(sys.argv[1], json.loads(pathlib.Path(sys.argv[2]).read_text())).all() else 1)
