#!/usr/bin/env python3
"""Jobs from submission to deletion, on a server that nothing disturbs."""
import gzip
import hashlib
import subprocess
import unittest

import harness


class Jobs(harness.ServerTest):
    def test_a_job_gives_what_the_program_gives(self):
        client = self.start()
        job = client.await_end(client.submitted(harness.small_model(), name="workshop.mps"))
        self.assertEqual((job["outcome"], job["response"], job["termination"], job["attempt"]),
                         ("ok", "VLN_RES_OK", "VLN_RES_OK", 1))
        subprocess.run([harness.PROGRAM, "-read", str(harness.EXAMPLES / "workshop.mps"), "-solve",
                        "-write-solution", "local.plain", "-write-solution", "local.json"],
                       cwd=self.folder, check=True, capture_output=True)
        for kind in ("plain", "json"):
            remote = client.file(job["id"], f"solution.{kind}")
            self.assertEqual(remote.status, 200)
            self.assertEqual(remote.body, (self.folder / f"local.{kind}").read_bytes())

    def test_results_have_the_announced_length_and_digest(self):
        client = self.start()
        job = client.await_end(client.submitted(harness.small_model()))
        names = {result["name"] for result in job["results"]}
        self.assertEqual(names, {"result", "solution.json", "solution.plain", "log", "solve.log"})
        for result in job["results"]:
            body = client.get(result["href"]).body
            self.assertEqual(len(body), result["bytes"])
            self.assertEqual(hashlib.sha256(body).hexdigest(), result["sha256"])
            self.assertEqual(client.get(result["href"] + "?from=10").body, body[10:])

    def test_the_content_says_format_and_compression_where_the_name_does_not(self):
        client = self.start()
        body = gzip.compress(harness.small_model())
        job = client.await_end(client.submitted(body, name="../../etc/passwd"))
        self.assertEqual(job["outcome"], "ok")

    def test_a_problem_that_cannot_be_read_fails_at_once_with_the_reason(self):
        client = self.start()
        job = client.await_end(client.submitted(b"ROWS\n X what\n", name="bad.mps"))
        self.assertEqual((job["outcome"], job["response"], job["attempt"]),
                         ("failed", "VLN_RES_ERR_FILE_CONTENT", 1))
        self.assertTrue(job["message"].startswith("bad.mps:2:2:"), job["message"])
        job = client.await_end(client.submitted(b"ROWS\n X what\n"))
        self.assertTrue(job["message"].startswith("problem:2:2:"), job["message"])

    def test_a_problem_above_the_size_limit_is_refused_by_the_worker(self):
        client = self.start("--max-variables", "2")
        job = client.await_end(client.submitted(harness.small_model(), name="m.mps"))
        self.assertEqual((job["outcome"], job["response"], job["message"]),
                         ("failed", "VLN_RES_ERR_SERVER_PROBLEM_SIZE", "Too many variables"))

    def test_a_problem_file_cannot_make_the_worker_write_elsewhere(self):
        client = self.start()
        target = self.folder / "planted"
        subprocess.run([harness.PROGRAM, "-read", str(harness.EXAMPLES / "workshop.mps"), "-d",
                        "VLN_SPAR_JSON_SOLUTION_FILE", str(target), "-write", "trap.jtask"],
                       cwd=self.folder, check=True, capture_output=True)
        body = (self.folder / "trap.jtask").read_bytes()
        self.assertIn(b"planted", body)
        job = client.await_end(client.submitted(body, name="trap.jtask"))
        self.assertEqual(job["outcome"], "ok")
        self.assertFalse(target.exists())

    def test_stopping_keeps_the_results_so_far(self):
        client = self.start()
        job_id = client.submitted(harness.hard_model(), name="hard.mps")
        client.await_solve(job_id)
        self.assertIn(client.request("POST", f"/v1/jobs/{job_id}/stop").status, (200, 202))
        job = client.await_end(job_id)
        self.assertEqual((job["outcome"], job["response"], job["termination"]),
                         ("ok", "VLN_RES_OK", "VLN_RES_TRM_USER_CALLBACK"))
        self.assertIn(b"Optimization ended", client.file(job_id, "solve.log").body)
        self.assertEqual(client.request("POST", f"/v1/jobs/{job_id}/stop").status, 202)

    def test_stopping_a_worker_that_has_just_begun_ends_it(self):
        client = self.start()
        job_ids = [client.submitted(harness.hard_model(), name="hard.mps") for _ in range(3)]
        for job_id in job_ids:
            client.request("POST", f"/v1/jobs/{job_id}/stop")
        for job_id in job_ids:
            job = client.await_end(job_id)
            self.assertIn(job["outcome"], ("ok", "cancelled"))
            self.assertEqual(job["attempt"] <= 1, True)

    def test_cancelling_leaves_no_result_and_no_process(self):
        client = self.start()
        job_id = client.submitted(harness.hard_model(), name="hard.mps")
        client.await_solve(job_id)
        client.request("POST", f"/v1/jobs/{job_id}/cancel")
        job = client.await_end(job_id)
        self.assertEqual(job["outcome"], "cancelled")
        self.assertEqual(client.file(job_id, "result").status, 404)
        self.assertEqual(self.running_attempts(), [])

    def test_deleting_a_running_job_leaves_nothing(self):
        client = self.start()
        job_id = client.submitted(harness.hard_model(), name="hard.mps")
        client.await_solve(job_id)
        self.assertEqual(client.request("DELETE", f"/v1/jobs/{job_id}").status, 204)
        self.assertEqual(client.get(f"/v1/jobs/{job_id}").status, 404)
        harness.wait_until(lambda: not list(self.data.glob("jobs/*/*")), "the folder to vanish")

    def test_the_time_limit_counts_solving_and_is_capped(self):
        client = self.start("--time-limit", "1", "--slots", "1")
        first, second = [client.submitted(harness.hard_model(), name="h.mps") for _ in range(2)]
        for job_id in (first, second):
            job = client.await_end(job_id)
            self.assertEqual((job["response"], job["termination"]),
                             ("VLN_RES_OK", "VLN_RES_TRM_USER_CALLBACK"))
            self.assertGreaterEqual(job["solve_seconds"], 1.0)
        self.assertEqual(client.submit(b"x", time_limit="2").status, 400)

    def test_a_wait_returns_at_a_change_and_the_log_follows(self):
        client = self.start()
        job_id = client.submitted(harness.hard_model(), name="hard.mps")
        seq, log = 0, b""
        for _ in range(1000):
            job = client.get(f"/v1/jobs/{job_id}?wait=20&after={seq}").json()
            self.assertNotEqual(job["seq"], seq)
            seq = job["seq"]
            log += client.get(f"/v1/jobs/{job_id}/solve.log?from={len(log)}").body
            if job["state"] == "ended":
                break
            if b"Optimization of" in log:
                client.request("POST", f"/v1/jobs/{job_id}/stop")
        self.assertEqual(log, client.file(job_id, "solve.log").body)

    def test_owners_take_turns_and_priorities_count_within_one(self):
        client = self.start("--slots", "1")
        other = self.server.client(self.new_token("other"))
        blocker = client.submitted(harness.hard_model(), name="h.mps")
        client.await_solve(blocker)
        low, high = [client.submitted(harness.small_model(), priority=p) for p in (0, 5)]
        single = other.submitted(harness.small_model())
        self.assertEqual(client.job(high)["queue_place"], 1)
        client.request("POST", f"/v1/jobs/{blocker}/cancel")
        ends = [(c.await_end(j)["solve_began"], n) for c, j, n in
                ((client, low, "low"), (client, high, "high"), (other, single, "single"))]
        self.assertEqual([name for _, name in sorted(ends)], ["single", "high", "low"])

    def test_the_list_is_paged_newest_first(self):
        client = self.start()
        ids = [client.submitted(harness.small_model(), name=f"n{i}") for i in range(5)]
        seen, after = [], ""
        for _ in range(5):
            page = client.get(f"/v1/jobs?limit=2&after={after}").json()
            seen += [job["id"] for job in page["jobs"]]
            after = page["next"]
            if after is None:
                break
        self.assertEqual(seen, sorted(ids, reverse=True))

    def test_a_job_that_ended_reads_the_same_after_a_restart(self):
        client = self.start()
        job_id = client.submitted(harness.small_model(), name="w.mps", priority="3", time_limit="60")
        before = client.await_end(job_id)
        self.server.terminate()
        after = self.start().job(job_id)
        # Numbers of news begin anew with the server.
        self.assertEqual({**after, "seq": 0}, {**before, "seq": 0})

    def test_ended_jobs_expire(self):
        client = self.start("--retention", "0")
        job_id = client.submitted(harness.small_model())
        client.await_end(job_id)
        self.server.terminate()
        client = self.start("--retention", "0")
        self.assertEqual(client.get(f"/v1/jobs/{job_id}").status, 404)

    def test_a_worker_that_cannot_start_is_a_lost_job(self):
        self.start()
        self.server.terminate()
        client = self.start("--worker", "/bin/false")
        job = client.await_end(client.submitted(harness.small_model()))
        self.assertEqual((job["outcome"], job["response"], job["attempt"]),
                         ("lost", "VLN_RES_ERR_OPTIMIZER_DIED", 2))


