"""Lets the Nth call of a function of the system fail, for every N and several command lines.

Without a time the lines with a race of methods have their turn, too, in which calls count from the
fork of the first child on, or of the second: in the program alone, or in each process.
Allowed are an error of the program and a run without one. A crash, a hang, an old file that is lost, a
file of the library that is there in part, and success without the files are finds.
"""
import collections
import os

from campaigns import runs

CALLS = ("malloc", "write", "open", "fork", "mmap", "rename", "read", "pipe", "poll")
MOST = 300
RACE_COUNTS = [{"VORLAN_FAIL_FORKS": forks, **whom} for forks in "12" for whom in ({"VORLAN_FAIL_PARENT": "1"}, {})]


def environment_of(shim, line, call, number, mark, more):
    base = runs.race_environment(shim) if line in runs.RACES else dict(os.environ, LD_PRELOAD=str(shim))
    return dict(base, VORLAN_FAIL_CALL=call, VORLAN_FAIL_AT=str(number), VORLAN_FAIL_MARK=str(mark), **more)


def tries(seconds, draw):
    """Lines and calls with their numbers, and how they count: in turn, or at random when there is little time."""
    if seconds is None:
        for line in runs.LINES:
            for call in CALLS:
                yield line, call, range(1, MOST + 1), {}
        for line in runs.RACES:
            for call in CALLS:
                for count in RACE_COUNTS:
                    yield line, call, range(1, MOST + 1), count
        return
    while True:
        yield draw.choice(runs.LINES), draw.choice(CALLS), [int(MOST ** draw.random())], {}


def campaign(program, build, seconds, draw, folder, over):
    shim = build / "lib" / "libvorlan_failing_call.so"
    wanted = runs.references(program, folder, runs.LINES if seconds is not None else [*runs.LINES, *runs.RACES])
    counts, finds = collections.Counter(), []
    mark = folder.parent / "mark"
    for line, call, numbers, more in tries(seconds, draw):
        for number in numbers:
            if over():
                return counts, finds
            mark.unlink(missing_ok=True)
            run = runs.Run(program, line, folder, environment=environment_of(shim, line, call, number, mark, more))
            status = run.end()
            if not mark.exists():
                counts["there were fewer calls"] += 1
                break
            fault = runs.judge(run, status, wanted[line[0]])
            if fault is None and not runs.wait_for_children(run):
                fault = "leaves a process behind"
            counts["failed" if status else "went on"] += 1
            if fault is not None:
                finds.append(f"line '{line[0]}', {call} number {number} {more or ''}: {fault}")
    return counts, finds
