#!/usr/bin/env python3
"""What operators rely on: figures, drain, the audit, event lines, the documents of options and of the interface."""
import json
import pathlib
import re
import signal
import sqlite3
import subprocess
import unittest

import harness

ROOT = harness.EXAMPLES.parent
DOCUMENTS = ROOT / "docs" / "server"


class Figures(harness.ServerTest):
    def figures(self, client):
        answer = client.get("/metrics")
        self.assertIn("version=0.0.4", answer.headers["Content-Type"])
        values = {}
        for line in answer.body.decode().splitlines():
            if not line.startswith("#"):
                self.assertRegex(line, r'^vorlanserver_[a-z_]+(\{[a-z]+="[a-z0-9]+"\})? [0-9]+$')
                name, value = line.rsplit(" ", 1)
                values[name.removeprefix("vorlanserver_")] = int(value)
        return values

    def test_jobs_are_counted(self):
        client = self.start("--slots", "1")
        client.await_end(client.submitted(harness.small_model()))
        client.await_end(client.submitted(b"no model"))
        running = client.submitted(harness.hard_model(), name="h.mps")
        client.submitted(harness.small_model())
        client.await_job(running, lambda job: job["state"] == "running", "a running job")
        self.assertEqual(client.get("/v1/jobs/none").status, 404)
        values = self.figures(client)
        expected = {"jobs_submitted_total": 4, 'jobs_ended_total{outcome="ok"}': 1, "jobs_running": 1,
                    'jobs_ended_total{outcome="failed"}': 1, "jobs_queued": 1, "jobs_kept": 4, "slots": 1,
                    'answers_total{status="404"}': 1, 'answers_total{status="201"}': 4, "draining": 0}
        self.assertEqual({name: values[name] for name in expected}, expected)
        self.assertGreaterEqual(values["connections"], 1)
        self.assertEqual(self.server.client("").get("/metrics").status, 401)

    def test_every_event_is_a_json_object(self):
        client = self.start()
        client.await_end(client.submitted(harness.small_model(), name='"quoted"\\'))
        self.server.terminate()
        events = [json.loads(line) for line in (self.folder / "data.log").read_text().splitlines()]
        self.assertEqual([event["event"] for event in events],
                         ["serving", "job submitted", "job ended", "ending"])
        self.assertTrue(all(event["time"] > 1e9 for event in events))


class Drain(harness.ServerTest):
    def test_running_jobs_end_and_queued_ones_wait_for_the_next_server(self):
        client = self.start("--slots", "1")
        running = client.submitted(harness.hard_model(), name="h.mps")
        client.await_solve(running)
        queued = client.submitted(harness.small_model())
        self.server.process.send_signal(signal.SIGUSR1)
        harness.wait_until(lambda: client.get("/readyz").status == 503, "the drain")
        answer = client.submit(harness.small_model())
        self.assertEqual((answer.status, answer.json()["type"]), (503, "urn:vorlan:problem:draining"))
        self.assertEqual(client.job(queued)["state"], "queued")
        self.assertIsNone(self.server.process.poll())
        client.request("POST", f"/v1/jobs/{running}/stop")
        self.assertEqual(self.server.wait(), 0)
        client = self.start()
        self.assertEqual(client.job(running)["outcome"], "ok")
        self.assertEqual(client.await_end(queued)["outcome"], "ok")

    def test_an_idle_server_ends_at_once(self):
        self.start()
        self.server.process.send_signal(signal.SIGUSR1)
        self.assertEqual(self.server.wait(), 0)


class Audit(harness.ServerTest):
    def rows(self):
        with sqlite3.connect(f"file:{self.data}/server.sqlite?mode=ro", uri=True) as database:
            rows = database.execute("SELECT what, owner, token, peer, job, detail FROM audit ORDER BY rowid").fetchall()
        database.close()
        return rows

    def test_who_did_what(self):
        self.start("--slots", "1")
        token = self.new_token("alice")
        token_id = token.split("_")[1]
        client = self.server.client(token)
        job_id = client.submitted(harness.hard_model(), name="h.mps")
        client.await_solve(job_id)
        waiting = client.submitted(harness.small_model())
        sha256 = client.job(job_id)["problem"]["sha256"]
        client.request("POST", f"/v1/jobs/{waiting}/cancel")
        admin = self.server.client()
        admin.request("POST", f"/v1/jobs/{job_id}/stop")
        client.await_end(job_id)
        client.request("DELETE", f"/v1/jobs/{job_id}")
        self.token_command("revoke", token_id)
        admin_id = admin.token.split("_")[1]
        rows = self.rows()
        alice = ("alice", token_id, "127.0.0.1")
        for row in (("token add", "alice", "", "", "", f"{token_id} submit"),
                    ("submit", *alice, job_id, sha256), ("cancel", *alice, waiting, ""),
                    ("end", "alice", "", "", waiting, "cancelled"),
                    ("stop", "admin", admin_id, "127.0.0.1", job_id, ""),
                    ("end", "alice", "", "", job_id, "ok VLN_RES_OK"), ("delete", *alice, job_id, ""),
                    ("token revoke", "", "", "", "", token_id)):
            self.assertEqual(rows.count(row), 1, (row, rows))
        self.assertNotIn(token.split("_")[2], str(rows))


