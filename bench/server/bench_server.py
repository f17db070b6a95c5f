#!/usr/bin/env python3
"""Measures the solver service beside its floors, in one run. bench/run server builds and calls it.

Each figure has a bar; the exit status is 1 when one does not hold. Servers and clients share the machine.
"""
import concurrent.futures
import os
import pathlib
import resource
import select
import socket
import statistics
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
os.environ.setdefault("VORLAN_SERVER", str(ROOT / "build/release/bin/vorlanserver"))
os.environ.setdefault("VORLAN_PROGRAM", str(ROOT / "build/release/bin/vorlancli"))
sys.path.insert(0, str(ROOT / "tests" / "server"))
import harness  # noqa: E402  (needs the variables)

MODEL = ROOT / "examples" / "workshop.mps"
missed = 0


def line(what, value, unit, bar=None, more_is_better=False):
    global missed
    holds = bar is None or (value >= bar if more_is_better else value <= bar)
    missed += not holds
    said = "" if bar is None else f"   bar {bar:g}{'' if holds else '   MISSED'}"
    print(f"  {what:58} {value:10.1f} {unit}{said}", flush=True)


def memory_of(server, field="VmRSS"):
    """MiB, by the system's figures."""
    text = pathlib.Path(f"/proc/{server.process.pid}/status").read_text()
    return int(text.split(f"{field}:")[1].split()[0]) / 1024


def seconds(function):
    begin = time.monotonic()
    function()
    return time.monotonic() - begin


def tiny_jobs(folder, count=400):
    """Two submitters at once; then the same workers started by a shell, two at a time."""
    server = harness.Server(folder / "tiny", "--slots", "2", "--threads", "1")
    client = server.client()
    body = MODEL.read_bytes()

    def work():
        with concurrent.futures.ThreadPoolExecutor(2) as pool:
            ids = list(pool.map(lambda n: client.submitted(body, name="w.mps"), range(count)))
        for job_id in ids:
            client.await_end(job_id)
    rate = count / seconds(work)
    server.terminate()
    loop = (f"seq {count} | xargs -P 2 -I @ sh -c 'mkdir {folder}/f.@ && cd {folder}/f.@ && exec {harness.PROGRAM} -log log "
            f"-read:mode=safe {MODEL} -d VLN_IPAR_NUM_THREADS 1 -solve:res=res,trm=trm,msg=msg "
            f"-write-solution:format=task+zstd result -write-solution solution.json -write-solution solution.plain "
            f"-indicator-file:done done >/dev/null 2>&1'")
    floor = count / seconds(lambda: subprocess.run(["sh", "-c", loop], check=True))
    print("Tiny jobs, end to end")
    line("the same workers by a shell", floor, "jobs/s")
    line("through the server", rate, "jobs/s", 100, more_is_better=True)


def added_latency(folder, rounds=41):
    server = harness.Server(folder / "latency")
    words = [harness.PROGRAM, "-read", str(MODEL)]
    remote = f"-solve:remote=http://127.0.0.1:{server.port},remote-access-token={server.token}"
    times = {"-solve": [], remote: []}
    for _ in range(rounds):
        for solve, measured in times.items():
            run = lambda s=solve: subprocess.run([*words, s], check=True, capture_output=True)  # noqa: E731
            measured.append(1000 * seconds(run))
    server.terminate()
    local, far = [statistics.median(times[solve]) for solve in ("-solve", remote)]
    print("A tiny solve, process start to end (medians)")
    line("local", local, "ms")
    line("remote", far, "ms")
    line("added", far - local, "ms", 25)


def many_jobs(folder, count=10_000):
    server = harness.Server(folder / "many", "--slots", "1", "--max-jobs", str(2 * count))
    client = server.client()
    running = client.submitted(harness.hard_model(), name="h.mps")
    with concurrent.futures.ThreadPoolExecutor(8) as pool:
        list(pool.map(lambda n: client.submitted(b"x"), range(count)))
    pages = [1000 * seconds(lambda: client.get("/v1/jobs?limit=100")) for _ in range(51)]
    memory = memory_of(server)
    server.kill()
    holder = []
    restart = seconds(lambda: holder.append(harness.Server(folder / "many", "--slots", "1")))
    adopted = holder[0].client().job(running)["state"]
    assert adopted == "running", adopted
    holder[0].client().request("POST", f"/v1/jobs/{running}/cancel")
    holder[0].kill()
    print(f"{count} queued jobs")
    line("a list page of 100 (median of 51)", statistics.median(pages), "ms", 20)
    line("restart until connections are accepted", 1000 * restart, "ms", 1000)
    line("memory", memory, "MiB")


def many_watchers(folder, count=1000):
    resource.setrlimit(resource.RLIMIT_NOFILE, (4096, resource.getrlimit(resource.RLIMIT_NOFILE)[1]))
    server = harness.Server(folder / "watchers")
    client = server.client()
    wires = []
    for _ in range(count):
        wire = socket.create_connection(("127.0.0.1", server.port))
        wire.sendall(f"GET /v1/events HTTP/1.1\r\nHost: x\r\nAuthorization: Bearer {server.token}\r\n\r\n".encode())
        wires.append(wire)
    poll = select.epoll()
    for wire in wires:
        while b"\r\n\r\n" not in wire.recv(4096):
            pass
        poll.register(wire, select.EPOLLIN)
    memory = memory_of(server)
    delays = []
    for _ in range(5):
        time.sleep(0.5)
        begin = time.monotonic()
        client.submitted(b"x")
        waiting = {wire.fileno(): wire for wire in wires}
        while waiting:
            for number, _ in poll.poll():
                by_number = waiting.pop(number, None) or next(w for w in wires if w.fileno() == number)
                by_number.recv(65536)
        delays.append(1000 * (time.monotonic() - begin))
    for wire in wires:
        wire.close()
    server.kill()
    print(f"{count} watchers of the list")
    line("memory of the server", memory, "MiB", 50)
    line("from a submission to the event at the last (median of 5)", statistics.median(delays), "ms", 200)


def large_upload(folder, mebibytes=1024):
    server = harness.Server(folder / "upload", "--slots", "1")
    client = server.client()
    client.get("/healthz")
    before = memory_of(server)
    piece = os.urandom(1 << 20)
    took = seconds(lambda: client.submitted(piece for _ in range(mebibytes)))
    more = memory_of(server, "VmHWM") - before
    server.kill()
    print(f"An upload of {mebibytes} MiB")
    line("rate", mebibytes / took, "MiB/s")
    line("memory beside what the idle server has, at most", more, "MiB", 20)


def main():
    for measure in (tiny_jobs, added_latency, many_jobs, many_watchers, large_upload):
        with tempfile.TemporaryDirectory(prefix="vorlan-bench-") as folder:
            measure(pathlib.Path(folder))
    sys.exit(1 if missed else 0)


if __name__ == "__main__":
    main()
