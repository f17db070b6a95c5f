"""What the tests of the server share: a server of the test's own, a plain client, models.

Servers listen on loopback at any free port. Whatever a test starts it ends by its process id: the server, and
the workers that it left, which are found by the locks in its data folder.
"""
import fcntl
import http.client
import json
import os
import pathlib
import random
import re
import select
import shutil
import signal
import socket
import subprocess
import tempfile
import time
import unittest

SERVER = os.environ["VORLAN_SERVER"]
PROGRAM = os.environ["VORLAN_PROGRAM"]
EXAMPLES = pathlib.Path(__file__).resolve().parent.parent.parent / "examples"
# For a busy machine; nothing that works takes so long.
PATIENCE = float(os.environ.get("VORLAN_PATIENCE", "120"))
socket.setdefaulttimeout(PATIENCE)  # of each wait for the other side, also where a test names none


def wait_until(condition, what, patience=PATIENCE):
    """The condition's first true value."""
    end = time.monotonic() + patience
    while time.monotonic() < end:
        value = condition()
        if value:
            return value
        time.sleep(0.01)
    raise AssertionError(f"waited {patience} s for {what}")


def hard_model(rows=6, columns=50):
    """Market split: a point is found at once, the best one in hours."""
    numbers = random.Random(7)
    lines = ["NAME HARD", "ROWS", " N COST"] + [f" E R{i}" for i in range(rows)] + ["COLUMNS"]
    for j in range(columns):
        lines += [f" X{j} R{i} {numbers.randrange(100)}" for i in range(rows)]
    for i in range(rows):
        lines += [f" P{i} COST 1 R{i} 1", f" N{i} COST 1 R{i} -1"]
    lines += ["RHS"] + [f" RHS R{i} 1237" for i in range(rows)]
    lines += ["BOUNDS"] + [f" BV BND X{j}" for j in range(columns)] + ["ENDATA"]
    return "\n".join(lines).encode() + b"\n"


def small_model():
    return (EXAMPLES / "workshop.mps").read_bytes()


def fake_worker(folder, text):
    """A program that takes a worker's place and does what the shell commands say."""
    path = folder / "bin" / "fake-worker"
    path.parent.mkdir(exist_ok=True)
    path.write_text(f"#!/bin/sh\necho $$ > pid\n{text}\n")
    path.chmod(0o755)
    return str(path)


# Ends an attempt as a worker would that did all its commands.
DONE = "printf VLN_RES_OK > res; printf VLN_RES_OK > trm; printf done > done"


