"""Tests the arithmetic, the comparison and the refusal of scripts/bench:

  bench_test.py BENCH [CLASS]
"""

import contextlib
import io
import json
import pathlib
import sys
import tempfile
import unittest
from unittest import mock

sys.dont_write_bytecode = True
sys.path.insert(0, sys.argv.pop(1))

# pylint: disable=wrong-import-position
import bench
import bulk
import checks
import counts
import figures
import micro
import tables
import world

TRACE = """7 execve("./spfcheck", ["./spfcheck"], 0x7ff /* 0 vars */) = 0
7 openat(AT_FDCWD, "log.txtcurrent.log", O_WRONLY|O_APPEND, 0666) = 3
7 write(3, "a line) = 4"..., 11) = 11
7 close(3) = 0
7 write(1, "a line"..., 7) = 7
7 openat(AT_FDCWD, "/etc/resolv.conf", O_RDONLY|O_CLOEXEC) = 3
7 read(3, "", 4096) = 0
7 close(3) = 0
7 socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP) = 3
7 getpid() = 7
7 pselect6(4, [3], NULL, NULL, {tv_sec=5, tv_nsec=0}, NULL <unfinished ...>
7 <... pselect6 resumed>) = 1 (in [3])
7 --- SIGWINCH {si_signo=SIGWINCH} ---
7 recvfrom(3, 0x7ff, 871, 0, 0x7ff, [16]) = -1 EAGAIN (Resource temporarily unavailable)
7 close(3) = 0
7 exit_group(0) = ?
7 +++ exited with 0 +++
"""
BASELINE = """before
<!-- counts -->

| job    | instructions | system calls | floor     |
|--------|-------------:|-------------:|-----------|
| given  |        10000 |           50 | floor 0 3 |
| record |        20000 |          100 | floor 1 3 |

<!-- calls -->
old
<!-- end -->
after
"""


def count(instructions, calls):
    return counts.Count(instructions, 3, counts.Calls(0, {"rest": calls}))


def compare(given, record):
    """Returns the lines and whether all is well, for counts of the two jobs of BASELINE."""
    return counts.compare(tables.read_section(BASELINE, "counts"),
                          {"given": count(*given), "record": count(*record)})


class CheckTest(unittest.TestCase):
    def test_six_percent_more_instructions_fail(self):
        self.assertEqual(
            (["record: instructions rose by 6.0 %, from 20000 to 21200"], False),
            compare((10000, 50), (21200, 100)))

    def test_six_percent_more_system_calls_fail(self):
        self.assertEqual((["record: system calls rose by 6.0 %, from 100 to 106"], False),
                         compare((10000, 50), (20000, 106)))

    def test_five_percent_more_pass(self):
        self.assertEqual((["2 jobs counted: none takes over 5 % more than the baseline"], True),
                         compare((10500, 50), (20000, 105)))

    def test_ten_percent_less_pass_and_are_told(self):
        lines, is_fine = compare((9000, 50), (20000, 100))
        self.assertTrue(is_fine)
        self.assertIn("given: instructions fell by 10.0 %, from 10000 to 9000", lines[0])

    def test_a_fall_does_not_hide_a_rise(self):
        self.assertFalse(compare((20000, 50), (10000, 100))[1])

    def test_the_jobs_must_be_those_of_the_baseline(self):
        section = tables.read_section(BASELINE, "counts")
        self.assertEqual(
            (["other: not in the baseline", "record: in the baseline, but not counted"], False),
            counts.compare(section, {"given": count(10000, 50), "other": count(1, 1)}))

    def test_system_calls_are_sorted_by_what_they_are_for(self):
        calls = counts.sort_calls(TRACE)
        self.assertEqual(1, calls.look_ups)
        self.assertEqual({"look-up": 5, "log": 3, "console": 1, "rest": 5}, dict(calls.purposes))


