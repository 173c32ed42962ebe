"""Runs the benchmark and shows its figures.

    report.py run PROGRAM [--quick] [--json FILE]    runs it and prints the table; FILE keeps the numbers
    report.py table FILE                             prints the table of numbers that were kept
    report.py plot FILE SVG                          draws their main rows
"""

import argparse
import datetime
import json
import os
import statistics
import subprocess
import sys
import tempfile
from html import escape

NANOSECONDS, BYTES, MEGABYTES_PER_SECOND = "ns", "bytes", "MB/s"

# What is measured, the benchmark of ours, that of the reference, what the reference is, and the goal: the largest
# ratio; None to report it only. Benchmarks of "bytes" rows give bytes, those of "MB/s" rows nanoseconds a byte.
ROWS = [
    ("get(), process-wide", "get/ours", "get/bare", "virtual call, lock add, load", 1.10, NANOSECONDS),
    ("", "get/ours", "get/abseil", "absl::GetFlag<int>, not counted", None, NANOSECONDS),
    ("", "get/ours", "get/gflags", "gflags variable, not counted", None, NANOSECONDS),
    ("get(), Feature<PROCESS> known", "get_typed/ours", "get_typed/bare", "lock add, load", 1.10, NANOSECONDS),
    ("get(), per-instance", "get_per_instance/ours", "get_per_instance/bare",
     "thread-local pointer, slot, deque, lock add, load", 1.5, NANOSECONDS),
    ("get(), per-instance, 2 threads", "get_per_instance/two", "get_per_instance/ours", "1 thread", 1.1, NANOSECONDS),
    ("get(), 2 features in 2 threads", "get/two", "get/ours", "1 thread", 1.1, NANOSECONDS),
    ("set(), not logged or watched", "set/ours", "set/bare", "exchange, lock add, empty signal", 1.25, NANOSECONDS),
    ("", "set/ours", "set/abseil", "absl::SetFlag", 0.8, NANOSECONDS),
    ("set(), 1 watcher", "set_1_watcher/ours", "set_1_watcher/bare", "the signal alone", 1.25, NANOSECONDS),
    ("set(), 10 watchers", "set_10_watchers/ours", "set_10_watchers/bare", "the signal alone", 1.25, NANOSECONDS),
    ("ScopedFeature, handle in hand", "scoped/ours", "scoped/bare", "get and two sets", 1.2, NANOSECONDS),
    ("getFeature, 10,000 names", "getFeature_10000/ours", "getFeature_10000/bare", "mutex, tables, one allocation",
     1.25, NANOSECONDS),
    ("", "getFeature_10000/ours", "getFeature_10000/abseil", "absl::FindCommandLineFlag", 0.8, NANOSECONDS),
    ("", "getFeature_10000/ours", "getFeature_10000/gflags", "gflags::GetCommandLineOption", 0.8, NANOSECONDS),
    ("getFeature, 100,000 names", "getFeature_100000/ours", "getFeature_100000/bare",
     "mutex, tables, one allocation", 1.25, NANOSECONDS),
    ("", "getFeature_100000/ours", "getFeature_100000/abseil", "absl::FindCommandLineFlag", 0.8, NANOSECONDS),
    ("", "getFeature_100000/ours", "getFeature_100000/gflags", "gflags::GetCommandLineOption", 0.8, NANOSECONDS),
    ("getFeature, unknown, no framework", "missing/ours", "missing/bare", "two bare misses", None, NANOSECONDS),
    ("getFeature, unknown, 20 bundles", "missing/bundles", "missing/bare", "two bare misses", None, NANOSECONDS),
    ("registerFeature, 100,000", "registerFeature_100000/ours", "registerFeature_100000/bare",
     "bare tables, strings, signals", 1.25, NANOSECONDS),
    ("registerFeature, 1,000,000", "registerFeature_1000000/ours", "registerFeature_1000000/bare",
     "bare tables, strings, signals", 1.25, NANOSECONDS),
    ("first access, 20,000 templates", "first_access/ours", "first_access/bare", "copying 20,000 records", 1.25,
     NANOSECONDS),
    ("register and touch, 20,000", "growing/20000", "growing/10000", "10,000 of them", 2.3, NANOSECONDS),
    ("registerFeatures, text to filed", "registerFeatures/ours", "registerFeatures/bare",
     "RapidJSON to values, bare registration", 1.25, NANOSECONDS),
    ("JSON reader of convert", "read_json/ours", "read_json/rapidjson", "RapidJSON DOM", 1.5, MEGABYTES_PER_SECOND),
    ("", "read_json/ours", "read_json/rapidjson_to_values", "RapidJSON to the same values", None,
     MEGABYTES_PER_SECOND),
    ("", "read_json/ours", "read_json/copying", "copying those values", None, MEGABYTES_PER_SECOND),
    ("", "read_json/ours", "read_json/boost", "Boost.JSON", None, MEGABYTES_PER_SECOND),
    ("memory of a process-wide feature", "memory_process/ours", "memory_process/bare", "bare tables", 1.1, BYTES),
    ("memory of a copy in an instance", "memory_instance/ours", "memory_instance/bare", "a deque of records", 1.1,
     BYTES),
]
# Rows whose goal is a difference: at most so many nanoseconds more than the reference.
LARGEST_EXTRA = 2.0
EXTRA_ROWS = [
    ("disabled log record", "disabled_record/ours", "disabled/bare", "nothing"),
    ("disabled trace of a function", "disabled_trace/ours", "disabled/bare", "nothing"),
]


