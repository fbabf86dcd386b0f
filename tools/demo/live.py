"""The live part of the demonstration: the servers, the login, and the proof from the servers' side.

A service with TLS (tools/service), an S3 server (s3-server.py) and a video switcher
run on loopback. The recorder trusts the service's authority as it trusts any other: it is among the
system's certificates that the recorder sees (with_authority.sh), or in the registry's store of the
Wine prefix. Slides go to the S3 server by TLS, too.
"""
import collections
import datetime
import hashlib
import json
import os
import pathlib
import re
import secrets
import subprocess
import time

HERE = pathlib.Path(__file__).resolve().parent
import registry
from driver import Failure, OTHER, Recorder, STOP, now, run, wait_for

LIVE_STREAM, EMAIL_FIELD = (125, 248), (440, 97)  # in the window
EMAIL = "operator@podiumcast.example"
BUCKET = "slides"
STREAMS, SLIDES = "/api/v1/presentation_streams", "/api/v1/presentation_stream_slides"
PINGS = "/api/v1/presentation_stream_ping_data"
SETTINGS = r"HKEY_CURRENT_USER\Software\Podiumcast\PodiumcastRecorder\liveStreamSettings"
PAUSE = (3950, 5300)  # ms between two pings: 4000 to 4999 and the way to and fro


class Servers:
    """The service, the switcher and the store; their secrets are new every time."""

    def __init__(self, helpers, service, launcher="", store_endpoint="tlsEndpoint"):
        self.wine = launcher  # or nothing: a program of this system
        self.store_endpoint = store_endpoint
        self.directory = helpers.directory / "servers"
        self.directory.mkdir()
        self.secrets = {name: f"{name}-{secrets.token_hex(8)}"
                        for name in ("password", "token", "key", "session")}
        self.store = helpers.start(
            "/usr/bin/python3", HERE / "s3-server.py", "--bucket", BUCKET,
            "--secret", self.secrets["key"], "--token", self.secrets["session"],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, bufsize=1)
        self.store_values = json.loads(self.store.stdout.readline() or "{}")
        if not self.store_values:
            raise Failure("the S3 server did not start")
        process = self.process = helpers.start(
            service, "--directory", self.directory, "--email", EMAIL, "--token",
            self.secrets["token"], "--bucket", BUCKET, stdin=subprocess.PIPE,
            stdout=subprocess.PIPE, text=True, bufsize=1,
            env={**os.environ, "TEST_SERVICE_PASSWORD": self.secrets["password"],
                 "TEST_SERVICE_ACCESS_KEY_ID": self.store_values["accessKey"],
                 "TEST_SERVICE_SECRET_ACCESS_KEY": self.secrets["key"],
                 "TEST_SERVICE_SESSION_TOKEN": self.secrets["session"]})
        lines = [process.stdout.readline().split() for _ in range(3)]
        if [line[:1] for line in lines] != [["SERVICE"], ["SWITCHER"], ["AUTHORITY"]]:
            raise Failure("the service did not start")
        self.service, self.switcher, self.authority = (line[1] for line in lines)

    def launcher(self):
        return self.wine or " ".join(f"'{HERE / 'with_authority.sh'}' '{authority}'" for authority
                                     in (self.authority, self.store_values["caFile"]))

    def environment(self):
        return {"PODIUMCAST_SERVICE_URL": self.service, "AWS_EC2_METADATA_DISABLED": "true",
                "AWS_ENDPOINT_URL_S3": self.store_values[self.store_endpoint]}

    def write_settings(self):
        """What the operator has entered about the switcher on another day."""
        if self.wine:
            registry.write(self.directory, {
                SETTINGS: {"pollVMixApi": "true", "vMixApiPollInterval": "1000",
                           "vMixApiEndpoint": self.switcher},
                **registry.authorities([self.authority, self.store_values["caFile"]])})
            return
        path = pathlib.Path(os.environ["XDG_CONFIG_HOME"], "Podiumcast", "PodiumcastRecorder.conf")
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text("[liveStreamSettings]\npollVMixApi=true\nvMixApiPollInterval=1000\n"
                        f"vMixApiEndpoint={self.switcher}\n")

    def command_store(self, command):
        self.store.stdin.write(json.dumps(command) + "\n")
        return json.loads(self.store.stdout.readline())

    def switch_service(self, command):
        """"down" or "up"."""
        self.process.stdin.write(command + "\n")
        if self.process.stdout.readline().strip() != command:
            raise Failure(f"the service did not go {command}")

    def objects(self):
        return self.command_store({"cmd": "objects", "bucket": BUCKET})

    def requests(self, name="service"):
        path = self.directory / f"{name}.jsonl"
        return [json.loads(line) for line in path.read_text("utf-8").splitlines()]


