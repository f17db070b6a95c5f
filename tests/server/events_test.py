#!/usr/bin/env python3
"""Server-sent events: nothing is missing, nothing comes twice, whenever the wire is cut; and the page."""
import contextlib
import os
import socket
import unittest

import harness


class JobEvents(harness.ServerTest):
    def log_of(self, client, job_id):
        return client.get(f"/v1/jobs/{job_id}/log").body.decode()

    def test_states_log_and_end(self):
        client = self.start()
        job_id = client.submitted(harness.small_model(), name="w.mps")
        events = list(client.events(f"/v1/jobs/{job_id}/events"))
        self.assertEqual(events[-1][0], "end")
        jobs = [data for name, data in events if name == "job"]
        self.assertEqual(jobs[-1]["outcome"], "ok")
        self.assertEqual(jobs[-1], client.job(job_id))
        text = "".join(data["text"] for name, data in events if name == "log")
        self.assertIn("Optimization ended", text)
        self.assertEqual(text, self.log_of(client, job_id))

    def test_each_cut_is_resumed_without_gap_or_double(self):
        numbers = " ".join(str(number) for number in range(1, 61))
        lines = f"for i in $(seq 1 400); do echo line $i {numbers}; done >> log"
        script = f"{lines}; sleep 0.5; {lines}; {harness.DONE}"
        client = self.start("--worker", harness.fake_worker(self.folder, script))
        job_id = client.submitted(b"x")
        text, position, pieces = "", None, 0
        while True:
            events = client.events(f"/v1/jobs/{job_id}/events", position)
            name = None
            for name, data in events:
                if name == "log":
                    self.assertEqual(data["from"], len(text))
                    text += data["text"]
                    pieces += 1
                    break
            position = events.position
            events.close()
            if name == "end":
                break
        self.assertGreater(pieces, 5)
        self.assertEqual(text, self.log_of(client, job_id))

    def test_a_second_attempt_begins_its_log_anew(self):
        script = f"case $PWD in */1) echo first > log; exit 1;; esac; echo second > log; {harness.DONE}"
        client = self.start("--worker", harness.fake_worker(self.folder, script))
        job_id = client.submitted(b"x")
        client.await_end(job_id)
        events = list(client.events(f"/v1/jobs/{job_id}/events", "1-6"))
        logs = [data for name, data in events if name == "log"]
        self.assertEqual([(log["attempt"], log["from"], log["text"]) for log in logs], [(2, 0, "second\n")])

    def test_the_log_comes_while_the_job_runs(self):
        client = self.start("--slots", "1")
        running = client.submitted(harness.hard_model(), name="h.mps")
        queued = client.submitted(harness.small_model())
        place = client.events(f"/v1/jobs/{queued}/events").until("job")["queue_place"]
        self.assertEqual(place, 1)
        events = client.events(f"/v1/jobs/{running}/events")
        events.until("log", lambda data: "incumbent" in data["text"])
        self.assertEqual(client.job(running)["state"], "running")
        client.request("POST", f"/v1/jobs/{running}/stop")
        self.assertEqual(events.until("job", lambda job: job["state"] == "ended")["outcome"], "ok")
        events.until("end")

    def test_a_deleted_job_says_so(self):
        client = self.start()
        job_id = client.submitted(harness.hard_model(), name="h.mps")
        events = client.events(f"/v1/jobs/{job_id}/events")
        events.until("job", lambda job: job["state"] == "running")
        client.request("DELETE", f"/v1/jobs/{job_id}")
        self.assertEqual(events.until("deleted"), {"id": job_id})
        self.assertEqual(list(events), [])

    def test_odd_positions(self):
        client = self.start()
        job_id = client.submitted(harness.small_model())
        client.await_end(job_id)
        text = self.log_of(client, job_id)
        for position in ("", "x", "-", "1-", "1-x", "9-5", "1-99999999999999999999999", "-1--1"):
            with self.subTest(position):
                events = list(client.events(f"/v1/jobs/{job_id}/events", position))
                logs = "".join(data["text"] for name, data in events if name == "log")
                self.assertEqual(logs, text)
                self.assertEqual(events[-1][0], "end")
        # Beyond the end there is nothing more.
        events = list(client.events(f"/v1/jobs/{job_id}/events", "1-18446744073709551615"))
        self.assertNotIn("log", [name for name, _ in events])

    def test_silence_has_heartbeats_and_ends_with_the_token(self):
        self.start("--heartbeat", "0.2")
        token = self.new_token("someone")
        events = self.server.client(token).events("/v1/events")
        self.assertEqual(events.response.readline(), b": still here\n")
        self.token_command("revoke", token.split("_")[1])
        self.assertEqual(list(events), [])

    def test_a_reader_that_does_not_read_is_cut(self):
        chunk = 4 * 1024 * 1024
        client = self.start("--patience", "2", "--worker", harness.fake_worker(
            self.folder, f"yes 'a line of the log' | head -c {8 * chunk} > log; {harness.DONE}"))
        job_id = client.submitted(b"x")
        client.await_end(job_id)
        with socket.create_connection(("127.0.0.1", self.server.port), harness.PATIENCE) as wire:
            wire.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 65536)
            wire.sendall(f"GET /v1/jobs/{job_id}/events HTTP/1.1\r\nHost: x\r\n"
                         f"Authorization: Bearer {client.token}\r\n\r\n".encode())
            total = len(wire.recv(100))
            sockets = connections_of(self.server.process.pid)
            harness.wait_until(lambda: sockets() == 1, "the connection to be cut")
            try:
                while piece := wire.recv(1 << 20):
                    total += len(piece)
            except ConnectionResetError:
                pass
            self.assertLess(total, 8 * chunk)


