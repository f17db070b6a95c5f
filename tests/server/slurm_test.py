#!/usr/bin/env python3
"""`--runner slurm` on a real Slurm of two nodes, which scripts/slurm-cluster sets up in a folder of the test.

Skipped where Slurm is not installed; `scripts/setup slurm` installs it. With VORLAN_SLURM_LONG=1 a node dies, and
200 jobs run on two nodes, which takes some minutes.
"""
import contextlib
import http.client
import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

import harness

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
SEARCHED = os.environ["PATH"] + ":/usr/sbin:/sbin"
LONG = os.environ.get("VORLAN_SLURM_LONG") == "1"
CLUSTER_SLOTS = 4


class Cluster:
    def __init__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="vorlan-slurm-"))
        self.call("start")
        os.environ["SLURM_CONF"] = str(self.folder / "slurm.conf")

    def call(self, what, *words):
        # Its processes stay behind with the output that they were given: so no pipe.
        subprocess.run([ROOT / "scripts/slurm-cluster", what, self.folder, *words], check=True,
                       stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)

    def kill(self, part):
        os.kill(int((self.folder / f"{part}.pid").read_text()), 9)

    def jobs(self, states="all"):
        listed = subprocess.run(["squeue", "-h", "-a", "--me", "-t", states, "-o", "%i %T %N %j"],
                                check=True, capture_output=True, text=True).stdout
        return [line.split(" ") for line in listed.splitlines()]

    def stop(self):
        self.call("stop")
        shutil.rmtree(self.folder, ignore_errors=True)


def setUpModule():
    if not shutil.which("slurmctld", path=SEARCHED):
        raise unittest.SkipTest("Slurm is not installed: scripts/setup slurm")
    SlurmTest.cluster = Cluster()
    unittest.addModuleCleanup(SlurmTest.cluster.stop)


class SlurmTest(harness.ServerTest):
    options = ("--runner", "slurm", "--threads", "1", "--slots", "300")
    cluster = None  # one for all tests

    def tearDown(self):
        subprocess.run(["scancel", "--me", "--signal=KILL", "--full"], check=False, capture_output=True)
        subprocess.run(["scancel", "--me"], check=False, capture_output=True)
        harness.wait_until(lambda: not self.cluster.jobs("PENDING,RUNNING,COMPLETING"), "an empty cluster")
        super().tearDown()

    def programs_before(self, **texts):
        """Puts programs before those of Slurm, whose folder is in $real."""
        folder = self.folder / "programs"
        folder.mkdir()
        for name, text in texts.items():
            program = folder / name
            program.write_text(f"#!/bin/sh\nreal={os.path.dirname(shutil.which(name))}/{name}\n{text}\n")
            program.chmod(0o700)
        before = os.environ["PATH"]
        os.environ["PATH"] = f"{folder}:{before}"
        self.addCleanup(os.environ.__setitem__, "PATH", before)

    def submissions(self, job_id):
        """The jobs that the cluster had for a job."""
        return [job for job in self.cluster.jobs() if f"-{job_id}-" in job[3]]

    def await_state(self, job_id, state):
        """As the cluster calls it."""
        harness.wait_until(lambda: [job[1] for job in self.submissions(job_id)] == [state], f"{job_id} {state}")

    def count_workers_begun(self, job_id):
        return len(list(self.data.glob(f"jobs/*/{job_id}/*/lock")))

    def hard_jobs(self, client, count):
        return [client.submitted(harness.hard_model(), name="hard.mps") for _ in range(count)]


