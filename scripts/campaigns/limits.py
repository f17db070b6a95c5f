"""Runs the program under limits of resources: addresses, data, file sizes, descriptors, stack.

Half of the runs solve the examples; the others one of the public instances in the folder that
VORLAN_DATA names, where there is one. A limit on the size of files ends nothing: the write fails.
"""
import collections
import csv
import os
import pathlib
import resource
import signal

from campaigns import runs

MEBIBYTE = 1 << 20
KINDS = {
    "addresses": (resource.RLIMIT_AS, lambda draw: int(MEBIBYTE * 2 ** draw.uniform(3, 10))),
    "data": (resource.RLIMIT_DATA, lambda draw: int(MEBIBYTE * 2 ** draw.uniform(-2, 8))),
    "file size": (resource.RLIMIT_FSIZE, lambda draw: int(2 ** draw.uniform(0, 16))),
    "descriptors": (resource.RLIMIT_NOFILE, lambda draw: draw.randrange(3, 16)),
    "stack": (resource.RLIMIT_STACK, lambda draw: int(1024 * 2 ** draw.uniform(7, 12))),
}


def public_lines():
    """Command lines like those of the examples, one for each public instance that is small."""
    if "VORLAN_DATA" not in os.environ:
        return []
    data = pathlib.Path(os.environ["VORLAN_DATA"]).resolve()
    with (data / "expected.tsv").open(encoding="utf-8") as table:
        names = [row["file"] for row in csv.DictReader(table, delimiter="\t") if row["class"] != "bad"]
    return [(name, ["-read", str(data / name), "-solve:res=res,trm=trm,time-limit=2", "-write-solution",
                    "a.json", "-write", "a.task", "-write-solution", "a.plain"], ["a.json", "a.task"],
             ["res", "trm", "a.plain"]) for name in names]


def campaign(program, _build, _seconds, draw, folder, over):
    wanted = runs.references(program, folder)
    pools = [pool for pool in (runs.LINES, public_lines()) if pool]
    counts, finds = collections.Counter(), []
    while not over():
        line = draw.choice(draw.choice(pools))
        kind = draw.choice(sorted(KINDS))
        which, amount = KINDS[kind]
        most = amount(draw)

        def bound(which=which, most=most):
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
            resource.setrlimit(which, (most, most))

        run = runs.Run(program, line, folder, preexec=bound)
        status = run.end()
        # The system refuses to start the program at all, or its loader does.
        not_started = status in (127, -signal.SIGSEGV, -signal.SIGKILL) and not run.error.strip("Killed\n")
        loader = status == 127 and "shared" in run.error
        counts[f"{kind}: " + ("went on" if status == 0 else "failed")] += 1
        if loader or (not_started and kind in ("addresses", "data", "stack")):
            continue
        fault = runs.judge(run, status, wanted.get(line[0], collections.defaultdict(lambda: b"")))
        if fault is not None:
            finds.append(f"line '{line[0]}', {kind} {most}: {fault}")
    return counts, finds

