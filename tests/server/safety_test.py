#!/usr/bin/env python3
"""Workers are kept to their own folder and to limits; tokens to quotas; logs to a length."""
import ctypes
import os
import pathlib
import socket
import sqlite3
import subprocess
import unittest

import harness

MEBIBYTE = 1 << 20
LANDLOCK_CREATE_RULESET = 444
# The version that the kernel has; 0 where it has none.
LANDLOCK = max(0, ctypes.CDLL(None).syscall(LANDLOCK_CREATE_RULESET, 0, 0, 1))
# A sanitizer reserves more memory than any limit would let it.
IS_SANITIZED = b"__asan_init" in pathlib.Path(harness.SERVER).read_bytes()


def says(what, command):
    """Shell words that write into the log whether a command succeeded."""
    return f"if ( {command} ) > /dev/null 2>&1; then echo {what}=yes >> log; else echo {what}=no >> log; fi"


class Jail(harness.ServerTest):
    """A worker's program that has gone over to the enemy."""

    def run_worker(self, *commands, options=()):
        client = self.start("--worker", harness.fake_worker(self.folder, "\n".join([*commands, harness.DONE])), *options)
        job_id = client.submitted(b"x")
        self.assertEqual(client.await_end(job_id)["outcome"], "ok")
        log = client.get(f"/v1/jobs/{job_id}/log").body.decode()
        return dict(line.split("=") for line in log.split())

    def open_port(self):
        listener = socket.create_server(("127.0.0.1", 0))
        self.addCleanup(listener.close)
        return listener.getsockname()[1]

    def python(self, code):
        return f"python3 -c '{code}'"

    @unittest.skipIf(LANDLOCK < 3, "the kernel has no Landlock 3")
    def test_it_reaches_its_own_folder_only(self):
        secret = self.folder / "secret"
        secret.write_text("secret")
        answers = self.run_worker(
            says("own", "echo x > mine && cat mine && rm mine"),
            says("problem", "cat ../problem"),
            says("change_problem", "echo x >> ../problem"),
            says("read", f"cat {secret}"),
            says("write", f"echo x > {secret}"),
            says("truncate", self.python(f"import os; os.truncate(\"{secret}\", 0)")),
            says("create", f"echo x > {self.folder}/new"),
            says("remove", f"rm {secret}"),
            says("rename", f"mv mine2 {self.folder}/new2"),
            says("tmp", "echo x > /tmp/vorlan-jail-test"),
            says("database", f"cat {self.data}/server.sqlite"),
            says("neighbours", "ls ../.."),
            says("passwords", "cat /etc/passwd"),
            says("device", "mknod d c 1 3"))
        expected = dict.fromkeys(answers, "no")
        expected.update(own="yes", problem="yes")
        self.assertEqual(answers, expected)
        self.assertEqual(secret.read_text(), "secret")

    def test_it_has_no_network_and_no_ways_out(self):
        connect = f"import socket; socket.create_connection((\"127.0.0.1\", {self.open_port()}), 5)"
        answers = self.run_worker(
            says("python", self.python("print(1)")),
            says("tcp", self.python(connect)),
            says("socket", self.python("import socket; socket.socket()")),
            says("unix", self.python("import socket; socket.socket(socket.AF_UNIX)")),
            says("pair", self.python("import socket; socket.socketpair()")),
            says("session", "setsid true"),
            says("namespace", "unshare --user true"),
            says("mount", "mount -t tmpfs none ."),
            says("trace", self.python("import ctypes, sys; sys.exit(ctypes.CDLL(None).ptrace(0, 0, 0, 0) != 0)")),
            says("signal", f"kill -0 {os.getpid()}"))
        expected = dict.fromkeys(answers, "no")
        if LANDLOCK < 6:  # which is the first that knows of signals
            del expected["signal"], answers["signal"]
        expected.update(python="yes")
        self.assertEqual(answers, expected)

    def test_without_the_jail_the_same_commands_succeed(self):
        # Else the tests above would prove nothing.
        new = self.folder / "new"
        answers = self.run_worker(
            says("create", f"echo x > {new}"), says("session", "setsid true"),
            says("tcp", self.python(f"import socket; socket.create_connection((\"127.0.0.1\", {self.open_port()}))")),
            says("signal", f"kill -0 {os.getpid()}"), options=("--jail", "no"))
        self.assertEqual(set(answers.values()), {"yes"})
        self.assertIn('"jail":"off"', (self.folder / "data.log").read_text())

    @unittest.skipIf(IS_SANITIZED, "a sanitized server sets no limit of memory")
    def test_it_eats_no_more_memory_than_it_may(self):
        eat = "x = bytearray({} << 20)"
        answers = self.run_worker(says("much", self.python(eat.format(400))),
                                  says("little", self.python(eat.format(100))),
                                  options=("--worker-memory", "200"))
        self.assertEqual(answers, {"much": "no", "little": "yes"})

    def test_a_flood_of_processes_is_killed_and_others_go_on(self):
        bomb = "case $(cat ../problem) in bomb) while :; do sleep 1000 & done;; esac"
        script = f"{bomb}\ncat ../problem > log\n{harness.DONE}"
        client = self.start("--worker", harness.fake_worker(self.folder, script), "--slots", "2")
        evil = client.submitted(b"bomb")
        good = [client.submitted(f"good {n}".encode()) for n in range(20)]
        for job_id in good:
            self.assertEqual(client.await_end(job_id)["outcome"], "ok")
        self.assertEqual(client.await_end(evil)["outcome"], "lost")
        self.assertIn('"processes"', (self.folder / "data.log").read_text())
        self.assertEqual(self.processes_in(self.data), [])

    def processes_in(self, folder):
        found = []
        for entry in pathlib.Path("/proc").iterdir():
            try:
                if entry.name.isdigit() and os.readlink(entry / "cwd").startswith(str(folder) + "/jobs"):
                    found.append(entry.name)
            except OSError:
                pass
        return found

    def test_what_a_worker_leaves_behind_ends_with_it(self):
        # Without the lock, nothing else would tell of it.
        left = "python3 -c 'import os, time; os.closerange(3, 100); time.sleep(1000)' &"
        client = self.start("--worker", harness.fake_worker(self.folder, f"{left}\nsleep 0.3; {harness.DONE}"))
        job_id = client.submitted(b"x")
        self.assertEqual(client.await_end(job_id)["outcome"], "ok")
        self.assertEqual(self.processes_in(self.data), [])

    def test_the_real_worker_works_in_it(self):
        client = self.start("--jail", "must" if LANDLOCK >= 3 else "yes", "--worker-memory", "4000")
        for name in ("workshop.mps", "maxcut.ptf", "portfolio-few.ptf", "logistic-regression.ptf"):
            job_id = client.submitted((harness.EXAMPLES / name).read_bytes(), name=name)
            self.assertEqual(client.await_end(job_id)["response"], "VLN_RES_OK", name)

    def test_the_mode_is_checked(self):
        result = subprocess.run([harness.SERVER, "--data", str(self.data), "--jail", "maybe"], text=True,
                                capture_output=True, check=False)
        self.assertIn("--jail: 'maybe'", result.stderr)


