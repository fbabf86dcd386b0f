"""A small disk of its own for a test, which nobody else sees and which goes with the process."""
import atexit
import os
import pathlib
import shutil
import subprocess
import sys

from driver import run


def enter_namespace():
    """Runs this program anew where it may mount what it likes; skips the test where it may not."""
    if "PODIUMCAST_TEST_MOUNTS" in os.environ:
        return
    command = ["unshare", "--mount", "--"]
    if subprocess.run([*command, "true"], stderr=subprocess.DEVNULL).returncode != 0:
        print("SKIPPED: a file system cannot be mounted here")
        sys.exit(77)
    os.environ["PODIUMCAST_TEST_MOUNTS"] = "1"
    os.execvp(command[0], [*command, sys.executable, *sys.argv])


def remove(directory):
    """What the helpers could not remove while a disk was mounted there."""
    subprocess.run(["umount", "-l", directory])
    shutil.rmtree(directory.parent, ignore_errors=True)


def mount(directory, megabytes, image=None, in_memory=False):
    """Mounts a disk of this size, in the image file; without one also in memory, if it must be."""
    directory.mkdir(exist_ok=True)
    atexit.register(remove, directory)
    must_be_file = bool(image)
    if not in_memory:
        image = image or pathlib.Path(f"{directory}.img")
        with open(image, "wb") as file:
            file.truncate(megabytes << 20)
        run("mkfs.ext4", "-q", "-m", 0, image)
        if subprocess.run(["mount", "-o", "loop", image, directory]).returncode == 0:
            return
        image.unlink()
    if must_be_file or subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={megabytes}m", "none",
                       directory]).returncode != 0:
        print("SKIPPED: a file system cannot be mounted here")
        sys.exit(77)


def drive(directory):
    """Makes the disk, one in memory, a drive of the Wine prefix (as Wine knows no other volumes)."""
    link = pathlib.Path(os.environ["WINEPREFIX"], "dosdevices", "y:")
    link.unlink(missing_ok=True)
    link.symlink_to(directory)
    return "Y:/"


def free(directory):
    status = os.statvfs(directory)
    return status.f_bavail * status.f_frsize


def fill(directory, left):
    """Leaves this many bytes free."""
    with open(directory / "something else", "ab") as file:
        size = file.tell()
        os.posix_fallocate(file.fileno(), size, max(1, free(directory) - left))
