#!/usr/bin/env python3
"""The library's remote solve against a real server, through a wire that can be cut: a remote solve leaves
what a local one leaves, a stop and a time limit act in each phase, a broken connection loses nothing.

VORLAN_DATA names a folder of further models for the comparison: with VORLAN_REMOTE_MODELS=all all of them are solved
twice, else a few, or those of a list with commas; VORLAN_REMOTE_SECONDS sets how long one may take. VORLAN_WIRES sets
how many random faults of the wire there are (4).
"""
import contextlib
import csv
import ctypes
import gzip
import os
import pathlib
import random
import re
import select
import signal
import socket
import subprocess
import threading
import time
import unittest

import harness

# Differs from run to run.
LOG_NOISE = re.compile(r"^(Solving on |Optimizer library |Parameters: |Read |Write |Set log |.*[0-9]s$|.*time  .*|HiGHS run time"
                       r"|Multiple threads|  *[A-Z]? *[0-9]+ .*|.*[0-9.]+ s\b.*)")


class Wire:
    """A proxy on loopback that does harm: to the first connections after so many bytes of either direction, as
    `faults` says, to later ones none. A fault is ("up" or "down", bytes, kind). Kinds: "cut" closes the connection;
    "delay" holds it up; "repeat" sends all that the client has sent so far to the server once more.

    `slow` is ("up" or "down", a method, how a path ends): from the first such request on, the bytes of this direction
    trickle, and `is_slow` is set."""

    TRICKLE = (30, 0.05)  # so many bytes, and the seconds after them

    def __init__(self, port, faults, slow=None):
        self.slow = slow
        self.is_slow = threading.Event()
        self.port_behind = port
        self.cuts = list(faults)
        self.repeats = 0
        self.cuts_made = 0  # a place that the bytes never reach is no cut
        self.connections = 0
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        self.ending = False
        self.thread = threading.Thread(target=self._serve)
        self.thread.start()

    def _serve(self):
        threads = []
        while not self.ending:
            if select.select([self.listener], [], [], 0.05)[0]:
                front, _ = self.listener.accept()
                cut = self.cuts.pop(0) if self.cuts else None
                self.connections += 1
                threads.append(threading.Thread(target=self._forward, args=(front, cut)))
                threads[-1].start()
        for thread in threads:
            thread.join()
        self.listener.close()

    def _forward(self, front, cut):
        try:
            with front, socket.create_connection(("127.0.0.1", self.port_behind)) as back:
                counts = {"up": 0, "down": 0}
                sent = b""
                while not self.ending:
                    for side in select.select([front, back], [], [], 0.05)[0]:
                        way, other = ("up", back) if side is front else ("down", front)
                        data = side.recv(65536)
                        if not data:
                            return
                        if cut and cut[0] == way and cut[2] == "cut":
                            data = data[:max(0, cut[1] - counts[way])]
                        counts[way] += len(data)
                        self._pass_on(way, data, other)
                        if way == "up":
                            sent += data
                        if not cut or counts[cut[0]] < cut[1]:
                            continue
                        if cut[2] == "cut":
                            self.cuts_made += 1
                            return
                        if cut[2] == "delay":
                            time.sleep(0.5)
                        else:
                            self._repeat(sent)
                        cut = None
        except OSError:
            pass

    def _pass_on(self, way, data, other):
        if self.slow and way == "up" and re.match(b"%s \\S*?%s[ ?]" % self.slow[1:], data):
            self.is_slow.set()
        if not self.is_slow.is_set() or way != self.slow[0]:
            return other.sendall(data)
        count, pause = self.TRICKLE
        while data and not self.ending:
            other.sendall(data[:count])
            data = data[count:]
            time.sleep(pause)

    def _repeat(self, sent):
        with socket.create_connection(("127.0.0.1", self.port_behind)) as wire:
            wire.sendall(sent)
            wire.shutdown(socket.SHUT_WR)
            while wire.recv(65536):
                pass
        self.repeats += 1

    def close(self):
        self.ending = True
        self.thread.join()


