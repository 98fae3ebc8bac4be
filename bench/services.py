"""Compares spf-policyd with the other policy services for Postfix that Debian has.

Each runs as Postfix runs it: spf-policyd as one process, the others as one for each connection.
"""

import pathlib

import tables
import world as surroundings
from figures import Figure, Target, make_section

PORT = 10040
DOMAINS = 1000
OTHERS = {"python": "/usr/bin/policyd-spf", "perl": "/usr/sbin/postfix-policyd-spf-perl"}
REQUESTS = {"spf-policyd": 40000, "python": 4000, "perl": 400}  # some seconds each
CONNECTIONS = {"spf-policyd": (1, 50, 200, 1000), "python": (1, 50), "perl": (1, 50)}
DELAYS = (0, 50)  # milliseconds that the name server takes for an answer
HEADS = ("service", "connections", "answer of DNS", "requests a second", "p99, ms", "not passed",
         "MiB a process", "MiB in all")


def _start_service(world):
    settings = (f"trial=0\ndns_server=127.0.0.1\nlogging={world.work}/\nlog_level=4\n"
                f"listen=127.0.0.1:{PORT}\n")
    pathlib.Path("/etc/spf-policyd.conf").write_text(settings, encoding="utf-8")
    return surroundings.Server([world.binaries / "spf-policyd"], "tcp", PORT, world.work)


def read_memory(process, name):
    """Returns a figure of a process's memory in KiB, such as VmHWM; 0 when it has ended."""
    try:
        status = pathlib.Path(f"/proc/{process.pid}/status").read_text(encoding="ascii")
    except FileNotFoundError:
        return 0
    return next((int(line.split()[1]) for line in status.splitlines() if line.startswith(name)), 0)


def _load(world, connections, requests, target):
    """Returns the figures that policy_load prints: the rate, the 99th percentile of the time for an
    answer, the answers that do not pass, and the memory of the largest program and of all."""
    command = [world.binaries / "policy_load", connections, requests, DOMAINS, *target]
    return [float(figure) for figure in surroundings.run(command).split()]


def _measure_one(world, name, connections, delay):
    surroundings.say(f"{name}, {connections} connections, {delay} ms")
    requests = REQUESTS[name]
    if delay:
        requests = min(requests, max(100, connections * 100))
    requests = max(world.times(requests), connections)
    if name in OTHERS:
        return _load(world, connections, requests, [OTHERS[name]])
    with _start_service(world) as service:
        figures = _load(world, connections, requests, [PORT])
        peak = read_memory(service.process, "VmHWM:")
        return figures[:3] + [peak, peak]


def _measure_growth(world):
    """Returns the memory after a million requests, as a multiple of that after 100,000."""
    surroundings.say("spf-policyd, a million requests")
    with _start_service(world) as service:
        _load(world, 50, world.times(100000), [PORT])
        early = read_memory(service.process, "VmRSS:")
        _load(world, 50, world.times(900000), [PORT])
        return read_memory(service.process, "VmRSS:") / early


def _list_runs():
    return [(name, number) for name, numbers in CONNECTIONS.items() for number in numbers]


def _make_row(name, connections, delay, figures):
    rate, late, others, largest, total = figures
    return (name, connections, f"after {delay} ms" if delay else "at once", f"{rate:,.0f}",
            f"{late:.2f}", f"{others:.0f}", f"{largest / 1024:.1f}", f"{total / 1024:.1f}")


def _make_figures(results, growth):
    busy = results["spf-policyd", 200, 50]
    ratio = results["spf-policyd", 1, 0][0] / results["python", 1, 0][0]
    return [Figure("one connection, times the python service", ratio, Target(6, True)),
            Figure("200 connections and 50 ms, of 200/0.05 s", busy[0] * 0.05 / 200,
                   Target(0.9, True)),
            Figure("of them not checked", busy[2], Target(0), 0),
            Figure("memory after 1,000,000 requests, of that after 100,000", growth, Target(1.1))]


def measure(world):
    """Returns the section of the baseline, and whether all targets are met."""
    surroundings.own_etc(world.work)
    results = {}
    for delay in DELAYS:
        with surroundings.start_paced_name_server(world, delay):
            for name, connections in _list_runs():
                results[name, connections, delay] = _measure_one(world, name, connections, delay)
            if delay == 0:
                growth = _measure_growth(world)
    table = tables.make_table(HEADS, [_make_row(*key, row) for key, row in results.items()])
    section, are_met = make_section(table, _make_figures(results, growth))
    return {"services": section}, are_met
