#!/usr/bin/env python3
"""Stops solves at random moments and tells how long each took to end, and what it kept.

usage: bench/stop/random_moments.py NUMBER PROGRAM SET_COVER [DATA] [--seed S] [--longest SECONDS]
                                    [--only PART_OF_A_NAME]

NUMBER times one of the models is drawn, a generated one every other time and else one of the folder
DATA, as its expected.tsv lists them. PROGRAM solves it once to know how long that takes, at most
SECONDS. Then it is stopped at a random moment of that time, by SIGTERM and by the time limit in turn.
SET_COVER is the program bench_set_cover.

Two delays are taken. That of the operation lasts from the moment of the stop until the first result
file is there, which is written when the solve returns; half a second is promised for it. That of the
program lasts until it has ended, with its solution written, which takes the longer the larger the
model is. Of the delay of the operation the time is also told that the system let the program's own
process run or sleep: the rest is the wait for a processor that others have.

Prints median, 99 in 100, and the longest of each in milliseconds, the ten longest with their models,
and how many runs kept which solution. Exit status 1 when an operation took longer than half a second
of such time.
"""
import argparse
import collections
import csv
import pathlib
import random
import signal
import subprocess
import sys
import tempfile
import time

import random_models

PROMISED = 0.5
LOOK_AGAIN = 0.0005


def waited(pid):
    """Seconds that a process has waited for a processor."""
    try:
        return int(pathlib.Path(f"/proc/{pid}/schedstat").read_text().split()[1]) * 1e-9
    except OSError:
        return None


