"""Solves models of everyday families, in units from millionths to hundreds of billions, whose optimum is known.

A family of everyday_models/ makes a model from a seed and finds its optimum by itself: in fractions, by
trying all choices, or by a formula, in code that shares nothing with the optimizer. Allowed is a claimed
optimum as near to the known one as TOLERANCE; for a model without a point, or without an end of its
objective, the proof of that. False are other claims, and bounds on the wrong side of the optimum. A false
answer is a find, and so is a solve without an answer. The model file is kept in BUILD/campaign-everyday.
Linear models are solved by the method that is the default, and by the conic one.

The tolerance is twice that of bounds, constraints and integers, 1e-6, which an answer may use up;
the gap that is asked for is below. Each family says what its errors are measured against.
"""
import collections
import json
import math
import random
import shutil
import subprocess

from campaigns.everyday_models import chosen_squares, curves, linear, squares, switches, whole_numbers

TOLERANCE = 2e-6
TIME_LIMIT = 60
FAMILIES = (*whole_numbers.FAMILIES, *switches.FAMILIES, *linear.FAMILIES, *squares.FAMILIES,
            *curves.FAMILIES, *chosen_squares.FAMILIES)


def solve(program, folder, method, gap):
    """The solution of model.ptf as the program's file has it, or None where the program failed."""
    answer = folder / "answer.json"
    answer.unlink(missing_ok=True)
    command = [program, "-read", folder / "model.ptf", "-d", "VLN_DPAR_MIP_RELATIVE_GAP", gap,
               "-d", "VLN_IPAR_NUM_THREADS", "1", "-d", "VLN_IPAR_OPTIMIZER", method,
               f"-solve:time-limit={TIME_LIMIT}", "-write-solution", answer]
    try:
        done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL, timeout=2 * TIME_LIMIT, check=False)
    except subprocess.TimeoutExpired:
        return None
    if done.returncode != 0 or not answer.exists():
        return None
    return next(iter(json.loads(answer.read_text())["solutions"].values()), None)


def bound_contradicts(solution, case):
    """Whether a bound of an optimum, or of a search that was ended, is on the wrong side of the optimum."""
    status = solution["solution status"]
    if not ("optimal" in status or solution["problem status"] == "primal feasible" or "dual feasible" in status):
        return False
    bound = solution.get("dual objective")
    if not isinstance(bound, (int, float)) or not math.isfinite(bound):
        return False
    excess = bound - case.optimum if case.model.sense == "Minimize" else case.optimum - bound
    return excess > TOLERANCE * case.scale


def is_right_proof(solution, case):
    """Whether a model of which infeasibility is claimed is infeasible, in the primal or the dual."""
    if "dual infeasible" in solution["problem status"]:
        return case.has_ray if case.optimum is None else math.isinf(case.optimum)
    return case.optimum is None


def judge(solution, case):
    """right, wrong or unsolved."""
    if solution is None:
        return "unsolved"
    has_optimum = case.optimum is not None and math.isfinite(case.optimum)
    if solution["solution status"] in ("optimal", "integer optimal"):
        near = has_optimum and (
            abs(solution["primal objective"] - case.optimum) <= TOLERANCE * case.scale)
        return "right" if near and not bound_contradicts(solution, case) else "wrong"
    if "infeasible" in solution["problem status"] or "certificate" in solution["solution status"]:
        return "right" if is_right_proof(solution, case) else "wrong"
    return "wrong" if has_optimum and bound_contradicts(solution, case) else "unsolved"


def try_case(program, family, seed, folder, keep, method="free"):
    """The outcome, and the find or None."""
    name = f"{family.__name__} {seed}"
    case = family(random.Random(name.replace(" ", "")))
    if method != "free" and not case.model.is_linear():
        return "not linear", None
    path = folder / "model.ptf"
    path.write_text(case.model.text())
    # What the conic method leaves of a gap is 1e-8.
    gap = "1e-7" if family in chosen_squares.FAMILIES else "1e-9"
    solution = solve(program, folder, method, gap)
    outcome = judge(solution, case)
    if outcome == "right":
        return outcome, None
    keep.mkdir(parents=True, exist_ok=True)
    kept = keep / f"{family.__name__}-{seed}.ptf"
    shutil.copy(path, kept)
    claimed = solution and (f"{solution['problem status']}, {solution['solution status']} "
                            f"{solution.get('primal objective')} bound {solution.get('dual objective')}")
    true = "infeasible" if case.optimum is None else repr(case.optimum)
    return outcome, f"{name} by {method} is {outcome}: claimed {claimed}, true {true} of scale {case.scale}; {kept}"


def campaign(program, build, _seconds, draw, folder, over):
    counts, finds = collections.Counter(), []
    seed = draw.randrange(1 << 30)
    while not over():
        for family in FAMILIES:
            for method in ("free", "conic") if family in linear.FAMILIES else ("free",):
                outcome, find = try_case(program, family, seed, folder, build / "campaign-everyday", method)
                counts[f"{family.__name__} by {method}: {outcome}"] += 1
                finds += [find] if find else []
        seed += 1
    return counts, finds