# One of each sort, solved in well under a second.
FEW_INSTANCES = "afiro,lp_unbounded,woodinfe,soc_infeasible,example_small_cbf_relax,p0033,truss1"
MODELS = os.environ.get("VORLAN_REMOTE_MODELS", FEW_INSTANCES).split(",")

# How many seconds an instance may take before it is compared after fewer steps.
LONGEST_SOLVE = float(os.environ.get("VORLAN_REMOTE_SECONDS", "20"))
STEPS = (("VLN_IPAR_SIMPLEX_ITERATION_LIMIT", "1000"), ("VLN_IPAR_INTERIOR_ITERATION_LIMIT", "5"))
LIMITS = {
    "to the end": (),
    "to 100 nodes": (*STEPS, ("VLN_IPAR_MIP_NODE_LIMIT", "100")),
    "to the first node": (*STEPS, ("VLN_IPAR_MIP_NODE_LIMIT", "1")),
    "to the first point": (*STEPS, ("VLN_IPAR_MIP_NODE_LIMIT", "1"), ("VLN_IPAR_MIP_SOLUTION_LIMIT", "1")),
    "after no step": (("VLN_IPAR_SIMPLEX_ITERATION_LIMIT", "0"), ("VLN_IPAR_INTERIOR_ITERATION_LIMIT", "0"),
                      ("VLN_IPAR_MIP_NODE_LIMIT", "0")),
}


@contextlib.contextmanager
def held_port(port=0):
    """A port at which nobody listens, and nobody else can: other tests start servers, too."""
    with socket.socket() as holder:
        holder.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        holder.bind(("127.0.0.1", port))
        yield holder.getsockname()[1]


class RemoteTest(harness.ServerTest):
    def start_run(self, *words, port=None, token=None, items="", environment=None):
        """The program solving remotely in self.folder; what it reads and writes is in `words`."""
        solve = (f"-solve:remote=http://127.0.0.1:{port or self.server.port},"
                 f"remote-access-token={token or self.server.token},res=res,trm=trm,msg=msg{items}")
        words = [solve if word == "-solve" else word for word in words]
        return subprocess.Popen([harness.PROGRAM, *words], cwd=self.folder, stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                env={**os.environ, **(environment or {})})

    def end_run(self, process):
        _, errors = process.communicate(timeout=harness.PATIENCE)
        self.assertEqual(process.returncode, 0, errors)

    def run_remotely(self, *words, **settings):
        self.end_run(self.start_run(*words, **settings))

    def run_locally(self, *words):
        solve = "-solve:res=res,trm=trm,msg=msg"
        words = [solve if word == "-solve" else word for word in words]
        subprocess.run([harness.PROGRAM, *words], cwd=self.folder, check=True, capture_output=True)

    def text(self, name):
        return (self.folder / name).read_text()

    def codes(self):
        return self.text("res"), self.text("trm")

    def write_hard_model(self):
        (self.folder / "hard.mps").write_bytes(harness.hard_model())

    def no_jobs_left(self):
        client = self.server.client()
        harness.wait_until(lambda: not client.get("/v1/jobs").json()["jobs"], "the job to vanish")


