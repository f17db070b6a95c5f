#!/usr/bin/env python3
"""The server falls, as by kill -9, at each named step and at random moments: each job that was answered
with 201 ends exactly once, no worker and no leftover stays.

VORLAN_FALLS sets how many random falls there are (5).
"""
import os
import random
import unittest

import harness

FALLS = int(os.environ.get("VORLAN_FALLS", "5"))


class Falls(harness.ServerTest):
    options = ("--slots", "2")

    def check_whole(self, client, job_ids):
        """Every job has ended, with its result, in one attempt's folder; nothing else is there."""
        for job_id in job_ids:
            job = client.await_end(job_id)
            self.assertEqual((job["outcome"], job["response"]), ("ok", "VLN_RES_OK"), job)
            self.assertEqual(client.file(job_id, "solution.plain").body, self.expected)
        listed = [job["id"] for job in client.get("/v1/jobs?limit=1000").json()["jobs"]]
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

    def test_random_falls(self):
        numbers = random.Random(os.environ.get("VORLAN_SEED", "1"))
        keys = []
        for fall in range(FALLS):
            client = self.start()
            moment = numbers.uniform(0.0, 0.4)
            end = harness.time.monotonic() + moment
            while harness.time.monotonic() < end:
                keys.append(f"random-{len(keys)}")
                self.assertIn(client.submit(harness.small_model(), key=keys[-1]).status, (200, 201))
            self.server.kill()
        client = self.start()
        job_ids = [client.submitted(harness.small_model(), key=key) for key in keys]
        self.assertEqual(len(set(job_ids)), len(keys))
        self.check_whole(client, job_ids)
        for job_id in job_ids:
            self.assertLessEqual(self.count_ends(job_id), 1)


if __name__ == "__main__":
    unittest.main(verbosity=2)
