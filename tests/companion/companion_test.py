#!/usr/bin/env python3
"""Runs the companion as a person and a script would: outcomes, forms, signals, files that fail.

usage: companion_test.py PROGRAM [unittest's words]
"""
import csv
import io
import json
import os
import pathlib
import random
import signal
import subprocess
import sys
import tempfile
import time
import unittest

FURNITURE = """\
maximize
 earnings: 45 chairs + 80 tables
subject to
 wood: 5 chairs + 20 tables <= 400
 work: 10 chairs + 10 tables <= 350
end
"""
CONTRADICTION = """\
minimize
 x
subject to
 need: x + y >= 10
 first: x <= 4
 second: y <= 3
 idle: x + 2 z <= 100
end
"""
UNBOUNDED = """\
maximize
 x + y
subject to
 c: x - y <= 1
bounds
 x <= 5
end
"""


def market_split(rows, columns):
    """Equations with slack to be minimized: points at once, and no proof for minutes."""
    chance = random.Random(1)
    lines = ["minimize", " " + " + ".join(f"s{i} + t{i}" for i in range(rows)), "subject to"]
    for i in range(rows):
        weights = [chance.randrange(100) for _ in range(columns)]
        lines.append(f" r{i}: " + " + ".join(f"{w} x{j}" for j, w in enumerate(weights)) +
                     f" + s{i} - t{i} = {sum(weights) // 2}")
    return "\n".join(lines + ["binary", *(f" x{j}" for j in range(columns)), "end", ""])


