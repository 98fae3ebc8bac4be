"""Counts the instructions and system calls of jobs, which do not depend on other work."""

import collections
import re
import shutil
import subprocess
from dataclasses import dataclass, field

import jobs
import tables
import world as surroundings

COUNT_HEADS = ("job", "instructions", "system calls", "floor")
MOST_CHANGE = 0.05


@dataclass
class Calls:
    """System calls by their purpose: "look-up", "log", "console" and "rest", which is the start,
    the end and the files that are read once."""

    look_ups: int = 0
    purposes: collections.Counter = field(default_factory=collections.Counter)

    def total(self):
        return sum(self.purposes.values())


@dataclass
class Count:
    """The counts of one run of a job."""

    instructions: int
    lines: int  # in the log
    calls: Calls


def sort_calls(trace):
    """Sorts the system calls in the output of `strace -f`."""
    calls = Calls()
    uses = {}
    for name, arguments, result in _read_calls(trace):
        descriptor = _find_descriptor(name, arguments)
        if name == "socket" or (name == "openat" and '"log.txtcurrent.log"' in arguments):
            descriptor = result
            uses[descriptor] = "look-up" if name == "socket" else "log"
            calls.look_ups += name == "socket"
        calls.purposes[_find_purpose(name, descriptor, uses)] += 1
        if name == "close":
            uses.pop(descriptor, None)
    return calls


def _read_calls(trace):
    """Yields name, arguments and result of each call; a resumed one counts once."""
    for line in trace.splitlines():
        call = re.match(r"(?:\d+ +)?([a-z_0-9]+)\((.*)", line)
        if call:
            result = re.search(r"\) += +(-?\d+)", call[2][call[2].rfind(") "):])
            yield call[1], call[2], int(result[1]) if result else -1


def _find_descriptor(name, arguments):
    number = re.match(r"\d+", arguments)
    if not number:
        return -1
    # select takes the number after the greatest descriptor.
    return int(number[0]) - (1 if "select" in name else 0)


def _find_purpose(name, descriptor, uses):
    if name == "getpid":  # for the number of a query
        return "look-up"
    return uses.get(descriptor, "console" if descriptor == 1 else "rest")


def count_jobs(world):
    """Counts each job, by the spfcheck in the working directory."""
    shutil.copy(world.binaries / "spfcheck", world.work)
    return {job.name: _count_job(world, job) for job in jobs.JOBS}


def _count_job(world, job):
    surroundings.say(f"counting {job.name}")
    profile = world.work / f"callgrind.{job.name}"
    _run_job(world, job, ["valgrind", "--tool=callgrind", f"--callgrind-out-file={profile}"])
    totals = re.search(r"^totals: (\d+)", profile.read_text(encoding="utf-8"), re.MULTILINE)
    if not totals:
        raise surroundings.BenchError(f"{job.name}: callgrind counted no instructions")
    calls = trace_calls(world, lambda prefix: _run_job(world, job, prefix))
    lines = (world.work / "log.txtcurrent.log").read_text(encoding="utf-8").count("\n")
    return Count(int(totals[1]), lines, calls)


def trace_calls(world, run):
    """Returns the system calls of a program that `run` starts with a prefix before its command."""
    trace = world.work / "trace"
    run(["strace", "-f", "-o", str(trace)])
    return sort_calls(trace.read_text(encoding="utf-8"))


def _run_job(world, job, prefix):
    """Runs a job with an empty log, and with the same environment and names everywhere."""
    (world.work / "log.txtcurrent.log").write_bytes(b"")
    command = [shutil.which(prefix[0]), *prefix[1:], "./spfcheck", *job.arguments]
    output = world.work / "out"
    with open(output, "wb") as file:
        result = subprocess.run(command, env={}, cwd=world.work, stdout=file,
                                stderr=subprocess.PIPE, check=False)
    if result.returncode != 0:
        raise surroundings.BenchError(f"{job.name} fails: {result.stderr.decode()}")
    last_line = output.read_text(encoding="utf-8").split("\n")[-2:][0]
    if last_line != job.last_line:
        raise surroundings.BenchError(
            f'{job.name}: printed "{last_line}" instead of "{job.last_line}"')


def make_count_table(counts):
    return tables.make_table(COUNT_HEADS, [
        (name, count.instructions, count.calls.total(),
         f"floor {count.calls.look_ups} {count.lines}") for name, count in counts.items()])


def compare(section, counts):
    """Compares counts with their section of the baseline. Returns lines to print, and whether no
    figure rose too far and the jobs are the same."""
    kept = {row[0]: [int(cell) for cell in row[1:3]] for row in tables.read_rows(section)[1:]}
    lines = [f"{name}: not in the baseline" for name in counts if name not in kept]
    lines += [f"{name}: in the baseline, but not counted" for name in kept if name not in counts]
    is_fine = not lines
    for name in [name for name in counts if name in kept]:
        now = (counts[name].instructions, counts[name].calls.total())
        for what, old, new in zip(COUNT_HEADS[1:3], kept[name], now):
            if abs(new - old) > MOST_CHANGE * old:
                lines.append(_describe_change(f"{name}: {what}", old, new))
                is_fine = is_fine and new < old
    if is_fine:
        lines.append(f"{len(counts)} jobs counted: none takes over 5 % more than the baseline")
    return lines, is_fine


def _describe_change(what, old, new):
    change = f"{abs(new - old) / old:.1%}".replace("%", " %")
    if new > old:
        return f"{what} rose by {change}, from {old} to {new}"
    return (f"{what} fell by {change}, from {old} to {new}; "
            "scripts/bench --baseline makes that the rule")


def make_function_table(world):
    """Returns the ten functions in which the check of a given record spends most instructions."""
    output = surroundings.run(["callgrind_annotate", world.work / "callgrind.given"])
    #  1,234 (56.78%)  SOURCE:FUNCTION [PROGRAM]
    found = re.findall(r"^ *([0-9,]+) \( *([0-9.]+%)\)  [^:\n]*:(.*?)(?: \[[^\]]*\])?$", output,
                       re.MULTILINE)
    return tables.make_table(("function", "instructions", "share"),
                             [(f"`{name}`", number, share) for number, share, name in found[:10]])