def connections_of(pid):
    """A function that says how many of the process's present sockets are still open."""
    def sockets():
        folder = f"/proc/{pid}/fd"
        names = set()
        for fd in os.listdir(folder):
            # It may be closed between the two calls.
            with contextlib.suppress(FileNotFoundError):
                names.add(os.readlink(f"{folder}/{fd}"))
        return {name for name in names if name.startswith("socket:")}
    before = sockets()
    return lambda: len(before & sockets())


TABLE = """Optimization of a mixed-integer model: 6 constraints, 62 variables
Optimization by something else
      time      nodes       open  iterations       incumbent           bound       gap  from
    1.00 s          1          -          12               -            -2.5         -  root
*   2.00 s         30          7         345               8              -4   150.00%  tree node
 time flies like an arrow does not
"""


# Of linear models: dual simplex, primal simplex, a stop; and the interior-point method.
LINEAR = """Optimization of a linear model: 2030 constraints, 4883 variables, 73152 matrix elements; maximize
Running HiGHS 1.10.0 (git hash: n/a): Copyright (c) 2025 HiGHS under MIT licence terms
Presolving model
1980 rows, 4605 cols, 70440 nonzeros  0s
  Iteration        Objective     Infeasibilities num(sum)
          0                    - Ph1: 609(60514.1); Du: 360(19.014) 0s
       7605     2.8759158053e+02 Pr: 526(91756.7); Du: 0(1.61133e-13) 5s
       8000     2.5e+02 Pr: 0(0); Du: 12(3.5) 10s
       8100     2.6e+02 Pr: 2(1); Du: 3(3.5) 11s
       8139     2.7e+02 12s
       9000     2.6e+02 Pr: 0(0) 13s
 Iter     P.res    D.res            P.obj           D.obj        mu     Time
    0   2.97e+01 2.75e+01  -2.80000000e+03  -2.10000000e+03  2.80e+01       14s
   39*  1.09e-11 1.46e-11   4.00000000e+00   5.00000000e+00  2.84e-07       15s
"""


class Progress(harness.ServerTest):
    def test_rows_of_linear_models(self):
        client = self.start("--worker", harness.fake_worker(self.folder, f"printf '%s' '{LINEAR}' > log; {harness.DONE}"))
        job_id = client.submitted(b"x")
        client.await_end(job_id)
        told = [(entry["time"], entry["iterations"], entry["objective"], entry["bound"], entry["gap"])
                for entry in self.progress_of(client.events(f"/v1/jobs/{job_id}/events"))]
        self.assertEqual(told, [
            (0.0, 0, None, None, None), (5.0, 7605, None, 287.59158053, None), (10.0, 8000, 250.0, None, None),
            (11.0, 8100, None, None, None), (12.0, 8139, None, None, None), (13.0, 9000, 260.0, 260.0, 0.0),
            (14.0, 0, -2800.0, -2100.0, 0.25), (15.0, 39, 4.0, 5.0, 0.25)])

    def progress_of(self, events):
        return [entry for name, data in events if name == "log" for entry in data["progress"]]

    def test_rows_of_a_table_wherever_the_stream_begins(self):
        script = f"printf '%s' '{TABLE}' > log; {harness.DONE}"
        client = self.start("--worker", harness.fake_worker(self.folder, script))
        job_id = client.submitted(b"x")
        client.await_end(job_id)
        rows = [{"time": 1.0, "objective": None, "bound": -2.5, "gap": None, "iterations": 12, "nodes": 1},
                {"time": 2.0, "objective": 8.0, "bound": -4.0, "gap": 1.5, "iterations": 345, "nodes": 30}]
        events = f"/v1/jobs/{job_id}/events"
        self.assertEqual(self.progress_of(client.events(events)), rows)
        within = TABLE.index("*   2.00")
        self.assertEqual(self.progress_of(client.events(events, f"1-{within}")), rows[1:])
        self.assertEqual(client.job(job_id)["progress"], rows[1])

    def test_a_running_solve_and_its_end(self):
        client = self.start()
        job_id = client.submitted(harness.hard_model(), name="h.mps")
        job = client.await_job(job_id, lambda job: job["progress"] and job["progress"]["objective"], "a point")
        self.assertEqual(job["state"], "running")
        self.assertIsInstance(job["progress"]["nodes"], int)
        client.request("POST", f"/v1/jobs/{job_id}/stop")
        ended = client.await_end(job_id)
        told = self.progress_of(client.events(f"/v1/jobs/{job_id}/events"))
        self.assertGreater(len(told), 1)
        self.assertEqual(told[-1], ended["progress"])
        times = [entry["time"] for entry in told]
        self.assertEqual(times, sorted(times))
        solution = client.get(f"/v1/jobs/{job_id}/log").body.decode()
        self.assertIn(f"objective         {ended['progress']['objective']:.10e}", solution)
        self.server.terminate()
        self.assertEqual(self.start().job(job_id)["progress"], ended["progress"])

    def test_the_summary_of_each_kind_of_model(self):
        client = self.start()
        for name, objective, has_bound in (("maxcut.ptf", 12.5, True), ("workshop.mps", 2410.0, False),
                                           ("portfolio-few.ptf", 0.024216127, True)):
            with self.subTest(name):
                job_id = client.submitted((harness.EXAMPLES / name).read_bytes(), name=name)
                progress = client.await_end(job_id)["progress"]
                self.assertAlmostEqual(progress["objective"], objective, 6)
                self.assertEqual(progress["bound"] is not None, has_bound)
                entries = self.progress_of(client.events(f"/v1/jobs/{job_id}/events"))
                told = [entry["objective"] for entry in entries if entry["objective"] is not None]
                # All of them are in the sense of the model, with its constant: none is below 0.
                self.assertGreaterEqual(min(told), 0.0)
                self.assertAlmostEqual(told[-1], objective, 6)
                if name == "maxcut.ptf":
                    gaps = [entry["gap"] for entry in entries if entry["gap"] is not None]
                    self.assertGreater(len(gaps), 3)
                    self.assertLess(gaps[-1], 1e-6)


