#!/usr/bin/env python3
"""soak_test.py PROGRAMS: the soak's verdict on what does not grow, on what does, and on a service that leaks."""
import random
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

sys.dont_write_bytecode = True
import verdict
from verdict import DAY_S, Sample

PROGRAMS = sys.argv.pop()


def day(value, quantity="descriptors", length=DAY_S, life_length=None):
    """Samples of a process whose quantity at a time is value(time), or value(time, age) of its life."""
    samples = []
    for i in range(int(length * 4)):
        time = i / 4
        life = int(time // life_length) if life_length else 0
        age = time - life * (life_length or 0)
        samples.append(Sample(time, "service", life, {quantity: value(time, age)}))
    return samples


def grows(samples, length=DAY_S):
    findings, untold = verdict.judge(samples, length)
    assert not untold and len(findings) == 1, (findings, untold)
    return findings[0].growing


class TheVerdict(unittest.TestCase):
    def test_is_flat_for_what_does_not_change(self):
        self.assertFalse(grows(day(lambda time, age: 8)))

    def test_is_flat_for_what_comes_and_goes(self):
        dice = random.Random(1)
        self.assertFalse(grows(day(lambda time, age: dice.randint(8, 40))))

    def test_is_flat_for_what_warms_up(self):
        self.assertFalse(grows(day(lambda time, age: 1000 + 3000 * min(1.0, time / (DAY_S / 5)), "memory")))

    def test_is_flat_for_what_begins_anew_with_each_life(self):
        self.assertFalse(grows(day(lambda time, age: 2000 + 100 * random.Random(int(time // 200)).random(), "memory",
                                   life_length=200)))

    def test_notices_a_descriptor_an_hour(self):
        self.assertTrue(grows(day(lambda time, age: 8 + time // 60)))

    def test_notices_a_slow_leak_of_memory_under_much_that_comes_and_goes(self):
        dice = random.Random(1)
        self.assertTrue(grows(day(lambda time, age: 1000 + time * 4096 / DAY_S + dice.choice((0, 0, 2000)), "memory")))

    def test_is_flat_for_what_warms_up_with_each_life(self):
        self.assertFalse(grows(day(lambda time, age: 9 + min(age // 20, 3), "threads", life_length=200)))

    def test_notices_a_leak_of_what_is_killed_again_and_again(self):
        self.assertTrue(grows(day(lambda time, age: 5 + age // 10, "threads", life_length=200)))

    def test_notices_a_leak_in_a_short_run(self):
        self.assertTrue(grows(day(lambda time, age: 8 + time, length=30), 30))

    def test_does_not_take_a_little_in_a_short_run_for_a_leak(self):
        self.assertFalse(grows(day(lambda time, age: 8 + time // 4, length=30), 30))

    def test_is_not_flat_for_what_cannot_be_judged(self):
        findings, untold = verdict.judge(day(lambda time, age: 8, length=0.5), DAY_S)
        self.assertEqual((findings, untold), ([], ["service: descriptors"]))


class ASoakOfALeakingService(unittest.TestCase):
    def test_says_what_grows_and_fails(self):
        with tempfile.TemporaryDirectory() as folder:
            command = [sys.executable, str(Path(__file__).with_name("soak.py")), "--programs", PROGRAMS,
                       "--output", folder, "--minutes", "0.3", "--seed", "3", "--leak"]
            run = subprocess.run(command, capture_output=True, text=True, check=False)
            self.assertEqual(run.returncode, 1, run.stdout + run.stderr)
            for quantity in ("memory", "descriptors", "threads"):
                self.assertIn(f"\n  service: {quantity} growing\n", run.stdout)
            self.assertNotIn("television: ", run.stdout)
            self.assertNotIn("machine: ", run.stdout)
            for name in ("soak.csv", "soak.svg"):
                self.assertGreater(Path(folder, name).stat().st_size, 10_000)


if __name__ == "__main__":
    unittest.main()