class Jobs(SlurmTest):
    def test_results_are_those_of_a_local_worker(self):
        client = self.start()
        job_id = client.submitted(harness.small_model())
        job = client.await_end(job_id)
        self.assertEqual((job["outcome"], job["attempt"]), ("ok", 1), job)
        solution = client.file(job_id, "solution.plain").body
        self.assertEqual(len(self.submissions(job_id)), 1)
        self.server.terminate()
        self.server = harness.Server(self.data)
        client = self.server.client()
        local = client.submitted(harness.small_model())
        client.await_end(local)
        self.assertEqual(client.file(local, "solution.plain").body, solution)

    def test_stops_what_runs_and_what_waits(self):
        client = self.start()
        running = self.hard_jobs(client, CLUSTER_SLOTS)
        for job_id in running:
            client.await_solve(job_id)
        waiting = self.hard_jobs(client, 2)
        for job_id in waiting:
            self.await_state(job_id, "PENDING")
            self.assertEqual(client.job(job_id)["state"], "queued")
        self.assertEqual(client.request("POST", f"/v1/jobs/{waiting[0]}/stop").status, 202)
        self.assertEqual(client.await_end(waiting[0])["outcome"], "cancelled")
        self.assertEqual(self.count_workers_begun(waiting[0]), 0)
        self.assertEqual(client.request("POST", f"/v1/jobs/{waiting[1]}/cancel").status, 202)
        self.assertEqual(client.await_end(waiting[1])["outcome"], "cancelled")
        client.request("POST", f"/v1/jobs/{running[0]}/stop")
        job = client.await_end(running[0])
        self.assertEqual((job["outcome"], job["termination"]), ("ok", "VLN_RES_TRM_USER_CALLBACK"))
        self.assertEqual(client.file(running[0], "solution.plain").status, 200)
        client.request("POST", f"/v1/jobs/{running[1]}/cancel")
        self.assertEqual(client.await_end(running[1])["outcome"], "cancelled")
        client.request("DELETE", f"/v1/jobs/{running[2]}")
        harness.wait_until(lambda: len(self.running_attempts()) == 1, "one worker left")
        self.assertEqual(client.get(f"/v1/jobs/{running[2]}").status, 404)

    def test_a_worker_that_dies_is_tried_once_more(self):
        client = self.start()
        job_id = self.hard_jobs(client, 1)[0]
        for attempt in (1, 2):
            client.await_job(job_id, lambda job, n=attempt: job["attempt"] == n and
                             job["solve_seconds"] is not None, f"attempt {attempt}")
            os.kill(int((self.running_attempts()[0] / "pid").read_text()), 9)
        job = client.await_end(job_id)
        self.assertEqual((job["outcome"], job["attempt"]), ("lost", 2))
        self.assertIn("Slurm: ", job["message"])

    def test_what_the_cluster_refuses_is_told(self):
        client = self.start("--slurm-options", "--partition=nowhere")
        job = client.await_end(client.submitted(harness.small_model()))
        self.assertEqual(job["outcome"], "lost")
        self.assertIn("nvalid partition", job["message"])

    def test_the_jail_is_there(self):
        client = self.start()
        job_id = self.hard_jobs(client, 1)[0]
        client.await_solve(job_id)
        pid = (self.running_attempts()[0] / "pid").read_text()
        status = pathlib.Path(f"/proc/{pid}/status").read_text()
        self.assertIn("NoNewPrivs:\t1", status)
        self.assertIn("Seccomp:\t2", status)
        environment = pathlib.Path(f"/proc/{pid}/environ").read_bytes()
        self.assertEqual(environment, b"PATH=/usr/bin:/bin\0LC_ALL=C\0")


class FallsTest(SlurmTest):

    def check_whole(self, client, job_ids):
        for job_id in job_ids:
            job = client.await_end(job_id)
            self.assertEqual((job["outcome"], job["attempt"]), ("ok", 1), job)
            self.assertEqual(self.count_workers_begun(job_id), 1)
        self.assertEqual(self.running_attempts(), [])


class Falls(FallsTest):
    """The server falls; its jobs on the cluster do not notice."""

    def check_step(self, step):
        client = self.start(fall_at=step)
        # The fall can come before the answer is whole.
        with contextlib.suppress(OSError, http.client.HTTPException):
            client.submit(harness.small_model(), key="key")
        self.assertEqual(self.server.wait(), -9)
        client = self.start()
        job_id = client.submitted(harness.small_model(), key="key")
        self.check_whole(client, [job_id])
        self.assertEqual([job["id"] for job in client.get("/v1/jobs").json()["jobs"]], [job_id])

    def test_before_the_submission(self):
        self.check_step("slurm.scripted")

    def test_before_the_answer(self):
        self.check_step("slurm.submitted")

    def test_running_and_waiting_jobs_are_adopted(self):
        client = self.start()
        hard = self.hard_jobs(client, CLUSTER_SLOTS)
        for job_id in hard:
            client.await_solve(job_id)
        waiting = client.submitted(harness.small_model())
        self.await_state(waiting, "PENDING")
        self.server.kill()
        client = self.start()
        client.await_job(hard[0], lambda job: job["state"] == "running", "the adopted worker")
        for job_id in hard:
            client.request("POST", f"/v1/jobs/{job_id}/stop")
        self.check_whole(client, [*hard, waiting])
        for job_id in (*hard, waiting):
            self.assertEqual(len(self.submissions(job_id)), 1)

    def test_a_lost_answer_is_found_by_name(self):
        self.programs_before(sbatch='"$real" "$@" >/dev/null; exit 1')
        client = self.start()
        job_id = client.submitted(harness.small_model())
        self.check_whole(client, [job_id])
        self.assertEqual(len(self.submissions(job_id)), 1)

    def test_a_submission_that_comes_twice_runs_once(self):
        self.programs_before(sbatch='"$real" "$@" >/dev/null; exec "$real" "$@"')
        client = self.start()
        job_id = client.submitted(harness.small_model())
        self.check_whole(client, [job_id])
        self.assertEqual(len(self.submissions(job_id)), 2)
        self.assertEqual(client.job(job_id)["outcome"], "ok")


