"""Runs of the program for the campaigns: command lines that use all of it, and a judge of what is left.

Each run has a folder of its own. The files that it is to write are there already, with old content.
"""
import gzip
import json
import os
import pathlib
import random
import re
import shutil
import signal
import subprocess
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
EXAMPLES = ROOT / "examples"
OLD = b"old content\n"
SECONDS = 60  # of a run; a busy machine takes its time

# A name, the words, the files that the library writes (replaced whole), and those that the program
# writes itself, as the run goes on. A word with an @ names an example.
LINES = [
    ("linear", ["-read", "@workshop.mps", "-solve:res=res,trm=trm,msg=msg", "-write-solution", "a.json",
                "-write-solution", "a.b", "-write-solution", "a.plain", "-write", "a.task",
                "-indicator-file:done", "ready"],
     ["a.json", "a.b", "a.task"], ["res", "trm", "msg", "a.plain", "ready"]),
    ("matrix", ["-log", "run.log", "-read", "@theta.dat-s", "-solve:res=res,time-limit=40",
                "-write-solution", "a.json", "-write", "a.cbf"], ["a.json", "a.cbf"], ["res"]),
    ("integer", ["-d", "VLN_IPAR_NUM_THREADS", "1", "-read", "@portfolio-few.ptf", "-solve:trm=trm", "-write",
                 "a.ptf.gz", "-write-solution", "a.task"], ["a.ptf.gz", "a.task"], ["trm"]),
    ("files", ["-read", "@furniture.lp", "-d", "VLN_SPAR_JSON_SOLUTION_FILE", "a.json", "-d", "VLN_SPAR_SOLVER_RESULT_FILE", "a.task",
               "-d", "VLN_SPAR_LOG_FILE", "solve.log", "-solve:res=res,msg=msg",
               "-write", "a.lp"], ["a.json", "a.task", "a.lp"], ["res", "msg"]),
    ("again", ["-read", "@workshop.mps", "-solve", "-write-solution", "a.b", "-read-solution", "a.b",
               "-solve:res=res", "-write", "a.jtask", "-write", "a.mps"], ["a.b", "a.jtask", "a.mps"], ["res"]),
    ("cones", ["-read", "@norm-fit.ptf", "-solve:res=res", "-write-solution", "a.plain", "-write", "a.task.gz"],
     ["a.task.gz"], ["res", "a.plain"]),
    ("start", ["-read", "mix.lp", "-d", "VLN_SPAR_SOLUTION_FILE", "a.sol", "-d", "VLN_SPAR_IMPROVING_SOLUTION_FILE", "better.sol",
               "-d", "VLN_SPAR_PROGRESS_FILE", "progress", "-solve:res=first", "-d", "VLN_SPAR_START_FILE", "a.sol",
               "-d", "VLN_SPAR_SOLUTION_FILE", "b.sol.gz", "-solve:res=res", "-write-solution", "a.json"],
     ["a.sol", "b.sol.gz", "a.json"], ["first", "res", "better.sol", "progress"]),
    ("basis", ["-read", "@furniture.lp", "-d", "VLN_SPAR_BASIS_OUT_FILE", "a.bas", "-d", "VLN_SPAR_RANGING_FILE", "ranges",
               "-solve:res=first", "-d", "VLN_SPAR_RANGING_FILE", "", "-d", "VLN_SPAR_BASIS_IN_FILE", "a.bas", "-d", "VLN_SPAR_BASIS_OUT_FILE", "b.bas",
               "-solve:res=res,msg=msg", "-write-solution", "a.b"],
     ["a.bas", "b.bas", "ranges", "a.b"], ["first", "res", "msg"]),
    ("conflict", ["-read", "no.lp", "-d", "VLN_SPAR_CONFLICT_FILE", "conflict.lp", "-d", "VLN_SPAR_PROBLEM_FILE", "a.mps",
                  "-solve:res=res,msg=msg", "-write-solution", "a.json"],
     ["conflict.lp", "a.mps", "a.json"], ["res", "msg"]),
    ("logic", ["-d", "VLN_IPAR_NUM_THREADS", "1", "-read", "logic.lp", "-d", "VLN_SPAR_SOLUTION_FILE", "a.sol", "-solve:res=res",
               "-write", "a.lp", "-write", "a.jtask", "-write-solution", "a.plain"],
     ["a.sol", "a.lp", "a.jtask"], ["res", "a.plain"]),
    ("products", ["-d", "VLN_IPAR_NUM_THREADS", "1", "-read", "products.lp", "-solve:res=res", "-write-solution", "a.json"],
     ["a.json"], ["res"]),
]

