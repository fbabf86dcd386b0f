#!/usr/bin/python3
"""A disk that takes its time, fails or hangs when a test says so: a directory seen through FUSE.

    with SlowDisk(directory) as slow:       # ends, whatever hangs in it, before the recorder is waited for
        slow.set(changes=3)                 # from now on, also for what is waiting already
        slow.set(everything=math.inf)
        slow.set(failing=["fsync"])
        slow.set()                          # a good disk again

Or as a program: slowdisk.py DIRECTORY BEHIND CONTROL, where CONTROL is a file with the same in JSON.
"""
import atexit
import ctypes
import errno
import json
import math
import os
import pathlib
import signal
import subprocess
import sys
import time

# What brings something to the disk. Reading, listing and asking for the free space wait only when
# everything does.
CHANGES = {"write", "fsync", "fsyncdir", "create"}


class SlowDisk:
    """Mounted over the directory, which is empty; what is written to it lies beside, in .behind."""

    def __init__(self, directory):
        if not os.access("/dev/fuse", os.R_OK | os.W_OK):
            print("SKIPPED: there is no /dev/fuse here")
            sys.exit(77)
        self.directory = pathlib.Path(directory)
        self.behind, self.control = (pathlib.Path(f"{directory}.{name}")
                                     for name in ("behind", "control"))
        self.directory.mkdir(exist_ok=True)
        self.behind.mkdir(exist_ok=True)
        self.set()
        self.process = subprocess.Popen([sys.executable, __file__, self.directory, self.behind,
                                         self.control])
        atexit.register(self.end)
        while not os.path.ismount(self.directory):
            if self.process.poll() is not None:
                print("SKIPPED: a FUSE file system cannot be mounted here")
                sys.exit(77)
            time.sleep(0.02)

    def set(self, changes=0, everything=0, failing=()):
        """Seconds that each change, or each operation, takes; the operations that fail with EIO."""
        new = pathlib.Path(f"{self.control}.new")
        new.write_text(json.dumps([changes, everything, list(failing)]))
        new.replace(self.control)

    def end(self):
        """Whoever waits for the disk then gets an error; the files are still in .behind."""
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()
            subprocess.run(["umount", "-l", self.directory])

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.end()


class PassThrough:
    """fusepy's operations; every one has a thread of its own while it waits."""

    use_ns = True  # times are whole nanoseconds

    def __init__(self, behind, control, interrupted):
        self.behind, self.control = behind, pathlib.Path(control)
        self.interrupted = interrupted  # whether the waiting process has got a signal

    def __call__(self, operation, path, *arguments):
        begin = time.monotonic()
        while True:
            changes, everything, failing = json.loads(self.control.read_text())
            wait = max(everything, changes if operation in CHANGES else 0)
            if time.monotonic() - begin >= wait:
                break
            # As on a network drive: whoever waits can be killed, though the disk never answers.
            if self.interrupted():
                raise OSError(errno.EINTR, operation)
            time.sleep(0.02)
        if operation in failing:
            raise OSError(errno.EIO, operation)
        return getattr(self, operation)(self.behind + path, *arguments)

    def getattr(self, path, fh=None):
        status = os.lstat(path)
        found = {name: getattr(status, name) for name in (
            "st_mode", "st_nlink", "st_uid", "st_gid", "st_size", "st_blocks")}
        return found | {f"st_{time}time": getattr(status, f"st_{time}time_ns") for time in "amc"}

    def statfs(self, path):
        status = os.statvfs(path)
        return {name: getattr(status, name) for name in dir(status) if name.startswith("f_")
                and name != "f_fsid"}

    def readdir(self, path, fh):
        return [".", "..", *os.listdir(path)]

    def create(self, path, mode):
        return os.open(path, os.O_RDWR | os.O_CREAT, mode)

    def open(self, path, flags):
        return os.open(path, flags)

    def read(self, path, size, offset, fh):
        return os.pread(fh, size, offset)

    def write(self, path, data, offset, fh):
        return os.pwrite(fh, data, offset)

    def fsync(self, path, datasync, fh):
        os.fsync(fh)

    def fsyncdir(self, path, datasync, fh):
        pass

    def release(self, path, fh):
        os.close(fh)

    def truncate(self, path, length, fh=None):
        os.truncate(path, length)

    def utimens(self, path, times=None):
        os.utime(path, ns=times)

    def rename(self, path, new):
        os.rename(path, self.behind + new)

    def symlink(self, path, target):
        os.symlink(target, path)

    def link(self, path, existing):
        os.link(self.behind + existing, path)

    readlink, chmod, chown = (staticmethod(call) for call in (os.readlink, os.chmod, os.chown))
    mkdir, rmdir, unlink = (staticmethod(call) for call in (os.mkdir, os.rmdir, os.unlink))


def main(directory, behind, control):
    import fusepy  # here, so that whoever only starts this needs no such module

    os.umask(0)
    ctypes.CDLL(None).prctl(1, signal.SIGKILL)  # PR_SET_PDEATHSIG: a killed test leaves no disk behind
    fusepy.FUSE(PassThrough(os.path.abspath(behind), os.path.abspath(control),
                            fusepy._libfuse.fuse_interrupted),
                directory, foreground=True, big_writes=True)


if __name__ == "__main__":
    main(*sys.argv[1:])
