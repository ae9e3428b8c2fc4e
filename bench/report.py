#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs the benchmark programs and sets ours beside the best peer, the floor and the goal.

report.py FOLDER [--quick]    FOLDER holds the programs; --quick: one short run each, nothing written

A figure is the median of the repetitions, which are interleaved at random, so that a busy moment of the
machine meets all contenders; not those of the profiles, since each would begin in the pieces of memory that
another left. Machines differ, so goals are ratios: to the floor or to a peer that ran in
the same process, or, where a goal was set as a time, that time divided by the time of the contender named
beside it on the machine where both were measured. "peer" is whichever peer is the fastest.
"""
import html
import json
import os
import platform
import shutil
import statistics
import subprocess
import sys

PROGRAMS = ["string", "log", "preferences", "profile", "stream", "module", "box"]

# workload: (contender, most that ours may take of it)
GOALS = {
    # Beside std::string: a locked addition, the floor, costs another part of everything on each processor.
    "copy + destroy": ("std::string", 2 / 13.3),  # while the process has one thread
    "assign twice, shared": ("std::string", 4 / 3.6),
    "assign from characters": ("std::string", 4 / 2.8),
    "copy, write one": ("floor", 15 / 8.2),
    "append 1 x 1000": ("exact blocks", 1.05),
    "append with room": ("std::string", 1000 / 533),
    "a + b": ("floor", 15 / 8.2),
    "substring 32 of 64": ("floor", 13 / 8),
    "whole substring": ("copy + destroy/ours", 1.15),
    "find, plain": ("floor", 1.2),
    "find, hostile": ("floor", 1.2),
    "replace 64 hits": ("absl", 1300 / 1383),
    "copy + trim both ends": ("std::string", 28 / 32.9),
    "format %s=%d": ("floor", 100 / 48),
    "open line": ("floor", 1.4),
    "closed LogPrintIf": ("closed LogPrint/floor", 2 / 76),
    "closed LogPrint": ("floor", 1.2),
    "durable set, in memory": ("floor", 20 / 6),
    "durable set, on disk": ("floor", 1.15),
    "get": ("floor", 450 / 337),
    "construct, get, destroy": ("get/floor", 1800 / 337),
    "load 1 MB": ("floor", 1.3),
    "load 10 MB": ("floor", 1.3),
    "look-up in 200 lines": ("floor", 1.2),
    "change and write back 1 MB": ("GKeyFile", 1),
    "change and write back 10 MB": ("GKeyFile", 1),
    "typed writes, 1300 bytes": ("QDataStream + toHex", 141 / 450),
    "block write, 1500 bytes": ("floor", 1 / 0.9),
    "block read, 1 MB of text": ("floor", 402 / 520),
    "typed reads, 26 KB of values": ("QDataStream", 226 / 300),
    "load, table, unload": ("floor", 3),
    "About box, without picture": ("peer", 1),
    "About box, with picture": ("peer", 1),
    "alert": ("peer", 1),
}


def run(folder, name, quick, environment=None, wrapper=()):
    """{workload: {contender: nanoseconds}} of one program, in the order of its benchmarks."""
    command = [*wrapper, os.path.join(folder, name + "_bench"), "--benchmark_format=json"]
    if quick:
        command += ["--benchmark_min_time=0.01"]
    else:
        command += ["--benchmark_repetitions=15", "--benchmark_min_time=0.03",
                    f"--benchmark_enable_random_interleaving={str(name != 'profile').lower()}"]
    # What waits for a disk or a window counts by the clock, the rest by the processor's time.
    # Others on the machine only ever add to the latter, so the least of the runs tells most.
    clock, typical = (("real_time", statistics.median) if name in ("preferences", "box")
                      else ("cpu_time", min))
    result = subprocess.run(command, env={**os.environ, **(environment or {})}, check=True,
                            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    scale = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}
    times = {}
    for entry in json.loads(result.stdout)["benchmarks"]:
        if entry["run_type"] == "iteration":
            workload, contender = entry["run_name"].split("/")[:2]
            times.setdefault(workload, {}).setdefault(contender, []).append(
                entry[clock] * scale[entry["time_unit"]])
    return {workload: {contender: typical(all_) for contender, all_ in by.items()}
            for workload, by in times.items()}


def run_all(folder, quick):
    offscreen = {"QT_QPA_PLATFORM": "offscreen"}
    times = {}
    for name in PROGRAMS:
        print("running", name, file=sys.stderr)
        times.update(run(folder, name, quick, offscreen))
    if shutil.which("Xvfb") and shutil.which("wmctrl"):
        print("running box on X", file=sys.stderr)
        on_x = run(folder, "box", quick, {"QT_QPA_PLATFORM": "xcb"},
                   ["sh", os.path.join(os.path.dirname(__file__), "../tests/support/with_xvfb.sh")])
        times.update({workload + ", on X": by for workload, by in on_x.items()})
    return times


def show(nanoseconds):
    for unit, size in (("ns", 1), ("µs", 1e3), ("ms", 1e6)):
        if nanoseconds < 1000 * size or unit == "ms":
            return f"{nanoseconds / size:.3g} {unit}" if nanoseconds < 1000 * size else \
                f"{nanoseconds / size:.0f} {unit}"
    return ""


def evaluate(times):
    """Rows of (workload, ours, peer's name, peer, floor, reference's name, goal, ratio to it)."""
    rows = []
    order = list(GOALS)
    for workload in sorted(times, key=lambda name: order.index(name.removesuffix(", on X"))
                           if name.removesuffix(", on X") in order else len(order)):
        by = times[workload]
        ours = by["ours"]
        peers = {name: time for name, time in by.items() if name not in ("ours", "floor")}
        peer = min(peers, key=peers.get, default=None)
        reference, goal = GOALS.get(workload.removesuffix(", on X"), (None, None))
        if reference == "peer" and not workload.endswith(", on X"):
            reference, goal = None, None  # offscreen no window is shown
        if reference == "peer":
            against = peers[peer]
        elif reference and "/" in reference:
            against = times[reference.split("/")[0]][reference.split("/")[1]]
        else:
            against = by.get(reference)
        rows.append((workload, ours, peer, peers.get(peer), by.get("floor"), reference, goal,
                     ours / against if against else None))
    return rows


def table(rows):
    lines = ["| workload | ours | best peer | floor | ours / peer | ours / floor | goal | |",
             "|---|---|---|---|---|---|---|---|"]
    for workload, ours, peer, peer_time, floor, reference, goal, ratio in rows:
        lines.append("| " + " | ".join([
            workload, show(ours),
            f"{show(peer_time)} {peer}" if peer else "",
            show(floor) if floor else "",
            f"{ours / peer_time:.2f}" if peer else "",
            f"{ours / floor:.2f}" if floor else "",
            f"≤ {goal:.3g} × {reference}" if goal else "",
            ("met" if ratio <= goal else f"not met: {ratio:.3g}") if ratio else "",
        ]) + " |")
    return "\n".join(lines)


def plot(rows):
    """A bar a workload: ours as a part of the goal, on a scale that ends at twice the goal."""
    bars = [(row[0], row[7] / row[6]) for row in rows if row[7]]
    label, width, line = 250, 400, 20
    height = line * len(bars) + 50
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{label + width + 70}" height="{height}" '
             'font-family="sans-serif" font-size="12">',
             '<rect width="100%" height="100%" fill="white"/>',
             f'<text x="{label}" y="18">time as a part of the goal: left of the line it is met</text>']
    for at, (name, part) in enumerate(bars):
        y = 30 + at * line
        length = min(part, 2) / 2 * width
        color = "#3a7d44" if part <= 1 else "#c0392b"
        parts.append(f'<text x="{label - 8}" y="{y + 13}" text-anchor="end">{html.escape(name)}</text>'
                     f'<rect x="{label}" y="{y + 2}" width="{length:.1f}" height="{line - 5}" '
                     f'fill="{color}"/>'
                     f'<text x="{label + length + 5:.1f}" y="{y + 13}">{part:.2f}</text>')
    goal = label + width / 2
    parts.append(f'<line x1="{goal}" y1="26" x2="{goal}" y2="{height - 16}" stroke="black" '
                 'stroke-dasharray="4 3"/></svg>')
    return "\n".join(parts) + "\n"


def machine():
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        model = next((line.split(":")[1].strip() for line in file if line.startswith("model name")),
                     platform.machine())
    compiler = subprocess.run(["c++", "--version"], capture_output=True, text=True,
                              check=False).stdout.split("\n")[0]
    packages = subprocess.run(
        ["dpkg-query", "-W", "-f", "${Package} ${Version}\n", "libc6", "libqt6core6", "libabsl-dev",
         "libspdlog-dev", "libgoogle-glog-dev", "libboost-log-dev", "libwxgtk3.2-dev", "libsimpleini-dev",
         "libinih-dev", "libglib2.0-dev"], capture_output=True, text=True, check=False).stdout
    return [f"{os.cpu_count()} × {model}", f"{platform.system()} {platform.release()}", compiler,
            ", ".join(packages.split("\n")[:-1])]


def main():
    folder, quick = sys.argv[1], "--quick" in sys.argv[2:]
    rows = evaluate(run_all(folder, quick))
    text = table(rows)
    print(text)
    met = sum(1 for row in rows if row[7] and row[7] <= row[6])
    print(f"\n{met} of {sum(1 for row in rows if row[7])} goals met")
    if quick:
        return
    root = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")
    with open(os.path.join(root, "bench/results.md"), "w", encoding="utf-8") as file:
        file.write("# Benchmarks\n\nMade by `script/bench`: the least processor time of 15 runs or, for "
                   "preferences and boxes, which wait, the\nmedian time. Ratios are of one process; times "
                   "drift from machine to machine.\n\n"
                   + "\n".join("- " + line for line in machine()) + "\n\n" + text
                   + f"\n\n{met} of {sum(1 for row in rows if row[7])} goals met.\n"
                   "\n![Time as a part of the goal](../docs/bench.svg)\n")
    with open(os.path.join(root, "docs/bench.svg"), "w", encoding="utf-8") as file:
        file.write(plot(rows))


if __name__ == "__main__":
    main()