class Run:
    """A run of the program on a model, with its files in a folder of its own."""

    def __init__(self, program, model, folder, limit=None):
        self.files = {name: folder / name for name in ("begun", "seconds", "res", "trm", "plain")}
        for file in self.files.values():
            file.unlink(missing_ok=True)
        items = f"printtime,opttime={self.files['seconds']},res={self.files['res']},trm={self.files['trm']}"
        if limit is not None:
            items += f",time-limit={limit:.6f}"
        self.process = subprocess.Popen(
            [program, "-read", model, "-indicator-file", self.files["begun"], f"-solve:{items}",
             "-write-solution", self.files["plain"]],
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def await_file(self, name, seconds=3600.0):
        """Whether the file is there before the seconds are over, and before the program's end."""
        end = time.monotonic() + seconds
        while not self.files[name].exists():
            if self.process.poll() is not None:
                return self.files[name].exists()
            if time.monotonic() > end:
                return False
            time.sleep(LOOK_AGAIN)
        return True

    def content(self, name):
        return self.files[name].read_text() if self.files[name].exists() else ""

    def kept(self):
        """What the run has left, in a few words."""
        if self.process.returncode != 0:
            return f"nothing: exit status {self.process.returncode}"
        if self.content("res") != "VLN_RES_OK":
            return f"nothing: {self.content('res')}"
        end = "to its end" if self.content("trm") == "VLN_RES_OK" else "stopped"
        lines = self.content("plain").splitlines()
        status = [line.split(None, 1)[1] for line in lines[:9] if line.split()[:1] == ["SolutionStatus"]]
        return f"{end}, a point of status '{status[0]}'" if status else f"{end}, no point"


def length_of(program, model, folder, longest):
    """How long the solve takes, at most so long; None where there is none."""
    run = Run(program, model, folder, longest)
    run.process.wait()
    return min(longest, float(run.content("seconds") or 0)) if run.process.returncode == 0 else None


def stop(program, model, folder, moment, by_signal):
    """The delays of the operation and of the program, the former without the wait for a processor,
    and what was kept; None when the solve was over before."""
    run = Run(program, model, folder, None if by_signal else moment)
    pid = run.process.pid
    if not run.await_file("begun"):
        run.process.wait()
        return None
    begun = time.monotonic()
    time.sleep(moment)
    if by_signal and run.files["seconds"].exists():
        run.process.wait()
        return None
    stopped = time.monotonic()
    before = waited(pid)
    if by_signal:
        run.process.send_signal(signal.SIGTERM)
    run.await_file("seconds")
    returned = time.monotonic()
    after = waited(pid)
    run.process.wait()
    ended = time.monotonic()
    if by_signal:
        operation = returned - stopped
    else:
        operation = float(run.content("seconds") or 0) - moment
        stopped = begun + moment
    if operation <= 0.0:
        return None
    waits = after - before if before is not None and after is not None else 0.0
    return operation, ended - stopped, max(0.0, operation - waits), run.kept()


def generated_models(program, set_cover, folder):
    covers = []
    for rows, columns in ((300, 1500), (4200, 60000)):
        path = folder / f"cover{rows}x{columns}.mps"
        with path.open("wb") as file:
            subprocess.run([set_cover, str(rows), str(columns), "1"], stdout=file, check=True)
        covers.append(path)
    return covers + [random_models.quadratic_grid(folder, 28), random_models.quadratic_grid(folder, 48),
                     random_models.invented_solution(program, folder, 48),
                     random_models.max_cut(folder, 400), random_models.max_cut(folder, 1000),
                     random_models.transport(folder, 300, 1000), random_models.chain(folder, 1000000)]


def listed_models(data):
    with (data / "expected.tsv").open(encoding="utf-8") as table:
        rows = csv.DictReader(table, delimiter="\t")
        return [data / row["file"] for row in rows if row["class"] != "bad"]


def quantile(values, share):
    return sorted(values)[int(share * (len(values) - 1))]


def tell(label, seconds):
    figures = "".join(f"{1e3 * quantile(seconds, share):10.1f}" for share in (0.5, 0.99, 1.0))
    print(f"  {label:<44}{figures}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", 1)[0])
    parser.add_argument("number", type=int)
    parser.add_argument("program", type=pathlib.Path)
    parser.add_argument("set_cover", type=pathlib.Path)
    parser.add_argument("data", nargs="?", type=pathlib.Path)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--longest", type=float, default=20.0)
    parser.add_argument("--only", default="")
    words = parser.parse_args()
    program = words.program.resolve()
    draw = random.Random(words.seed)
    stops, lengths, kept = [], {}, collections.Counter()
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        pools = [generated_models(program, words.set_cover, folder)]
        if words.data is not None:
            pools.append(listed_models(words.data))
        pools = [[model for model in pool if words.only in model.name] for pool in pools]
        pools = [pool for pool in pools if pool]
        tried = 0
        while len(stops) < words.number:
            model = draw.choice(pools[tried % len(pools)])
            tried += 1
            if model not in lengths:
                lengths[model] = length_of(program, model, folder, words.longest)
            if lengths[model] is None:
                continue
            moment = lengths[model] * draw.random()
            by_signal = len(stops) % 2 == 0
            delays = stop(program, model, folder, moment, by_signal)
            if delays is None:
                continue
            stops.append((*delays, model.name, moment, "SIGTERM" if by_signal else "time limit"))
            kept[delays[3]] += 1
    print(f"{len(stops)} stops, ms{'':<36}{'median':>10}{'99 in 100':>10}{'longest':>10}")
    for how in ("SIGTERM", "time limit"):
        of_kind = [one for one in stops if one[6] == how]
        if not of_kind:
            continue
        tell(f"{how}: to the operation's return", [one[0] for one in of_kind])
        tell("  without the wait for a processor", [one[2] for one in of_kind])
        tell("  to the program's end", [one[1] for one in of_kind])
    for operation, end, own, what, model, moment, how in sorted(stops, key=lambda one: -one[0])[:10]:
        print(f"  {1e3 * operation:8.1f} {1e3 * own:8.1f} {1e3 * end:8.1f}  {model} at {moment:.3f} s, "
              f"{how}: {what}")
    for what, count in kept.most_common():
        print(f"{count:8d}  {what}")
    return 1 if max(one[2] for one in stops) > PROMISED else 0


if __name__ == "__main__":
    sys.exit(main())
