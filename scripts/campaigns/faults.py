"""Lets the Nth call of a function of the system fail, for every N and several command lines.

Allowed are an error of the program and a run without one. A crash, a hang, an old file that is lost, a
file of the library that is there in part, and success without the files are finds.
"""
import collections
import os

from campaigns import runs

CALLS = ("malloc", "write", "open", "fork", "mmap", "rename", "read", "pipe", "poll")
MOST = 300


def tries(seconds, draw):
    """Pairs of a line and a call with their numbers: in turn, or at random when there is little time."""
    pairs = [(line, call) for line in runs.LINES for call in CALLS]
    if seconds is None:
        for line, call in pairs:
            yield line, call, range(1, MOST + 1)
        return
    while True:
        line, call = draw.choice(pairs)
        yield line, call, [int(MOST ** draw.random())]


def campaign(program, build, seconds, draw, folder, over):
    shim = build / "lib" / "libvorlan_failing_call.so"
    wanted = runs.references(program, folder)
    counts, finds = collections.Counter(), []
    mark = folder.parent / "mark"
    for line, call, numbers in tries(seconds, draw):
        for number in numbers:
            if over():
                return counts, finds
            mark.unlink(missing_ok=True)
            environment = dict(os.environ, LD_PRELOAD=str(shim), VORLAN_FAIL_CALL=call,
                               VORLAN_FAIL_AT=str(number), VORLAN_FAIL_MARK=str(mark))
            run = runs.Run(program, line, folder, environment=environment)
            status = run.end()
            if not mark.exists():
                counts["there were fewer calls"] += 1
                break
            fault = runs.judge(run, status, wanted[line[0]])
            counts["failed" if status else "went on"] += 1
            if fault is not None:
                finds.append(f"line '{line[0]}', {call} number {number}: {fault}")
    return counts, finds