def covering(rows, columns, members, seed):
    """A linear model that takes longer than a race's head start."""
    draw = random.Random(seed)
    text = ["min", " o: " + " + ".join(f"{draw.randrange(1, 1000)} x{j}" for j in range(columns)), "st"]
    for i in range(rows):
        terms = " + ".join(f"{draw.randrange(1, 100)} x{j}" for j in draw.sample(range(columns), members))
        text.append(f" r{i}: {terms} >= {draw.randrange(1000, 100000)}")
    return "\n".join([*text, "end", ""])


def market_split(rows, columns, seed):
    """An integer model of which points are found at once, and the best one in hours."""
    draw = random.Random(seed)
    text = ["min", " o: " + " + ".join(f"p{i} + n{i}" for i in range(rows)), "st"]
    for i in range(rows):
        sizes = [draw.randrange(1, 100) for _ in range(columns)]
        terms = " + ".join(f"{size} x{j}" for j, size in enumerate(sizes))
        text.append(f" r{i}: {terms} + p{i} - n{i} = {sum(sizes) // 2}")
    return "\n".join([*text, "binaries", " " + " ".join(f"x{j}" for j in range(columns)), "end", ""])


def disc_split(rows, columns, seed):
    """The same with each row's two slacks in a disc, for outer approximation."""
    discs = "\n".join(f" d{i}: [ p{i}^2 + n{i}^2 ] <= 1000000" for i in range(rows))
    return market_split(rows, columns, seed).replace("\nbinaries", "\n" + discs + "\nbinaries")


# What the lines read that is no example.
MODELS = {
    "mix.lp": "max\n o: 5 a + 4 b + 4 c + 3 r\nst\n w: 4 a + 4 b + 3 c + r <= 17.5\n p: a + b <= 2\nbounds\n a <= 3\n"
              " b <= 3\n c <= 3\n r <= 1.5\nint\n a b c\nend\n",
    "no.lp": "min\n o: x\nst\n c: x + y >= 10\n d: x <= 4\n e: y <= 3\n f: x + 2 z <= 100\nend\n",
    "logic.lp": "max\n o: x + 2 y + 3 z\nst\n c: x + y + z <= 4\n i: b = 1 -> x + y <= 1\n d: b >= 1\nbounds\n x <= 3\n"
                " y <= 3\n z <= 3\nbinaries\n b\nsos\n s: S1:: x:1 y:2 z:3\nend\n",
    "products.lp": "min\n o: - a - b + [ 4 a * b ] / 2\nst\n c: a + b <= 2\nbinaries\n a b\nend\n",
    "race.lp": covering(2000, 2600, 20, 1),
    "search.lp": market_split(50, 120, 1),
    "outer.lp": disc_split(6, 60, 1),
}