class LiveRecorder(Recorder):
    """Starts its recording by logging in on the live stream's page."""

    def __init__(self, servers, *arguments):
        self.servers = servers
        servers.write_settings()
        super().__init__(*arguments, **servers.environment())

    def start_recording(self):
        wait_for("the list of microphones", lambda: "loadSelectedAudioInput" in self.output())
        x, y, *_ = self.geometry()
        before = self.presentations()
        self.pointer.click(x + LIVE_STREAM[0], y + LIVE_STREAM[1])
        time.sleep(0.5)
        self.pointer.click(x + EMAIL_FIELD[0], y + EMAIL_FIELD[1])
        for text, key in ((EMAIL, "Tab"), (self.servers.secrets["password"], "Return")):
            run("xdotool", "type", "--file", "-", input=text)
            run("xdotool", "key", key)
        self.start_pressed = now()
        presentation = wait_for("a new presentation",
                                lambda: self.presentations() - before).pop()
        wait_for("the first slide",
                 lambda: any(presentation.glob("slides_*/timestamps_ms.txt")), 20)
        wait_for("the recording screen", self.screen_rests, 20)
        del self.pointer.moves[:]
        return presentation


    def prepare_keys(self):
        """The buttons move while slides are frozen: the keyboard unfreezes them."""
        self.freeze_button = wait_for("the freeze button", lambda: self.look(OTHER))[0]
        self.pointer.click(*self.freeze_button)
        time.sleep(0.3)
        self.toggle_freeze()
        time.sleep(0.3)

    def screen_rests(self):
        """The stream's lines and the first picture move the buttons."""
        before = self.look(STOP)
        time.sleep(1)
        return before and self.look(STOP) == before