class Logs(harness.ServerTest):
    def test_a_flood_of_log_is_cut_in_the_middle(self):
        line = "a line of the log that has forty bytes.\n"
        self.assertEqual(len(line), 40)
        total = 200 * MEBIBYTE // 40 * 40
        script = (f"echo first > log; yes '{line.strip()}' | head -c {total} >> log; "
                  f"while [ -e ../../../../wait ]; do sleep 0.05; done; echo last >> log; {harness.DONE}")
        wait = self.data / "wait"
        client = self.start("--jail", "no", "--worker", harness.fake_worker(self.folder, script))
        wait.write_text("")
        job_id = client.submitted(b"x")
        log = next(iter(harness.wait_until(lambda: list(self.data.glob("jobs/*/*/1/log")), "a log")))
        harness.wait_until(lambda: log.stat().st_size > total, "the log to be long")
        # Where the file system can give room back.
        if subprocess.run(["fallocate", "-p", "-l", "4096", self.folder / "bin" / "fake-worker"],
                          capture_output=True, check=False).returncode == 0:
            harness.wait_until(lambda: log.stat().st_blocks * 512 < 80 * MEBIBYTE, "room to be given back")
        wait.unlink()
        client.await_end(job_id)
        text = client.get(f"/v1/jobs/{job_id}/log").body
        self.assertLess(len(text), 65 * MEBIBYTE)
        self.assertTrue(text.startswith(b"first\n"))
        self.assertTrue(text.endswith(b"last\n"))
        self.assertIn(b"bytes of the log were left out]", text[32 * MEBIBYTE:32 * MEBIBYTE + 100])
        self.assertNotIn(b"\0", text)


