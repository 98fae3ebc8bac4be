"""Runs the micro-benchmarks of micro/."""

import json
import statistics

import tables
import world as surroundings
from figures import Figure, Target, make_section, yes_or_no

HEADS = ("micro-benchmark", "ns", "least", "most", "allocations", "at most", "met")
AT_MOST = {"FilterByLevel": 5}  # nanoseconds
NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6}


def read_results(text):
    """Returns, from the JSON of Google Benchmark, the times in nanoseconds of the repetitions and
    the allocations of a run, by name in the order of definition."""
    runs = [run for run in json.loads(text)["benchmarks"] if run["run_type"] == "iteration"]
    runs.sort(key=lambda run: (run["family_index"], run["per_family_instance_index"]))
    results = {}
    for run in runs:
        name = run["run_name"].removesuffix("/real_time")
        times, _ = results.setdefault(name, ([], run.get("allocations")))
        times.append(run["real_time"] * NANOSECONDS[run["time_unit"]])
    return results


def _format(time):
    return f"{time:.1f}" if time < 100 else f"{time:.0f}"


def _make_row(name, times, allocations):
    middle = statistics.median(times)
    target = ("", "")
    if name in AT_MOST:
        target = (AT_MOST[name], yes_or_no(middle <= AT_MOST[name]))
    return (name, _format(middle), _format(min(times)), _format(max(times)),
            "" if allocations is None else f"{allocations:.1f}", *target)


def make_growth_figures(results):
    """Returns how the time for one item grows from 1,024 to 10,000 items; a cost that grows with
    the square would give 10."""
    figures = []
    for name in [name for name in results if name.endswith("/1024")]:
        item = name.split("/")[1]
        few, many = (statistics.median(results[f"Linear/{item}/{size}"][0]) / size
                     for size in (1024, 10000))
        figures.append(Figure(f"time for an item of {item}, at 10,000 over at 1,024", many / few,
                              Target(2)))
    return figures


def measure(world):
    """Returns the section of the baseline, and whether all targets are met."""
    output = world.work / "micro.json"
    repetitions, seconds = (1, 0.001) if world.quick else (3, 0.02)
    surroundings.say("micro-benchmarks")
    surroundings.run([world.binaries / "bench_micro", f"--benchmark_repetitions={repetitions}",
                      f"--benchmark_min_time={seconds}",
                      "--benchmark_enable_random_interleaving=true",
                      f"--benchmark_out={output}", "--benchmark_out_format=json"])
    results = read_results(output.read_text(encoding="utf-8"))
    rows = [_make_row(name, *result) for name, result in results.items()
            if not name.startswith("Linear/")]
    section, are_met = make_section(tables.make_table(HEADS, rows), make_growth_figures(results))
    return {"micro": section}, are_met and all(row[-1] != "no" for row in rows)