class Equality(RemoteTest):
    def test_every_model_gives_the_same_files(self):
        self.start()
        models = sorted(path for path in harness.EXAMPLES.iterdir()
                        if path.suffix in (".mps", ".lp", ".ptf", ".cbf", ".dat-s", ".jtask"))
        self.assertGreater(len(models), 3)
        kinds = ("plain", "json", "b")
        for model in models:
            with self.subTest(model.name):
                self.compare(model, kinds)
        self.assertEqual(self.server.client().get("/v1/jobs").json()["jobs"], [])

    def compare(self, model, kinds):
        outcome = {}
        for place, run in (("remote", self.run_remotely), ("local", self.run_locally)):
            writes = [word for kind in kinds for word in ("-write-solution", f"{place}.{kind}")]
            run("-log", f"{place}.log", "-read", str(model), "-solve", *writes)
            lines = [line for line in self.text(f"{place}.log").splitlines()
                     if not LOG_NOISE.match(line)]
            outcome[place] = (self.codes(), self.text("msg"), lines,
                              [(self.folder / f"{place}.{kind}").read_bytes() for kind in kinds])
        self.assertEqual(outcome["remote"], outcome["local"])

    @unittest.skipUnless("VORLAN_DATA" in os.environ, "without VORLAN_DATA there are no instances")
    def test_public_instances_give_the_same_files(self):
        self.start()
        data = pathlib.Path(os.environ["VORLAN_DATA"])
        with open(data / "expected.tsv", encoding="utf-8") as table:
            rows = [row for row in csv.DictReader(table, delimiter="\t") if row["class"] != "bad"]
        if MODELS != ["all"]:
            rows = [row for row in rows if pathlib.Path(row["file"]).name.split(".")[0] in MODELS]
        found = {}
        for row in rows:
            with self.subTest(row["file"]):
                found.setdefault(self.compare_instance(data / row["file"]), []).append(row["file"])
        self.assertGreater(len(rows), len(found.get("left", [])))
        print(f"{len(rows)} instances")
        for how, names in sorted(found.items()):
            print(f"  {len(names)} {how}", "" if how == "to the end" else ": " + " ".join(names))

    def compare_instance(self, path):
        """How far the instance is solved on both sides: to its end, or, when that takes too long, to one of the
        counts in LIMITS, which are the same on every machine, as a time is not."""
        model = self.folder / path.name.removesuffix(".gz")
        model.write_bytes(gzip.open(path).read() if path.suffix == ".gz" else path.read_bytes())
        for how, limits in LIMITS.items():
            if self.compare_runs(model.name, [word for limit in limits for word in ("-d", *limit)]):
                return how
        return "left"

    def compare_runs(self, name, settings):
        """False when the solve takes longer than a comparison of all can wait for."""
        settings = ["-d", "VLN_IPAR_NUM_THREADS", "1", *settings]
        writes = ["-write-solution", "local.plain", "-write-solution", "local.b"]
        words = [harness.PROGRAM, "-log", "local.log", "-read", name, *settings,
                 f"-solve:res=res,trm=trm,msg=msg,time-limit={LONGEST_SOLVE}", *writes]
        subprocess.run(words, cwd=self.folder, check=True, capture_output=True)
        if self.codes()[1] == "VLN_RES_TRM_USER_CALLBACK":
            return False
        local = (self.codes(), self.text("msg"))
        words = [word.replace("local.", "remote.") for word in writes]
        self.run_remotely("-log", "remote.log", "-read", name, *settings, "-solve", *words)
        self.assertEqual((self.codes(), self.text("msg")), local)
        for kind in ("plain", "b"):
            self.assertTrue((self.folder / f"remote.{kind}").read_bytes() == (self.folder / f"local.{kind}").read_bytes())
        return True

    @unittest.skipUnless("VORLAN_DATA" in os.environ, "without VORLAN_DATA there are no instances")
    def test_bad_files_fail_alike(self):
        client = self.start()
        for path in sorted((pathlib.Path(os.environ["VORLAN_DATA"]) / "bad").iterdir()):
            with self.subTest(path.name):
                folder = self.folder / f"local-{path.name}"
                folder.mkdir()
                (folder / path.name).write_bytes(path.read_bytes())
                local = subprocess.run(
                    [harness.PROGRAM, "-log", "log", "-read:mode=safe", path.name, "-solve:res=res,msg=msg"], cwd=folder,
                    capture_output=True, text=True, check=False)
                job = client.await_end(client.submitted(path.read_bytes(), name=path.name)) if path.stat().st_size else None
                if job is None:
                    self.assertEqual(client.submit(b"", name=path.name).status, 400)
                    self.assertNotEqual(local.returncode, 0)
                    continue
                self.assertEqual(job["outcome"], "failed" if local.returncode else job["outcome"])
                told = re.findall(r"^(VLN_RES_ERR_\w+) \(\d+\): (.*)$", (folder / "log").read_text() + local.stderr, re.M)
                self.assertEqual((job["response"], job["message"]), told[-1])

    def test_a_solve_that_fails_does_so_alike(self):
        self.start()
        bad = "minimize\n obj: x\nsubject to\n c: x + [ x ^2 - y ^2 ] >= 1\nend\n"
        (self.folder / "bad.lp").write_text(bad)
        seen = []
        for run in (self.run_locally, self.run_remotely):
            run("-log", "log", "-read", "bad.lp", "-solve")
            failures = [line for line in self.text("log").splitlines() if "VLN_RES_ERR" in line]
            seen.append((self.codes(), self.text("msg"), failures))
        self.assertEqual(seen[0], seen[1])
        self.assertEqual(seen[0][0][0], "VLN_RES_ERR_NOT_CONVEX")
        self.assertEqual(len(seen[0][2]), 1)

    def test_parameters_and_sense_travel_and_files_do_not(self):
        self.start()
        for run, name in ((self.run_locally, "l"), (self.run_remotely, "r")):
            run("-read", str(harness.EXAMPLES / "workshop.mps"), "-d", "VLN_IPAR_OPTIMIZER", "conic",
                "-d", "VLN_SPAR_B_SOLUTION_FILE", f"{name}.copy", "-solve", "-write-solution", name)
        self.assertIn("interior", self.text("r"))
        self.assertEqual(self.text("r"), self.text("l"))
        self.assertEqual((self.folder / "r.copy").read_bytes(), (self.folder / "l.copy").read_bytes())

    def test_a_log_of_any_length_comes_whole(self):
        lines = 2_000_000
        self.start("--worker", harness.fake_worker(
            self.folder, f"yes 'a line of the log' | head -n {lines} > solve.log; {harness.DONE}"))
        self.run_remotely("-log", "log", "-read", str(harness.EXAMPLES / "workshop.mps"), "-solve")
        self.assertEqual(self.text("log").count("a line of the log\n"), lines)

    def test_a_caller_without_a_log_gets_none(self):
        self.start()
        self.run_remotely("-log", "log", "-read", str(harness.EXAMPLES / "workshop.mps"), "-d", "VLN_IPAR_LOG",
                          "off", "-solve")
        self.assertEqual(self.codes(), ("VLN_RES_OK", "VLN_RES_OK"))
        self.assertNotIn("Optimization", self.text("log"))

    def test_a_solve_starts_from_what_the_task_holds(self):
        self.start()
        self.run_remotely("-log", "log", "-read", str(harness.EXAMPLES / "workshop.mps"), "-solve",
                          "-solve")
        self.assertEqual(re.findall(r"  iterations +([0-9]+)", self.text("log")), ["2", "0"])


