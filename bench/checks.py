"""Compares single runs of spfcheck with their least possible cost and with other programs."""

import os
import random
import shlex
import shutil
import statistics
import time

import counts as counting
import jobs
import tables
import world as surroundings
from figures import Figure, Target, make_section, ratio, ratio_range, yes_or_no

ROUNDS = 1500
OTHER_ROUNDS = 100
THOUSAND_ROUNDS = 5
RATIO_HEADS = ("job", "beside", "spfcheck, ms", "least", "most", "the other, ms", "least", "most",
               "ratio", "least", "most", "at most", "met")


class Stopwatch:
    """Times a command from its start to its end, and drops its output."""

    def __init__(self, work):
        self._null = os.open(os.devnull, os.O_RDWR)
        self._work = work

    def __enter__(self):
        self._old = os.getcwd()
        os.chdir(self._work)
        return self

    def __exit__(self, *_):
        os.chdir(self._old)
        os.close(self._null)

    def take(self, command):
        """Returns the milliseconds that a command takes."""
        actions = [(os.POSIX_SPAWN_DUP2, self._null, 1)]
        start = time.perf_counter_ns()
        child = os.posix_spawn(command[0], command, os.environ, file_actions=actions)
        _, status = os.waitpid(child, 0)
        end = time.perf_counter_ns()
        if status != 0:
            raise surroundings.BenchError(f"this fails: {shlex.join(command)}")
        return (end - start) / 1e6


def time_rounds(take, commands, rounds):
    """Runs all commands in each round, in a random order, so that other work of the machine
    affects all of them. Returns the times by name, without those of a first round."""
    order = list(commands)
    times = {name: [] for name in commands}
    shuffle = random.Random(1).shuffle
    for number in range(rounds + 1):
        shuffle(order)
        for name in order:
            taken = take(commands[name])
            if number > 0:
                times[name].append(taken)
    return times


def make_ratio_row(job, other, times, others, at_most):
    """Returns a row of the table of ratios, and whether its target is met."""
    value = ratio(times, others)
    is_met = at_most is None or value <= at_most
    columns = [statistics.median(times), min(times), max(times),
               statistics.median(others), min(others), max(others),
               value, *ratio_range(times, others)]
    target = ("", "") if at_most is None else (at_most, yes_or_no(is_met))
    return (job, other, *(f"{column:.2f}" for column in columns), *target), is_met


def _floor_command(world, count):
    return [str(world.binaries / "floor"), str(count.calls.look_ups), str(count.lines)]


def _make_plan(world, counts):
    plan = {("given", "nothing at all"): [str(world.binaries / "floor")]}
    for job in jobs.JOBS:
        plan[job.name, "spfcheck"] = ["./spfcheck", *job.arguments]
        plan[job.name, "floor"] = _floor_command(world, counts[job.name])
    return plan


def _time_jobs(world, stopwatch, counts):
    times = time_rounds(stopwatch.take, _make_plan(world, counts), world.times(ROUNDS))
    yield make_ratio_row("given", "nothing at all", times["given", "spfcheck"],
                         times["given", "nothing at all"], None)
    for job in jobs.JOBS:
        yield make_ratio_row(job.name, "floor", times[job.name, "spfcheck"],
                             times[job.name, "floor"], job.at_most)


def _time_answers(world, stopwatch):
    """Times the report and programs that ask for the same records.

    There is no target: the ratio depends on how many libraries and files those programs load.
    """
    name = jobs.REPORT.arguments[0]
    short = ["+short", name, "A", name, "NS", name, "TXT"]
    commands = {"adnshost": ["-t", "a", name, "-t", "ns-", name, "-t", "txt", name],
                "kdig": short, "dig": short}
    plan = {other: [shutil.which(other), *words] for other, words in commands.items()}
    plan["spfcheck"] = ["./spfcheck", name]
    times = time_rounds(stopwatch.take, plan, world.times(OTHER_ROUNDS))
    for other in commands:
        yield make_ratio_row("answers", other, times["spfcheck"], times[other], None)


def _time_thousand(world, stopwatch, counts):
    """Times a thousand checks, two at a time."""
    floor = _floor_command(world, counts["record"])
    number = world.times(1000)
    plan = {name: ["/bin/sh", "-c", f"seq {number} | xargs -P 2 -I '{{}}' {shlex.join(command)}"]
            for name, command in (("spfcheck", ["./spfcheck", *jobs.RECORD.arguments]),
                                  ("floor", floor))}
    times = time_rounds(stopwatch.take, plan, world.times(THOUSAND_ROUNDS))
    yield make_ratio_row("thousand", "floor", times["spfcheck"], times["floor"], 1.2)


def make_call_table(world, counts):
    """Returns the system calls of each job by purpose, and the number of its floor."""
    purposes = ("look-up", "log", "console", "rest")
    rows = []
    for name, count in counts.items():
        command = _floor_command(world, count)
        floor = counting.trace_calls(world, lambda prefix, command=command: surroundings.run(
            [*prefix, *command], cwd=world.work))
        rows.append((name, *(count.calls.purposes[purpose] for purpose in purposes),
                     count.calls.total(), floor.total()))
    return tables.make_table(("job", "for look-ups", "on the log file", "on standard output",
                              "all others", "all", "of the floor"), rows)


def make_call_figures(counts):
    """Returns the system calls of one look-up and of one log line: the difference between two jobs,
    without the start and the end of a process."""
    short, long = counts["chain1"], counts["chain10"]
    look_ups = long.calls.look_ups - short.calls.look_ups
    lines = long.lines - short.lines

    def each(purpose, things):
        return (long.calls.purposes[purpose] - short.calls.purposes[purpose]) / things

    # A look-up: socket, two fcntl, getpid, a wait and a send, a wait and a receive, a receive that
    # finds no more, close. A line: open, write and close of the file; one write to the console.
    return [Figure("system calls of a look-up", each("look-up", look_ups), Target(10), 0),
            Figure("system calls of a log line, on the file", each("log", lines), Target(3), 0),
            Figure("system calls of a log line, on standard output", each("console", lines),
                   Target(1), 0)]


def measure(world):
    """Returns the sections of the baseline, and whether all targets are met."""
    with surroundings.start_nsd(world):
        counts = counting.count_jobs(world)
        call_table = make_call_table(world, counts)
        surroundings.say("timing")
        with Stopwatch(world.work) as stopwatch:
            rows = [*_time_jobs(world, stopwatch, counts), *_time_answers(world, stopwatch),
                    *_time_thousand(world, stopwatch, counts)]
    section, are_met = make_section(tables.make_table(RATIO_HEADS, [row for row, _ in rows]),
                                    make_call_figures(counts))
    sections = {"counts": counting.make_count_table(counts), "calls": call_table,
                "functions": counting.make_function_table(world), "figures": section}
    return sections, are_met and all(is_met for _, is_met in rows)
