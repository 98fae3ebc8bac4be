#!/usr/bin/env python3
"""Measures policy services for Postfix beside each other and prints a table:

  services.py BIN

BIN has spf-policyd, policy_load and paced_name_server. To be run by `services`, in a network and
mounts of its own. The other services are those that
Debian has; one that is missing is left out. Each runs as Postfix runs it: spf-policyd as one
process, the others as one for each connection. The targets follow the table; the status is 1 when
one is missed.
"""

import os
import shutil
import subprocess
import sys
import time

PORT = 10040
DOMAINS = 1000
SETTINGS = f"""trial=0
dns_server=127.0.0.1
logging={os.getcwd()}/
log_level=4
listen=127.0.0.1:{PORT}
"""
OTHERS = {
    "python": "/usr/bin/policyd-spf",
    "perl": "/usr/sbin/postfix-policyd-spf-perl",
}
# Requests for each run: about as many as take some seconds.
REQUESTS = {"spf-policyd": 40000, "python": 4000, "perl": 400}
CONNECTIONS = {"spf-policyd": (1, 50, 200, 1000), "python": (1, 50), "perl": (1, 50)}


class Service:
    """spf-policyd, from its start to its end."""

    def __init__(self, binaries):
        with open("/etc/spf-policyd.conf", "w", encoding="ascii") as file:
            file.write(SETTINGS)
        self.process = subprocess.Popen([f"{binaries}/spf-policyd"])
        time.sleep(0.5)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait(timeout=60)

    def memory(self, field):
        """Returns a figure of the process's memory, in KiB."""
        with open(f"/proc/{self.process.pid}/status", encoding="ascii") as file:
            return next(int(line.split()[1]) for line in file if line.startswith(field))


class NameServer:
    """paced_name_server, from its start to its end."""

    def __init__(self, binaries, delay):
        self.process = subprocess.Popen([f"{binaries}/paced_name_server", str(delay)])
        time.sleep(0.2)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait()


def load(binaries, connections, requests, target):
    """Returns the rate, the 99th percentile, the answers that did not pass, and the memory."""
    command = [f"{binaries}/policy_load", str(connections), str(requests), str(DOMAINS), *target]
    output = subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout.split()
    return [float(figure) for figure in output]


def measure(binaries, name, connections, delay):
    """Returns one row's figures: rate, percentile, not passed, memory of a process, of all."""
    requests = REQUESTS[name]
    if delay:
        requests = min(requests, max(100, connections * 100))
    if name != "spf-policyd":
        return load(binaries, connections, requests, [OTHERS[name]])
    with Service(binaries) as service:
        figures = load(binaries, connections, requests, [str(PORT)])
        peak = service.memory("VmHWM:")
        return figures[:3] + [peak, peak]


def measure_growth(binaries):
    """Returns the memory after 100,000 and after 1,000,000 requests, in KiB."""
    with Service(binaries) as service:
        load(binaries, 50, 100000, [str(PORT)])
        early = service.memory("VmRSS:")
        load(binaries, 50, 900000, [str(PORT)])
        return early, service.memory("VmRSS:")


def print_table(rows):
    print("| service | connections | answer of DNS | requests a second | p99, ms | not passed "
          "| MiB a process | MiB in all |")
    print("|---|---|---|---|---|---|---|---|")
    for (name, connections, delay), (rate, late, others, largest, total) in rows.items():
        wait = f"after {delay} ms" if delay else "at once"
        print(f"| {name} | {connections} | {wait} | {rate:,.0f} | {late:.2f} | {others:.0f} "
              f"| {largest / 1024:.1f} | {total / 1024:.1f} |")


def print_targets(rows, growth):
    """Prints each target with its figure. Returns whether all are met."""
    targets = []
    if ("python", 1, 0) in rows:
        ratio = rows["spf-policyd", 1, 0][0] / rows["python", 1, 0][0]
        targets.append(("one connection, times the python service", ratio, "at least", 6))
    busy = rows["spf-policyd", 200, 50]
    targets.append(("200 connections and 50 ms, of 200/0.05 s", busy[0] * 0.05 / 200, "at least",
                    0.9))
    targets.append(("of them not checked", busy[2], "at most", 0))
    targets.append(("memory after 1,000,000 requests, of that after 100,000", growth[1] / growth[0],
                    "at most", 1.1))
    print("\n| figure | value | target | met |\n|---|---|---|---|")
    all_met = True
    for figure, value, side, target in targets:
        met = value >= target if side == "at least" else value <= target
        all_met = all_met and met
        print(f"| {figure} | {value:.2f} | {side} {target} | {'yes' if met else 'no'} |")
    return all_met


def main():
    binaries = sys.argv[1]
    services = [name for name in REQUESTS if name not in OTHERS or shutil.which(OTHERS[name])]
    rows = {}
    for delay in (0, 50):
        with NameServer(binaries, delay):
            for name in services:
                for connections in CONNECTIONS[name]:
                    print(f"{name}, {connections} connections, {delay} ms", file=sys.stderr)
                    rows[name, connections, delay] = measure(binaries, name, connections, delay)
            if not delay:
                growth = measure_growth(binaries)
    print_table(rows)
    sys.exit(0 if print_targets(rows, growth) else 1)


main()