@unittest.skipUnless(LONG, "takes minutes: VORLAN_SLURM_LONG=1")
class Long(FallsTest):
    def await_saved_state(self):
        """The controller writes down its jobs some seconds later, and after a fall ends those it never wrote."""
        state = self.cluster.folder / "state" / "job_state"
        asked = harness.time.time()
        subprocess.run(["scontrol", "update", "JobId=" + self.cluster.jobs("RUNNING")[0][0], "Comment=x"], check=True)
        harness.wait_until(lambda: state.exists() and state.stat().st_mtime > asked, "the controller's state")

    def test_the_controller_falls(self):
        client = self.start()
        running = self.hard_jobs(client, 1)[0]
        client.await_solve(running)
        limited = client.submitted(harness.hard_model(), name="h.mps", time_limit="12")
        client.await_solve(limited)
        self.await_saved_state()
        self.cluster.kill("slurmctld")
        try:
            later = client.submitted(harness.small_model())
            # Its files tell the end.
            self.assertEqual(client.await_end(limited)["outcome"], "ok")
            harness.wait_until(lambda: client.get("/readyz").status == 503, "the trouble to be told")
            self.assertNotEqual(client.job(later)["state"], "ended")
            self.assertEqual(client.request("POST", f"/v1/jobs/{running}/stop").status, 202)
        finally:
            self.cluster.call("run", "slurmctld")
        self.assertEqual(client.await_end(running)["termination"], "VLN_RES_TRM_USER_CALLBACK")
        self.check_whole(client, [running, limited, later])
        harness.wait_until(lambda: client.get("/readyz").status == 200, "the trouble's end")

    def test_200_jobs_on_two_nodes(self):
        client = self.start()
        begin = harness.time.monotonic()
        job_ids = [client.submitted(harness.small_model()) for _ in range(200)]
        for job_id in job_ids:
            job = client.await_end(job_id)
            self.assertEqual((job["outcome"], job["attempt"]), ("ok", 1), job)
        print(f"200 jobs in {harness.time.monotonic() - begin:.1f} s")
        jobs = [job for job_id in job_ids for job in self.submissions(job_id)]
        self.assertEqual(len(jobs), 200)
        self.assertEqual({node for _, _, node, _ in jobs}, {"n1", "n2"})

    def test_a_node_dies(self):
        client = self.start()
        jobs = self.hard_jobs(client, CLUSTER_SLOTS)
        for job_id in jobs:
            client.await_solve(job_id)
        self.cluster.kill("n2")
        pids = [int((attempt / "pid").read_text()) for attempt in self.running_attempts()]
        died = [name.split("-")[1] for _, _, node, name in self.cluster.jobs("RUNNING") if node == "n2"]
        self.assertEqual(len(died), 2)
        for job_id in set(jobs) - set(died):
            client.request("POST", f"/v1/jobs/{job_id}/stop")
            self.assertEqual(client.await_end(job_id)["outcome"], "ok")
        # The controller notices, and the other node takes over.
        for job_id in died:
            client.await_job(job_id, lambda job: job["attempt"] == 2 and job["solve_seconds"] is not None,
                             "the second attempt")
            client.request("POST", f"/v1/jobs/{job_id}/stop")
            job = client.await_end(job_id)
            self.assertEqual((job["outcome"], job["attempt"]), ("ok", 2), job)
        # Nobody on a dead node's machine ends its workers for it.
        for pid in pids:
            try:
                os.kill(pid, 9)
            except ProcessLookupError:
                pass
        self.cluster.call("run", "n2")


if __name__ == "__main__":
    harness.main()
