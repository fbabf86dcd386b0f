#!/usr/bin/python3
"""An S3 server for the demonstration and the tests: OpenStack Swift's S3 API behind a strict front,
in one process.

Swift checks the signatures; the front checks what Swift lets pass (body hashes, the session token,
virtual hosts, what is signed) and makes faults on demand. Everything is on loopback, on free ports
and in a temporary directory; the process ends with its standard input.

    s3-server.py [--port PORT] [--bucket NAME]... [--access-key ID] [--secret KEY] [--token TOKEN]

Commands are lines of JSON on standard input, each answered by one line of JSON; the first line on
standard output comes unasked when the server is ready:
    {"port", "tlsPort", "caFile", "endpoint", "tlsEndpoint", "accessKey", "secret", "token", "buckets"}
    {"cmd": "objects", "bucket": B}   [{"key", "size", "sha256", "contentType"}] as Swift stores them
    {"cmd": "uploads", "bucket": B}   keys of the multipart uploads under way
    {"cmd": "requests"}               what came since the last time, each with its faults if any
    {"cmd": "seen"}                   {"requests": how many came since the last "requests"}
    {"cmd": "stalled"}                waits (30 s) for a request that stalls; {"stalled": BOOL}
    {"cmd": "faults", "faults": [F]}  replaces the faults; each F is used "count" (1) times for
                                      requests that hold "match" in "METHOD path?query":
        {"reply": STATUS, "code": C, "message": M} or {"reply": STATUS, "body": TEXT};
        {"stall": true} until {"cmd": "release"} or the client has gone;
        {"resetAfter": BYTES} of the body
    {"cmd": "close"}, {"cmd": "open"} the server is gone, is back (same port)
"""
import argparse
import hashlib
import json
import os
import shutil
import signal
import socket
import struct
import subprocess
import sys
import tempfile

import eventlet

eventlet.monkey_patch()

from eventlet import wsgi  # noqa: E402
from swift.common import utils  # noqa: E402
from swift.common.ring import RingBuilder  # noqa: E402
from swift.common.storage_policy import reload_storage_policies  # noqa: E402
from swift.common.swob import Request  # noqa: E402
from swift.common.wsgi import SwiftHttpProtocol, loadapp  # noqa: E402

ACCOUNT = "test"
MAX_HEAD = 64 * 1024


class Cache:
    """The cache that Swift keeps in memcached; a dictionary is enough for one process."""

    def __init__(self):
        self.values = {}

    def get(self, key, *_, **__):
        return self.values.get(key)

    def set(self, key, value, *_, **__):
        self.values[key] = value

    def delete(self, key, *_, **__):
        self.values.pop(key, None)