# Lines whose solves are races of methods, where two threads are asked for and the machine counts as idle.
THREADS = ["-d", "VLN_IPAR_NUM_THREADS", "2"]
RACES = [
    ("linear race", [*THREADS, "-log", "run.log", "-read", "race.lp", "-solve:res=res,trm=trm,msg=msg",
                     "-write-solution", "a.json", "-write", "a.task"], ["a.json", "a.task"], ["res", "trm", "msg"]),
    ("search race", [*THREADS, "-log", "run.log", "-read", "search.lp", "-d", "VLN_SPAR_PROGRESS_FILE", "progress", "-d",
                     "VLN_DPAR_LOG_INTERVAL", "0.05", "-d", "VLN_SPAR_IMPROVING_SOLUTION_FILE", "better.sol",
                     "-solve:res=res,trm=trm,msg=msg,time-limit=0.6", "-write-solution", "a.json", "-write", "a.task"],
     ["a.json", "a.task"], ["res", "trm", "msg", "progress", "better.sol"]),
    ("outer race", [*THREADS, "-log", "run.log", "-read", "outer.lp", "-d", "VLN_SPAR_PROGRESS_FILE", "progress", "-d",
                    "VLN_DPAR_LOG_INTERVAL", "0.05", "-d", "VLN_SPAR_IMPROVING_SOLUTION_FILE", "better.sol",
                    "-solve:res=res,trm=trm,msg=msg,time-limit=1", "-write-solution", "a.json", "-write", "a.task"],
     ["a.json", "a.task"], ["res", "trm", "msg", "progress", "better.sol"]),
]


def race_environment(shim, **more):
    return dict(os.environ, LD_PRELOAD=str(shim), VORLAN_IDLE_MACHINE="1", **more)


def without_times(data):
    """The content with what differs from run to run taken out, unpacked."""
    if data[:2] == b"\x1f\x8b":
        data = gzip.decompress(data)
    return re.sub(rb"[0-9.]+e?-?[0-9]* s(ec)?\b", b"", data)


class Run:
    """One command line in a folder; end() waits for it and says what came of it."""

    def __init__(self, program, line, folder, prefix=(), environment=None, preexec=None, old=True):
        self.name, words, self.targets, self.own_files = line
        self.folder = folder
        for file in folder.iterdir():
            shutil.rmtree(file) if file.is_dir() else file.unlink()
        for name in MODELS.keys() & set(words):
            (folder / name).write_text(MODELS[name])
        if old:
            for name in self.targets:
                (folder / name).write_bytes(OLD)
        words = [str(EXAMPLES / word[1:]) if word.startswith("@") else word for word in words]
        self.error = ""
        self.process = subprocess.Popen([*prefix, program, *words], cwd=folder, env=environment,
                                        stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                        stderr=subprocess.PIPE, preexec_fn=preexec, start_new_session=True)

    def end(self):
        """The exit status, negative for a signal; None when the run hung and was killed."""
        try:
            self.error = self.process.communicate(timeout=SECONDS)[1].decode(errors="replace")
            return self.process.returncode
        except subprocess.TimeoutExpired:
            kill_session(self.process.pid)
            self.process.wait()
            return None

    def content(self, name):
        path = self.folder / name
        return path.read_bytes() if path.exists() else None

    def stray_files(self):
        known = {*MODELS, *self.targets, *self.own_files, "run.log", "solve.log"}
        return [file.name for file in self.folder.iterdir() if file.name not in known]


def heed(signals):
    """Who starts a campaign in the background may have signals ignored, and the runs would inherit it."""
    for number in signals:
        if number != signal.SIGKILL and signal.getsignal(number) == signal.SIG_IGN:
            signal.signal(number, signal.SIG_DFL)


def kill_session(leader):
    """Ends a run with its child, which has the same session."""
    for entry in pathlib.Path("/proc").iterdir():
        if not entry.name.isdigit():
            continue
        try:
            session = int((entry / "stat").read_text().rsplit(")", 1)[1].split()[3])
            if session == leader:
                signal_one(int(entry.name), signal.SIGKILL)
        except (OSError, IndexError):
            continue


def signal_one(pid, number):
    try:
        os.kill(pid, number)
    except ProcessLookupError:
        pass


def children(pid):
    try:
        return [int(word) for word in pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split()]
    except OSError:
        return []


