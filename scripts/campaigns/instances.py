"""Solves every public instance under a limit of memory, of file sizes, and of descriptors.

The instances are those of the folder that VORLAN_DATA names, the smallest file first; a short time
is enough for a dozen. The limits are drawn, from those that stop the program at its start to those
that nothing meets. Allowed are an error of the program, and a run whose solution files are there and
claim nothing that is wrong: no other optimum than that of the folder's expected.tsv, and no
certificate against it. Old files stay or are replaced whole.
"""
import collections
import csv
import json
import os
import pathlib
import resource

from campaigns import limits, runs

MEBIBYTE = 1 << 20
FEWEST = 12
KINDS = {
    "memory": (resource.RLIMIT_AS, lambda draw: int(MEBIBYTE * 2 ** draw.uniform(4, 8))),
    "file size": (resource.RLIMIT_FSIZE, lambda draw: int(2 ** draw.uniform(4, 18))),
    "descriptors": (resource.RLIMIT_NOFILE, lambda draw: draw.randrange(3, 12)),
}
WORDS = ["-solve:res=res,trm=trm,time-limit=5", "-write-solution", "a.json", "-write", "a.task",
         "-write-solution", "a.plain"]


def instances():
    """The rows of the table, the smallest file first."""
    if "VORLAN_DATA" not in os.environ:
        return []
    data = pathlib.Path(os.environ["VORLAN_DATA"]).resolve()
    with (data / "expected.tsv").open(encoding="utf-8") as table:
        rows = [{**row, "path": data / row["file"]} for row in csv.DictReader(table, delimiter="\t")]
    return sorted((row for row in rows if row["class"] != "bad"), key=lambda row: row["path"].stat().st_size)


def false_claim(content, row):
    """What a solution file claims against the table, or None."""
    for name, solution in json.loads(content).get("solutions", {}).items():
        status = solution["solution status"]
        if "certificate" in status:
            wrong = row["status"] == "optimal"
        elif "optimal" in status:
            optimum = float(row["optimum"] or "nan")
            allowed = float(row["reltol"] or "nan") * max(1.0, abs(optimum))
            wrong = not abs(solution["primal objective"] - optimum) <= allowed
        else:
            wrong = False
        if wrong:
            return f"claims {name} '{status}' with objective {solution['primal objective']}"
    return None


def judge(run, status, row):
    fault = runs.judge(run, status, collections.defaultdict(lambda: b""))
    content = run.content("a.json")
    if fault is None and content not in (None, runs.OLD):
        fault = false_claim(content, row)
    return fault


def campaign(program, _build, _seconds, draw, folder, over):
    counts, finds = collections.Counter(), []
    for number, row in enumerate(instances()):
        if number >= FEWEST and over():
            break
        line = (row["file"], ["-read", str(row["path"]), *WORDS], ["a.json", "a.task"], ["res", "trm", "a.plain"])
        for kind, (which, amount) in KINDS.items():
            most = amount(draw)
            run, status = limits.run_under(program, line, folder, which, most)
            if limits.is_not_started(run, status, which):
                counts[f"{kind}: not started"] += 1
                continue
            solved = status == 0 and run.content("res") == b"VLN_RES_OK"
            counts[f"{kind}: " + ("solved" if solved else "failed")] += 1
            fault = judge(run, status, row)
            if fault is not None:
                finds.append(f"{row['file']}, {kind} {most}: {fault}")
    return counts, finds
