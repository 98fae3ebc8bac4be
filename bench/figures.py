"""Medians, ratios and targets."""

import statistics
from dataclasses import dataclass


@dataclass(frozen=True)
class Target:
    """A bound that a figure keeps, from above unless `at_least`."""

    bound: float
    at_least: bool = False

    def is_met(self, value):
        return value >= self.bound if self.at_least else value <= self.bound

    def __str__(self):
        return f"{'at least' if self.at_least else 'at most'} {self.bound:,}"


@dataclass(frozen=True)
class Figure:
    """A number that has a target, and how many decimals of it are shown."""

    name: str
    value: float
    target: Target
    decimals: int = 2

    def is_met(self):
        return self.target.is_met(self.value)

    def cells(self):
        """Returns the row of a table."""
        value = f"{self.value:,.{self.decimals}f}"
        return (self.name, value, self.target, yes_or_no(self.is_met()))


FIGURE_HEADS = ("figure", "value", "target", "met")


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
