#!/usr/bin/env python3
"""The server falls, as by kill -9, at each named step and at random moments: each job that was answered
with 201 ends exactly once, no worker and no leftover stays.

VORLAN_FALLS sets how many random falls there are (5).
"""
import os
import random
import subprocess
import unittest

import harness

FALLS = int(os.environ.get("VORLAN_FALLS", "5"))
# Jobs that have not ended when the server falls, at least; in a long campaign only, for the time that it takes.
UNDER_WAY = 20 if FALLS > 5 else 0


class FallsTest(harness.ServerTest):
    options = ("--slots", "2")

    def check_whole(self, client, job_ids):
        """Every job has ended, with its result, in one attempt's folder; nothing else is there."""
        for job_id in job_ids:
            job = client.await_end(job_id)
            self.assertEqual((job["outcome"], job["response"]), ("ok", "VLN_RES_OK"), job)
            self.assertEqual(client.file(job_id, "solution.plain").body, self.expected)
        listed = client.all_ids()
        self.assertEqual(len(listed), len(set(listed)))
        folders = sorted(folder.name for folder in self.data.glob("jobs/*/*"))
        self.assertEqual(folders, sorted(listed))
        self.assertEqual(list(self.data.glob("incoming/*")), [])
        self.assertEqual(self.running_attempts(), [])
        return listed

    def count_ends(self, job_id):
        log = (self.folder / "data.log").read_text()
        return log.count(f'"event":"job ended","job":"{job_id}"')

    def setUp(self):
        super().setUp()
        client = self.start()
        job_id = client.submitted(harness.small_model())
        client.await_end(job_id)
        self.expected = client.file(job_id, "solution.plain").body
        client.request("DELETE", f"/v1/jobs/{job_id}")
        self.server.terminate()


