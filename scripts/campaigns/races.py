"""Ends processes of a race of methods at random moments, and lets their calls fail.

A race is made sure of: two threads are asked for, and the preloaded library hides how busy the machine
is. A signal goes to the program, or to one or both of its children; or the Nth call of a function fails
from the first child's fork on. Allowed are, beside what the other campaigns allow: a solve that goes on
with the child that is left and says what it would have said; the code of a dead optimizer where no
child was left; after SIGTERM the best point so far. The records of progress get better from line to
line, a point that was found is not lost, and no process and no file is left behind.
"""
import collections
import json
import signal
import time

from campaigns import faults, runs

FOR_CHILD = (signal.SIGKILL, signal.SIGSEGV, signal.SIGABRT, signal.SIGSTOP, signal.SIGTERM)
FOR_PROGRAM = (signal.SIGTERM, signal.SIGTERM, signal.SIGINT, signal.SIGKILL)


def solution_of(run):
    content = run.content("a.json")
    if content in (None, runs.OLD):
        return None
    return next(iter(json.loads(content)["solutions"].values()), None)


def search_fault(run):
    """What is wrong with the records of progress, and with the end beside the points on the way."""
    records = [json.loads(text) for text in (run.content("progress") or b"").decode().splitlines()]
    for name, sign in (("incumbent", 1.0), ("bound", -1.0)):
        known = [sign * record[name] for record in records if record[name] is not None]
        # Children and the end sum up the same point's objective in other orders.
        if any(later > earlier + 1e-9 * max(1.0, abs(earlier)) for earlier, later in zip(known, known[1:])):
            return f"the {name} gets worse in the progress file"
    better = (run.content("better.sol") or b"").decode().splitlines()
    if len(better) < 2:
        return None
    objective, solution = float(better[1].split()[-1]), solution_of(run)
    if solution is None or solution["primal objective"] > objective + 1e-6:
        return f"ends with {solution and solution['primal objective']} though {objective} was found"
    return None


def linear_fault(run, wanted, is_stopped):
    solution = solution_of(run)
    if is_stopped:
        return None
    if solution is None or solution["solution status"] != "optimal":
        return f"the solution is {solution and solution['solution status']}"
    right = next(iter(json.loads(wanted["a.json"])["solutions"].values()))["primal objective"]
    wrong = abs(solution["primal objective"] - right) > 1e-6 * abs(right)
    return f"the optimum is {solution['primal objective']} and not {right}" if wrong else None


def solve_fault(run, line, wanted, may_die, is_stopped):
    """What is wrong with how a solve ended that came to its end."""
    code = run.content("res").decode()
    if code == "VLN_RES_ERR_OPTIMIZER_DIED":
        return None if may_die else "the solve died though one child was left"
    if code != "VLN_RES_OK":
        return f"the code is {code}"
    return linear_fault(run, wanted, is_stopped) if line[0] == "linear race" else search_fault(run)


def send_signal(run, line, moment, draw, counts, wanted):
    """None, or what is wrong with a run of which processes get a signal."""
    time.sleep(moment)
    children = runs.children(run.process.pid)
    whom = draw.choice(("program", "first", "last", "all"))
    number = draw.choice(FOR_PROGRAM if whom == "program" else FOR_CHILD)
    victims = {"program": [run.process.pid], "first": children[:1], "last": children[-1:], "all": children}[whom]
    if run.process.poll() is not None or not victims:
        run.end()
        counts[f"{line[0]}, no process to be hurt"] += 1
        return None
    for victim in victims:
        runs.signal_one(victim, number)
    to_program, all_stopped = whom == "program", number == signal.SIGSTOP and len(victims) == len(children)
    if all_stopped and not to_program:
        runs.signal_one(run.process.pid, signal.SIGTERM)
    status = run.end()
    kind = f"{line[0]}, {signal.Signals(number).name} to {whom}"
    counts[f"{kind}: " + ("went on" if status == 0 else "ended")] += 1
    fault = runs.judge(run, status, wanted, (-number,) if to_program else (), may_skip_solve=to_program)
    if fault is None and status == 0 and run.content("res") is not None:
        # When the signal comes, a second child may be over, or not there yet.
        may_die = number not in (signal.SIGSTOP, signal.SIGTERM) and (whom == "all" or len(children) == 1)
        fault = solve_fault(run, line, wanted, may_die, to_program or all_stopped)
    return f"{kind} of {len(children)}: {fault}" if fault else None


def fail_call(program, line, folder, draw, shim, counts, wanted):
    """A run of which a call fails, and what is wrong with it."""
    call, at, more = draw.choice(faults.CALLS), int(faults.MOST ** draw.random()), draw.choice(faults.RACE_COUNTS)
    environment = faults.environment_of(shim, line, call, at, folder.parent / "mark", more)
    run = runs.Run(program, line, folder, environment=environment)
    status = run.end()
    fault = runs.judge(run, status, wanted)
    counts[f"{line[0]}, a failing {call}: " + ("went on" if status == 0 else "ended")] += 1
    return run, f"{line[0]}, {call} number {at} {more}: {fault}" if fault else None


def undisturbed(program, line, folder, shim, finds):
    """What a line writes and how long it takes."""
    begun = time.monotonic()
    run = runs.Run(program, line, folder, environment=runs.race_environment(shim))
    if run.end() != 0:
        raise SystemExit(f"campaign: the line '{line[0]}' fails when nothing is done to it: {run.error}")
    seconds = time.monotonic() - begun
    if line[0] != "linear race" and b"Racing with" not in run.content("run.log"):
        raise SystemExit(f"campaign: the line '{line[0]}' makes no race")
    wanted = {name: run.content(name) for name in (*run.targets, *run.own_files)}
    fault = solve_fault(run, line, wanted, False, False)
    if fault is not None:
        finds.append(f"{line[0]}, undisturbed: {fault}")
    return wanted, seconds


def campaign(program, build, _seconds, draw, folder, over):
    shim = build / "lib" / "libvorlan_failing_call.so"
    counts, finds = collections.Counter(), []
    runs.heed(FOR_PROGRAM)
    known = {line[0]: undisturbed(program, line, folder, shim, finds) for line in runs.RACES}
    while not over():
        line = draw.choice(runs.RACES)
        wanted, seconds = known[line[0]]
        if draw.randrange(3) == 0:
            run, fault = fail_call(program, line, folder, draw, shim, counts, wanted)
        else:
            run = runs.Run(program, line, folder, environment=runs.race_environment(shim))
            fault = send_signal(run, line, seconds * draw.random(), draw, counts, wanted)
        if fault is None and not runs.wait_for_children(run):
            fault = f"line '{line[0]}' leaves a process behind"
        if fault is not None:
            finds.append(fault)
    return counts, finds
