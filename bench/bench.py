"""Measures the cost of checks. scripts/bench builds the programs and starts this one:

  bench.py --binaries DIRECTORY --nsd PROGRAM --work DIRECTORY
           [--check|--baseline|--quick] [PART...]

It ends with status 0, with 1 when a target is missed or the check fails, and with 2 when something
could not be measured.
"""

import argparse
import datetime
import os
import pathlib
import subprocess
import sys

import bulk
import checks
import counts
import micro
import services
import tables
import world as surroundings

BASELINE = surroundings.BENCH / "BASELINE.md"
PARTS = {"checks": checks.measure, "micro": micro.measure, "services": services.measure,
         "bulk": bulk.measure}


def read_arguments(words):
    parser = argparse.ArgumentParser()
    for name in ("--binaries", "--nsd", "--work"):
        parser.add_argument(name, type=pathlib.Path, required=True)
    ways = parser.add_mutually_exclusive_group()
    for name in ("--check", "--baseline", "--quick"):
        ways.add_argument(name, action="store_true")
    parser.add_argument("parts", nargs="*")
    return parser.parse_args(words)


def check(world):
    """Compares the counts with those of the baseline. Returns the exit status."""
    with surroundings.start_nsd(world):
        now = counts.count_jobs(world)
    section = tables.read_section(BASELINE.read_text(encoding="utf-8"), "counts")
    lines, is_fine = counts.compare(section, now)
    print("\n".join(lines))
    return 0 if is_fine else 1


def _first_line(*command):
    result = subprocess.run(command, stdout=subprocess.PIPE, text=True, check=False,
                            stderr=subprocess.DEVNULL, cwd=surroundings.BENCH)
    return result.stdout.partition("\n")[0] or "unknown"


def describe_origin(idle):
    """Describes the commit, the date and the machine of a measurement."""
    commit = _first_line("git", "describe", "--always", "--dirty", "--exclude", "*")
    date = datetime.datetime.now(datetime.timezone.utc).date()
    libraries = f"{_first_line('g++', '--version')}, {_first_line('ldd', '--version')}"
    return (f"Commit {commit}, {date}, {libraries}, {os.cpu_count()} processors, "
            f"{100 * idle:.1f} % idle.")


def measure(world, parts, is_baseline):
    """Measures parts and prints their sections. A baseline keeps them. Returns the exit status."""
    idle = surroundings.measure_idle()
    if is_baseline:
        surroundings.require_rest(idle)
    origin = describe_origin(idle)
    print(origin)
    are_met = True
    for part in parts:
        sections, is_met = PARTS[part](world)
        are_met = are_met and is_met
        print("\n" + "\n\n".join(sections.values()), flush=True)
        if is_baseline:
            keep(sections, origin)
    return 0 if are_met or world.quick else 1


def keep(sections, origin):
    """Writes the sections of a part into the baseline, the first one after its origin."""
    document = BASELINE.read_text(encoding="utf-8")
    for name, text in sections.items():
        document = tables.replace_section(document, name, f"{origin}\n\n{text}" if origin else text)
        origin = ""
    BASELINE.write_text(document, encoding="utf-8")


def main(words):
    options = read_arguments(words)
    world = surroundings.World(options.binaries, options.nsd, options.work, options.quick)
    try:
        surroundings.enter_network(world.work)
        if options.check:
            return check(world)
        return measure(world, options.parts or PARTS, options.baseline)
    except (surroundings.BenchError, OSError) as error:
        print(f"bench: {error}", file=sys.stderr)
        return 2


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