class DatabaseElsewhere(harness.ServerTest):
    """As on a cluster, whose shared folder is no place for a database."""

    def test_jobs_and_tokens_are_in_it(self):
        (self.folder / "local").mkdir()
        self.options = ("--database", str(self.folder / "local" / "jobs.sqlite"))
        job_id = self.start().submitted(harness.small_model())
        self.assertFalse((self.data / "server.sqlite").exists())
        self.assertIn(" admin ", self.token_command("list", *self.options).stdout)
        self.server.terminate()
        self.server = harness.Server(self.data, *self.options)
        self.assertEqual(self.server.client((self.folder / "token").read_text()).await_end(job_id)["outcome"], "ok")

    def test_a_folder_with_jobs_is_not_served_without_it(self):
        client = self.start()
        job_id = client.submitted(harness.small_model())
        client.await_end(job_id)
        self.server.terminate()
        (self.data / "server.sqlite").rename(self.folder / "moved")
        with self.assertRaisesRegex(AssertionError, "has jobs, but there is no database"):
            harness.Server(self.data)
        self.assertTrue(list(self.data.glob(f"jobs/*/{job_id}")))


class Documents(harness.ServerTest):
    def options(self):
        text = subprocess.run([harness.SERVER, "--help"], capture_output=True, text=True, check=True).stdout
        return re.findall(r"^  (--[a-z-]+)", text, re.M)

    def test_every_option_is_in_the_pages(self):
        options = self.options()
        self.assertGreater(len(options), 15)
        page = (DOCUMENTS / "README.md").read_text()
        manual = (ROOT / "docs" / "man" / "vorlanserver.1").read_text()
        for option in options:
            self.assertIn(option, page)
            self.assertIn(".It Fl \\-" + option[2:], manual)

    def test_numbers_have_the_least_and_the_most_that_is_said(self):
        bounds = {"port": (0, 65535), "worker-memory": (0, 10**9), "slots": (0, 4096), "threads": (0, 512),
                  "memory": (0, 10**15), "time-limit": (0, 10**15), "max-variables": (0, 2**31 - 1),
                  "max-constraints": (0, 2**31 - 1), "max-jobs": (1, 10**15), "max-upload": (0.001, 10**9),
                  "retention": (0, 10**6)}

        def refusal(name, value):
            done = subprocess.run([harness.SERVER, f"--{name}={value}", "--help"], capture_output=True,
                                  text=True, check=False)
            return done.stderr if done.returncode != 0 else None

        for name, (least, most) in bounds.items():
            for value in (least, most):
                self.assertIsNone(refusal(name, value), name)
            below = 0 if isinstance(least, float) else least - 1
            for value in (below, most + 1):
                self.assertIn(f"--{name}: '{value}' is not within", refusal(name, value) or "taken")

    def test_the_unit_uses_options_that_there_are(self):
        unit = (ROOT / "docs" / "server" / "vorlanserver.service").read_text()
        start = re.search(r"^ExecStart=(.*)$", unit, re.M).group(1)
        self.assertLessEqual(set(re.findall(r"--[a-z-]+", start)), set(self.options()))


def check(value, schema, document, place):
    """The value against the part of JSON Schema that the document uses."""
    if "$ref" in schema:
        name = schema["$ref"].rpartition("/")[2]
        return check(value, document["components"]["schemas"][name], document, place)
    if "oneOf" in schema:
        if value is None and {"type": "null"} in schema["oneOf"]:
            return None
        return check(value, schema["oneOf"][0], document, place)
    if "enum" in schema:
        assert value in schema["enum"], (place, value)
        return None
    kinds = {"string": str, "integer": int, "number": (int, float), "object": dict, "array": list,
             "null": type(None)}
    names = schema["type"] if isinstance(schema["type"], list) else [schema["type"]]
    assert any(isinstance(value, kinds[name]) for name in names), (place, value, names)
    if isinstance(value, dict):
        assert set(schema["required"]) <= set(value), (place, set(schema["required"]) - set(value))
        assert set(value) <= set(schema["properties"]), (place, set(value) - set(schema["properties"]))
        for name, part in value.items():
            check(part, schema["properties"][name], document, f"{place}.{name}")
    if isinstance(value, list):
        for part in value:
            check(part, schema["items"], document, f"{place}[]")
    return None


