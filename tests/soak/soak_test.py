#!/usr/bin/env python3
"""soak_test.py PROGRAMS: tests the soak's verdict on constant and growing resources, and on a service that leaks."""
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
    """Samples of a process whose quantity is value(time, age), where `age` is the age of the process."""
    samples = []
    for i in range(int(length * 4)):
        time = i / 4
        life = int(time // life_length) if life_length else 0
        age = time - life * (life_length or 0)
        samples.append(Sample(time, "service", life, {quantity: value(time, age)}))
    return samples


def grows(samples, length=DAY_S):
    findings, not_judged = verdict.judge(samples, length)
    assert not not_judged and len(findings) == 1, (findings, not_judged)
    return findings[0].growing


class TheVerdict(unittest.TestCase):
    def test_is_flat_for_a_constant_value(self):
        self.assertFalse(grows(day(lambda time, age: 8)))

    def test_is_flat_for_a_varying_value(self):
        dice = random.Random(1)
        self.assertFalse(grows(day(lambda time, age: dice.randint(8, 40))))

    def test_is_flat_for_growth_at_the_beginning(self):
        self.assertFalse(grows(day(lambda time, age: 1000 + 3000 * min(1.0, time / (DAY_S / 5)), "memory")))

    def test_is_flat_for_a_different_value_in_each_life(self):
        self.assertFalse(grows(day(lambda time, age: 2000 + 100 * random.Random(int(time // 200)).random(), "memory",
                                   life_length=200)))

    def test_detects_a_leak_of_one_descriptor_per_hour(self):
        self.assertTrue(grows(day(lambda time, age: 8 + time // 60)))

    def test_detects_a_slow_leak_of_memory_in_a_varying_value(self):
        dice = random.Random(1)
        self.assertTrue(grows(day(lambda time, age: 1000 + time * 4096 / DAY_S + dice.choice((0, 0, 2000)), "memory")))

    def test_is_flat_for_growth_at_the_beginning_of_each_life(self):
        self.assertFalse(grows(day(lambda time, age: 9 + min(age // 20, 3), "threads", life_length=200)))

    def test_detects_a_leak_of_a_process_that_is_killed_repeatedly(self):
        self.assertTrue(grows(day(lambda time, age: 5 + age // 10, "threads", life_length=200)))

    def test_detects_a_leak_in_a_short_run(self):
        self.assertTrue(grows(day(lambda time, age: 8 + time, length=30), 30))

    def test_is_flat_for_little_growth_in_a_short_run(self):
        self.assertFalse(grows(day(lambda time, age: 8 + time // 4, length=30), 30))

    def test_names_a_quantity_that_cannot_be_judged(self):
        findings, not_judged = verdict.judge(day(lambda time, age: 8, length=0.5), DAY_S)
        self.assertEqual((findings, not_judged), ([], ["service: descriptors"]))


class ASoakOfALeakingService(unittest.TestCase):
    def test_names_the_growing_resources_and_fails(self):
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