class Swift:
    """Account, container, object and proxy server, with one device and one replica."""

    def __init__(self, directory, accessKey, secret):
        self.cache = Cache()
        self.listeners = {}
        os.makedirs(f"{directory}/devices/d1")
        with open(f"{directory}/swift.conf", "w") as file:
            file.write("[swift-hash]\nswift_hash_path_suffix = tests\nswift_hash_path_prefix = tests\n"
                       "[storage-policy:0]\nname = default\ndefault = yes\n")
        utils.set_swift_dir(directory)
        reload_storage_policies()
        for kind in ("account", "container", "object"):
            self.listen(kind)
            builder = RingBuilder(1, 1, 0)
            builder.add_dev({"id": 0, "region": 1, "zone": 1, "weight": 1.0, "ip": "127.0.0.1",
                             "port": self.port(kind), "device": "d1", "meta": ""})
            builder.rebalance()
            builder.get_ring().save(f"{directory}/{kind}.ring.gz")
        self.listen("proxy")
        common = (f"[DEFAULT]\nswift_dir = {directory}\ndevices = {directory}/devices\n"
                  "mount_check = false\ndisable_fallocate = true\nlog_level = CRITICAL\n")
        for kind in ("account", "container", "object"):
            self.serve(directory, kind, common + f"[pipeline:main]\npipeline = server\n"
                       f"[app:server]\nuse = egg:swift#{kind}\nallow_versions = true\n")
        user, _, name = accessKey.partition(":")
        self.app = self.serve(directory, "proxy", common + f"""
[pipeline:main]
pipeline = catch_errors gatekeeper listing_formats bulk s3api tempauth copy slo dlo versioned_writes symlink proxy-server
[app:proxy-server]
use = egg:swift#proxy
account_autocreate = true
node_timeout = 60
[filter:s3api]
use = egg:swift#s3api
storage_domain = localhost
location = us-east-1
min_segment_size = 1
[filter:tempauth]
use = egg:swift#tempauth
user_{user}_{name} = {secret} .admin
""" + "".join(f"[filter:{f}]\nuse = egg:swift#{f}\n" for f in (
            "catch_errors", "gatekeeper", "listing_formats", "bulk", "copy", "slo", "dlo",
            "versioned_writes", "symlink")))

    def listen(self, kind):
        self.listeners[kind] = eventlet.listen(("127.0.0.1", 0), backlog=128)

    def port(self, kind):
        return self.listeners[kind].getsockname()[1]

    def serve(self, directory, kind, configuration):
        path = f"{directory}/{kind}-server.conf"
        with open(path, "w") as file:
            file.write(configuration)
        app = loadapp(path)

        def withCache(env, start):
            env["swift.cache"] = self.cache
            return app(env, start)

        eventlet.spawn(wsgi.server, self.listeners[kind], withCache, log_output=False, debug=False,
                       protocol=SwiftHttpProtocol, capitalize_response_headers=False)
        return withCache

    def request(self, method, path):
        """A request to the store itself, past the S3 API and its authentication."""
        request = Request.blank(f"/v1/AUTH_{ACCOUNT}/{path}", environ={
            "REQUEST_METHOD": method, "swift.authorize_override": True,
            "swift.authorize": lambda _: None})
        return request.get_response(self.app)

    def names(self, bucket):
        reply = self.request("GET", f"{bucket}?format=json&limit=10000")
        return json.loads(reply.body) if reply.status_int == 200 else []

    def objects(self, bucket):
        result = []
        for entry in self.names(bucket):
            reply = self.request("GET", f"{bucket}/" + utils.quote(entry["name"]))
            body = reply.body
            result.append({"key": entry["name"], "size": len(body), "contentType": reply.content_type,
                           "sha256": hashlib.sha256(body).hexdigest()})
        return result

    def uploads(self, bucket):
        """Keys that have parts stored but no object."""
        done = {entry["name"] for entry in self.names(bucket)}
        parts = {entry["name"].split("/")[0] for entry in self.names(bucket + "+segments")}
        return sorted(parts - {name.split("/")[0] for name in done})


class Fault(Exception):
    """Ends one request with an error reply."""

    def __init__(self, status, code, message, body=None):
        super().__init__(message)
        self.status = status
        self.body = body if body is not None else (
            "<?xml version='1.0' encoding='UTF-8'?>\n<Error><Code>%s</Code><Message>%s</Message>"
            "<RequestId>1</RequestId></Error>" % (code, message))


