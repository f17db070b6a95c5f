"""Solves models of everyday families, in units from cents to millions, whose optimum is known beforehand.

A family of everyday_models/ makes a model from a seed and finds its optimum by trying all choices, in
code that shares nothing with the optimizer. Allowed is a claimed optimum as near to the known one as
TOLERANCE, and for a model without a point that it has none. A false answer is a find, and so is a
solve without an answer. The model file is kept in BUILD/campaign-everyday.

The tolerance is twice that of bounds, constraints and integers, 1e-6, which an answer may use up;
the gap that is asked for is far below. Each family says what its errors are measured against.
"""
import collections
import json
import random
import shutil
import subprocess

from campaigns.everyday_models import switches, whole_numbers

TOLERANCE = 2e-6
TIME_LIMIT = 60
FAMILIES = (*whole_numbers.FAMILIES, *switches.FAMILIES)


def solve(program, folder):
    """The solution of model.ptf as the program's file has it, or None where the program failed."""
    answer = folder / "answer.json"
    answer.unlink(missing_ok=True)
    command = [program, "-read", folder / "model.ptf", "-d", "VLN_DPAR_MIP_RELATIVE_GAP", "1e-9",
               "-d", "VLN_IPAR_NUM_THREADS", "1", f"-solve:time-limit={TIME_LIMIT}", "-write-solution", answer]
    try:
        done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL, timeout=2 * TIME_LIMIT, check=False)
    except subprocess.TimeoutExpired:
        return None
    if done.returncode != 0 or not answer.exists():
        return None
    return next(iter(json.loads(answer.read_text())["solutions"].values()), None)


def judge(solution, case):
    """right, wrong or unsolved."""
    if solution is None:
        return "unsolved"
    if solution["solution status"] in ("optimal", "integer optimal"):
        near = case.optimum is not None and (
            abs(solution["primal objective"] - case.optimum) <= TOLERANCE * case.scale)
        return "right" if near else "wrong"
    if "infeasible" in solution["problem status"] or "certificate" in solution["solution status"]:
        is_right = case.optimum is None and solution["problem status"].startswith("primal infeasible")
        return "right" if is_right else "wrong"
    return "unsolved"


def try_case(program, family, seed, folder, keep):
    """The outcome, and the find or None."""
    name = f"{family.__name__} {seed}"
    case = family(random.Random(name.replace(" ", "")))
    path = folder / "model.ptf"
    path.write_text(case.model.text())
    solution = solve(program, folder)
    outcome = judge(solution, case)
    if outcome == "right":
        return outcome, None
    keep.mkdir(parents=True, exist_ok=True)
    kept = keep / f"{family.__name__}-{seed}.ptf"
    shutil.copy(path, kept)
    claimed = solution and f"{solution['solution status']} {solution.get('primal objective')}"
    true = "infeasible" if case.optimum is None else repr(case.optimum)
    return outcome, f"{name} is {outcome}: claimed {claimed}, true {true}; {kept}"


def campaign(program, build, _seconds, draw, folder, over):
    counts, finds = collections.Counter(), []
    seed = draw.randrange(1 << 30)
    while not over():
        for family in FAMILIES:
            outcome, find = try_case(program, family, seed, folder, build / "campaign-everyday")
            counts[f"{family.__name__}: {outcome}"] += 1
            finds += [find] if find else []
        seed += 1
    return counts, finds
