#!/usr/bin/env python3
"""worker_test.py PROGRAM: runs examples/worker.py through every outcome that the manual's table of a
service names, with the real program and its optimizer.

No test waits for a time: each waits until the run has come to the place where it is to be ended.
"""
import contextlib
import json
import os
import resource
import signal
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
WORKER = ROOT / "examples" / "worker.py"
PROGRAM = ""

INFEASIBLE = """\
minimize
 obj: x
subject to
 c1: x >= 2
bounds
 x <= 1
end
"""

UNBOUNDED = """\
maximize
 obj: x + y
subject to
 c1: x - y <= 1
end
"""

INFEASIBLE_INTEGER = """\
minimize
 obj: x
subject to
 c1: 2 x + 2 y = 3
bounds
 x <= 5
 y <= 5
general
 x y
end
"""


def hard_model():
    """Market split: a point is found at once, the best one in hours."""
    rows, columns = range(6), range(50)
    factor = [[(37 * i * i + 91 * j * (i + 3) + 17 * j * j) % 100 for j in columns] for i in rows]
    lines = ["minimize", " obj: " + " + ".join(f"p{i} + n{i}" for i in rows), "subject to"]
    for i in rows:
        terms = " + ".join(f"{factor[i][j]} x{j}" for j in columns)
        lines.append(f" r{i}: {terms} + p{i} - n{i} = {sum(factor[i]) // 2}")
    return "\n".join([*lines, "binary", " " + " ".join(f"x{j}" for j in columns), "end", ""])


def child_of(pid):
    """The process that the given one started, once there is one."""
    children = Path(f"/proc/{pid}/task/{pid}/children")
    for _ in range(6000):
        if found := children.read_text().split():
            return int(found[0])
        time.sleep(0.01)
    raise TimeoutError(f"process {pid} starts no other")


class Worker(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def file(self, name, text):
        path = self.folder / name
        path.write_text(text)
        return path

    def start(self, model, *options, program=None):
        words = [sys.executable, WORKER, "--program", program or PROGRAM, *options, model]
        process = subprocess.Popen(words, stdout=subprocess.PIPE, text=True, start_new_session=True)
        self.addCleanup(self.end, process)
        return process

    @staticmethod
    def end(process):
        """Ends what a failed test has left behind."""
        with contextlib.suppress(ProcessLookupError):
            os.killpg(process.pid, signal.SIGKILL)
        process.stdout.close()
        process.wait()

    def outcome(self, process):
        text, _ = process.communicate()
        result = json.loads(text)
        self.assertEqual(process.returncode == 0,
                         result["outcome"] in ("optimal", "infeasible", "unbounded"))
        return result

    def work(self, model, *options, program=None):
        return self.outcome(self.start(model, *options, program=program))

    def test_optimal(self):
        result = self.work(ROOT / "examples" / "workshop.mps")
        self.assertEqual(result["outcome"], "optimal")
        self.assertAlmostEqual(result["solution"]["primal objective"], 2410.0)

    def test_infeasible(self):
        result = self.work(self.file("m.lp", INFEASIBLE))
        self.assertEqual(result["outcome"], "infeasible")
        self.assertEqual(result["solution"]["solution status"], "primal infeasible certificate")

    def test_infeasible_integer(self):
        self.assertEqual(self.work(self.file("m.lp", INFEASIBLE_INTEGER))["outcome"], "infeasible")

    def test_unbounded(self):
        self.assertEqual(self.work(self.file("m.lp", UNBOUNDED))["outcome"], "unbounded")

    def test_time_limit(self):
        result = self.work(self.file("m.lp", hard_model()), "--seconds", "0.5")
        self.assertEqual((result["outcome"], result["reason"]),
                         ("time limit", "VLN_RES_TRM_TIME_LIMIT"))

    def test_sigterm_during_the_solve(self):
        process = self.start(self.file("m.lp", hard_model()), "--seconds", "1000")
        child_of(child_of(process.pid))
        process.terminate()
        result = self.outcome(process)
        self.assertEqual((result["outcome"], result["reason"]),
                         ("stopped", "VLN_RES_TRM_USER_CALLBACK"))

    def test_sigterm_before_the_solve(self):
        pipe = self.folder / "m.lp"
        os.mkfifo(pipe)
        process = self.start(pipe)
        with pipe.open("w") as model:  # waits until the program reads
            os.kill(child_of(process.pid), signal.SIGTERM)
            model.write(INFEASIBLE)
        result = self.outcome(process)
        self.assertEqual((result["outcome"], result["reason"]),
                         ("stopped", "SIGTERM came before the solve"))

    def test_too_large(self):
        result = self.work(ROOT / "examples" / "workshop.mps", "--most", "2")
        self.assertEqual((result["outcome"], result["reason"]), ("too large", "Too many variables"))

    def test_bad_file(self):
        result = self.work(self.file("m.mps", "NAME X\nROWZ\n"))
        self.assertEqual(result["outcome"], "error")
        self.assertIn("m.mps:2:1", result["reason"])

    def test_missing_file(self):
        result = self.work(self.folder / "missing.mps")
        self.assertEqual(result["outcome"], "error")
        self.assertIn("No such file", result["reason"])

    def test_missing_program(self):
        result = self.work(self.folder / "m.mps", program=str(self.folder / "missing"))
        self.assertEqual(result["outcome"], "error")

    def test_killed_optimizer(self):
        process = self.start(self.file("m.lp", hard_model()), "--seconds", "1000")
        os.kill(child_of(child_of(process.pid)), signal.SIGKILL)
        result = self.outcome(process)
        self.assertEqual(result["outcome"], "error")
        self.assertIn("signal 9", result["reason"])

    def test_killed_program(self):
        process = self.start(self.file("m.lp", hard_model()), "--seconds", "1000")
        program = child_of(process.pid)
        child_of(program)
        os.kill(program, signal.SIGKILL)
        result = self.outcome(process)
        self.assertEqual((result["outcome"], result["reason"]), ("killed", "SIGKILL"))

    def test_full_disk(self):
        """A limit on the size of files stands in for a disk that is full."""
        full = self.file("full", f'#!/bin/sh\nulimit -f 0\nexec "{PROGRAM}" "$@"\n')
        full.chmod(0o755)
        result = self.work(ROOT / "examples" / "workshop.mps", program=str(full))
        self.assertEqual((result["outcome"], result["solution"]), ("error", {}))
        self.assertIn("VLN_RES_ERR_FILE", result["reason"])


class IndicatorFile(unittest.TestCase):
    """With the plain report nothing notices a full disk but the reader of the indicator file."""

    def run_program(self, folder, limited):
        words = [PROGRAM, "-read", ROOT / "examples" / "workshop.mps", "-solve:res=res",
                 "-write-solution", "plain", "-indicator-file:done", "ready"]
        limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (0, 0)) if limited else None
        done = subprocess.run(words, cwd=folder, restore_signals=False, preexec_fn=limit,
                              stderr=subprocess.PIPE, check=False)
        return done.returncode, {file.name: file.read_text() for file in Path(folder).iterdir()}

    def test_content(self):
        with tempfile.TemporaryDirectory() as folder:
            status, files = self.run_program(folder, limited=False)
        self.assertEqual((status, files["ready"], files["res"]), (0, "done", "VLN_RES_OK"))

    def test_full_disk(self):
        with tempfile.TemporaryDirectory() as folder:
            status, files = self.run_program(folder, limited=True)
        self.assertEqual((status, files), (0, {"ready": "", "res": "", "plain": ""}))


if __name__ == "__main__":
    PROGRAM = str(Path(sys.argv.pop(1)).resolve())
    unittest.main()