class Stopping(RemoteTest):
    def check_stopped(self):
        self.assertEqual(self.codes(), ("VLN_RES_OK", "VLN_RES_TRM_USER_CALLBACK"))
        self.assertEqual(self.text("msg"), "")

    def test_sigterm_while_solving_brings_what_was_found(self):
        client = self.start()
        self.write_hard_model()
        process = self.start_run("-read", "hard.mps", "-solve", "-write-solution", "sol")
        job = harness.wait_until(lambda: client.get("/v1/jobs").json()["jobs"], "the job")[0]
        client.await_solve(job["id"])
        time.sleep(1.0)
        process.send_signal(signal.SIGTERM)
        self.end_run(process)
        self.check_stopped()
        self.assertIn("Solution integer", self.text("sol"))
        self.no_jobs_left()

    def test_the_time_limit_counts_the_remote_optimizer_alone(self):
        client = self.start("--slots", "1")
        blocker = client.submitted(harness.hard_model(), name="h.mps")
        client.await_solve(blocker)
        self.write_hard_model()
        process = self.start_run("-read", "hard.mps", "-solve", "-write-solution", "sol",
                                 items=",time-limit=1")
        job = harness.wait_until(
            lambda: [j for j in client.get("/v1/jobs").json()["jobs"] if j["id"] != blocker], "the job")
        time.sleep(2.0)
        self.assertIsNone(process.poll())
        client.request("POST", f"/v1/jobs/{blocker}/cancel")
        client.await_solve(job[0]["id"])
        begin = time.monotonic()
        self.end_run(process)
        self.assertGreater(time.monotonic() - begin, 0.5)
        self.check_stopped()

    def test_sigterm_while_queued(self):
        client = self.start("--slots", "1")
        blocker = client.submitted(harness.hard_model(), name="h.mps")
        client.await_solve(blocker)
        self.write_hard_model()
        process = self.start_run("-read", "hard.mps", "-solve", "-write-solution", "sol")
        harness.wait_until(lambda: len(client.get("/v1/jobs").json()["jobs"]) == 2, "the job")
        process.send_signal(signal.SIGTERM)
        self.end_run(process)
        self.check_stopped()
        harness.wait_until(lambda: len(client.get("/v1/jobs").json()["jobs"]) == 1, "the job's end")

    def test_sigterm_before_the_job_is_accepted_leaves_nothing(self):
        client = self.start("--max-jobs", "1")
        blocker = client.submitted(harness.hard_model(), name="h.mps")
        self.write_hard_model()
        process = self.start_run("-pid-file", "pid", "-log", "log", "-read", "hard.mps",
                                 "-indicator-file:x", "begins", "-solve")
        harness.wait_until((self.folder / "begins").exists, "the solve's begin")
        time.sleep(0.5)
        process.send_signal(signal.SIGTERM)
        self.end_run(process)
        self.check_stopped()
        self.assertEqual([job["id"] for job in client.get("/v1/jobs").json()["jobs"]], [blocker])


