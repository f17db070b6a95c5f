"""Runs the program under limits of resources: addresses, data, file sizes, descriptors, stack.

A limit on the size of files ends nothing: the write fails. No run lasts as long as the limits of time
in the lines, which would hide one that goes round in circles. The campaign `instances` does the same to
public instances.
"""
import collections
import resource
import signal
import time

from campaigns import runs

MEBIBYTE = 1 << 20
LONGEST = 35  # seconds
KINDS = {
    "addresses": (resource.RLIMIT_AS, lambda draw: int(MEBIBYTE * 2 ** draw.uniform(3, 10))),
    "data": (resource.RLIMIT_DATA, lambda draw: int(MEBIBYTE * 2 ** draw.uniform(-2, 8))),
    "file size": (resource.RLIMIT_FSIZE, lambda draw: int(2 ** draw.uniform(0, 16))),
    "descriptors": (resource.RLIMIT_NOFILE, lambda draw: draw.randrange(3, 16)),
    "stack": (resource.RLIMIT_STACK, lambda draw: int(1024 * 2 ** draw.uniform(7, 12))),
}


def run_under(program, line, folder, which, most):
    """Runs a line under a limit: the run and its exit status."""
    def bound():
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        resource.setrlimit(which, (most, most))

    run = runs.Run(program, line, folder, preexec=bound)
    return run, run.end()


def is_not_started(run, status, which):
    """Whether the limit let the system refuse to start the program at all, or its loader."""
    if status == 127 and "shared" in run.error:
        return True
    dies = status in (127, -signal.SIGSEGV, -signal.SIGKILL) and not run.error.strip("Killed\n")
    return dies and which in (resource.RLIMIT_AS, resource.RLIMIT_DATA, resource.RLIMIT_STACK)


def campaign(program, _build, _seconds, draw, folder, over):
    wanted = runs.references(program, folder)
    counts, finds = collections.Counter(), []
    while not over():
        line = draw.choice(runs.LINES)
        kind = draw.choice(sorted(KINDS))
        which, amount = KINDS[kind]
        most = amount(draw)
        begun = time.monotonic()
        run, status = run_under(program, line, folder, which, most)
        seconds = time.monotonic() - begun
        counts[f"{kind}: " + ("went on" if status == 0 else "failed")] += 1
        if is_not_started(run, status, which):
            continue
        fault = runs.judge(run, status, wanted[line[0]])
        if fault is None and seconds > LONGEST:
            fault = f"takes {seconds:.0f} s"
        if fault is not None:
            finds.append(f"line '{line[0]}', {kind} {most}: {fault}")
    return counts, finds