class Companion(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.place = pathlib.Path(folder.name)

    def file(self, name, text):
        (self.place / name).write_text(text, encoding="utf-8")
        return name

    def run_program(self, *words, **options):
        return subprocess.run([PROGRAM, *words], cwd=self.place, capture_output=True, text=True,
                              timeout=300, check=False, **options)

    def test_an_optimum_as_a_table(self):
        ended = self.run_program(self.file("f.lp", FURNITURE))
        self.assertEqual(ended.returncode, 0)
        self.assertIn("optimal, objective 2100\n", ended.stdout)
        self.assertRegex(ended.stdout, r"chairs +20 +0\n")
        self.assertRegex(ended.stdout, r"wood +2\.33333")
        self.assertIn("Optimization ended", ended.stderr)

    def test_a_quiet_run_shows_no_log(self):
        self.assertEqual(self.run_program("--quiet", self.file("f.lp", FURNITURE)).stderr, "")

    def test_json_and_csv_hold_every_item(self):
        model = self.file("f.lp", FURNITURE)
        answer = json.loads(self.run_program("--json", model).stdout)
        self.assertEqual(answer["outcome"], "optimal")
        self.assertAlmostEqual(answer["objective"], 2100)
        self.assertEqual({v["name"]: round(v["value"], 6) for v in answer["variables"]},
                         {"chairs": 20, "tables": 15})
        rows = list(csv.DictReader(io.StringIO(self.run_program("--csv", model).stdout)))
        self.assertEqual([(row["kind"], row["name"]) for row in rows],
                         [("variable", "chairs"), ("variable", "tables"), ("constraint", "wood"),
                          ("constraint", "work")])
        self.assertAlmostEqual(float(rows[0]["value"]), 20)

    def test_an_infeasible_model_names_the_contradiction(self):
        ended = self.run_program("--set", "VLN_IPAR_PRESOLVE=off", self.file("c.lp", CONTRADICTION))
        self.assertEqual(ended.returncode, 3)
        shown = ended.stdout.partition("Constraints that contradict each other")[2]
        self.assertTrue(all(name in shown for name in ("need", "first", "second")), ended.stdout)
        self.assertNotIn("idle", shown)

    def test_an_unbounded_model_names_the_direction(self):
        ended = self.run_program(self.file("u.lp", UNBOUNDED))
        self.assertEqual(ended.returncode, 4)
        shown = ended.stdout.partition("The direction")[2]
        self.assertRegex(shown, r"\n +y +\d")
        self.assertNotRegex(shown, r"\n +x +\d")

    def test_a_time_limit_keeps_the_point(self):
        ended = self.run_program("--quiet", "--time-limit", "1", "--json",
                                 self.file("m.lp", market_split(5, 40)))
        self.assertEqual(ended.returncode, 5, ended.stdout[:200] + ended.stderr)
        answer = json.loads(ended.stdout)
        self.assertEqual(answer["outcome"], "feasible")
        self.assertIn("objective", answer)

    def test_an_interrupt_keeps_the_point(self):
        model = self.file("m.lp", market_split(5, 40))
        with subprocess.Popen([PROGRAM, model], cwd=self.place, text=True, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE) as process:
            # The log shows that the solve has begun; a point comes with its first lines.
            for line in process.stderr:
                if line.startswith("Optimization of"):
                    break
            time.sleep(2)
            process.send_signal(signal.SIGINT)
            shown, _ = process.communicate(timeout=120)
        self.assertIn(process.returncode, (5, 6), shown)
        self.assertIn(model, shown)

    def test_what_cannot_be_done_is_said_once(self):
        for words, status, text in ((["nothing.lp"], 1, "nothing.lp"), (["--set", "x", "f.lp"], 2, "NAME=VALUE"),
                                    (["--time-limit", "0", "f.lp"], 2, "seconds"), ([], 2, "MODEL"),
                                    (["--set", "VLN_IPAR_PRESOLV=1", "f.lp"], 1, "VLN_IPAR_PRESOLVE"),
                                    (["convert", "f.lp"], 2, "usage"), (["params", "nosuchword"], 1, "nosuchword")):
            self.file("f.lp", FURNITURE)
            ended = self.run_program(*words)
            self.assertEqual((ended.returncode, ended.stdout), (status, ""), words)
            self.assertEqual(ended.stderr.count(text), 1, ended.stderr)

    def test_a_full_disk_is_an_error(self):
        model = self.file("f.lp", FURNITURE)
        with open("/dev/full", "w", encoding="utf-8") as full:
            ended = subprocess.run([PROGRAM, "--quiet", model], cwd=self.place, stdout=full,
                                   stderr=subprocess.PIPE, text=True, timeout=300, check=False)
        self.assertEqual(ended.returncode, 1)
        self.assertIn("No space left", ended.stderr)
        self.assertEqual(self.run_program("--quiet", "--output", "/dev/full", model).returncode, 1)
        self.assertTrue(pathlib.Path("/dev/full").is_char_device())

    def test_an_output_file_is_replaced_whole_or_not_at_all(self):
        model = self.file("f.lp", FURNITURE)
        earlier = self.place / "answer"
        earlier.write_text("earlier", encoding="utf-8")
        if os.getuid() != 0:
            self.place.chmod(0o500)
            self.assertEqual(self.run_program("--quiet", "--output", "answer", model).returncode, 1)
            self.place.chmod(0o700)
            self.assertEqual(earlier.read_text(encoding="utf-8"), "earlier")
        self.assertEqual(self.run_program("--quiet", "--json", "--output", "answer", model).returncode, 0)
        self.assertAlmostEqual(json.loads(earlier.read_text(encoding="utf-8"))["objective"], 2100)
        self.assertEqual(sorted(os.listdir(self.place)), ["answer", "f.lp"])

    def test_names_cannot_command_the_terminal(self):
        self.file("n.mps", "NAME n\nROWS\n N c\n L r\nCOLUMNS\n x\x1b[31m c -1 r 1\nRHS\n R r 1\nENDATA\n")
        ended = self.run_program("--quiet", "n.mps")
        self.assertEqual(ended.returncode, 0, ended.stderr)
        self.assertIn("x\\x1b[31m", ended.stdout)
        self.assertNotIn("\x1b", ended.stdout)

    def test_conversion_and_parameters(self):
        self.assertEqual(self.run_program("convert", self.file("f.lp", FURNITURE), "f.mps.gz").returncode, 0)
        self.assertIn("objective 2100", self.run_program("f.mps.gz").stdout)
        shown = self.run_program("params", "relative_gap").stdout
        self.assertEqual(shown.count("\n"), 1)
        self.assertTrue(shown.startswith("VLN_DPAR_MIP_RELATIVE_GAP: "))

    def test_several_models_give_the_worst_status(self):
        ended = self.run_program("--quiet", "--json", self.file("f.lp", FURNITURE),
                                 self.file("c.lp", CONTRADICTION))
        self.assertEqual(ended.returncode, 3)
        self.assertEqual([json.loads(line)["outcome"] for line in ended.stdout.splitlines()],
                         ["optimal", "infeasible"])


if __name__ == "__main__":
    PROGRAM = str(pathlib.Path(sys.argv.pop(1)).resolve())
    unittest.main()