class Front:
    def __init__(self, upstreamPort, buckets, token, tls):
        self.upstreamPort, self.buckets, self.token, self.tls = upstreamPort, buckets, token, tls
        self.requests, self.faults, self.handlers = [], [], set()
        self.released, self.stalled = eventlet.event.Event(), 0
        self.port = 0
        self.open()

    def open(self, port=0):
        self.listener = eventlet.listen(("127.0.0.1", port or self.port), reuse_addr=True)
        self.port = self.listener.getsockname()[1]
        self.acceptor = eventlet.spawn(self.accept, self.listener)

    def close(self):
        self.acceptor.kill()
        self.listener.close()
        for handler in list(self.handlers):
            handler.kill()

    def release(self):
        self.released.send()
        self.released = eventlet.event.Event()

    def accept(self, listener):
        while True:
            client, _ = listener.accept()
            client.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            handler = eventlet.spawn(self.handle, client)
            self.handlers.add(handler)
            handler.link(self.handlers.discard)

    @staticmethod
    def reset(client):
        try:
            client.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
            client.close()
        except OSError:
            pass

    def handle(self, client):
        try:
            if self.tls:
                client = eventlet.wrap_ssl(client, server_side=True, **self.tls)
            pending = b""
            while pending is not None:
                pending = self.exchange(client, pending)
        except (OSError, EOFError):
            pass
        except eventlet.greenlet.GreenletExit:
            self.reset(client)
        finally:
            client.close()

    def exchange(self, client, data):
        while b"\r\n\r\n" not in data:
            chunk = client.recv(65536)
            if not chunk or len(data) > MAX_HEAD:
                return None
            data += chunk
        head, _, body = data.partition(b"\r\n\r\n")
        lines = head.decode("latin-1").split("\r\n")
        method, target, _ = lines[0].split(" ")
        headers = {}
        for line in lines[1:]:
            name, _, value = line.partition(":")
            headers[name.strip().lower()] = value.strip()
        record = {"method": method, "target": target, "host": headers.get("host"),
                  "contentType": headers.get("content-type"), "status": 0,
                  "sha256": headers.get("x-amz-content-sha256"), "size": 0}
        self.requests.append(record)
        length = int(headers.get("content-length", "0"))
        fault = self.takeFault(f"{method} {target}")
        if "100-continue" in headers.get("expect", "").lower():
            client.sendall(b"HTTP/1.1 100 Continue\r\n\r\n")
        while len(body) < length:
            if len(body) >= fault.get("resetAfter", length):
                record["fault"] = "reset"
                self.reset(client)
                return None
            chunk = client.recv(min(length - len(body), 262144))
            if not chunk:
                raise EOFError
            body += chunk
        record["size"] = len(body)
        if fault.get("stall"):
            record["fault"] = "stall"
            released = self.released
            self.stalled += 1
            try:
                while not released.ready() and not hasGone(client):
                    eventlet.sleep(0.01)
            finally:
                self.stalled -= 1
            if not released.ready():
                raise EOFError
        try:
            if "reply" in fault:
                raise Fault(fault["reply"], fault.get("code"), fault.get("message"), fault.get("body"))
            self.check(headers, body)
        except Fault as error:
            record["status"], record["fault"] = error.status, error.body
            text = error.body.encode()
            client.sendall(b"HTTP/1.1 %d Fault\r\nContent-Type: application/xml\r\nContent-Length: %d"
                           b"\r\n\r\n%s" % (error.status, len(text), text))
            return b""
        reply = self.forward(head, body)
        record["status"] = int(reply.split(b" ", 2)[1])
        client.sendall(reply)
        return b""

    def takeFault(self, line):
        for fault in self.faults:
            if fault.get("match", "") in line and fault.get("count", 1) > 0:
                fault["count"] = fault.get("count", 1) - 1
                return fault
        return {}

    def check(self, headers, body):
        """What a real object store insists on and Swift does not."""
        authorization = headers.get("authorization", "")
        if not authorization.startswith("AWS4-HMAC-SHA256 "):
            raise Fault(403, "AccessDenied", "The request is not signed.")
        signed = authorization.partition("SignedHeaders=")[2].partition(",")[0].split(";")
        for name in headers:
            if (name == "host" or name == "content-type" or name.startswith("x-amz-")) \
                    and name not in signed:
                raise Fault(403, "AccessDenied", f"The header {name} is not signed.")
        if headers.get("x-amz-security-token", "") != self.token:
            raise Fault(400, "InvalidToken", "The provided token is malformed or otherwise invalid.")
        digest = headers.get("x-amz-content-sha256", "")
        expected = "UNSIGNED-PAYLOAD" if self.tls else hashlib.sha256(body).hexdigest()
        if digest != expected:
            raise Fault(400, "XAmzContentSHA256Mismatch", f"Expected {expected}, got {digest}.")
        bucket, _, host = headers.get("host", "").partition(".")
        if host != f"localhost:{self.port}":
            raise Fault(400, "InvalidRequest", "The bucket is not in the host name.")

    def forward(self, head, body):
        lines = [line for line in head.split(b"\r\n")
                 if not line.lower().startswith((b"connection:", b"expect:"))]
        upstream = eventlet.connect(("127.0.0.1", self.upstreamPort))
        try:
            upstream.sendall(b"\r\n".join(lines) + b"\r\nConnection: close\r\n\r\n")
            upstream.sendall(body)
            reply = b""
            while chunk := upstream.recv(65536):
                reply += chunk
        finally:
            upstream.close()
        # The connection to the client stays, for all that Swift says.
        replyHead, _, replyBody = reply.partition(b"\r\n\r\n")
        kept = [line for line in replyHead.split(b"\r\n") if not line.lower().startswith(
            (b"connection:", b"transfer-encoding:", b"content-length:"))]
        if b"transfer-encoding: chunked" in replyHead.lower():
            replyBody = b"".join(dechunk(replyBody))
        kept.append(b"Content-Length: %d" % len(replyBody))
        return b"\r\n".join(kept) + b"\r\n\r\n" + replyBody


