#!/usr/bin/env python3
"""Runs the companion as a person and a script would: outcomes, forms, signals, files that fail.

usage: companion_test.py PROGRAM [unittest's words]
"""
import csv
import html.parser
import io
import json
import os
import pathlib
import pty
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]

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
INTEGERS = """\
minimize
 x + y
subject to
 need: x + y = 10.5
 idle: x - y <= 100
bounds
 x <= 100
 y <= 100
general
 x y
end
"""
CONIC_CONTRADICTION = """\
Minimize ] extended problem 1
Minimize
 obj: t
Subject To
 need: x + y >= 10
 cap: t <= 3
 other: x - y <= 100
Bounds
 x free
 y free
 t free
Cones
 k: quadratic t x y
End
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


class CompanionTest(unittest.TestCase):
    """A folder for each test, and the program run in it."""

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


class Companion(CompanionTest):
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

    def test_a_quiet_search_says_what_cannot_hold_together(self):
        model = self.file("i.lp", INTEGERS)
        for words in (["--quiet"], []):
            ended = self.run_program(*words, model)
            self.assertIn("need = 10.5, x integer and y integer cannot hold together; none of them can be left out",
                          ended.stdout)
        answer = json.loads(self.run_program("--quiet", "--json", model).stdout)
        self.assertEqual(answer["conflict"], "need = 10.5, x integer and y integer cannot hold together")
        self.assertNotIn("conflict", json.loads(self.run_program("--quiet", "--json", self.file("f.lp", FURNITURE)).stdout))

    def test_a_conic_contradiction_has_its_cone_and_no_accident(self):
        shown = self.run_program("--quiet", self.file("k.ptf", CONIC_CONTRADICTION)).stdout
        self.assertIn("need >= 10, cap <= 3 and cone k cannot hold together", shown)
        self.assertNotIn("other", shown)

    def test_an_unbounded_model_names_the_direction(self):
        ended = self.run_program(self.file("u.lp", UNBOUNDED))
        self.assertEqual(ended.returncode, 4)
        shown = ended.stdout.partition("The direction")[2]
        self.assertRegex(shown, r"\n +y +\d")
        self.assertNotRegex(shown, r"\n +x +\d")

    def test_an_unbounded_model_with_integers_and_cones_does_so_too(self):
        model = self.file("u.ptf", "Minimize ] extended problem 1\nMaximize\n o: z + n\nSubject To\n"
                          " c: n + x <= 4\nGeneral\n n\nBounds\n z free\nCones\n k: quadratic t x y\nEnd\n")
        ended = self.run_program("--quiet", model)
        self.assertEqual(ended.returncode, 4, ended.stdout)
        shown = ended.stdout.partition("The direction")[2]
        self.assertRegex(shown, r"\n +z +\d")
        self.assertNotRegex(shown, r"\n +[nxy] +\d")

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
                                    (["convert", "f.lp"], 2, "TO"), (["completion", "csh"], 2, "csh"),
                                    (["--report", "r.html", "f.lp", "f.lp"], 2, "--report"),
                                    (["--quiet", "nothing.lp"], 1, "nothing.lp"),
                                    (["--quiet", "--report", "r.html", "nothing.lp"], 1, "nothing.lp"), (["params", "nosuchword"], 1, "nosuchword")):
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

    def test_a_model_that_fails_does_not_lose_the_others(self):
        good = self.file("good.lp", FURNITURE)
        run = self.run_program(good, "nosuch.lp", good, "--quiet", "--json", "--output", "out")
        self.assertEqual(run.returncode, 1)
        self.assertIn("nosuch.lp", run.stderr)
        lines = (self.place / "out").read_text(encoding="utf-8").splitlines()
        answers = [json.loads(line) for line in lines]
        self.assertEqual([answer["outcome"] for answer in answers], ["optimal", "optimal"])

    def test_a_parameter_needs_no_beginning_and_a_command_no_search(self):
        good = self.file("good.lp", FURNITURE)
        run = self.run_program(good, "--set", "simplex_iteration_limit=0", "--set", "presolve=off")
        self.assertIn("VLN_IPAR_SIMPLEX_ITERATION_LIMIT = 0", run.stderr)
        run = self.run_program("parms")
        self.assertEqual(run.returncode, 2)
        self.assertIn("did you mean the command 'params'?", run.stderr)

    def test_zeros_have_no_sign(self):
        # The optimizer leaves -0 of x, whose cost was moved into its bound.
        model = self.file("m.lp", "max\n o: x + [ 4 b * c - 6 b * y ] / 2 + 3 y\nst\n"
                          " c1: x + y <= 4\n c2: b + c + x <= 3\nbounds\n y <= 5\n"
                          "binary\n b c\nend\n")
        run = self.run_program(model, "--quiet", "--json")
        self.assertEqual(run.returncode, 0)
        self.assertNotIn("-0.0", run.stdout)

    def test_several_models_give_the_worst_status(self):
        ended = self.run_program("--quiet", "--json", self.file("f.lp", FURNITURE),
                                 self.file("c.lp", CONTRADICTION))
        self.assertEqual(ended.returncode, 3)
        self.assertEqual([json.loads(line)["outcome"] for line in ended.stdout.splitlines()],
                         ["optimal", "infeasible"])


CONE = """\
Minimize ] extended problem 1
Minimize
 o: t