class SlowWires(RemoteTest):
    """A stop and a time limit while the problem is sent and while the result is fetched, which take seconds each."""

    SENDING = ("up", b"POST", b"/v1/jobs")
    FETCHING = ("down", b"GET", b"/result")

    def run_slowly(self, slow, items="", stops=False, patience="60"):
        """The seconds that the solve took; with `stops` SIGTERM comes once the wire is slow."""
        self.start()
        wire = Wire(self.server.port, [], slow)
        try:
            begin = time.monotonic()
            process = self.start_run("-read", str(harness.EXAMPLES / "workshop.mps"), "-solve", "-write-solution",
                                     "sol", port=wire.port, items=items,
                                     environment={"VORLAN_REMOTE_PATIENCE": patience})
            self.assertTrue(wire.is_slow.wait(harness.PATIENCE))
            if stops:
                time.sleep(0.3)
                self.assertIsNone(process.poll())
                process.send_signal(signal.SIGTERM)
            self.end_run(process)
            return time.monotonic() - begin
        finally:
            wire.close()

    def check_whole(self):
        self.assertEqual(self.codes(), ("VLN_RES_OK", "VLN_RES_OK"), self.text("msg"))
        remote = self.text("sol")
        self.run_locally("-read", str(harness.EXAMPLES / "workshop.mps"), "-solve", "-write-solution", "sol")
        self.assertEqual(remote, self.text("sol"))
        self.no_jobs_left()

    def test_sigterm_while_sending_leaves_nothing(self):
        self.run_slowly(self.SENDING, stops=True)
        self.assertEqual(self.codes(), ("VLN_RES_OK", "VLN_RES_TRM_USER_CALLBACK"))
        self.assertEqual(self.text("msg"), "")
        self.assertNotIn("optimal", self.text("sol"))
        self.no_jobs_left()
        harness.wait_until(lambda: not list((self.data / "incoming").iterdir()), "what was sent to go")
        self.assertNotIn('"event":"job submitted"', (self.folder / "data.log").read_text())

    def test_sigterm_while_fetching_brings_the_result(self):
        # Which takes longer than a server may be silent for.
        self.run_slowly(self.FETCHING, stops=True, patience="0.7")
        self.check_whole()

    def test_the_time_limit_does_not_count_sending(self):
        self.assertGreater(self.run_slowly(self.SENDING, items=",time-limit=1"), 1.0)
        self.check_whole()

    def test_the_time_limit_does_not_count_fetching(self):
        self.assertGreater(self.run_slowly(self.FETCHING, items=",time-limit=1"), 1.0)
        self.check_whole()