class FiguresTest(unittest.TestCase):
    def test_a_ratio_is_that_of_the_medians(self):
        row, is_met = checks.make_ratio_row("given", "floor", [0.88, 1.4, 1.0], [0.8, 1.0, 0.8],
                                            1.1)
        self.assertEqual(("given", "floor", "1.00", "0.88", "1.40", "0.80", "0.80", "1.00", "1.25",
                          "1.10", "1.40", 1.1, "no"), row)
        self.assertFalse(is_met)

    def test_the_range_is_that_of_ten_parts(self):
        times = [1.0] * 90 + [3.0] * 10
        self.assertEqual((1.0, 3.0), figures.ratio_range(times, [1.0] * 100))

    def test_a_target_is_met_by_its_bound(self):
        self.assertTrue(figures.Target(1.1).is_met(1.1))
        self.assertFalse(figures.Target(1.1).is_met(1.11))
        self.assertTrue(figures.Target(0.9, at_least=True).is_met(0.9))
        self.assertFalse(figures.Target(0.9, at_least=True).is_met(0.89))

    def test_the_first_round_does_not_count(self):
        taken = iter(range(100))
        times = checks.time_rounds(lambda _: next(taken), {"one": [], "other": []}, 3)
        self.assertEqual([2, 3, 4, 5, 6, 7], sorted(times["one"] + times["other"]))
        self.assertEqual(3, len(times["one"]))

    def test_a_look_up_costs_the_difference_between_two_jobs(self):
        def job(look_ups, lines, **purposes):
            purposes = {name.replace("_", "-"): number for name, number in purposes.items()}
            return counts.Count(1, lines, counts.Calls(look_ups, purposes))

        values = [figure.value for figure in checks.make_call_figures(
            {"chain1": job(2, 6, look_up=20, log=18, console=8),
             "chain10": job(11, 33, look_up=119, log=99, console=35)})]
        self.assertEqual([11, 3, 1], values)

    def test_a_micro_benchmark_has_its_repetitions_in_nanoseconds(self):
        def run(family, name, time, unit, kind="iteration"):
            return {"family_index": family, "per_family_instance_index": 0, "run_name": name,
                    "run_type": kind, "real_time": time, "time_unit": unit}

        text = json.dumps({"benchmarks": [
            run(1, "Linear/Terms/10000", 3, "us"), run(0, "Linear/Terms/1024", 102.4, "ns"),
            run(1, "Linear/Terms/10000", 1, "us"), run(1, "Linear/Terms/10000", 9, "us", "mean")]})
        results = micro.read_results(text)
        self.assertEqual(["Linear/Terms/1024", "Linear/Terms/10000"], list(results))
        self.assertEqual([3000, 1000], results["Linear/Terms/10000"][0])
        self.assertAlmostEqual(2, micro.make_growth_figures(results)[0].value)

    def test_a_rate_of_dnsperf_counts_only_without_losses(self):
        text = "  Queries lost:         0 (0.00%)\n  Queries per second:   29877.911385\n"
        self.assertEqual(29877.911385, bulk.read_query_rate(text))
        with self.assertRaises(world.BenchError):
            bulk.read_query_rate(text.replace("0 (0.00%)", "3 (0.01%)"))


class BaselineTest(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.baseline = pathlib.Path(directory.name, "BASELINE.md")
        self.baseline.write_text(BASELINE, encoding="ascii")

    def measure(self, idle):
        """Writes a baseline on a machine that is so idle. Returns the status and the errors."""
        errors = io.StringIO()
        part = mock.Mock(return_value=({"counts": "new", "calls": "newer"}, True))
        with mock.patch.object(bench, "BASELINE", self.baseline), \
                mock.patch.object(bench, "PARTS", {"checks": part}), \
                mock.patch("world.enter_network"), \
                mock.patch("world.measure_idle", return_value=idle), \
                contextlib.redirect_stdout(io.StringIO()), contextlib.redirect_stderr(errors):
            status = bench.main(["--binaries", ".", "--nsd", ".", "--work", ".", "--baseline"])
        self.assertEqual(idle >= 0.95, part.called)
        return status, errors.getvalue()

    def test_a_busy_machine_is_refused(self):
        self.assertEqual((2, "bench: the machine was 94.0 % idle for two seconds; "
                             "a baseline needs 95 %\n"), self.measure(0.94))
        self.assertEqual(BASELINE, self.baseline.read_text(encoding="ascii"))

    def test_a_machine_at_rest_writes_the_sections_that_were_measured(self):
        self.assertEqual((0, ""), self.measure(0.96))
        text = self.baseline.read_text(encoding="ascii")
        self.assertRegex(text, r"before\n<!-- counts -->\n\nCommit .* 96\.0 % idle\.\n\nnew\n\n"
                               r"<!-- calls -->\n\nnewer\n\n<!-- end -->\nafter\n")

    def test_the_idle_share_is_the_fourth_of_the_times(self):
        before = "cpu  10 0 10 100 5 0 0 0 7 0\ncpu0 1 1 1 1\n"
        after = "cpu  14 0 10 196 5 0 0 0 9 0\ncpu0 2 2 2 2\n"
        self.assertEqual(0.96, world.idle_share(before, after))

    def test_a_table_lines_up_with_numbers_on_the_right(self):
        self.assertEqual("| job  |    ms |\n|------|------:|\n| a    |   1.2 |\n| long | 1,000 |",
                         tables.make_table(("job", "ms"), [("a", 1.2), ("long", "1,000")]))

    def test_each_section_that_is_measured_is_in_the_document(self):
        document = (world.BENCH / "BASELINE.md").read_text(encoding="utf-8")
        for name in ("counts", "calls", "functions", "figures", "micro", "services", "bulk"):
            tables.read_section(document, name)


if __name__ == "__main__":
    unittest.main()