def medians(results):
    """Median time of each benchmark, by its name: processor time of one thread for one operation."""
    times = {}
    for result in results["benchmarks"]:
        if result["run_type"] != "iteration":
            continue
        name = "/".join(result["run_name"].split("/")[:2])
        is_scenario = result["run_name"].endswith("/manual_time")
        times.setdefault(name, []).append(result["real_time" if is_scenario else "cpu_time"])
    return {name: statistics.median(of_name) for name, of_name in times.items()}


def quantity(figure, unit):
    if unit == MEGABYTES_PER_SECOND:
        return f"{1000 / figure:,.0f} MB/s"
    if unit == BYTES:
        return f"{figure:,.0f} bytes"
    for limit, divisor, name in ((1e3, 1, "ns"), (1e6, 1e3, "µs"), (1e9, 1e6, "ms")):
        if figure < limit:
            return f"{figure / divisor:.{1 if figure / divisor < 100 else 0}f} {name}"
    return f"{figure / 1e9:.2f} s"


def table(times):
    lines = [("operation", "ours", "reference", "", "ratio", "goal", "")]
    for title, ours, reference, what, goal, unit in ROWS:
        if ours not in times or reference not in times:
            continue
        ratio = times[ours] / times[reference]
        verdict = "" if goal is None else "met" if ratio <= goal else "MISSED"
        lines.append((title, quantity(times[ours], unit), quantity(times[reference], unit), what, f"{ratio:.2f}",
                      "" if goal is None else f"<= {goal:.2f}", verdict))
    for title, ours, reference, what in EXTRA_ROWS:
        if ours not in times or reference not in times:
            continue
        extra = times[ours] - times[reference]
        lines.append((title, quantity(times[ours], NANOSECONDS), quantity(times[reference], NANOSECONDS), what,
                      f"{extra:+.1f} ns", f"<= {LARGEST_EXTRA:.0f} ns", "met" if extra <= LARGEST_EXTRA else "MISSED"))
    widths = [max(len(line[column]) for line in lines) for column in range(len(lines[0]))]
    right = (1, 2, 4, 5)
    return "\n".join(
        "  ".join(text.rjust(width) if column in right else text.ljust(width)
                  for column, (text, width) in enumerate(zip(line, widths))).rstrip() for line in lines)