def hasGone(client):
    try:
        return client.fd.recv(1, socket.MSG_PEEK) == b""
    except BlockingIOError:
        return False
    except OSError:
        return True


def dechunk(data):
    while data:
        size, _, data = data.partition(b"\r\n")
        size = int(size, 16)
        if size == 0:
            return
        yield data[:size]
        data = data[size + 2:]


def certificate(directory, buckets):
    names = ",".join(f"DNS:{bucket}.localhost" for bucket in buckets) + ",DNS:localhost"
    key, cert = f"{directory}/key.pem", f"{directory}/cert.pem"
    subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "1",
                    "-subj", "/CN=localhost", "-addext", f"subjectAltName={names}",
                    "-keyout", key, "-out", cert], check=True, stderr=subprocess.DEVNULL)
    return {"keyfile": key, "certfile": cert}


def answer(swift, front, command):
    name = command["cmd"]
    if name == "objects":
        return swift.objects(command["bucket"])
    if name == "uploads":
        return swift.uploads(command["bucket"])
    if name == "requests":
        requests = list(front.requests)
        front.requests.clear()  # the list is both fronts'
        return requests
    if name == "seen":
        return {"requests": len(front.requests)}
    if name == "stalled":
        with eventlet.Timeout(30, False):
            while not front.stalled:
                eventlet.sleep(0.01)
        return {"stalled": front.stalled > 0}
    if name == "faults":
        front.faults = command["faults"]
    elif name in ("release", "close", "open"):
        getattr(front, name)()
    else:
        return {"error": f"unknown command {name}"}
    return {}


def commands():
    pending = b""
    while True:
        eventlet.hubs.trampoline(sys.stdin.fileno(), read=True)
        data = os.read(sys.stdin.fileno(), 65536)
        if not data:
            return
        *lines, pending = (pending + data).split(b"\n")
        yield from (json.loads(line) for line in lines if line.strip())


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--port", type=int, default=0)
    parser.add_argument("--bucket", action="append")
    parser.add_argument("--access-key", default=f"{ACCOUNT}:tester")
    parser.add_argument("--secret", default="Zm9y/dGVz+dHM=secret")
    parser.add_argument("--token", default="session/token+of==the//tests")
    options = parser.parse_args()
    buckets = options.bucket or ["slides"]
    directory = tempfile.mkdtemp(prefix="podiumcast-s3.")
    for number in (signal.SIGTERM, signal.SIGINT):
        signal.signal(number, lambda *_: sys.exit(143))
    try:
        swift = Swift(directory, options.access_key, options.secret)
        for bucket in buckets:
            reply = swift.request("PUT", bucket)
            if reply.status_int // 100 != 2:
                sys.exit(f"s3-server.py: bucket {bucket}: {reply.status} {reply.body}")
        tls = certificate(directory, buckets)
        front = Front(swift.port("proxy"), buckets, options.token, None)
        if options.port:
            front.close()
            front.open(options.port)
        tlsFront = Front(swift.port("proxy"), buckets, options.token, tls)
        tlsFront.requests = front.requests
        print(json.dumps({
            "port": front.port, "tlsPort": tlsFront.port, "caFile": tls["certfile"],
            "endpoint": f"http://localhost:{front.port}",
            "tlsEndpoint": f"https://localhost:{tlsFront.port}",
            "accessKey": options.access_key, "secret": options.secret, "token": options.token,
            "buckets": buckets}), flush=True)
        for command in commands():
            print(json.dumps(answer(swift, front, command)), flush=True)
    finally:
        shutil.rmtree(directory, ignore_errors=True)


if __name__ == "__main__":
    main()
