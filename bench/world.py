"""The surroundings of a measurement: a directory, a network with a name server, a machine at rest.

The program runs as root of a network and of mounts of its own; scripts/bench makes them.
"""

import pathlib
import shutil
import subprocess
import sys
import time
from dataclasses import dataclass

BENCH = pathlib.Path(__file__).resolve().parent
DNS_PORT = 53
LEAST_IDLE = 0.95


class BenchError(Exception):
    """A reason why a measurement cannot be made."""


@dataclass(frozen=True)
class World:
    """With `quick`, everything is done about a hundredth as often, to see that it works."""

    binaries: pathlib.Path
    nsd: pathlib.Path
    work: pathlib.Path
    quick: bool = False

    def times(self, count):
        """Returns how often to do what a measurement does `count` times."""
        return max(count // 100, 1) if self.quick else count


def enter_network(work):
    """Starts the loopback device and makes its name server the one of this machine."""
    run(["ip", "link", "set", "lo", "up"])
    file = work / "resolv.conf"
    file.write_text("nameserver 127.0.0.1\n", encoding="ascii")
    run(["mount", "--bind", file, "/etc/resolv.conf"])


def own_etc(work):
    """Replaces /etc by a copy that can be written to, without the files that cannot be read."""
    subprocess.run(["cp", "-r", "/etc", work / "etc"], stderr=subprocess.DEVNULL, check=False)
    run(["mount", "--bind", work / "etc", "/etc"])


class Server:
    """A server, from the moment that it listens to its end."""

    def __init__(self, command, table, port, work):
        self.process = subprocess.Popen(command, cwd=work)
        try:
            self._wait_until_bound(command[0], table, port)
        except BenchError:
            self.__exit__()
            raise

    def _wait_until_bound(self, name, table, port):
        for _ in range(3000):
            if self.process.poll() is not None:
                break
            if f":{port:04X} " in pathlib.Path("/proc/net", table).read_text(encoding="ascii"):
                return
            time.sleep(0.01)
        raise BenchError(f"{name} does not start")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait(timeout=60)


def start_nsd(world, zone=None):
    """Starts nsd with `zone`, or with the one in zones/."""
    if zone is None:
        shutil.copy(BENCH / "zones/bench.test.zone", world.work)
    else:
        (world.work / "bench.test.zone").write_text(zone, encoding="ascii")
    command = [world.nsd, "-d", "-c", BENCH / "nsd.conf"]
    return Server(command, "udp", DNS_PORT, world.work)


def start_paced_name_server(world, milliseconds):
    """Starts a name server that takes this time for each answer."""
    command = [world.binaries / "paced_name_server", str(milliseconds)]
    return Server(command, "udp", DNS_PORT, world.work)


def run(command, **keywords):
    """Runs a command. Returns its standard output; its standard error counts only if it fails."""
    command = [str(word) for word in command]
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                            check=False, **keywords)
    if result.returncode != 0:
        raise BenchError(f"{command[0]} fails: {result.stderr}")
    return result.stdout


def say(text):
    """Reports progress."""
    print(text, file=sys.stderr, flush=True)


def idle_share(before, after):
    """Returns the idle share of the time between two readings of /proc/stat."""
    first, last = ([int(word) for word in text.splitlines()[0].split()[1:9]]
                   for text in (before, after))
    spent = [end - begin for begin, end in zip(first, last)]
    return spent[3] / max(sum(spent), 1)


def measure_idle():
    """Returns the idle share of two seconds."""
    stat = pathlib.Path("/proc/stat")
    before = stat.read_text(encoding="ascii")
    time.sleep(2)
    return idle_share(before, stat.read_text(encoding="ascii"))


def require_rest(idle):
    """Refuses a machine that does other work."""
    if idle < LEAST_IDLE:
        raise BenchError(f"the machine was {100 * idle:.1f} % idle for two seconds; "
                         f"a baseline needs {100 * LEAST_IDLE:.0f} %")