def run(program, is_quick, kept):
    command = [program, "--benchmark_enable_random_interleaving=true", "--benchmark_display_aggregates_only=true",
               "--benchmark_counters_tabular=true"]
    if is_quick:
        # Without the scenarios that take seconds.
        command += ["--benchmark_repetitions=5", "--benchmark_min_time=0.02",
                    "--benchmark_filter=-(_1000000/|getFeature_100000/|read_json/(rapidjson_|copying|boost))"]
    else:
        command += ["--benchmark_repetitions=7", "--benchmark_min_time=0.2"]
    # What the developer's own environment sets for the library is not seen.
    environment = {name: value for name, value in os.environ.items()
                   if name != "FOUNDATION_LOG" and not name.startswith("QZ_FEATURE_")}
    with tempfile.TemporaryDirectory() as folder:
        output = kept or os.path.join(folder, "results.json")
        command += [f"--benchmark_out={output}", "--benchmark_out_format=json"]
        subprocess.run(command, check=True, stdout=subprocess.DEVNULL, env=environment)
        with open(output, encoding="utf-8") as file:
            return json.load(file)


def plot(times, date):
    """The rows with a goal as bars of their ratios, each with a mark at its goal."""
    bars = []
    title = ""
    for of_row, ours, reference, what, goal, unit in ROWS:
        title = of_row or title
        if goal is not None and ours in times and reference in times:
            bars.append((f"{title} / {what}", times[ours] / times[reference], goal))
    left, width, step, top, largest = 470, 400, 22, 50, 2.5
    height = top + step * len(bars) + 20

    def x(ratio):
        return left + width * min(ratio, largest) / largest

    parts = [
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{left + width + 60}" height="{height}" '
        'font-family="sans-serif" font-size="12">',
        '<rect width="100%" height="100%" fill="white"/>',
        f'<text x="10" y="20" font-size="14">Time or memory, relative to the reference ({date}); '
        'black mark: the goal</text>',
    ]
    for index, (label, ratio, goal) in enumerate(bars):
        y = top + step * index
        colour = "#4a7fb0" if ratio <= goal else "#c8553d"
        parts += [
            f'<text x="{left - 8}" y="{y + 12}" text-anchor="end">{escape(label)}</text>',
            f'<rect x="{left}" y="{y}" width="{x(ratio) - left:.1f}" height="16" fill="{colour}"/>',
            f'<line x1="{x(goal):.1f}" x2="{x(goal):.1f}" y1="{y - 2}" y2="{y + 18}" stroke="black" '
            'stroke-width="2"/>',
            f'<text x="{x(max(ratio, goal)) + 6:.1f}" y="{y + 12}">{ratio:.2f}</text>',
        ]
    parts.append(f'<line x1="{x(1):.1f}" x2="{x(1):.1f}" y1="{top - 8}" y2="{height - 14}" stroke="#888" '
                 'stroke-dasharray="3 3"/></svg>')
    return "\n".join(parts) + "\n"


def load(path):
    with open(path, encoding="utf-8") as file:
        return json.load(file)


def main():
    parser = argparse.ArgumentParser(prog="report.py")
    verbs = parser.add_subparsers(dest="verb", required=True)
    of_run = verbs.add_parser("run")
    of_run.add_argument("program")
    of_run.add_argument("--quick", action="store_true", help="under a minute")
    of_run.add_argument("--json", metavar="FILE", help="keeps the numbers")
    verbs.add_parser("table").add_argument("file")
    of_plot = verbs.add_parser("plot")
    of_plot.add_argument("file")
    of_plot.add_argument("svg")
    arguments = parser.parse_args()

    if arguments.verb == "run":
        print(table(medians(run(arguments.program, arguments.quick, arguments.json))))
    elif arguments.verb == "table":
        print(table(medians(load(arguments.file))))
    else:
        results = load(arguments.file)
        date = datetime.datetime.fromisoformat(results["context"]["date"]).date()
        with open(arguments.svg, "w", encoding="utf-8") as file:
            file.write(plot(medians(results), date))


if __name__ == "__main__":
    sys.exit(main())
