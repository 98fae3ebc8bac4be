"""The jobs whose costs are counted and timed. The names that they ask for are in zones/."""

from dataclasses import dataclass


@dataclass(frozen=True)
class Job:
    """One run of spfcheck, its last line, and its longest time as a multiple of its floor's."""

    name: str
    arguments: tuple
    last_line: str
    at_most: float


_CLIENT = "192.0.2.7"


def _check(name, at_most):
    return Job(name, (f"{name}.bench.test", _CLIENT), "SPFCheck::passed ", at_most)


GIVEN = Job("given", ("bench.test", _CLIENT, "", "v=spf1 ip4:192.0.2.0/24 -all"),
            "SPFCheck::passed ", 1.1)
RECORD = _check("record", 1.1)
REPORT = Job("report", ("bench.test",), "\tcontact=hostmaster", 1.2)
CHAINS = (_check("chain1", 1.15), _check("chain3", 1.15), _check("chain10", 1.15))
JOBS = (GIVEN, RECORD, *CHAINS, _check("siblings", 1.15), REPORT)