class Quotas(harness.ServerTest):
    def token(self, *quota):
        return self.server.client(self.token_command("add", "owner", "submit", *quota).stdout.split()[1])

    def test_jobs(self):
        self.start("--slots", "1")
        client = self.token("jobs=2")
        running = client.submitted(harness.hard_model(), name="h.mps", key="one")
        client.submitted(harness.small_model())
        answer = client.submit(harness.small_model())
        self.assertEqual((answer.status, answer.json()["type"]), (429, "urn:vorlan:problem:quota-of-jobs"))
        self.assertEqual(client.submit(harness.hard_model(), name="h.mps", key="one").status, 200)
        # Nobody else is kept out.
        self.assertEqual(self.token().submit(harness.small_model()).status, 201)
        client.request("POST", f"/v1/jobs/{running}/cancel")
        client.await_end(running)
        self.assertEqual(client.submit(harness.small_model()).status, 201)

    def test_bytes_of_known_and_unknown_length(self):
        self.start()
        client = self.token("bytes=100000")
        first = client.submitted(60000 * b"a")
        for body in (60000 * b"b", (6000 * b"c" for _ in range(10))):
            answer = client.submit(body)
            self.assertEqual((answer.status, answer.json()["type"]), (429, "urn:vorlan:problem:quota-of-bytes"))
        self.assertEqual(client.submit(30000 * b"d").status, 201)
        client.await_end(first)
        self.assertEqual(client.request("DELETE", f"/v1/jobs/{first}").status, 204)
        self.assertEqual(client.submit(60000 * b"e").status, 201)
        self.assertEqual(list(self.data.glob("incoming/*")), [])

    def test_time_threads_and_variables(self):
        self.start("--threads", "4")
        client = self.token("time=2", "threads=1", "variables=2")
        quota = client.get("/v1/me").json()["quota"]
        self.assertEqual(quota, {"jobs": None, "bytes": None, "threads": 1, "time": 2.0, "variables": 2})
        self.assertEqual(client.submit(b"x", time_limit=3).status, 400)
        self.assertEqual(client.submit(b"x", threads=2).status, 400)
        job = client.await_end(client.submitted(harness.small_model(), name="w.mps"))
        self.assertEqual((job["time_limit"], job["threads"]), (2.0, 1))
        self.assertEqual(job["response"], "VLN_RES_ERR_SERVER_PROBLEM_SIZE")
        slow = self.token("time=1.5")
        job = slow.await_end(slow.submitted(harness.hard_model(), name="h.mps"))
        self.assertEqual(job["response"], "VLN_RES_OK")
        self.assertLess(job["progress"]["time"], 60.0)

    def test_bad_quotas_are_named(self):
        self.start()
        for word, message in (("job=1", "no quota 'job'"), ("jobs=x", "'x' is no number"),
                              ("jobs=-1", "is no number"), ("jobs=", "is no number")):
            self.assertIn(message, self.token_command("add", "o", "submit", word).stderr)


class Upgrade(harness.ServerTest):
    """A data folder of the first release."""

    TABLES = """
      CREATE TABLE jobs (
        id TEXT PRIMARY KEY, owner TEXT NOT NULL, token TEXT NOT NULL, key TEXT NOT NULL,
        name TEXT NOT NULL, problem TEXT NOT NULL, bytes INTEGER NOT NULL, sha256 TEXT NOT NULL,
        priority INTEGER NOT NULL, time_limit REAL NOT NULL, threads INTEGER NOT NULL,
        state TEXT NOT NULL, outcome TEXT NOT NULL, attempt INTEGER NOT NULL, wish TEXT NOT NULL,
        response TEXT NOT NULL, termination TEXT NOT NULL, message TEXT NOT NULL,
        created REAL NOT NULL, began REAL NOT NULL, ended REAL NOT NULL) STRICT;
      CREATE UNIQUE INDEX jobs_by_key ON jobs (owner, key) WHERE key <> '';
      CREATE TABLE results (
        job TEXT NOT NULL REFERENCES jobs (id) ON DELETE CASCADE,
        name TEXT NOT NULL, bytes INTEGER NOT NULL, sha256 TEXT NOT NULL,
        PRIMARY KEY (job, name)) STRICT;
      CREATE TABLE tokens (
        id TEXT PRIMARY KEY, hash TEXT NOT NULL, owner TEXT NOT NULL, role TEXT NOT NULL,
        created REAL NOT NULL, expires REAL NOT NULL, revoked REAL NOT NULL) STRICT;
      PRAGMA user_version = 1;
    """

    def test_jobs_of_the_first_tables_are_kept(self):
        self.data.mkdir()
        with sqlite3.connect(self.data / "server.sqlite") as database:
            database.executescript(self.TABLES)
            database.execute("INSERT INTO jobs VALUES ('0000aa', 'admin', 't', '', 'old', 'problem', 1, 'x', 0, "
                             "0.0, 0, 'ended', 'ok', 1, '', 'VLN_RES_OK', 'VLN_RES_OK', '', 1.0, 1.0, 4e9)")
        database.close()
        client = self.start()
        job = client.job("0000aa")
        self.assertEqual((job["name"], job["outcome"], job["progress"]), ("old", "ok", None))
        client.await_end(client.submitted(harness.small_model()))

    def test_tables_of_a_later_version_are_refused(self):
        self.start()
        self.server.terminate()
        with sqlite3.connect(self.data / "server.sqlite") as database:
            database.execute("PRAGMA user_version = 99")
        database.close()
        result = subprocess.run([harness.SERVER, "--data", str(self.data), "--port", "0", "--worker",
                                 harness.PROGRAM], capture_output=True, text=True, check=False)
        self.assertIn("later version", result.stderr)


if __name__ == "__main__":
    harness.main()