class Falls(FallsTest):
    def try_submit(self, client, key):
        """The answer, or None when the server fell."""
        try:
            return client.submit(harness.small_model(), key=key)
        except OSError:
            return None
        except harness.http.client.HTTPException:
            return None

    def check_step(self, step):
        """Submits under keys until the server falls, then again to the next server."""
        client = self.start(fall_at=f"{step}:2")
        keys = [f"key-{n}" for n in range(6)]
        answers = {key: self.try_submit(client, key) for key in keys}
        harness.wait_until(lambda: self.server.process.poll() is not None, f"the fall at {step}")
        self.assertEqual(self.server.wait(), -9)
        accepted = {key: answer.json()["id"] for key, answer in answers.items()
                    if answer is not None and answer.status == 201}
        client = self.start()
        for key, job_id in accepted.items():
            self.assertEqual(client.submitted(harness.small_model(), key=key), job_id)
        job_ids = [client.submitted(harness.small_model(), key=key) for key in keys]
        self.assertEqual(sorted(self.check_whole(client, job_ids)), sorted(job_ids))

    def test_submit_received(self):
        self.check_step("submit.received")

    def test_submit_renamed(self):
        self.check_step("submit.renamed")

    def test_submit_committed(self):
        self.check_step("submit.committed")

    def test_start_committed(self):
        self.check_step("start.committed")

    def test_start_spawned(self):
        self.check_step("start.spawned")

    def test_end_over(self):
        self.check_step("end.over")

    def test_end_secured(self):
        self.check_step("end.secured")

    def test_end_committed(self):
        self.check_step("end.committed")

    def check_wish(self, step, method, path):
        client = self.start(fall_at=step)
        job_id = client.submitted(harness.hard_model(), name="hard.mps")
        client.await_solve(job_id)
        try:
            client.request(method, path.format(job_id))
        except (OSError, harness.http.client.HTTPException):
            pass
        harness.wait_until(lambda: self.server.process.poll() is not None, f"the fall at {step}")
        self.server.wait()
        return self.start(), job_id

    def test_a_stop_is_kept(self):
        client, job_id = self.check_wish("wish.committed", "POST", "/v1/jobs/{}/stop")
        job = client.await_end(job_id)
        self.assertEqual((job["outcome"], job["termination"], job["attempt"]),
                         ("ok", "VLN_RES_TRM_USER_CALLBACK", 1))

    def test_a_cancellation_is_kept(self):
        client, job_id = self.check_wish("wish.committed", "POST", "/v1/jobs/{}/cancel")
        self.assertEqual(client.await_end(job_id)["outcome"], "cancelled")
        self.assertEqual(self.running_attempts(), [])

    def test_a_deletion_is_kept(self):
        client, job_id = self.check_wish("wish.committed", "DELETE", "/v1/jobs/{}")
        self.assertEqual(client.get(f"/v1/jobs/{job_id}").status, 404)
        harness.wait_until(lambda: not list(self.data.glob("jobs/*/*")), "the folder to vanish")
        self.assertEqual(self.running_attempts(), [])

    def test_a_deletion_half_done_is_finished(self):
        client = self.start(fall_at="delete.committed")
        job_id = client.submitted(harness.small_model())
        client.await_end(job_id)
        with self.assertRaises((OSError, harness.http.client.HTTPException)):
            client.request("DELETE", f"/v1/jobs/{job_id}")
        self.server.wait()
        client = self.start()
        self.assertEqual(client.get(f"/v1/jobs/{job_id}").status, 404)
        self.assertEqual(list(self.data.glob("jobs/*/*")), [])

    def test_a_running_worker_is_adopted(self):
        client = self.start()
        job_id = client.submitted(harness.hard_model(), name="hard.mps")
        client.await_solve(job_id)
        worker = self.running_attempts()[0]
        pid = (worker / "pid").read_text()
        self.server.kill()
        client = self.start()
        self.assertEqual(client.job(job_id)["state"], "running")
        self.assertEqual(client.job(job_id)["attempt"], 1)
        client.request("POST", f"/v1/jobs/{job_id}/stop")
        self.assertEqual(client.await_end(job_id)["outcome"], "ok")
        self.assertEqual((worker / "pid").read_text(), pid)

    def test_a_worker_that_ends_while_no_server_runs_counts(self):
        client = self.start()
        job_id = client.submitted(harness.hard_model(), name="hard.mps", time_limit="1")
        client.await_solve(job_id)
        self.server.kill()
        harness.wait_until(lambda: not self.running_attempts(), "the worker's end")
        job = self.start().await_end(job_id)
        self.assertEqual((job["outcome"], job["attempt"]), ("ok", 1))

    def test_a_worker_that_dies_is_tried_once_more(self):
        client = self.start()
        job_id = client.submitted(harness.hard_model(), name="hard.mps")
        for attempt in (1, 2):
            client.await_job(job_id, lambda job, n=attempt: job["attempt"] == n and
                             job["solve_seconds"] is not None, f"attempt {attempt}")
            pid = int((self.running_attempts()[0] / "pid").read_text())
            os.kill(pid, 9)
        job = client.await_end(job_id)
        self.assertEqual((job["outcome"], job["response"], job["attempt"]),
                         ("lost", "VLN_RES_ERR_OPTIMIZER_DIED", 2))
        self.assertEqual(self.running_attempts(), [])

    def test_ending_leaves_workers_to_the_next_server(self):
        client = self.start()
        job_id = client.submitted(harness.hard_model(), name="hard.mps")
        client.await_solve(job_id)
        self.assertEqual(self.server.terminate(), 0)
        self.assertEqual(len(self.running_attempts()), 1)
        client = self.start()
        self.assertEqual(client.job(job_id)["attempt"], 1)
        client.request("POST", f"/v1/jobs/{job_id}/cancel")
        self.assertEqual(client.await_end(job_id)["outcome"], "cancelled")

    def submit_until_many_are_open(self, client, keys):
        def count(state):
            return len(client.get(f"/v1/jobs?state={state}&limit={UNDER_WAY}").json()["jobs"])
        while count("queued") + count("running") < UNDER_WAY:
            keys.append(f"random-{len(keys)}")
            self.assertIn(client.submit(harness.small_model(), key=keys[-1]).status, (200, 201))

    def test_random_falls(self):
        numbers = random.Random(os.environ.get("VORLAN_SEED", "1"))
        keys = []
        # Workers that are slower than submissions, in a folder that the jail knows nothing of.
        slow = f"sleep 0.1; exec {harness.PROGRAM} \"$@\""
        options = ("--jail", "no", "--worker", harness.fake_worker(self.folder, slow)) if UNDER_WAY else ()
        for fall in range(FALLS):
            client = self.start(*options)
            self.submit_until_many_are_open(client, keys)
            moment = numbers.uniform(0.0, 0.4)
            end = harness.time.monotonic() + moment
            while harness.time.monotonic() < end:
                keys.append(f"random-{len(keys)}")
                self.assertIn(client.submit(harness.small_model(), key=keys[-1]).status, (200, 201))
            self.server.kill()
        client = self.start(*options)
        job_ids = [client.submitted(harness.small_model(), key=key) for key in keys]
        self.assertEqual(len(set(job_ids)), len(keys))
        self.check_whole(client, job_ids)
        for job_id in job_ids:
            self.assertLessEqual(self.count_ends(job_id), 1)
        print(f"{FALLS} falls, {len(job_ids)} jobs")


