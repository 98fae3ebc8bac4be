"""Compares spf-bulk with the library, the name server and another program for many lines."""

import re
import shlex
import socket
import statistics
import subprocess
import time

import tables
import world as surroundings
from figures import Figure, Target, make_section
from services import read_memory

LINES = 200000
MOST_LINES = 10000000  # for the memory
SPFQUERY_LINES = 2000
SLOW_LINES = 20
ROUNDS = 3
JOBS = 16
PACED_JOBS = 256
PACE = 20  # milliseconds
CLIENT = "192.0.2.7"
RECORD = "v=spf1 ip4:192.0.2.0/24 -all"
HEADS = ("what", "lines a second", "least", "most")


def make_zone(names):
    """Returns a zone in which each name has its own record."""
    head = "$ORIGIN bench.test.\n$TTL 300\n@ SOA ns1 hostmaster 1 3600 900 86400 300\n@ NS ns1\n"
    return head + "".join(f'd{i} TXT "{RECORD}"\n' for i in range(names))


def make_line(number, label="d"):
    return f"{label}{number}.bench.test,{CLIENT},\n"


def _write(world, name, lines):
    path = world.work / name
    with open(path, "w", encoding="ascii") as file:
        file.writelines(lines)
    return str(path)


def _timed(world, command, **keywords):
    """Runs a command. Returns its seconds and its output."""
    start = time.monotonic()
    result = subprocess.run(command, cwd=world.work, text=True, stdout=subprocess.PIPE,
                            stderr=subprocess.PIPE, check=False, **keywords)
    return time.monotonic() - start, result.stdout + result.stderr


def _bulk_command(world, file, jobs, *options):
    return [str(world.binaries / "spf-bulk"), "-j", str(jobs), "--no-progress", "--output",
            _write(world, "verdicts", ()), "--errors", str(world.work / "errors"), *options, file]


def _expect(printed, text):
    if text not in printed:
        raise surroundings.BenchError(f'expected "{text}" from spf-bulk, which printed: {printed}')


def _run_bulk(world, file, jobs, lines):
    """Returns the rate of spf-bulk for lines that must all pass."""
    seconds, printed = _timed(world, _bulk_command(world, file, jobs))
    _expect(printed, f"{lines} lines: {lines} passed, 0 failed, 0 error")
    return lines / seconds


def _run_library(world, file, lines):
    """Returns the rate of the library with as many threads."""
    seconds, printed = _timed(world, [str(world.binaries / "library_loop"), str(JOBS), file])
    if printed.strip() != f"{lines} passed":
        raise surroundings.BenchError(f"the library alone: {printed}")
    return lines / seconds


def read_query_rate(printed):
    """Returns the questions a second that dnsperf reports, if it lost none."""
    rate = re.search(r"Queries per second: +([0-9.]+)", printed)
    lost = re.search(r"Queries lost: +(\d+)", printed)
    if not rate or not lost or lost[1] != "0":
        raise surroundings.BenchError(f"dnsperf: {printed}")
    return float(rate[1])


def _run_dnsperf(world, file):
    _, printed = _timed(world, ["dnsperf", "-s", "127.0.0.1", "-d", file, "-n", "1",
                                "-c", str(JOBS)])
    return read_query_rate(printed)


def _run_spfquery(world, file, lines):
    """Returns the rate of libspf2's program, started for each line, two at a time."""
    seconds, printed = _timed(world, ["/bin/sh", "-c", "xargs -P 2 -L 1 spfquery.libspf2 < "
                                      + shlex.quote(file)])
    passed = printed.count("\npass\n") + printed.startswith("pass\n")
    if passed != lines:
        raise surroundings.BenchError(f"spfquery passed {passed} of {lines}: {printed[-500:]}")
    return lines / seconds


def _measure_rates(world, lines):
    """Returns the rates of several rounds by name, all with one nsd."""
    file = _write(world, "lines", (make_line(i) for i in range(lines)))
    questions = _write(world, "questions", (f"d{i}.bench.test TXT\n" for i in range(lines)))
    few = world.times(SPFQUERY_LINES)
    arguments = _write(world, "arguments", (f"-ip {CLIENT} -sender user@d{i}.bench.test\n"
                                            for i in range(few)))
    runs = {"dnsperf, questions": lambda: _run_dnsperf(world, questions),
            "the library alone, 16 threads": lambda: _run_library(world, file, lines),
            "spf-bulk, -j 16": lambda: _run_bulk(world, file, JOBS, lines),
            "spfquery, xargs -P 2": lambda: _run_spfquery(world, arguments, few)}
    rates = {name: [] for name in runs}
    for number in range(ROUNDS):
        for name, run in runs.items():
            surroundings.say(f"{name}, round {number + 1}")
            rates[name].append(run())
    return rates


