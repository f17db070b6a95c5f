#!/usr/bin/env python3
"""Requests that no client should send, and who may do what: a table of each."""
import contextlib
import http.client
import json
import socket
import subprocess
import unittest

import harness

HEAD = "GET /v1/jobs HTTP/1.1\r\nHost: x\r\n"

# What is sent; the status of the answer.
HOSTILE = [
    ("an unknown method", "BREW /v1/jobs HTTP/1.1\r\nHost: x\r\n\r\n", 405),
    ("no request at all", "\x16\x03\x01\x02\x00\x01\x00\x01\xfc\r\n\r\n", 400),
    ("another protocol", "GET / HTTP/9.9\r\n\r\n", 400),
    ("a header of 40 kB", HEAD + "X: " + 40000 * "a" + "\r\n\r\n", 431),
    ("500 headers", HEAD + "".join(f"X{n}: {60 * 'a'}\r\n" for n in range(500)) + "\r\n", 431),
    ("length and chunks", "POST /v1/jobs HTTP/1.1\r\nHost: x\r\nContent-Length: 4\r\n"
     "Transfer-Encoding: chunked\r\n\r\n0\r\n\r\n", 400),
    ("two lengths", "POST /v1/jobs HTTP/1.1\r\nHost: x\r\nContent-Length: 4\r\n"
     "Content-Length: 5\r\n\r\nabcd", 400),
    ("a negative length", "POST /v1/jobs HTTP/1.1\r\nHost: x\r\nContent-Length: -4\r\n\r\n", 400),
    ("an absurd length", "POST /v1/jobs HTTP/1.1\r\nHost: x\r\n{auth}"
     "Content-Length: 100000000000000000\r\n\r\n", (413, 507)),
    ("a length beyond 64 bits", "POST /v1/jobs HTTP/1.1\r\nHost: x\r\n"
     "Content-Length: 99999999999999999999999\r\n\r\n", 400),
    ("a chunk of absurd size", "POST /v1/jobs HTTP/1.1\r\nHost: x\r\n{auth}"
     "Transfer-Encoding: chunked\r\n\r\nfffffffffffffffffff\r\nabc", 400),
    ("a chunk that is none", "POST /v1/jobs HTTP/1.1\r\nHost: x\r\n{auth}"
     "Transfer-Encoding: chunked\r\n\r\nhello\r\n", 400),
    ("a path upwards", "GET /v1/../../etc/passwd HTTP/1.1\r\nHost: x\r\n\r\n", 400),
    ("an encoded path upwards", "GET /v1/jobs/%2e%2e/%2e%2e HTTP/1.1\r\nHost: x\r\n\r\n", 400),
    ("an encoded slash", "GET /v1/jobs/..%2f..%2fserver.sqlite HTTP/1.1\r\nHost: x\r\n\r\n", 400),
    ("a NUL in the path", "GET /v1/jobs/%00 HTTP/1.1\r\nHost: x\r\n\r\n", 400),
    ("a broken percent sign", "GET /v1/jobs?name=%zz HTTP/1.1\r\nHost: x\r\n\r\n", 400),
    ("an unknown file of a job", "GET /v1/jobs/0/lock HTTP/1.1\r\nHost: x\r\n{auth}\r\n", 404),
    ("a blank before the colon", "GET / HTTP/1.1\r\nHost : x\r\n\r\n", 400),
]