def references(program, folder, lines=None):
    """What each line writes when nothing disturbs it; a line that fails ends the campaign."""
    wanted = {}
    for line in lines or LINES:
        run = Run(program, line, folder)
        status = run.end()
        if status != 0:
            raise SystemExit(f"campaign: the line '{line[0]}' ends with {status} when nothing fails: {run.error}")
        wanted[line[0]] = {name: run.content(name) for name in (*run.targets, *run.own_files)}
    return wanted


def is_whole(name, data, reference):
    """Whether a file is complete: as without a disturbance, but for numbers that hang on times and on
    the moment of a stop."""
    if data == reference:
        return True
    try:
        plain = without_times(data)
        if name.endswith((".b", ".task")):
            return is_whole_cbor(data)
        if name.endswith(".json") or name.endswith(".jtask"):
            json.loads(plain)
            return True
        if name.endswith(".task.gz"):
            return is_whole_cbor(gzip.decompress(data))
        wanted = without_times(reference)
        return plain.splitlines()[-1:] == wanted.splitlines()[-1:]
    except (ValueError, EOFError, OSError):
        return False


def is_whole_cbor(data):
    """Whether the content is one item of CBOR (RFC 8949) from its first byte to its last."""
    place, open_items = 0, [1]
    while open_items:
        if open_items[-1] == 0:
            open_items.pop()
            continue
        if place >= len(data):
            return False
        kind, short = data[place] >> 5, data[place] & 31
        place += 1
        if short == 31:
            if kind == 7:
                open_items.pop()
                continue
            if open_items[-1] is not None:
                open_items[-1] -= 1
            open_items.append(None)
            continue
        size = 1 << (short - 24) if short >= 24 else 0
        value = int.from_bytes(data[place:place + size], "big") if size else short
        place += size
        if open_items[-1] is not None and kind != 6:
            open_items[-1] -= 1
        if kind in (2, 3):
            place += value
        elif kind in (4, 5):
            open_items.append(value * (kind - 3))
    return place == len(data)


def judge(run, status, reference, allowed=(), may_skip_solve=False):
    """None, or what is wrong with what a run did. Further statuses may be allowed, and a solve that is
    left out without a trace, as it is after SIGTERM: its files are then as they were."""
    if status is None:
        return "hangs"
    error = run.error
    if status == -signal.SIGABRT:
        # The C library ends a process itself where it has no memory for a thread's destructor, and the
        # C++ runtime where it has none for an exception.
        words = ("VLNException", "std::", "Fatal glibc error", "without an active exception")
        if not any(word in error for word in words):
            return f"aborts without an exception of its own: {error[-200:]}"
    elif status != 0 and status not in allowed:
        return f"ends with status {status}: {error[-200:]}"
    # A signal that ends the program at once leaves it no time to remove anything.
    killed = status in allowed
    if run.stray_files() and not killed:
        return f"leaves {run.stray_files()}"
    for name in run.targets:
        data = run.content(name)
        if data is None:
            return f"has lost the old {name}"
        if data != OLD and not is_whole(name, data, reference[name]):
            return f"leaves {name} incomplete"
        skipped = may_skip_solve and run.content("res") is None
        # The Nth call fails in the child and in the program: the file of the code may be missing, too.
        told = any(b"ERR" in (run.content(res) or b"ERR") for res in ("first", "res") if res in run.own_files)
        if status == 0 and data == OLD and not skipped and not told:
            return f"ends with status 0 without {name}"
    return None


def wait_for_children(run, seconds=5.0):
    """Whether all processes of the run's session are gone soon after it."""
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        left = 0
        for entry in pathlib.Path("/proc").iterdir():
            if entry.name.isdigit():
                try:
                    left += int((entry / "stat").read_text().rsplit(")", 1)[1].split()[3]) == run.process.pid
                except (OSError, IndexError):
                    continue
        if left == 0:
            return True
        time.sleep(0.01)
    return False
