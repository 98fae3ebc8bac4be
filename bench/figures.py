"""Medians, ratios and targets."""

import statistics
from dataclasses import dataclass

import tables


@dataclass(frozen=True)
class Target:
    """An upper bound of a figure, or a lower one with `at_least`."""

    bound: float
    at_least: bool = False

    def is_met(self, value):
        return value >= self.bound if self.at_least else value <= self.bound

    def __str__(self):
        return f"{'at least' if self.at_least else 'at most'} {self.bound:,}"


@dataclass(frozen=True)
class Figure:
    """A number with a target, and the number of decimals to show."""

    name: str
    value: float
    target: Target
    decimals: int = 2

    def is_met(self):
        return self.target.is_met(self.value)


def make_section(table, figures):
    """Returns a table and that of the figures, and whether all of these meet their target."""
    rows = [(figure.name, f"{figure.value:,.{figure.decimals}f}", figure.target,
             yes_or_no(figure.is_met())) for figure in figures]
    text = f"{table}\n\n{tables.make_table(('figure', 'value', 'target', 'met'), rows)}"
    return text, all(figure.is_met() for figure in figures)


def yes_or_no(is_met):
    return "yes" if is_met else "no"


def ratio(times, others):
    """Returns the ratio of two medians."""
    return statistics.median(times) / statistics.median(others)


def ratio_range(times, others):
    """Returns the least and the greatest ratio of ten parts of the rounds, or of all rounds when
    there are fewer than ten."""
    count = len(times)
    parts = min(count, 10)
    bounds = [count * i // parts for i in range(parts + 1)]
    ratios = [ratio(times[begin:end], others[begin:end])
              for begin, end in zip(bounds, bounds[1:])]
    return min(ratios), max(ratios)