LIBRARY = pathlib.Path(harness.PROGRAM).parent.parent / "lib" / "libvorlan64.so.11.0"
CALLBACK = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p, ctypes.c_void_p, ctypes.c_int,
                            ctypes.POINTER(ctypes.c_double), ctypes.POINTER(ctypes.c_int), ctypes.POINTER(ctypes.c_long))


@unittest.skipIf(b"__asan_init" in LIBRARY.read_bytes(), "the sanitizer's library cannot be loaded into Python")
class Callback(RemoteTest):
    """The progress callback comes 10 times a second or more in each phase, in the thread of the caller."""

    OPTIMIZER_SECONDS = 50  # the place among the callback's doubles

    def optimize(self, model, wire, stop_at):
        """Pairs of a callback's time and the optimizer's time; the callback asks to stop at that optimizer's time."""
        library = ctypes.CDLL(str(LIBRARY))
        calls, threads = [], set()

        def note(_task, _handle, _code, doubles, _ints, _longs):
            calls.append((time.monotonic(), doubles[self.OPTIMIZER_SECONDS]))
            threads.add(threading.get_ident())
            return calls[-1][1] > stop_at

        task, termination, callback = ctypes.c_void_p(), ctypes.c_int(), CALLBACK(note)
        self.assertEqual(library.VLN_makeemptytask(None, ctypes.byref(task)), 0)
        try:
            self.assertEqual(library.VLN_putcallbackfunc(task, callback, None), 0)
            self.assertEqual(library.VLN_readdata(task, os.fsencode(model)), 0)
            address = f"http://127.0.0.1:{wire.port}".encode()
            self.assertEqual(library.VLN_optimizermt(task, address, self.server.token.encode(),
                                                     ctypes.byref(termination)), 0)
        finally:
            library.VLN_deletetask(ctypes.byref(task))
            wire.close()
        self.assertEqual(threads, {threading.get_ident()})
        return calls

    def check_rate(self, calls):
        seconds = calls[-1][0] - calls[0][0]
        self.assertGreater(seconds, 0.5)
        self.assertGreater(len(calls), 10 * seconds)

    def test_while_sending_queueing_and_solving(self):
        client = self.start("--slots", "1")
        blocker = client.submitted(harness.hard_model(), name="h.mps", time_limit="3")
        client.await_solve(blocker)
        self.write_hard_model()
        wire = Wire(self.server.port, [], SlowWires.SENDING)
        calls = self.optimize(self.folder / "hard.mps", wire, stop_at=1.0)
        solving = [call for call in calls if call[1] > 0.0]
        self.check_rate(calls[:-len(solving)])
        self.check_rate(solving)
        told = [seconds for _, seconds in calls]
        self.assertEqual(told, sorted(told))

    def test_while_fetching(self):
        self.start()
        wire = Wire(self.server.port, [], SlowWires.FETCHING)
        self.check_rate(self.optimize(harness.EXAMPLES / "workshop.mps", wire, stop_at=60.0))