class ListEvents(harness.ServerTest):
    def test_what_happens_after_a_list_is_told(self):
        client = self.start()
        first = client.submitted(harness.small_model())
        client.await_end(first)
        seq = client.get("/v1/jobs").json()["seq"]
        events = client.events(f"/v1/events?after={seq}")
        second = client.submitted(harness.small_model(), name="second")
        ended = events.until("job", lambda job: job["state"] == "ended")
        self.assertEqual((ended["id"], ended["name"]), (second, "second"))
        client.request("DELETE", f"/v1/jobs/{first}")
        self.assertEqual(events.until("deleted"), {"id": first})
        position = events.position
        events.close()
        client.request("DELETE", f"/v1/jobs/{second}")
        again = client.events("/v1/events", position)
        self.assertEqual(again.until("deleted"), {"id": second})

    def test_everybody_is_told_of_ones_own(self):
        admin = self.start()
        one, two = [self.server.client(self.new_token(name)) for name in ("one", "two")]
        streams = [client.events("/v1/events") for client in (one, two, admin)]
        mine = one.submitted(harness.small_model())
        one.await_end(mine)
        theirs = two.submitted(harness.small_model())
        two.await_end(theirs)
        two.request("DELETE", f"/v1/jobs/{theirs}")
        one.request("DELETE", f"/v1/jobs/{mine}")

        def seen(events):
            ids = set()
            for name, data in events:
                ids.add(data["id"])
                if name == "deleted" and (data["id"] == mine or events is streams[1]):
                    return ids
            return ids
        self.assertEqual([seen(events) for events in streams], [{mine}, {theirs}, {mine, theirs}])

    def test_after_a_restart_the_list_is_to_be_asked_again(self):
        client = self.start()
        seq = client.get("/v1/jobs").json()["seq"]
        self.server.kill()
        client = self.start()
        client.events(f"/v1/events?after={seq}").until("reset")


class Page(harness.ServerTest):
    def test_files_of_the_page(self):
        self.start()
        client = self.server.client("")
        page = client.get("/")
        self.assertEqual(page.status, 200)
        self.assertIn("text/html", page.headers["Content-Type"])
        policy = page.headers["Content-Security-Policy"]
        self.assertIn("default-src 'none'", policy)
        self.assertNotIn("unsafe", policy)
        dist = harness.EXAMPLES.parent / "web" / "dist"
        self.assertEqual(page.body, (dist / "index.html").read_bytes())
        for file in dist.iterdir():
            self.assertEqual(client.get(f"/{file.name}").body, file.read_bytes(), file.name)
        for path in ("/nothing", "/dist", "/index.html/x", "/app.js/.."):
            self.assertIn(client.get(path).status, (400, 404))

    def test_a_browser_that_has_a_file_is_not_sent_it_again(self):
        self.start()
        client = self.server.client("")
        tag = client.get("/app.js").headers["ETag"]
        again = client.request("GET", "/app.js", headers={"If-None-Match": tag})
        self.assertEqual((again.status, again.body), (304, b""))
        self.assertEqual(client.request("GET", "/app.js", headers={"If-None-Match": '"x"'}).status, 200)

    def test_it_loads_nothing_from_elsewhere_and_needs_no_inline_code(self):
        self.start()
        page = self.server.client("").get("/").body.decode()
        self.assertNotIn("//", page.replace("<!doctype html>", ""))
        self.assertNotIn("<style", page)
        self.assertNotIn(" style=", page)
        self.assertNotIn("onclick", page)


if __name__ == "__main__":
    harness.main()
