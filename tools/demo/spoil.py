"""Spoils copies of a good presentation, one fact at a time: the checker must find each."""
import contextlib
import io
import shutil
import subprocess

from check_presentation import Check, run


def lines(name, change):
    """Rewrites a text file; change() takes and returns its lines."""
    def spoil(directory, deck_slides):
        path = directory / name
        path.write_text("".join(change(path.read_text().splitlines(keepends=True), deck_slides)))
    return spoil


def later(rows, slides):
    number, time = rows[slides[0] - 1].split()
    return rows[:slides[0] - 1] + [f"{number} {int(time) + 1500}\n"] + rows[slides[0]:]


def picture(*change):
    def spoil(directory, slides):
        run("/usr/bin/mogrify", *change, directory / f"0-{slides[0]:04}.png")
    return spoil


def sound(*effect):
    def spoil(directory, _):
        good = (directory / "audio.wav").rename(directory / "good.wav")
        run("sox", good, directory / "audio.wav", *effect)
    return spoil


def swapped(directory, slides):
    first, last = (directory / f"0-{number:04}.png" for number in (slides[0], slides[-1]))
    kept = first.rename(directory / "kept")
    last.rename(first)
    kept.rename(last)


SPOILT = [
    ("slides", "one pixel", picture("-fill", "#123456", "-draw", "point 700,500")),
    ("slides", "two slides swapped", swapped),
    ("slides", "a slide too late", lines("timestamps_ms.txt", later)),
    ("slides", "a line missing", lines("timestamps_ms.txt", lambda rows, _: rows[:-1])),
    ("slides", "a picture cut off", lambda directory, slides: subprocess.run(
        ["truncate", "-s", "-100", str(directory / f"0-{slides[0]:04}.png")], check=True)),
    ("sound", "200 ms missing", sound("trim", 0, -0.2)),
    ("sound", "another tone", sound("pitch", 50)),
    ("sound", "a gap", sound("pad", "0.1@4", "trim", 0, -0.1)),
    ("pointer", "a position missing", lines("mouse_positions.txt", lambda rows, _: rows[1:])),
    ("pointer", "two swapped", lines("mouse_positions.txt", lambda rows, _:
                                     rows[:3] + [rows[4], rows[3]] + rows[5:])),
    ("geometry", "cut off", lines("screens_geometry.txt", lambda rows, _: [rows[0][:-1]])),
    ("metadata", "no root's end", lines("presentation.xml", lambda rows, _: rows[:-1])),
    ("metadata", "another root", lines("presentation.xml", lambda rows, _:
                                       [row.replace("presentation>", "talk>") for row in rows])),
]


def all_found(presentation, truth, scratch):
    begin, end = truth["views"][0]["shown"][0], truth["hidden"][0]
    good = Check(presentation, truth)
    good.prepare()
    deck_slides = [number for number, time in good.slide_lines() if begin <= good.zero + time <= end]
    missed = []
    for part, what, spoil in SPOILT:
        shutil.rmtree(scratch, ignore_errors=True)
        shutil.copytree(presentation, scratch)
        spoil(scratch, deck_slides)
        check = Check(scratch, truth)
        check.prepare(zero=good.zero)
        with contextlib.redirect_stdout(io.StringIO()):
            check.check(part)
        if not check.complaints:
            missed.append(f"{part}: {what}")
    print(f"The checker found {len(SPOILT) - len(missed)} of {len(SPOILT)} spoilt presentations",
          *missed, sep="\nMISSED ")
    return not missed