class BrokenWires(RemoteTest):
    def check_cuts(self, cuts, model=None):
        self.wire = Wire(self.server.port, cuts)
        try:
            self.run_remotely("-read", str(model or harness.EXAMPLES / "workshop.mps"), "-solve",
                              "-write-solution", "sol", port=self.wire.port)
            self.assertEqual(self.codes(), ("VLN_RES_OK", "VLN_RES_OK"), self.text("msg"))
        finally:
            self.wire.close()
        self.assertEqual(self.text("sol"), self.expected)
        before, self.submitted = self.submitted, self.count_submitted()
        self.assertEqual(self.submitted, before + 1)
        self.no_jobs_left()

    def count_submitted(self):
        return (self.folder / "data.log").read_text().count('"event":"job submitted"')

    def setUp(self):
        super().setUp()
        self.start()
        self.run_locally("-read", str(harness.EXAMPLES / "workshop.mps"), "-solve",
                         "-write-solution", "sol")
        self.expected = self.text("sol")
        self.submitted = 0

    def test_cut_at_each_phase(self):
        # One connection carries all requests: its bytes up and down pass through every phase.
        for way, places in (("up", (1, 100, 400, 900, 1200, 1500)),
                            ("down", (1, 100, 300, 700, 1200, 2000, 3000, 4000))):
            for place in places:
                with self.subTest(f"{way} {place}"):
                    self.check_cuts([(way, place, "cut")])
                    self.assertEqual(self.wire.cuts_made, 1)

    def test_cut_again_and_again(self):
        self.check_cuts([("up", 200, "cut"), ("down", 10, "cut"), ("up", 1000, "cut"), ("down", 500, "cut")])
        self.assertEqual((self.wire.cuts_made, self.wire.connections), (4, 5))

    def test_delayed_and_repeated(self):
        for way, place in (("up", 1), ("up", 900), ("down", 1), ("down", 1200)):
            with self.subTest(f"{way} {place}"):
                self.check_cuts([(way, place, "delay")])
                self.check_cuts([(way, place, "repeat")])
                self.assertEqual(self.wire.repeats, 1)
                self.check_cuts([(way, place, "repeat"), (way, place, "cut")])

    def test_random_faults(self):
        numbers = random.Random(os.environ.get("VORLAN_SEED", "1"))
        for number in range(int(os.environ.get("VORLAN_WIRES", "4"))):
            faults = [(numbers.choice(("up", "down")), int(10 ** numbers.uniform(0.0, 3.7)),
                       numbers.choice(("cut", "delay", "repeat"))) for _ in range(numbers.randrange(1, 5))]
            with self.subTest(f"{number}: {faults}"):
                self.check_cuts(faults)

    def test_a_restart_of_the_server_loses_nothing(self):
        self.write_hard_model()
        wire = Wire(self.server.port, [])
        try:
            process = self.start_run("-read", "hard.mps", "-solve", "-write-solution", "sol",
                                     port=wire.port)
            client = self.server.client()
            job = harness.wait_until(lambda: client.get("/v1/jobs").json()["jobs"], "the job")[0]
            client.await_solve(job["id"])
            self.server.kill()
            client = self.start()
            wire.port_behind = self.server.port
            self.assertEqual(client.job(job["id"])["attempt"], 1)
            process.send_signal(signal.SIGTERM)
            self.end_run(process)
        finally:
            wire.close()
        self.assertEqual(self.codes(), ("VLN_RES_OK", "VLN_RES_TRM_USER_CALLBACK"))
        self.assertIn("Solution integer", self.text("sol"))

    def test_a_server_that_stays_away_is_told_with_the_job(self):
        self.write_hard_model()
        client = self.server.client()
        process = self.start_run("-read", "hard.mps", "-solve",
                                 environment={"VORLAN_REMOTE_PATIENCE": "1"})
        job = harness.wait_until(lambda: client.get("/v1/jobs").json()["jobs"], "the job")[0]
        client.await_solve(job["id"])
        self.server.kill()
        with held_port(self.server.port):
            self.end_run(process)
        self.assertEqual(self.codes(), ("VLN_RES_ERR_SERVER_LOST", "VLN_RES_TRM_FAILED"))
        self.assertIn(job["id"], self.text("msg"))