def is_locked(path):
    with open(path, "rb+") as file:
        try:
            fcntl.flock(file, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            return True
    return False


class Answer:
    def __init__(self, response):
        self.status = response.status
        self.headers = response.headers
        self.body = response.read()

    def json(self):
        return json.loads(self.body)


class Events:
    """A stream of server-sent events, read one by one."""

    def __init__(self, client, path, position=None):
        self.connection = client.connection(PATIENCE)
        headers = {"Authorization": f"Bearer {client.token}"}
        if position is not None:
            headers["Last-Event-ID"] = str(position)
        self.connection.request("GET", path, headers=headers)
        self.response = self.connection.getresponse()
        assert self.response.status == 200, self.response.read()
        assert self.response.headers["Content-Type"] == "text/event-stream"
        self.position = position
        self.heartbeats = 0

    def __iter__(self):
        """Pairs of a name and its data. A stream with nothing but heartbeats is a failure after a while."""
        fields = {}
        end = time.monotonic() + PATIENCE
        while line := self.response.readline().decode():
            line = line.rstrip("\n")
            if line.startswith(":"):
                self.heartbeats += 1
                assert time.monotonic() < end, "no event came, but heartbeats"
            elif line:
                name, _, value = line.partition(": ")
                fields[name] = value
            elif fields:
                self.position = fields.get("id", self.position)
                yield fields["event"], json.loads(fields["data"])
                fields = {}
                end = time.monotonic() + PATIENCE

    def until(self, name, condition=lambda data: True):
        """The first event of the name for which the condition holds."""
        return next(data for event, data in self if event == name and condition(data))

    def close(self):
        self.response.close()
        self.connection.close()


class Client:
    """Requests with one token, each on a connection of its own."""

    def __init__(self, port, token, tls=None):
        """`tls` is the ssl.SSLContext of a server that has TLS."""
        self.port = port
        self.token = token
        self.tls = tls

    def connection(self, patience):
        if self.tls:
            return http.client.HTTPSConnection("127.0.0.1", self.port, timeout=patience, context=self.tls)
        return http.client.HTTPConnection("127.0.0.1", self.port, timeout=patience)

    def request(self, method, path, body=None, headers=None, patience=PATIENCE):
        connection = self.connection(patience)
        try:
            all_headers = {"Authorization": f"Bearer {self.token}"} if self.token else {}
            connection.request(method, path, body, {**all_headers, **(headers or {})})
            return Answer(connection.getresponse())
        finally:
            connection.close()

    def get(self, path):
        return self.request("GET", path)

    def submit(self, body, key=None, **query):
        text = "&".join(f"{name}={value}" for name, value in query.items())
        headers = {"Idempotency-Key": key} if key else {}
        return self.request("POST", f"/v1/jobs?{text}", body, headers)

    def submitted(self, body, key=None, **query):
        """The id of a job that must be accepted."""
        answer = self.submit(body, key, **query)
        assert answer.status in (200, 201), answer.body
        return answer.json()["id"]

    def events(self, path, position=None):
        return Events(self, path, position)

    def job(self, job_id):
        return self.get(f"/v1/jobs/{job_id}").json()

    def all_ids(self, state=""):
        """Of all jobs, page by page."""
        ids, after = [], ""
        while after is not None:
            page = self.get(f"/v1/jobs?limit=1000&state={state}&after={after}").json()
            ids += [job["id"] for job in page["jobs"]]
            after = page["next"]
        return ids

    def await_job(self, job_id, condition, what):
        return wait_until(lambda: (lambda job: job if condition(job) else None)(self.job(job_id)), what)

    def await_end(self, job_id):
        return self.await_job(job_id, lambda job: job["state"] == "ended", f"the end of {job_id}")

    def await_solve(self, job_id):
        return self.await_job(job_id, lambda job: job["solve_seconds"] is not None, "the solve's begin")

    def file(self, job_id, name):
        return self.get(f"/v1/jobs/{job_id}/{name}")


class Server:
    """A server process on a data folder."""

    def __init__(self, data, *options, fall_at=None, environment=None):
        environment = {**os.environ, **(environment or {})}
        if fall_at:
            environment["VORLAN_SERVER_FALL_AT"] = fall_at
        self.data = pathlib.Path(data)
        elsewhere = dict(zip(options, options[1:])).get("--database", self.data / "server.sqlite")
        self.database = pathlib.Path(elsewhere)
        words = [SERVER, "--data", str(data), "--port", "0", "--worker", PROGRAM, *options]
        self.log = open(f"{data}.log", "ab")
        self.process = subprocess.Popen(
            words, env=environment, stdout=subprocess.PIPE, stderr=self.log, stdin=subprocess.DEVNULL)
        self.port = None
        self.token = None
        self._read_announcement()

    def _read_announcement(self):
        is_new = not self.database.exists() or self._has_no_token()
        line = self._read_line()
        if not re.match("url: https?://127.0.0.1:", line):
            status = self._last_status()
            last_words = pathlib.Path(self.log.name).read_text(errors="replace")[-1000:]
            raise AssertionError(f"the server did not start: {line!r}, status {status}: {last_words}")
        self.port = int(line.rsplit(":", 1)[1])
        if is_new:
            line = self._read_line()
            assert line.startswith("token: vln_"), line
            self.token = line.split()[1]
            (self.data.parent / "token").write_text(self.token)
        else:
            self.token = (self.data.parent / "token").read_text()

    def _read_line(self):
        """A line of standard output; what there is of it where the server falls silent before its end."""
        line = b""
        while not line.endswith(b"\n") and select.select([self.process.stdout], [], [], PATIENCE)[0]:
            byte = os.read(self.process.stdout.fileno(), 1)
            if not byte:
                break
            line += byte
        return line.decode()

    def _last_status(self):
        """That of a server that ends, or is killed since it does not."""
        try:
            return self.process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            self.process.kill()
            return self.process.wait(PATIENCE)

    def _has_no_token(self):
        return not (self.data.parent / "token").exists()

    def client(self, token=None):
        return Client(self.port, token if token is not None else self.token)

    def kill(self):
        """As a power cut would end it."""
        self.process.kill()
        return self.wait()

    def terminate(self):
        self.process.terminate()
        return self.wait()

    def wait(self):
        status = self.process.wait(PATIENCE)
        self.process.stdout.close()
        self.log.close()
        return status


class ServerTest(unittest.TestCase):
    """A folder, and servers on its data folder, for each test."""

    options = ()

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="vorlanserver-test-"))
        self.data = self.folder / "data"
        self.server = None

    def tearDown(self):
        if self.server is not None and self.server.process.poll() is None:
            self.server.kill()
        self.end_workers()
        failed = any(error for _, error in getattr(self._outcome, "errors", []) if error)
        if failed:
            print((self.folder / "data.log").read_text()[-4000:])
        shutil.rmtree(self.folder, ignore_errors=True)

    def start(self, *options, fall_at=None, environment=None):
        self.server = Server(self.data, *self.options, *options, fall_at=fall_at, environment=environment)
        return self.server.client()

    def token_command(self, *words):
        return subprocess.run([SERVER, "token", *words, "--data", str(self.data)], text=True,
                              capture_output=True, check=False, timeout=PATIENCE)

    def new_token(self, owner, role="submit"):
        return self.token_command("add", owner, role).stdout.split()[1]

    def running_attempts(self):
        return [lock.parent for lock in self.data.glob("jobs/*/*/*/lock") if is_locked(lock)]

    def end_workers(self):
        for attempt in self.running_attempts():
            pid_file = attempt / "pid"
            try:
                wait_until(lambda f=pid_file, a=attempt: f.exists() and f.read_text()
                           or not is_locked(a / "lock"), "a process id", 10.0)
                os.killpg(int(pid_file.read_text()), signal.SIGKILL)
            except (ProcessLookupError, ValueError, OSError, AssertionError):
                pass


def main():
    unittest.main(verbosity=2)