Subject To
 c: x + y >= 1
Bounds
 x free
 y free
Cones
 k: quadratic t x y
General
 n
End
"""
MATRIX = """\
Minimize ] extended problem 1
Matrix Variables
 X(2)
Minimize
 o: X(1,1) + X(2,2)
Subject To
 c: X(2,1) = 1
End
"""


class Check(CompanionTest):
    """Points against models, without the optimizer."""

    def check(self, model, solution, *words):
        return self.run_program("check", *words, model, solution)

    def violations(self, model, text):
        ended = self.check(model, self.file("p.sol", text), "--json")
        found = json.loads(ended.stdout)["violations"]
        self.assertEqual(ended.returncode, 3 if found else 0, ended.stderr)
        return [(v["kind"], v["name"], v["violation"] and round(v["violation"], 6)) for v in found]

    def test_hostile_points_are_refused_in_a_short_line(self):
        model = self.file("m.lp", FURNITURE)
        of_nobody = json.dumps({"solutions": {"basic": {"xx": [1, 2]}}, "variables": {"names": []}})
        deep = '{"a":' * 100000
        for content, reason in (("\x1b[2Jchairs\x07 1\n", r"the model has no variable '\x1b[2Jchairs\x07'"),
                                ("a" * 100000 + " 1\n", "the model has no variable 'aaa"),
                                ("chairs " + "1 " * 3000000 + "\nx 1\n", "the model has no variable 'x'"),
                                (of_nobody, "array index 0 is out of range"), (deep, "parse error")):
            ended = self.check(model, self.file("p.sol", content))
            self.assertEqual(ended.returncode, 1)
            self.assertIn(reason, ended.stderr)
            self.assertLess(len(ended.stderr), 500)
            self.assertNotIn("\x1b", ended.stderr)

    def test_every_form_of_a_solution_is_read(self):
        model = self.file("f.lp", FURNITURE)
        self.run_program("--json", "--output", "a.json", model)
        self.run_program("--csv", "--output", "a.csv", model)
        forms = {"a.json": None, "a.csv": None, "plain.sol": "# a plan\nchairs 20\ntables 15\n",
                 "highs.sol": "Model status\nOptimal\n\n# Primal solution values\nFeasible\nObjective 2100\n"
                              "# Columns 2\nchairs 20\ntables 15\n# Rows 2\nwood 400\nwork 350\n\n"
                              "# Dual solution values\nFeasible\n# Columns 2\nchairs 0\ntables 0\n",
                 "cbc.sol": "Optimal - objective value 2100.00000000\n      0 chairs   20   0\n      1 tables   15   0\n",
                 "scip.sol": "solution status: optimal\nobjective value:     2100\nchairs    20 \t(obj:45)\n"
                             "tables    15 \t(obj:80)\n"}
        for name, text in forms.items():
            if text:
                self.file(name, text)
            ended = self.check(model, name)
            self.assertEqual(ended.returncode, 0, name + ended.stdout + ended.stderr)
            self.assertIn("objective 2100\n", ended.stdout)

    def test_solutions_of_the_other_program_are_read(self):
        model = self.file("x.ptf", MATRIX)
        cli = pathlib.Path(PROGRAM).with_name("vorlancli")
        subprocess.run([cli, "-read", model, "-solve", "-write-solution", "s.json", "-write-solution", "s.b"],
                       cwd=self.place, capture_output=True, timeout=300, check=True)
        for name in ("s.json", "s.b"):
            ended = self.check(model, name, "--tolerance", "1e-5")
            self.assertEqual(ended.returncode, 0, name + ended.stdout + ended.stderr)
            self.assertRegex(ended.stdout, "objective (2|1.99999|2.00000)")

    def test_what_is_violated_is_named(self):
        model = self.file("f.lp", FURNITURE.replace("end", "general\n chairs\nend"))
        self.assertEqual(self.violations(model, "chairs 20\ntables 15\n"), [])
        self.assertEqual(self.violations(model, "chairs 20\ntables 16\n"),
                         [("constraint", "wood", 20), ("constraint", "work", 10)])
        self.assertEqual(self.violations(model, "chairs -1.25\ntables 0\n"),
                         [("bound", "chairs", 1.25), ("integer", "chairs", 0.25)])
        self.assertEqual(self.violations(model, "chairs nan\n")[0][:2], ("constraint", "wood"))
        shown = self.check(model, self.file("p.sol", "chairs 20\ntables 16\n")).stdout
        self.assertRegex(shown, r"constraint wood +420 +<= 400 +20\n")

    def test_cones_and_matrix_variables_are_held_too(self):
        self.assertEqual(self.violations(self.file("k.ptf", CONE), "x 3\ny 4\nt 5\n"), [])
        self.assertEqual(self.violations("k.ptf", "x 3\ny 4\nt 2\n"), [("cone", "k", 3)])
        self.file("x.ptf", MATRIX)
        entries = [{"name": "X", "row": i, "column": j, "value": v} for i, j, v in ((0, 0, 0.5), (1, 0, 1), (1, 1, 0.5))]
        self.file("x.json", json.dumps({"variables": [], "matrix entries": entries}))
        ended = self.check("x.ptf", "x.json", "--json")
        violation, = json.loads(ended.stdout)["violations"]
        self.assertEqual((ended.returncode, violation["kind"], violation["name"]), (3, "matrix variable", "X"))
        self.assertAlmostEqual(violation["violation"], 0.5, places=6)

    def test_every_kind_of_cone_has_its_violation(self):
        # A point on the boundary, and one whose violation is 1 by the definition of the cone.
        for kind, inside, outside in (("quadratic", (5, 3, 4), (4, 3, 4)),
                                      ("rotated_quadratic", (1, 2, 2), (0, 0, 1)),
                                      ("exponential", (1, 1, 0), (0, 1, 0)),
                                      ("exponential", (0, 0, -1), (1, 0, 1)),
                                      ("dual_exponential", (1, -1, -1), (0, -1, -1)),
                                      ("power 0.5 0.5", (4, 1, 2), (4, 1, 3)),
                                      ("dual_power 0.5 0.5", (1, 1, 2), (1, 1, 3))):
            self.file("k.ptf", "Minimize ] extended problem 1\nMinimize\n o: x\nSubject To\n c: x + y + z <= 99\n"
                               f"Bounds\n x free\n y free\n z free\nCones\n k: {kind} x y z\nEnd\n")
            texts = ["".join(f"{name} {value}\n" for name, value in zip("xyz", point)) for point in (inside, outside)]
            self.assertEqual([self.violations("k.ptf", text) for text in texts], [[], [("cone", "k", 1)]], kind)

    def test_a_set_and_an_indicator_are_held_as_they_are_meant(self):
        self.file("s.jtask", json.dumps({
            "format": "vorlan task", "version": 2, "objective": {"sense": "minimize", "linear": [1, 1, 1]},
            "variables": {"kind": [0, 0, 1], "lower": [0, 0, 0], "upper": [9, 9, 1], "names": ["x", "y", "z"]},
            "constraints": {"lower": [2], "upper": ["inf"], "names": ["c"]},
            "coefficients": {"start": [0, 1, 1, 1], "row": [0], "value": [1]},
            "indicators": {"constraint": [0], "variable": [2], "value": [1]},
            "sets": {"kind": [1], "size": [2], "members": [0, 1], "weights": [1, 2], "names": ["s"]}}))
        self.assertEqual(self.violations("s.jtask", "x 0\ny 3\nz 0\n"), [])
        self.assertEqual(self.violations("s.jtask", "x 0\ny 3\nz 1\n"), [("constraint", "c", 2)])
        self.assertEqual(self.violations("s.jtask", "x 2\ny 3\nz 1\n"), [("set", "s", 2)])

    def test_a_semi_continuous_variable_may_be_0(self):
        model = self.file("s.lp", "minimize\n o: x\nsubject to\n c: x <= 50\nbounds\n 2 <= x <= 10\n"
                                  "semi-continuous\n x\nend\n")
        self.assertEqual(self.violations(model, "x 0\n"), [])
        self.assertEqual(self.violations(model, "x 0.5\n"), [("bound", "x", 0.5)])
        self.assertEqual(self.violations(model, "x 12\n"), [("bound", "x", 2)])

    def test_a_file_of_another_model_is_refused(self):
        model = self.file("f.lp", FURNITURE)
        for text, reason in (("chair 1\n", "line 1: the model has no variable 'chair'"),
                             ("chairs 1\nchairs 2\n", "line 2: variable 'chairs' has two values"),
                             ("chairs many\n", "line 1"), ("{}", "variables")):
            ended = self.check(model, self.file("p.sol", text))
            self.assertEqual((ended.returncode, ended.stdout), (1, ""), text)
            self.assertIn(reason, ended.stderr)
        ended = self.check(model, self.file("p.sol", "chairs 1\n"))
        self.assertIn("1 variable without a value", ended.stdout)


class Page(html.parser.HTMLParser):
    """The elements of a page, its text, and its data."""

    def __init__(self, text):
        super().__init__()
        self.tags, self.shown, self.data_text, self.inside = [], "", "", None
        self.feed(text)
        self.data = json.loads(self.data_text)

    def handle_starttag(self, tag, attrs):
        self.tags.append(tag)
        self.inside = dict(attrs).get("id") if tag == "script" else None

    def handle_endtag(self, tag):
        self.inside = None

    def handle_data(self, data):
        if self.inside == "data":
            self.data_text += data
        else:
            self.shown += data


HOSTILE = """\
NAME n
ROWS
 N c
 L r</script><script>alert(1)</script>
 G [[LOG]]