class LiveCheck:
    """What the servers saw, against what the recorder left on disk."""

    def __init__(self, servers, presentation, truth, recorder):
        self.servers, self.presentation, self.truth = servers, presentation, truth
        self.recorder = recorder
        self.complaints = []

    def expect(self, condition, complaint):
        if not condition:
            self.complaints.append(complaint)
        return condition

    def all(self):
        print("Live stream, as the servers saw it:")
        self.requests = self.servers.requests()
        for request in self.requests:
            self.expect(request["status"] == 200 and not request["problems"],
                        f"the service answered {request['status']} to {request['path']}: "
                        f"{request['problems']}")
        for part in (self.stream, self.objects, self.reports, self.pings, self.no_secrets):
            try:
                part()
            except (KeyError, IndexError, TypeError, ValueError, OSError) as error:
                self.complaints.append(f"{part.__name__}: {error!r}")
        for complaint in self.complaints:
            print("WRONG:", complaint)
        print(f"{len(self.complaints)} complaints" if self.complaints
              else "Every slide is in the bucket, reported once, and the pings are right.")
        return not self.complaints

    def to(self, path):
        return [request for request in self.requests if request["path"] == path]

    def stream(self):
        self.expect([request["path"] for request in self.requests[:2]] == ["/api/v1/login", STREAMS],
                    "it did not begin with the login and the stream")
        self.expect(self.requests[0]["json"].get("user_password") == "(right)",
                    "the password did not arrive")
        title = self.to(STREAMS)[0]["json"]["presentation_stream"]["title"]
        self.expect(title == self.presentation.name, f"the stream's title is {title!r}")
        self.version = self.to(PINGS)[0]["json"]["presentation_stream_ping_data"][
            "presentation_stream_version"]
        self.slides = self.presentation / f"slides_{self.version}"
        print(f"  login and stream      {title!r}, version {self.version}, over TLS")

    def objects(self):
        found = {entry["key"]: entry for entry in self.servers.objects()}
        files = sorted(self.slides.glob("*.png"))
        prefix = f"streams/1000/v{self.version}/"
        self.expect(files and set(found) == {prefix + file.name.lower() for file in files},
                    f"in the bucket: {sorted(found)}, on disk: {[file.name for file in files]}")
        for file in files:
            entry = found.get(prefix + file.name.lower(), {})
            same = entry.get("sha256") == hashlib.sha256(file.read_bytes()).hexdigest()
            self.expect(same, f"{file.name}: other bytes in the bucket")
            self.expect(entry.get("contentType") == "image/png",
                        f"{file.name}: content type {entry.get('contentType')}")
            if same:
                print(f"  {BUCKET}/{entry['key']}  {entry['size']} bytes, {entry['contentType']}, "
                      f"sha256 {entry['sha256'][:16]}…")

    def reports(self):
        times = dict(line.split(" ") for line in
                     (self.slides / "timestamps_ms.txt").read_text("ascii").splitlines())
        seen = collections.Counter()
        streams = set()
        for request in self.to(SLIDES):
            report = request["json"]["presentation_stream_slide"]
            streams.add((report["presentation_stream_id"], report["app_start"], report["version"],
                         report["bucket"]))
            name = report["path"].rsplit("/", 1)[-1]
            screen, number = re.fullmatch(r"(\d+)-(\d+)\.png", name).groups()
            seen[name] += 1
            self.expect(report["screen"] == int(screen)
                        and report["timestamp"] == int(times.get(str(int(number)), -1))
                        and report["path"] == f"streams/1000/v{self.version}/{name}",
                        f"{name} was reported as {report}")
        wanted = {file.name.lower(): 1 for file in self.slides.glob("*.png")}
        self.expect(dict(seen) == wanted, f"reported: {dict(seen)}, on disk: {sorted(wanted)}")
        self.expect(len(streams) == 1, f"reports for several streams: {streams}")
        print(f"  slide reports         {sum(seen.values())} for {len(wanted)} slides, each with its "
              "screen, time, bucket and path")

    def pings(self):
        pings = self.to(PINGS)
        moments = [datetime.datetime.fromisoformat(ping["at"].replace("Z", "+00:00")).timestamp()
                   * 1000 for ping in pings]
        pauses = [after - before for before, after in zip(moments, moments[1:-1])]
        self.expect(len(pings) >= 2 and moments[-1] - moments[-2] <= PAUSE[1],
                    "no ping before the last one")
        self.expect(all(PAUSE[0] <= pause <= PAUSE[1] for pause in pauses),
                    f"pauses between pings: {[round(pause) for pause in pauses]} ms")
        last = moments[-1] - self.truth["stopPressed"]
        self.expect(-100 <= last <= 1000, f"the last ping came {last:.0f} ms after the stop")
        texts = {f"<reads>{number}</reads>" for number in
                 range(1, len(self.servers.requests("switcher")) + 1)}
        relayed = set()
        for number, ping in enumerate(pings):
            # The first goes out before the first capture.
            resolutions = ["1920x1080"] if number else []
            data = ping["json"]["presentation_stream_ping_data"]
            recording = data["recording_app"]["recording"]
            self.expect(data["recording_app"]["name"] == "Podiumcast Recorder"
                        and data["recording_app"]["version"] == "130"
                        and recording["slides_stats"]["resolutions"] in (["1920x1080"],
                                                                           resolutions)
                        and recording["slides_source"] == "Interval screen capture"
                        and recording["audio_source"] and recording["error_messages"] == []
                        and data["vmix"]["polling_endpoint"] == self.servers.switcher,
                        f"a ping holds {data}")
            relayed |= set(re.findall("<reads>.*?</reads>", data["vmix"]["xml"]))
        counts = [ping["json"]["presentation_stream_ping_data"]["recording_app"]["recording"]
                  ["slides_stats"]["web_success_count"] for ping in pings]
        self.expect(counts == sorted(counts) and counts[-1] > 0, f"web_success_count: {counts}")
        self.expect(relayed and relayed <= texts, f"the switcher's XML: {relayed}")
        print(f"  pings                 {len(pings)}, {min(pauses or [0]):.0f} to {max(pauses or [0]):.0f} ms apart, "
              f"the last {last:.0f} ms after the stop; web_success_count {counts}")
        print(f"  switcher              {len(relayed)} of its {len(texts)} documents were relayed")

    def no_secrets(self):
        roots = [self.recorder.work_dir, pathlib.Path(os.environ["XDG_CONFIG_HOME"])]
        files = [self.recorder.log, *(path for root in roots for path in root.rglob("*")
                                      if path.is_file())]
        for path in files:
            data = path.read_bytes()
            for name, secret in self.servers.secrets.items():
                self.expect(secret.encode() not in data, f"{path} holds the {name}")
        print(f"  secrets               none in the {len(files)} files that were written")