class Deaths(FallsTest):
    """The same, with workers killed at random as well; a job may then be lost, but only after two attempts."""

    def test_random_deaths_of_workers(self):
        numbers = random.Random(os.environ.get("VORLAN_SEED", "1"))
        # Slow enough to be caught; in a folder that the jail knows nothing of.
        slow = f"sleep 0.1; exec {harness.PROGRAM} \"$@\""
        client = self.start("--jail", "no", "--worker", harness.fake_worker(self.folder, slow))
        job_ids = [client.submitted(harness.small_model()) for _ in range(20 * min(FALLS, 50))]
        kills = 0
        # Each job by itself: one that is tried again goes back to the queue between lists of two states.
        while any(client.job(job_id)["state"] != "ended" for job_id in job_ids):
            for attempt in self.running_attempts():
                if numbers.random() >= 0.1:
                    continue
                try:
                    pid = (attempt / "pid").read_text()  # once: an attempt that begins empties it
                    if pid:
                        os.kill(int(pid), 9)
                        kills += 1
                except (FileNotFoundError, ProcessLookupError):
                    pass
        for job_id in job_ids:
            job = client.job(job_id)
            self.assertEqual(self.count_ends(job_id), 1)
            if job["outcome"] == "lost":
                self.assertEqual(job["attempt"], 2)
            else:
                self.assertEqual(job["outcome"], "ok", job)
                self.assertEqual(client.file(job_id, "solution.plain").body, self.expected)
        self.assertGreater(kills, 0)
        self.assertEqual(self.running_attempts(), [])


@unittest.skipUnless(os.environ.get("VORLAN_FAILING_DISK"), "there is no preloaded library beside sanitizers")
class FailingDisk(FallsTest):
    """A disk that fails for moments, at one call of twelve, under the store and the jobs' folders."""

    def setUp(self):
        super().setUp()
        self.switch = self.folder / "disk-fails"
        self.environment = {"LD_PRELOAD": os.environ["VORLAN_FAILING_DISK"], "VORLAN_DISK_PATH": str(self.data) + "/",
                            "VORLAN_DISK_SWITCH": str(self.switch), "VORLAN_DISK_ODDS": "12"}

    def submit_for(self, client, seconds, keys, accepted):
        """Submits until the time is over, whatever comes of it."""
        end = harness.time.monotonic() + seconds
        while harness.time.monotonic() < end:
            harness.time.sleep(0.02)
            keys.append(f"disk-{len(keys)}")
            try:
                answer = client.submit(harness.small_model(), key=keys[-1])
            except (OSError, harness.http.client.HTTPException):
                continue
            self.refused += answer.status == 507
            if answer.status == 201:
                accepted[keys[-1]] = answer.json()["id"]

    def test_nothing_is_lost(self):
        numbers = random.Random(os.environ.get("VORLAN_SEED", "1"))
        keys, accepted = [], {}
        self.refused = 0
        client = self.start(environment=self.environment)
        for _ in range(FALLS):
            self.submit_for(client, 0.05, keys, accepted)
            self.switch.touch()
            self.submit_for(client, numbers.uniform(0.1, 0.5), keys, accepted)
            falls = numbers.random() < 0.5
            if falls:
                self.server.kill()
            self.switch.unlink()
            if falls:
                client = self.start(environment=self.environment)
            self.assertIsNone(self.server.process.poll())
        job_ids = [client.submitted(harness.small_model(), key=key) for key in keys]
        self.assertEqual(len(set(job_ids)), len(keys))
        for key, job_id in accepted.items():
            self.assertEqual(job_ids[keys.index(key)], job_id)
        for job_id in job_ids:
            client.await_end(job_id)
        # What could not be removed goes when a server starts.
        self.server.terminate()
        self.check_whole(self.start(), job_ids)
        for job_id in job_ids:
            self.assertLessEqual(self.count_ends(job_id), 1)
        self.assertGreater(self.refused, 0)
        print(f"{FALLS} moments, {len(job_ids)} jobs, {self.refused} refused at first")

    def test_a_result_that_cannot_be_read_is_waited_for(self):
        client = self.start(environment={**self.environment, "VORLAN_DISK_PATH": "/1/result", "VORLAN_DISK_ODDS": "1"})
        job_id = client.submitted(harness.hard_model(), name="hard.mps", time_limit="0.5")
        client.await_solve(job_id)
        self.switch.touch()
        log = self.folder / "data.log"
        harness.wait_until(lambda: "files cannot be read" in log.read_text(), "the trouble to be told")
        self.assertNotEqual(client.job(job_id)["state"], "ended")
        self.switch.unlink()
        job = client.await_end(job_id)
        self.assertEqual((job["outcome"], job["attempt"], self.count_ends(job_id)), ("ok", 1, 1))
        self.assertEqual(client.file(job_id, "result").status, 200)