class Idempotency(harness.ServerTest):
    def test_a_key_makes_one_job(self):
        client = self.start()
        first = client.submit(harness.small_model(), key="k1")
        again = client.submit(harness.small_model(), key="k1")
        self.assertEqual((first.status, again.status), (201, 200))
        self.assertEqual(again.headers["Idempotent-Replayed"], "true")
        self.assertEqual(first.json()["id"], again.json()["id"])
        self.assertEqual(client.submit(b"other", key="k1").status, 422)
        self.assertEqual(len(client.get("/v1/jobs?key=k1").json()["jobs"]), 1)

    def test_a_key_belongs_to_its_owner(self):
        client = self.start()
        other = self.server.client(self.new_token("other"))
        first = client.submitted(harness.small_model(), key="k1")
        second = other.submitted(harness.small_model(), key="k1")
        self.assertNotEqual(first, second)

    def test_a_key_outlives_the_server(self):
        client = self.start()
        first = client.submitted(harness.small_model(), key="k1")
        self.server.kill()
        client = self.start()
        self.assertEqual(client.submitted(harness.small_model(), key="k1"), first)

    def test_a_submission_given_up_leaves_nothing(self):
        client = self.start()
        job_id = client.submitted(harness.hard_model(), key="k1")
        self.assertEqual(client.request("DELETE", "/v1/jobs?key=k1").status, 204)
        self.assertEqual(client.get(f"/v1/jobs/{job_id}").status, 404)
        harness.wait_until(lambda: not list(self.data.glob("jobs/*/*")), "the folder to vanish")
        self.assertEqual(client.request("DELETE", "/v1/jobs?key=k2").status, 204)
        self.assertEqual(client.submit(harness.small_model(), key="k2").status, 409)


if __name__ == "__main__":
    unittest.main(verbosity=2)
