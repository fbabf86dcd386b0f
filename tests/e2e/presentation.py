"""Reads recorded presentations with programs that know nothing of the recorder."""
import json

from check_presentation import numbers
from driver import expect, run


def slides(presentation):
    """The number and the time of each."""
    return numbers(presentation / "timestamps_ms.txt", 2)


def snapshots(presentation):
    """Of the screens' geometry."""
    path, found = presentation / "screens_geometry.txt", []
    text = path.read_text("utf-8") if path.exists() else ""
    while text:
        snapshot, end = json.JSONDecoder().raw_decode(text)
        found.append(snapshot)
        text = text[end:]
    return found


def pixel(presentation, screen, number):
    """Width, height and the colour near the upper left corner of a slide's picture."""
    return run("/usr/bin/convert", presentation / f"{screen}-{number:04}.png", "-format",
               "%w %h %[hex:p{5,5}]", "info:").strip()


def seconds_of_sound(presentation):
    """The length of audio.wav, whose header tells that of its file."""
    audio = presentation / "audio.wav"
    header, size = audio.read_bytes()[:44], audio.stat().st_size
    lengths = int.from_bytes(header[4:8], "little"), int.from_bytes(header[40:], "little")
    expect(lengths == (size - 8, size - 44), f"audio.wav has {size} bytes, its header says {lengths}")
    return float(run("soxi", "-D", audio))


def expect_readable(presentation):
    """Whatever is there is whole."""
    run("xmllint", "--noout", presentation / "presentation.xml")
    pictures = sorted(presentation.glob("*.png"))
    if pictures:
        run("pngcheck", "-q", *pictures)
    snapshots(presentation)


def expect_complete(presentation, seconds=0, without=()):
    """Every file is there and was closed well, but for the pictures of the slides without one."""
    expect_readable(presentation)
    length = seconds_of_sound(presentation)
    expect(length >= seconds, f"audio.wav lasts only {length} s of {seconds} s")
    for number, _ in slides(presentation):
        expect((presentation / f"0-{number:04}.png").exists() != (number in without),
               f"slide {number} is there, or is not")
    expect(slides(presentation) and snapshots(presentation), "there is no slide, or no geometry")
