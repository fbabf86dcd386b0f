#!/usr/bin/python3
"""Writes what was measured into docs/PERFORMANCE.md, and holds it against the targets.

    bench/page.py section NAME < TABLE     prints the table and puts it between its markers
    bench/page.py target WHAT WANTED MEASURED met|MISSED
    bench/page.py targets                  prints all of them; fails when one was missed
    bench/page.py machine                  describes this machine, in Markdown

PODIUMCAST_BENCH_TARGETS names the file that collects the targets; PODIUMCAST_BENCH_PAGE=none leaves
the page as it is.
"""
import datetime
import os
import pathlib
import platform
import re
import subprocess
import sys

PAGE = pathlib.Path(__file__).resolve().parents[1] / "docs" / "PERFORMANCE.md"
END = "<!-- until here -->"


def section(name, text):
    print(text, flush=True)
    if os.environ.get("PODIUMCAST_BENCH_PAGE") == "none":
        return
    page = PAGE.read_text("utf-8")
    written, count = re.subn(rf"(<!-- {name}: [^\n]*-->\n).*?({END})",
                             lambda match: match[1] + text + match[2], page, flags=re.DOTALL)
    if count != 1:
        sys.exit(f"{PAGE}: there is no place for {name}")
    PAGE.write_text(written, "utf-8")


def target(what, wanted, measured, met):
    path = os.environ.get("PODIUMCAST_BENCH_TARGETS")
    if path:
        with open(path, "a", encoding="utf-8") as rows:
            rows.write(f"| {what} | {wanted} | {measured} | {'met' if met else 'MISSED'} |\n")


def targets():
    rows = pathlib.Path(os.environ["PODIUMCAST_BENCH_TARGETS"]).read_text("utf-8")
    section("targets", "| target | wanted | measured | |\n|---|---|---|---|\n" + rows)
    return "MISSED" not in rows


def output(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout.strip()


def machine():
    cpu = dict(re.findall(r"^([^:\n]+?) *: +(.*)$", output("lscpu"), re.MULTILINE))
    simd = [name.upper() for name in ("avx2", "fma") if name in cpu["Flags"].split()]
    memory = os.sysconf("SC_PHYS_PAGES") * os.sysconf("SC_PAGE_SIZE") / 1e9
    return (f"{os.cpu_count()} cores of an {cpu['Model name']} (family {cpu['CPU family']}, model "
            f"{cpu['Model']}; {' and '.join(simd) or 'neither AVX2 nor FMA'} used), {memory:.0f} GB of "
            f"memory, hypervisor {cpu.get('Hypervisor vendor', 'none')},\n"
            f"{platform.freedesktop_os_release()['PRETTY_NAME']}, GCC {output('gcc', '-dumpfullversion')}, "
            f"Qt {output('pkg-config', '--modversion', 'Qt6Core')}, "
            f"OpenCV {output('pkg-config', '--modversion', 'opencv4')}.\n"
            f"{datetime.date.today()}; load before the start: {os.getloadavg()[0]:.2f}.\n")


def main():
    command, *arguments = sys.argv[1:]
    if command == "section":
        section(arguments[0], sys.stdin.read())
    elif command == "target":
        target(*arguments[:3], arguments[3] == "met")
    elif command == "targets":
        return 0 if targets() else 1
    elif command == "machine":
        section("machine", machine())
    return 0


if __name__ == "__main__":
    sys.exit(main())
