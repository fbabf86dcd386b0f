#!/usr/bin/python3
"""Records a talk with the real recorder, driven as a person would, and checks what it left.

Runs inside tests/harness/desktop.sh --audio (./run.sh --demo and ctest start it). The talk: the
record button is clicked, a tone is played to the microphone, the deck covers the screen while the
pointer moves; one slide is asked for, and at the end the slides are frozen while a notice covers
the deck, which therefore must not become a slide. Then the recording is stopped and the window
closed. What happened when is noted for check_presentation.py.
"""
import argparse
import json
import os
import pathlib
import shutil
import subprocess
import sys

import check_presentation
import live
import spoil
from driver import Failure, Helpers, Recorder, TONE_HERTZ, now, run, screenshot, sleep_until

CONVERT = "/usr/bin/convert"
SIZE = "1920x1080"
TOPICS = ["What a recording holds", "One clock for everything", "Sound first", "When is it new?",
          "The pointer, too", "Questions?"]


def draw_deck(directory):
    """Six slides of our own, different enough that each is a new one."""
    directory.mkdir()
    for number, topic in enumerate(TOPICS, 1):
        run(CONVERT, "-size", SIZE, f"gradient:hsl({number * 60},60%,30%)-hsl({number * 60},60%,12%)",
            "-fill", "white", "-font", "DejaVu-Sans-Bold", "-pointsize", 96, "-gravity", "center",
            "-annotate", "+0-60", topic, "-pointsize", 36, "-annotate", "+0+120",
            f"slide {number} of {len(TOPICS)}", "-fill", "#0F74E8", "-draw",
            f"rectangle 0,1060 {1920 * number // len(TOPICS)},1080", "-depth", 8,
            directory / f"{number:02} {topic.rstrip('?')}.png")
    return directory