class Hostile(harness.ServerTest):
    def exchange(self, text, then_close=False):
        """The status of the answer to bytes as they are; None when there was none."""
        with socket.create_connection(("127.0.0.1", self.server.port), harness.PATIENCE) as wire:
            wire.sendall(text.encode("latin-1"))
            if then_close:
                wire.shutdown(socket.SHUT_WR)
            response = http.client.HTTPResponse(wire)
            try:
                response.begin()
            except (http.client.HTTPException, OSError):
                return None, None
            return response.status, response.getheader("Content-Type")

    def test_each_is_answered_and_harms_nobody(self):
        client = self.start()
        auth = f"Authorization: Bearer {client.token}\r\n"
        for name, text, expected in HOSTILE:
            with self.subTest(name):
                status, kind = self.exchange(text.replace("{auth}", auth))
                self.assertIn(status, expected if isinstance(expected, tuple) else (expected,))
                self.assertEqual(kind, "application/problem+json")
        self.assertEqual(client.get("/healthz").status, 200)
        self.assertEqual(list(self.data.glob("incoming/*")), [])

    def test_a_body_above_the_limit_is_refused_however_it_comes(self):
        client = self.start("--max-upload", "1")
        body = 3 * 1024 * 1024 * b"a"
        self.assertEqual(client.submit(body).status, 413)
        chunks = (body[:65536] for _ in range(48))
        try:
            self.assertEqual(client.submit(chunks).status, 413)
        except (BrokenPipeError, ConnectionResetError):
            pass  # the answer came while the body was still being sent
        harness.wait_until(lambda: not list(self.data.glob("incoming/*")), "the body to vanish")

    def test_a_body_cut_short_is_no_job(self):
        client = self.start()
        text = (f"POST /v1/jobs HTTP/1.1\r\nHost: x\r\nAuthorization: Bearer {client.token}\r\n"
                "Content-Length: 1000\r\n\r\nabc")
        self.exchange(text, then_close=True)
        harness.wait_until(lambda: not list(self.data.glob("incoming/*")), "the body to vanish")
        self.assertEqual(client.get("/v1/jobs").json()["jobs"], [])

    def test_silent_connections_keep_nobody_waiting(self):
        client = self.start()
        silent = [socket.create_connection(("127.0.0.1", self.server.port)) for _ in range(200)]
        for wire in silent[:100]:
            wire.sendall(b"GET /v1/jobs HTTP/1.1\r\nHo")
        self.assertEqual(client.get("/healthz").status, 200)
        for wire in silent:
            wire.close()

    def test_a_header_that_does_not_end_is_cut_off(self):
        self.start("--patience", "1")
        status, _ = self.exchange("GET /v1/jobs HTTP/1.1\r\nHo")
        self.assertIsNone(status)

    def test_a_body_that_trickles_is_cut_off_and_leaves_nothing(self):
        client = self.start("--patience", "2")
        with socket.create_connection(("127.0.0.1", self.server.port), harness.PATIENCE) as wire:
            wire.sendall(f"POST /v1/jobs HTTP/1.1\r\nHost: x\r\nAuthorization: Bearer {client.token}\r\n"
                         "Content-Length: 1000000\r\n\r\n".encode())
            harness.wait_until(lambda: list((self.data / "incoming").iterdir()), "the body's begin")
            sent = 0
            with contextlib.suppress(ConnectionError):
                while sent < 1000:
                    wire.sendall(b"x")
                    sent += 1
                    harness.time.sleep(0.05)
            self.assertLess(sent, 1000)
        harness.wait_until(lambda: not list((self.data / "incoming").iterdir()), "the body to go")
        self.assertEqual(client.all_ids(), [])

    def test_requests_on_one_connection(self):
        client = self.start()
        connection = http.client.HTTPConnection("127.0.0.1", self.server.port)
        for body in (None, b"abc", None):
            connection.request("POST" if body else "GET", "/v1/jobs", body,
                               {"Authorization": f"Bearer {client.token}"})
            response = connection.getresponse()
            response.read()
            self.assertEqual(response.status, 201 if body else 200)
        connection.close()

    def test_odd_parameters_are_refused(self):
        client = self.start()
        for query in ("time_limit=-1", "time_limit=nan", "time_limit=1e999", "time_limit=x",
                      "threads=-1", "threads=999999", "threads=1.5", "priority=11", "priority=x",
                      "name=" + 300 * "n"):
            with self.subTest(query):
                answer = client.request("POST", f"/v1/jobs?{query}", b"x")
                self.assertEqual(answer.status, 400)
                self.assertEqual(answer.json()["type"], "urn:vorlan:problem:bad-parameter")
        self.assertEqual(client.submit(b"x", key="a b").status, 400)
        self.assertEqual(client.submit(b"").status, 400)

    def test_no_more_jobs_than_the_limit(self):
        client = self.start("--max-jobs", "1", "--slots", "1")
        job_id = client.submitted(harness.hard_model(), name="h.mps")
        answer = client.submit(harness.small_model())
        self.assertEqual(answer.status, 429)
        self.assertIsNotNone(answer.headers["Retry-After"])
        client.request("POST", f"/v1/jobs/{job_id}/cancel")
        client.await_end(job_id)
        self.assertEqual(client.submit(harness.small_model()).status, 201)


