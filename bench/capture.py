#!/usr/bin/python3
"""Makes the page's tables of one capture from what google-benchmark wrote:

    bench/capture.py CAPTURE.json WITHOUT_AVX2.json
    bench/capture.py --windows COMPARE.json        the comparison only (bench/windows.sh)

Medians of the repetitions; wall-clock time unless a column says CPU.
"""
import json
import sys

import page

COMPARED = ("unchanged frame", "noise in one of two frames", "noise in both frames", "noise of σ = 3 in one",
            "changed frame")
BOTH = "preprocess and compare, unchanged frame"
STEPS = ("convert a screenshot", "preprocess a frame", BOTH, "write a PNG file",
         "write a slide of three screens")
WIDTHS = {"1920": "1920x1080", "3840": "3840x2160"}


class Medians:
    def __init__(self, path):
        self.times = {}
        with open(path, encoding="utf-8") as results:
            for run in json.load(results)["benchmarks"]:
                if run.get("error_occurred"):
                    sys.exit(f"{run['name']}: {run['error_message']}")
                if run.get("aggregate_name") == "median":
                    name, width = run["name"].split("/")[:2]
                    self.times[name, width.removeprefix("w:")] = run["real_time"], run["cpu_time"]

    def real(self, name, width):
        return self.times[name, width][0]

    def cpu(self, name, width):
        return self.times[name, width][1]

    def times_cheaper(self, name, width):
        return self.real(name + " (plain)", width) / self.real(name, width)


def digits(value):
    """Three of them say more than the measurement knows."""
    return f"{value:.3f}" if value < 1 else f"{value:.2f}" if value < 10 else f"{value:.0f}"


def table(head, rows):
    columns = " | ".join(f"{size} | {head}" for size in WIDTHS.values())
    return f"| Step, in ms | {columns} |\n{'|---' * (columns.count('|') + 2)}|\n" + "".join(
        f"| {name} | {' | '.join(cells)} |\n" for name, cells in rows)


def beside(ours, other):
    """The cells of one size: ours, the other, how many times cheaper."""
    return [digits(ours), digits(other), f"{other / ours:.0f}"]


def compared(medians):
    return [(f"compare, {what}", [cell for width in WIDTHS for cell in beside(
        medians.real(f"compare, {what}", width), medians.real(f"compare, {what} (plain)", width))])
        for what in COMPARED]


def steps(medians, names):
    return [(name, [digits(value) for width in WIDTHS for value in medians.times[name, width]])
            for name in names]


def main():
    if sys.argv[1] == "--windows":
        page.section("Windows program", table("plain | times", compared(Medians(sys.argv[2]))))
        return
    medians, baseline = map(Medians, sys.argv[1:3])
    page.section("compare", table("plain | times", compared(medians)))
    page.section("steps", table("CPU", steps(medians, STEPS)))
    grabs = [(name, [cell for width in WIDTHS for cell in beside(
        time("grab a screen", width), time("grab a screen (by Qt)", width))])
        for name, time in (("grab a screen", medians.real),
                           ("of which in this process (CPU)", medians.cpu))]
    page.section("grab", table("by Qt | times", grabs))
    page.section("without AVX2", table("plain | times", compared(baseline)) + "\n"
                 + table("CPU", steps(baseline, [BOTH])))

    for what, least in (("unchanged frame", 50), ("noise in one of two frames", 20), ("changed frame", 1)):
        least_times = min(medians.times_cheaper(f"compare, {what}", width) for width in WIDTHS)
        page.target(f"compare, {what}: times cheaper than plainly", f"at least {least}",
                    f"{least_times:.1f}", least_times >= least)
    for (width, size), most in zip(WIDTHS.items(), (2, 5)):
        time = medians.real(BOTH, width)
        page.target(f"{BOTH}, {size}", f"under {most} ms", f"{time:.2f} ms", time < most)


if __name__ == "__main__":
    main()
