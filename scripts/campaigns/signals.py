"""Sends signals at random moments to the program, or to the process that runs the optimizer.

After SIGTERM a run ends by itself and has its files, but for those of a solve that had not begun, and
unless the program had not come to install its handler; any other signal may end it. Old files stay or
are replaced whole, and no process is left behind. A child that dies is an error of the solve, and the
run goes on.
"""
import collections
import signal
import time

from campaigns import runs

SIGNALS = (signal.SIGTERM, signal.SIGTERM, signal.SIGINT, signal.SIGHUP, signal.SIGKILL, signal.SIGUSR1)
FOR_CHILD = (signal.SIGKILL, signal.SIGSEGV, signal.SIGTERM, signal.SIGABRT)


def length_of(program, line, folder):
    begun = time.monotonic()
    runs.Run(program, line, folder).end()
    return time.monotonic() - begun


def campaign(program, _build, _seconds, draw, folder, over):
    wanted = runs.references(program, folder)
    counts, finds = collections.Counter(), []
    lengths = {}
    runs.heed(SIGNALS)
    while not over():
        line = draw.choice(runs.LINES)
        if line[0] not in lengths:
            lengths[line[0]] = min(length_of(program, line, folder) for _ in range(3))
        run = runs.Run(program, line, folder)
        time.sleep(lengths[line[0]] * draw.random())
        child = runs.children(run.process.pid) if draw.randrange(2) else []
        number = draw.choice(FOR_CHILD if child else SIGNALS)
        if run.process.poll() is not None:
            counts["over before the signal"] += 1
            continue
        runs.signal_one(child[0] if child else run.process.pid, number)
        status = run.end()
        fault = runs.judge(run, status, wanted[line[0]], () if child else (-number,),
                           may_skip_solve=number == signal.SIGTERM and not child)
        if fault is None and not runs.wait_for_children(run):
            fault = "leaves a process behind"
        whom = "the child" if child else "the program"
        counts[f"{signal.Signals(number).name} to {whom}: " + ("went on" if status == 0 else "ended")] += 1
        if fault is not None:
            finds.append(f"line '{line[0]}', {signal.Signals(number).name} to {whom}: {fault}")
    return counts, finds