# Route; the status for nobody, a token that only reads, another owner's, the owner's own, an
# administrator's.
ROUTES = [
    ("GET", "/healthz", 200, 200, 200, 200, 200),
    ("GET", "/readyz", 200, 200, 200, 200, 200),
    ("GET", "/v1/limits", 401, 200, 200, 200, 200),
    ("GET", "/metrics", 401, 200, 200, 200, 200),
    ("GET", "/v1/me", 401, 200, 200, 200, 200),
    ("GET", "/v1/jobs", 401, 200, 200, 200, 200),
    ("POST", "/v1/jobs", 401, 403, 201, 201, 201),
    ("PUT", "/v1/jobs", 401, 403, 201, 201, 201),
    ("DELETE", "/v1/jobs?key=none", 401, 403, 204, 204, 204),
    ("GET", "/v1/jobs/{id}", 401, 200, 404, 200, 200),
    ("GET", "/v1/jobs/{id}/log", 401, 200, 404, 200, 200),
    ("GET", "/v1/jobs/{id}/solve.log", 401, 200, 404, 200, 200),
    ("GET", "/v1/jobs/{id}/result", 401, 200, 404, 200, 200),
    ("GET", "/v1/jobs/{id}/solution.json", 401, 200, 404, 200, 200),
    ("GET", "/v1/jobs/{id}/solution.plain", 401, 200, 404, 200, 200),
    ("GET", "/v1/jobs/{id}/events", 401, 200, 404, 200, 200),
    ("GET", "/v1/nothing", 404, 404, 404, 404, 404),
    ("GET", "/", 200, 200, 200, 200, 200),
    ("GET", "/app.js", 200, 200, 200, 200, 200),
    ("POST", "/v1/jobs/{id}/stop", 401, 403, 404, 202, 202),
    ("POST", "/v1/jobs/{id}/cancel", 401, 403, 404, 202, 202),
    ("DELETE", "/v1/jobs/{id}", 401, 403, 404, 204, 204),
]


class Authorization(harness.ServerTest):
    def test_the_table_has_every_route_of_the_interface(self):
        document = json.loads((harness.EXAMPLES.parent / "docs" / "server" / "openapi.json").read_text())
        told = {(method.upper(), path) for path, methods in document["paths"].items() for method in methods}
        tested = {(method, path.partition("?")[0]) for method, path, *_ in ROUTES}
        self.assertEqual(told - tested, {("GET", "/v1/events")})  # the next test

    def test_a_token_has_so_many_requests_open_at_most(self):
        client = self.start("--max-requests", "3")
        other = self.server.client(self.new_token("other"))
        job_id = client.submitted(harness.hard_model(), name="h.mps")
        streams = [client.events("/v1/events"), client.events(f"/v1/jobs/{job_id}/events"), client.events("/v1/events")]
        answer = client.get("/v1/me")
        self.assertEqual((answer.status, answer.json()["type"]), (429, "urn:vorlan:problem:too-many-requests"))
        self.assertIsNotNone(answer.headers["Retry-After"])
        self.assertEqual(other.get("/v1/me").status, 200)
        self.assertEqual(self.server.client("").get("/healthz").status, 200)
        streams[0].close()
        harness.wait_until(lambda: client.get("/v1/me").status == 200, "the stream's end")
        for stream in streams[1:]:
            stream.close()

    def test_the_list_of_events_for_everybody(self):
        self.start()
        for role, status in (("read", 200), ("submit", 200), ("admin", 200)):
            client = self.server.client(self.new_token(f"one-{role}", role))
            events = client.events("/v1/events")
            self.assertEqual(events.response.status, status)
            events.close()
        self.assertEqual(self.server.client("").get("/v1/events").status, 401)

    def test_every_route_for_everybody(self):
        admin = self.start()
        tokens = ["", self.new_token("owner", "read"), self.new_token("other"),
                  self.new_token("owner"), admin.token]
        owner = self.server.client(tokens[3])
        for method, path, *expected in ROUTES:
            for token, status in zip(tokens, expected):
                with self.subTest(f"{method} {path} {tokens.index(token)}"):
                    job_id = owner.submitted(harness.small_model()) if "{id}" in path else ""
                    if job_id:
                        owner.await_end(job_id)
                    body = harness.small_model() if path == "/v1/jobs" and method != "GET" else None
                    answer = self.server.client(token).request(method, path.format(id=job_id), body)
                    self.assertEqual(answer.status, status, answer.body)

    def test_lists_show_ones_own(self):
        admin = self.start()
        one, two = [self.server.client(self.new_token(name)) for name in ("one", "two")]
        mine = one.submitted(harness.small_model(), key="k")
        two.submitted(harness.small_model())
        self.assertEqual([job["id"] for job in one.get("/v1/jobs").json()["jobs"]], [mine])
        self.assertEqual(two.get("/v1/jobs?key=k").json()["jobs"], [])
        self.assertEqual(len(admin.get("/v1/jobs").json()["jobs"]), 2)

    def test_bad_tokens(self):
        client = self.start()
        good = client.token
        for bad in ("x", good[:-1], good + "0", good[:-1] + ("0" if good[-1] != "0" else "1"),
                    good.replace("vln_", "VLN_"), "vln_" + 12 * "0" + good[16:]):
            self.assertEqual(self.server.client(bad).get("/v1/me").status, 401)
        self.assertEqual(client.get("/v1/me").json()["role"], "admin")

    def test_revoked_at_once_and_listed(self):
        self.start()
        token = self.new_token("someone")
        client = self.server.client(token)
        self.assertEqual(client.get("/v1/me").json()["owner"], "someone")
        token_id = token.split("_")[1]
        self.assertEqual(self.token_command("revoke", token_id).returncode, 0)
        self.assertEqual(client.get("/v1/me").status, 401)
        self.assertNotEqual(self.token_command("revoke", token_id).returncode, 0)
        listing = self.token_command("list").stdout
        self.assertIn("revoked someone", listing)
        self.assertNotIn(token.split("_")[2], listing)

    def test_no_secret_is_kept(self):
        client = self.start()
        client.await_end(client.submitted(harness.small_model()))
        self.server.terminate()
        secret = client.token.split("_")[2].encode()
        for path in [*self.data.rglob("*"), self.folder / "data.log"]:
            if path.is_file():
                self.assertNotIn(secret, path.read_bytes(), path)