def _make_rate_figures(rates):
    dnsperf, library, bulk, spfquery = (statistics.median(values) for values in rates.values())
    return [Figure("lines a second, each with a record of its own, -j 16", bulk,
                   Target(50000, True), 0),
            Figure("of the questions a second of dnsperf", bulk / dnsperf, Target(0.3, True)),
            Figure("of the rate of the library alone", bulk / library, Target(0.8, True)),
            Figure("times the rate of spfquery", bulk / spfquery, Target(20, True), 0)]


def _ask_once(client, number):
    """Returns the seconds that an answer takes."""
    name = b"".join(bytes([len(label)]) + label for label in (b"d%d" % number, b"bench", b"test"))
    query = b"\0\1\1\0\0\1\0\0\0\0\0\0" + name + b"\0\0\x10\0\1"  # one question for TXT
    start = time.monotonic()
    client.sendto(query, ("127.0.0.1", surroundings.DNS_PORT))
    client.recv(1024)
    return time.monotonic() - start


def _measure_answer(number):
    """Returns the median of the seconds that `number` answers take, one after another."""
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as client:
        client.settimeout(5)
        return statistics.median(_ask_once(client, i) for i in range(number))


def _measure_paced(world, lines):
    """Returns the rate with a slow name server, as a share of the most that its answers allow."""
    surroundings.say(f"spf-bulk, {PACE} ms an answer")
    file = _write(world, "lines", (make_line(i) for i in range(lines)))
    with surroundings.start_paced_name_server(world, PACE):
        answer = _measure_answer(max(world.times(200), 10))
        rate = _run_bulk(world, file, PACED_JOBS, lines)
    return Figure(f"of 256 / (time of an answer), -j 256, {1000 * answer:.1f} ms an answer",
                  rate * answer / PACED_JOBS, Target(0.9, True))


def _measure_slow(world, lines):
    """Returns the seconds of a run in which some lines, spread evenly, take the time limit."""
    surroundings.say("spf-bulk, slow lines")
    every = lines // SLOW_LINES
    file = _write(world, "lines", (make_line(i, "silent" if i % every == every // 2 else "d")
                                   for i in range(lines)))
    with surroundings.start_paced_name_server(world, 0):
        command = _bulk_command(world, file, 64, "--time-limit", "5")
        seconds, printed = _timed(world, command)
    _expect(printed, f"{lines} lines: {lines - SLOW_LINES} passed, 0 failed, {SLOW_LINES} error")
    return Figure("seconds for 200,000 lines of which 20 take 5 s, -j 64", seconds, Target(12), 1)


def _measure_peak(world, names, lines):
    """Returns the peak memory of spf-bulk for `lines` lines, in KiB."""
    surroundings.say(f"spf-bulk, memory for {lines} lines")
    file = _write(world, "lines", (make_line(i % names) for i in range(lines)))
    peak = 0
    with subprocess.Popen(_bulk_command(world, file, 64), cwd=world.work,
                          stderr=subprocess.PIPE, text=True) as process:
        while process.poll() is None:
            peak = max(peak, read_memory(process, "VmHWM:"))
            time.sleep(0.002)
        _expect(process.stderr.read(), f"{lines} lines: {lines} passed")
    return peak


def _measure_memory(world, names):
    few, many = (_measure_peak(world, names, world.times(lines))
                 for lines in (MOST_LINES // 100, MOST_LINES))
    return [Figure("MiB at most, 100,000 lines, -j 64", few / 1024, Target(64), 1),
            Figure("MiB at most, 10,000,000 lines, -j 64", many / 1024, Target(64), 1),
            Figure("memory for 10,000,000 lines, of that for 100,000", many / few, Target(1.1))]


def measure(world):
    """Returns the section of the baseline, and whether all targets are met."""
    lines = max(world.times(LINES), 10 * SLOW_LINES)
    with surroundings.start_nsd(world, make_zone(lines)):
        rates = _measure_rates(world, lines)
        memory = _measure_memory(world, lines)
    figures = [*_make_rate_figures(rates), _measure_paced(world, lines),
               _measure_slow(world, lines), *memory]
    rows = [(name, *(f"{value:,.0f}" for value in (statistics.median(values), min(values),
                                                   max(values)))) for name, values in rates.items()]
    section, are_met = make_section(tables.make_table(HEADS, rows), figures)
    return {"bulk": section}, are_met