COLUMNS
 x<img/src=x/onerror=alert(1)> c -1 r</script><script>alert(1)</script> 1
 x<img/src=x/onerror=alert(1)> [[LOG]] 1
RHS
 R r</script><script>alert(1)</script> 10
ENDATA
"""


class Report(CompanionTest):
    def page(self, model, *words):
        self.run_program("--quiet", "--report", "r.html", *words, model)
        return Page((self.place / "r.html").read_text(encoding="utf-8"))

    def test_an_optimum_has_all_sections(self):
        page = self.page(self.file("f.lp", FURNITURE))
        for text in ("optimal, objective 2100", "Violations", "Statistics", "2 continuous", "5 to 20",
                     "Pattern of the matrix", "Optimization ended"):
            self.assertIn(text, page.shown)
        self.assertEqual([row[0] for row in page.data["variables"]["rows"]], ["chairs", "tables"])
        self.assertAlmostEqual(page.data["constraints"]["rows"][0][3], 7 / 3)
        self.assertEqual(page.data["constraints"]["rows"][0][2], "≤ 400")

    def test_the_course_of_a_search_is_drawn(self):
        page = self.page(self.file("m.lp", market_split(5, 40)), "--time-limit", "2")
        self.assertIn("Course", page.shown)
        self.assertGreaterEqual(page.tags.count("path"), 3)

    def test_an_infeasible_model_has_its_conflict(self):
        page = self.page(self.file("c.lp", CONTRADICTION))
        shown = page.shown.partition("Conflict")[2].partition("Statistics")[0]
        self.assertTrue(all(name in shown for name in ("need", "first", "second")), shown)
        self.assertNotIn("idle", shown)

    def test_the_conflict_of_a_search_is_the_one_of_the_log(self):
        page = self.page(self.file("s.lp", "min\n o: x + y + z\nst\n need: x + y >= 3\n"
                                           " idle: x + z <= 50\nbounds\n x <= 2\n y <= 2\n"
                                           "sos\n either: S1:: x:1 y:2\nend\n"))
        shown = page.shown.partition("Conflict")[2].partition("Statistics")[0]
        self.assertIn("need >= 3, x <= 2, y <= 2 and SOS1 set either cannot hold together", shown)
        self.assertIn("none of them can be left out", shown)

    def test_a_conic_conflict_has_its_cone_and_no_accident(self):
        page = self.page(self.file("k.ptf", CONIC_CONTRADICTION))
        shown = page.shown.partition("Conflict")[2].partition("Statistics")[0]
        self.assertIn("need >= 10, cap <= 3 and cone k cannot hold together; none of them can be left out.", shown)
        self.assertNotIn("other", shown)

    def test_the_bound_is_the_one_at_the_end(self):
        page = self.page(self.file("b.lp", market_split(3, 14)))
        bound = re.search(r"\n  bound +(\S+)", page.shown).group(1)
        card = re.search(r"Bound\s*([-+.\de]+)", page.shown).group(1)
        self.assertAlmostEqual(float(card), float(bound), places=6)

    def test_one_is_not_said_in_the_plural(self):
        self.assertRegex(self.page(self.file("i.lp", INTEGERS)).shown, r"1 equation\b")

    def test_names_of_others_stay_text(self):
        page = self.page(self.file("n.mps", HOSTILE))
        self.assertEqual((page.tags.count("script"), page.tags.count("img")), (2, 0))
        self.assertEqual(page.data["variables"]["rows"][0][0], "x<img/src=x/onerror=alert(1)>")
        self.assertEqual([row[0] for row in page.data["constraints"]["rows"]],
                         ["r</script><script>alert(1)</script>", "[[LOG]]"])
        self.assertEqual(page.shown.count("Optimization of a"), 1)

    def browsed(self, script):
        """The page as a browser has it once its own script and this one have run."""
        page = self.place / "r.html"
        page.write_text(page.read_text(encoding="utf-8") + f"<script>{script}</script>", encoding="utf-8")
        ended = subprocess.run(["chromium", "--headless=new", "--no-sandbox", "--disable-gpu",
                                f"--user-data-dir={self.place / 'browser'}", "--dump-dom", page.as_uri()],
                               capture_output=True, text=True, timeout=300, check=True)
        return ended.stdout.partition('id="table"')[2].partition("</table>")[0]

    @unittest.skipUnless(shutil.which("chromium"), "there is no browser")
    def test_the_table_can_be_searched_and_names_stay_text(self):
        self.page(self.file("n.mps", HOSTILE.replace("RHS\n", " plain c -1 [[LOG]] 1\nRHS\n").replace(
            "ENDATA", "BOUNDS\n UP B plain 7\nENDATA")))
        table = self.browsed("element('wanted').value = 'ONERROR';"
                             "element('wanted').dispatchEvent(new Event('input'));")
        self.assertIn("<td>x&lt;img/src=x/onerror=alert(1)&gt;</td><td>10</td>", table)
        self.assertNotIn("plain", table)

    def test_a_report_that_cannot_be_written_is_an_error(self):
        ended = self.run_program("--quiet", "--report", "/dev/full", self.file("f.lp", FURNITURE))
        self.assertEqual(ended.returncode, 1)
        self.assertIn("/dev/full", ended.stderr)


class Terminal(CompanionTest):
    """Standard error as a terminal: a last line tells how far the work is."""

    def start(self, *words):
        ours, theirs = pty.openpty()
        self.addCleanup(os.close, ours)
        process = subprocess.Popen([PROGRAM, *words], cwd=self.place, stdout=subprocess.DEVNULL, stderr=theirs)
        os.close(theirs)
        return process, ours

    def read_until(self, terminal, wanted, at_most=120):
        """What comes until the text has come; a terminal that is closed is an error of reading."""
        seen = b""
        end = time.monotonic() + at_most
        while wanted not in seen and time.monotonic() < end:
            try:
                seen += os.read(terminal, 65536)
            except OSError:
                break
        self.assertIn(wanted, seen)
        return seen

    def drain(self, terminal):
        def read():
            try:
                while os.read(terminal, 65536):
                    pass
            except OSError:
                pass
        thread = threading.Thread(target=read)
        thread.start()
        self.addCleanup(thread.join)

    def test_reading_and_solving_are_told(self):
        os.mkfifo(self.place / "m.lp")
        process, terminal = self.start("--time-limit", "2", "m.lp")
        with open(self.place / "m.lp", "w", encoding="utf-8") as pipe:
            # The model comes only once the program has said that it waits for it.
            self.read_until(terminal, b"reading m.lp")
            pipe.write(market_split(5, 40))
        seen = self.read_until(terminal, b"Optimization ended")
        self.drain(terminal)
        self.assertEqual(process.wait(timeout=120), 5)
        self.assertRegex(seen, rb"\r\x1b\[Ksolving  [0-9.]+ s.*bound")

    def test_nothing_of_it_is_in_a_file(self):
        ended = self.run_program("--time-limit", "1", self.file("m.lp", market_split(5, 40)))
        self.assertNotIn("\x1b", ended.stderr)
        self.assertNotIn("\nsolving", ended.stderr)


class Words(CompanionTest):
    """What is made from the table of words is what the repository has, and works."""

    COMPLETIONS = {"bash": "vorlan.bash", "zsh": "_vorlan", "fish": "vorlan.fish"}

    def test_the_files_are_up_to_date(self):
        for shell, name in self.COMPLETIONS.items():
            kept = (ROOT / "packaging" / "completions" / name).read_text(encoding="utf-8")
            self.assertEqual(self.run_program("completion", shell).stdout, kept,
                             f"make it anew: vorlan completion {shell} > packaging/completions/{name}")
        kept = (ROOT / "docs" / "man" / "vorlan.1").read_text(encoding="utf-8")
        self.assertEqual(self.run_program("manual").stdout, kept, "make it anew: vorlan manual > docs/man/vorlan.1")

    def test_shells_can_read_them(self):
        for shell, words in (("bash", ["-n"]), ("zsh", ["-n"]), ("fish", ["--no-execute"])):
            if not shutil.which(shell):
                continue
            script = self.file(shell, self.run_program("completion", shell).stdout)
            ended = subprocess.run([shell, *words, script], cwd=self.place, capture_output=True, text=True,
                                   timeout=60, check=False)
            self.assertEqual((ended.returncode, ended.stderr), (0, ""), shell)

    def offered(self, *words):
        script = ('source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _vorlan 2>/dev/null; '
                  'printf "%s\\n" "${COMPREPLY[@]}"')
        bash = ROOT / "packaging" / "completions" / "vorlan.bash"
        path = f"{pathlib.Path(PROGRAM).parent}:{os.environ['PATH']}"
        ended = subprocess.run(["bash", "--norc", "-c", script, "bash", bash, "vorlan", *words], cwd=self.place,
                               env=dict(os.environ, PATH=path), capture_output=True, text=True, timeout=60, check=True)
        return ended.stdout.split()

    def test_bash_offers_what_fits(self):
        self.file("f.lp", FURNITURE)
        self.assertEqual(self.offered("--re"), ["--report"])
        self.assertEqual(self.offered("f"), ["f.lp"])
        self.assertEqual(self.offered("ch"), ["check"])
        self.assertEqual(self.offered("--set", "VLN_IPAR_PRES"), ["VLN_IPAR_PRESOLVE="])
        self.assertEqual(self.offered("--time-limit", ""), [])
        self.assertEqual(self.offered("--output", "f"), ["f.lp"])
        self.assertEqual(self.offered("check", "--t"), ["--tolerance"])
        self.assertEqual(self.offered("check", "f"), ["f.lp"])
        self.assertEqual(self.offered("completion", ""), ["bash", "zsh", "fish"])
        self.assertEqual(self.offered("params", "f"), [])

    def test_the_help_of_each_command_ends_well(self):
        for words in ([], ["check"], ["convert"], ["params"], ["completion"], ["manual"]):
            ended = self.run_program(*words, "--help")
            self.assertEqual((ended.returncode, ended.stderr), (0, ""), words)


if __name__ == "__main__":
    PROGRAM = str(pathlib.Path(sys.argv.pop(1)).resolve())
    unittest.main()