class Interface(harness.ServerTest):
    """The document of the interface against the running server."""

    document = json.loads((DOCUMENTS / "openapi.json").read_text())

    def test_it_has_the_routes_of_the_server(self):
        source = (ROOT / "src" / "server" / "api" / "api.cpp").read_text()
        routes = set()
        for method, path in re.findall(r'\{"([A-Z]+)", \{([^}]*)\}, (?:\{\}|Role::\w+), &Api::(?!page)', source):
            routes.add((method, "/" + "/".join(re.findall(r'"([^"]+)"', path))))
        files = {"result", "solution.json", "solution.plain", "log", "solve.log"}
        told = set()
        for path, methods in self.document["paths"].items():
            pattern = "/v1/jobs/*/*" if path.rpartition("/")[2] in files else path.replace("{id}", "*")
            told |= {(method.upper(), pattern) for method in methods}
        self.assertEqual(told, routes)

    def test_answers_are_as_it_says(self):
        client = self.start()
        nobody = self.server.client("")
        reader = self.server.client(self.new_token("admin", "read"))
        count = 0
        for path, methods in self.document["paths"].items():
            for method in methods:
                for asker in (client, nobody, reader):
                    for exists in (True, False):
                        count += self.ask(asker, method, path, methods[method], exists)
        self.assertGreater(count, 60)

    def ask(self, asker, method, path, operation, exists):
        admin = self.server.client()
        job_id = "none"
        if exists and "{id}" in path:
            job_id = admin.submitted(harness.small_model())
            admin.await_end(job_id)
        query = "?key=k" if (method, path) == ("delete", "/v1/jobs") and exists else ""
        body = harness.small_model() if "requestBody" in operation and exists else None
        place = f"{method} {path} {exists}"
        if path == "/v1/events" and asker.token:
            events = asker.events(path)
            events.close()
            return 1
        answer = asker.request(method.upper(), path.format(id=job_id) + query, body)
        self.assertIn(str(answer.status), operation["responses"], (place, answer.body))
        self.check_content(answer, operation["responses"][str(answer.status)], place)
        return 1

    def check_content(self, answer, response, place):
        content = response.get("content")
        if content is None:
            self.assertEqual(answer.body, b"", place)
            return
        kind = answer.headers["Content-Type"].partition(";")[0]
        self.assertIn(kind, content, place)
        if "schema" in content[kind]:
            check(answer.json(), content[kind]["schema"], self.document, place)

    def test_events_are_as_it_says(self):
        client = self.start()
        job_id = client.submitted((harness.EXAMPLES / "portfolio-few.ptf").read_bytes(), name="p.ptf")
        schemas = self.document["components"]["schemas"]
        seen = set()
        for name, data in client.events(f"/v1/jobs/{job_id}/events"):
            seen.add(name)
            if name in ("job", "log"):
                check(data, schemas["Job" if name == "job" else "LogEvent"], self.document, name)
        self.assertEqual(seen, {"job", "log", "end"})

    def test_the_check_would_notice(self):
        job = self.document["components"]["schemas"]["Result"]
        good = {"name": "n", "bytes": 1, "sha256": "x", "href": "h"}
        check(good, job, self.document, "")
        for bad in ({**good, "bytes": "1"}, {**good, "more": 1}, {"name": "n"}):
            with self.assertRaises(AssertionError):
                check(bad, job, self.document, "")


class Examples(harness.ServerTest):
    """The clients in examples/ as people run them."""

    def run_client(self, name, *words):
        server = f"http://127.0.0.1:{self.server.port}"
        path = pathlib.Path(harness.EXAMPLES / name)
        return subprocess.run([path, *words], cwd=self.folder, capture_output=True, text=True, check=False,
                              env={"PATH": "/usr/bin:/bin", "VORLAN_SERVER_URL": server,
                                   "VORLAN_TOKEN": self.server.token}, timeout=harness.PATIENCE)

    def test_each_client_solves_a_model_and_tells_of_a_failure(self):
        self.start()
        (self.folder / "bad.lp").write_text("this is no model")
        for name in ("server_client.py", "server_client.sh"):
            with self.subTest(name):
                result = self.run_client(name, harness.EXAMPLES / "workshop.mps", "solution.json")
                self.assertEqual(result.returncode, 0, result.stderr)
                self.assertIn("ok", result.stdout)
                self.assertTrue(json.loads((self.folder / "solution.json").read_text()))
                (self.folder / "solution.json").unlink()
                result = self.run_client(name, self.folder / "bad.lp", "solution.json")
                self.assertNotEqual(result.returncode, 0)
                self.assertIn("failed", result.stdout + result.stderr)
                self.assertFalse((self.folder / "solution.json").exists())
                self.assertNotIn(self.server.token, result.stdout + result.stderr)


if __name__ == "__main__":
    harness.main()