class Program(harness.ServerTest):
    def run_server(self, *words):
        return subprocess.run([harness.SERVER, *words], capture_output=True, text=True,
                              timeout=harness.PATIENCE, check=False)

    def test_bad_options_are_named(self):
        config = self.folder / "config"
        config.write_text("# comment\nport = 0\n\nslotz = 2\n")
        for words, message in (
                (["--port", "x", "--data", "d"], "--port: 'x' is no number"),
                (["--port", "70000", "--data", "d"], "not within 0 and 65535"),
                (["--port"], "expected a value"),
                (["--bogus"], "unknown option '--bogus'"),
                ([], "--data DIR is missing"),
                (["--data", str(self.data), "--listen", "0.0.0.0"], "unencrypted"),
                (["--data", str(self.data), "--worker", "/nonexistent"], "cannot run the worker"),
                (["--config", str(config)], f"{config}:4: there is no option 'slotz'")):
            result = self.run_server(*words)
            self.assertEqual(result.returncode, 1)
            self.assertIn(message, result.stderr)
            self.assertEqual(result.stdout, "")

    def test_a_configuration_file_and_the_command_line(self):
        config = self.folder / "config"
        config.write_bytes(b"  slots = 3 \t\r\n\tmax-jobs  =  7  \r\n")
        client = self.start("--config", str(config), "--slots=2")
        limits = client.get("/v1/limits").json()
        self.assertEqual((limits["slots"], limits["jobs"]), (2, 7))

    def test_one_server_for_a_data_folder(self):
        self.start()
        result = self.run_server("--data", str(self.data), "--port", "0", "--worker", harness.PROGRAM)
        self.assertEqual(result.returncode, 1)
        self.assertIn("another server uses the data folder", result.stderr)

    def test_help_lists_every_option(self):
        text = self.run_server("--help").stdout
        for option in ("--data DIR", "--config FILE", "--retention DAYS", "token revoke"):
            self.assertIn(option, text)
        self.assertRegex(self.run_server("--version").stdout, r"^vorlanserver \d+\.\d+")


if __name__ == "__main__":
    unittest.main(verbosity=2)