class Talk:
    def __init__(self, options, helpers):
        self.helpers = helpers
        self.directory = helpers.directory
        self.seconds = options.seconds_per_slide
        deck = pathlib.Path(options.deck) if options.deck else draw_deck(self.directory / "deck")
        self.names = sorted(path.name for path in deck.iterdir()
                            if path.suffix.lower() == ".png" and path.is_file())
        if not self.names:
            raise Failure(f"there are no PNG images in {deck}")
        # Whatever the files are called, the programs that read them see plain names.
        self.pictures = [self.directory / f"picture-{number:04}.png"
                         for number in range(len(self.names))]
        for name, picture in zip(self.names, self.pictures):
            picture.symlink_to((deck / name).resolve())
        self.notice = self.directory / "notice.png"
        run(CONVERT, "-size", SIZE, "xc:#d00026", "-fill", "white", "-pointsize", 96, "-gravity",
            "center", "-annotate", "+0+0", "Not for the recording", self.notice)
        self.servers = options.service and live.Servers(helpers, options.service, options.launcher)
        launcher = self.servers.launcher() if self.servers else options.launcher
        arguments = (f"{launcher} '{options.recorder}'".strip(),
                     options.work_dir or self.directory / options.place, options.path_prefix,
                     bool(options.work_dir))
        self.recorder = live.LiveRecorder(self.servers, *arguments) if self.servers \
            else Recorder(*arguments)
        self.truth = {"hertz": TONE_HERTZ, "views": [], "screens": [[0, 0, 1920, 1080]],
                      # Wine's sound system starts and stops that much beside what it is told.
                      "soundSlack": 150 if options.path_prefix else 0}

    def wander(self, until):
        """Moves the pointer four times a second, never twice to one place."""
        moves = self.recorder.pointer.moves
        while now() < until - 250:
            step = len(moves)
            self.recorder.pointer.move(200 + step * 37 % 1501, 150 + step * 53 % 757)
            sleep_until(min(now() + 240, until))
        sleep_until(until)

    def give(self):
        truth, recorder = self.truth, self.recorder
        presentation = recorder.start_recording()
        truth["startPressed"] = recorder.start_pressed
        truth["name"] = presentation.name
        truth["tone"] = self.helpers.play_tone(len(self.pictures) * self.seconds + 60)
        recorder.prepare_keys()
        for number, picture in enumerate(self.pictures):
            self.show(number, picture)
        self.freeze_a_while()
        truth["hidden"] = self.helpers.slide("hide")
        self.wander(now() + 1500)
        truth["stopPressed"] = recorder.stop_recording()
        truth["pointer"] = recorder.pointer.moves
        recorder.close()
        return presentation

    def show(self, number, picture):
        try:
            shown = self.helpers.slide(f"show {picture}")
        except Failure:
            raise Failure(f"{self.names[number]} of the deck is not a readable PNG image") from None
        view = {"name": self.names[number], "picture": str(picture), "shown": shown,
                "screenshot": str(self.directory / f"shown-{number}.png")}
        self.truth["views"].append(view)
        screenshot(view["screenshot"])
        end = shown[1] + self.seconds * 1000
        if number == min(1, len(self.pictures) - 1):
            self.wander(shown[1] + 1300)
            view["forced"] = self.recorder.capture_slide()
        self.wander(end)

    def freeze_a_while(self):
        """The notice stays longer than a capture takes to come; the last picture comes back."""
        self.recorder.toggle_freeze()
        self.wander(now() + 300)
        self.helpers.slide(f"show {self.notice}")
        self.wander(now() + 1300)
        self.helpers.slide(f"show {self.pictures[-1]}")
        self.wander(now() + 300)
        self.recorder.toggle_freeze()
        self.wander(now() + 1300)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--recorder", required=True)
    parser.add_argument("--player", required=True)
    parser.add_argument("--deck", default="")
    parser.add_argument("--seconds-per-slide", type=float, default=4)
    parser.add_argument("--output", default="")
    parser.add_argument("--launcher", default="", help="what starts recorder and player, e.g. wine")
    parser.add_argument("--player-launcher", help="what starts the player, if it is another program")
    parser.add_argument("--work-dir", default="",
                        help="where the program, left to itself, keeps its presentations")
    parser.add_argument("--service", default="", help="stream live; the test service's program")
    parser.add_argument("--prove-checker", action="store_true",
                        help="afterwards, see that the checker finds what is spoilt on purpose")
    parser.add_argument("--place", default="presentations", help="where the recorder puts them")
    parser.add_argument("--path-prefix", default="", help="how the recorder sees /, e.g. Z:")
    options = parser.parse_args()
    user = [] if os.geteuid() == 0 else ["--map-root-user"]
    if (options.service and not options.launcher
            and subprocess.run(["unshare", "--mount", *user, "true"]).returncode != 0):
        print("SKIPPED: no mount namespace of our own can be made here, in which the recorder "
              "trusts the test service's authority")
        return 77
    player_launcher = options.launcher if options.player_launcher is None else options.player_launcher
    with Helpers(options.player, player_launcher) as helpers:
        talk = Talk(options, helpers)
        print(f"Recording a talk of {len(talk.pictures)} picture(s), {talk.seconds:g} s each …", flush=True)
        with talk.recorder:
            presentation = talk.give()
        truth = helpers.directory / "truth.json"
        truth.write_text(json.dumps(talk.truth))
        good = check_presentation.Check(presentation, json.loads(truth.read_text())).all()
        if talk.servers:
            good = live.LiveCheck(talk.servers, presentation, talk.truth, talk.recorder).all() and good
        if good and options.prove_checker:
            good = spoil.all_found(presentation, talk.truth, helpers.directory / "spoilt")
        if options.output:
            target = pathlib.Path(options.output) / presentation.name
            shutil.copytree(presentation, target, dirs_exist_ok=True)
            print(f"The presentation is in {target}")
    return 0 if good else 1


if __name__ == "__main__":
    try:
        sys.exit(main())
    except (Failure, subprocess.CalledProcessError) as error:
        sys.exit(f"The demonstration failed: {error}")