class FullDisk(harness.ServerTest):
    """A data folder on a small file system of its own, which fills."""

    options = ("--slots", "1")

    def setUp(self):
        super().setUp()
        self.data.mkdir()
        mounted = subprocess.run(["mount", "-t", "tmpfs", "-o", "size=100m", "none", self.data],
                                 capture_output=True, check=False)
        if mounted.returncode != 0:
            self.skipTest("nothing can be mounted here")
        self.addCleanup(harness.shutil.rmtree, self.folder, ignore_errors=True)
        self.addCleanup(subprocess.run, ["umount", "-l", self.data], check=True)

    def fill(self):
        self.filler = self.data / "filler"
        with open(self.filler, "wb", buffering=0) as file:
            try:
                while True:
                    file.write(bytes(1 << 16))
            except OSError:
                pass

    def test_it_refuses_more_and_loses_nothing(self):
        client = self.start()
        ended = client.submitted(harness.small_model())
        client.await_end(ended)
        running = client.submitted(harness.hard_model(), name="h.mps")
        client.await_solve(running)
        queued = client.submitted(harness.small_model())
        self.fill()
        self.assertEqual(client.get("/readyz").status, 503)
        answer = client.submit(harness.small_model(), key="later")
        self.assertEqual((answer.status, answer.json()["type"]), (507, "urn:vorlan:problem:no-room"))
        self.assertEqual(client.job(ended)["outcome"], "ok")
        # The worker finds no room for its results and dies: that is no attempt.
        for attempt in self.running_attempts():
            os.kill(int((attempt / "pid").read_text()), 9)
        client.await_job(running, lambda job: job["state"] == "queued", "the job in the queue again")
        harness.time.sleep(1.5)
        self.assertEqual({client.job(job_id)["state"] for job_id in (running, queued)}, {"queued"})
        self.filler.unlink()
        client.await_solve(running)
        client.request("POST", f"/v1/jobs/{running}/stop")
        self.assertEqual(client.await_end(running)["outcome"], "ok")
        self.assertEqual(client.await_end(queued)["outcome"], "ok")
        self.assertEqual(client.submit(harness.small_model(), key="later").status, 201)

    def test_a_body_that_finds_no_room_half_way(self):
        client = self.start()
        client.get("/readyz")

        def body():
            for _ in range(60):
                yield 1_000_000 * b"x"
            self.fill()
            for _ in range(60):
                yield 1_000_000 * b"x"
        try:
            self.assertEqual(client.request("POST", "/v1/jobs", body()).status, 507)
        except (BrokenPipeError, ConnectionResetError):
            pass  # the answer came while the body was still being sent
        self.filler.unlink()
        harness.wait_until(lambda: not list(self.data.glob("incoming/*")), "the body to vanish")
        self.assertEqual(client.get("/v1/jobs").json()["jobs"], [])

    def test_a_server_that_falls_on_a_full_disk_starts_again(self):
        client = self.start()
        running = client.submitted(harness.hard_model(), name="h.mps")
        client.await_solve(running)
        queued = client.submitted(harness.small_model())
        self.fill()
        self.server.kill()
        self.filler.unlink()
        client = self.start()
        client.request("POST", f"/v1/jobs/{running}/stop")
        self.assertEqual(client.await_end(running)["outcome"], "ok")
        self.assertEqual(client.await_end(queued)["outcome"], "ok")


if __name__ == "__main__":
    unittest.main(verbosity=2)