class Failures(RemoteTest):
    def check(self, code, words=("-read", str(harness.EXAMPLES / "workshop.mps"), "-solve"), **settings):
        self.run_remotely(*words, **settings)
        self.assertEqual(self.codes(), (code, "VLN_RES_TRM_FAILED"))
        self.assertNotEqual(self.text("msg"), "")
        return self.text("msg")

    def test_tokens(self):
        self.start()
        self.check("VLN_RES_ERR_SERVER_ACCESS", token="vln_bad")
        self.check("VLN_RES_ERR_SERVER_ACCESS", token=self.new_token("reader", "read"))

    def test_no_server(self):
        with held_port() as port:
            self.check("VLN_RES_ERR_SERVER_UNREACHABLE", port=port, token="vln_any")

    def test_another_server(self):
        self.start()
        with socket.create_server(("127.0.0.1", 0)) as listener:
            def answer():
                wire, _ = listener.accept()
                wire.recv(65536)
                wire.sendall(b"HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nhi")
                wire.close()
            thread = threading.Thread(target=answer)
            thread.start()
            self.check("VLN_RES_ERR_SERVER_PROTOCOL", port=listener.getsockname()[1])
            thread.join()

    def test_sizes(self):
        self.start("--max-variables", "2")
        self.assertEqual(self.check("VLN_RES_ERR_SERVER_PROBLEM_SIZE"), "Too many variables")
        self.server.terminate()
        self.start("--max-upload", "0.001")
        self.write_hard_model()
        self.check("VLN_RES_ERR_SERVER_PROBLEM_SIZE", ("-read", "hard.mps", "-solve"))

    def test_a_full_server(self):
        client = self.start("--max-jobs", "1")
        client.submitted(harness.hard_model(), name="h.mps")
        self.check("VLN_RES_ERR_SERVER_BUSY", environment={"VORLAN_REMOTE_PATIENCE": "1"})

    def test_a_job_deleted_by_somebody_else(self):
        client = self.start()
        self.write_hard_model()
        process = self.start_run("-read", "hard.mps", "-solve")
        job = harness.wait_until(lambda: client.get("/v1/jobs").json()["jobs"], "the job")[0]
        client.await_solve(job["id"])
        client.request("DELETE", f"/v1/jobs/{job['id']}")
        self.end_run(process)
        self.assertEqual(self.codes(), ("VLN_RES_ERR_SERVER_JOB_GONE", "VLN_RES_TRM_FAILED"))

    def test_a_worker_that_dies_twice(self):
        client = self.start()
        self.write_hard_model()
        process = self.start_run("-read", "hard.mps", "-solve")
        job_id = harness.wait_until(lambda: client.get("/v1/jobs").json()["jobs"], "the job")[0]["id"]
        for attempt in (1, 2):
            client.await_job(job_id, lambda job, n=attempt: job["attempt"] == n and
                             job["solve_seconds"] is not None, f"attempt {attempt}")
            os.kill(int((self.running_attempts()[0] / "pid").read_text()), signal.SIGKILL)
        self.end_run(process)
        self.assertEqual(self.codes(), ("VLN_RES_ERR_OPTIMIZER_DIED", "VLN_RES_TRM_FAILED"))
        self.assertIn("2 times", self.text("msg"))

    def test_a_failed_remote_solve_keeps_the_solutions(self):
        model = str(harness.EXAMPLES / "workshop.mps")
        with held_port() as port:
            self.run_remotely("-read", model, "-solve:res=x", "-solve", "-write-solution", "kept", port=port,
                              token="vln_any")
        self.assertEqual(self.codes()[0], "VLN_RES_ERR_SERVER_UNREACHABLE")
        self.assertIn("optimal", self.text("kept"))


class StartUp(unittest.TestCase):
    def test_no_library_of_the_network_is_linked(self):
        listing = subprocess.run(["ldd", harness.PROGRAM], capture_output=True, text=True, check=True)
        for library in ("curl", "ssl", "crypto", "vorlan_remote"):
            self.assertNotIn(library, listing.stdout)


if __name__ == "__main__":
    unittest.main(verbosity=2)
