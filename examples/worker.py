#!/usr/bin/env python3
"""A worker of a solver service: solves one model and says what came of it, as JSON.

usage: worker.py [--program FILE] [--seconds N] [--most N] MODEL

vorlancli is driven by its arguments and by the files that it leaves in a new folder. Whatever
happens to it (a bad model, a full disk, a kill), this script ends with one JSON object on standard
output: "outcome" is a word for programs, "reason" a line for people, "solution" what was found.
SIGTERM stops the solve; what it found until then is the result.
"""
import argparse
import json
import signal
import subprocess
import sys
import tempfile
from pathlib import Path

# What a solution proves, by the words of the JSON solution.
OPTIMAL = {"optimal", "integer optimal"}
INFEASIBLE = {"primal infeasible"}
UNBOUNDED = {"dual infeasible", "primal infeasible or unbounded"}
STOPPED = {"VLN_RES_TRM_TIME_LIMIT": "time limit", "VLN_RES_TRM_USER_CALLBACK": "stopped"}


def command(program, model, seconds, most):
    """Parameters stand behind -read, since a model file may hold some. The optimizer's own limit
    comes before that of -solve, so that the termination code tells a limit from a SIGTERM."""
    return [program, "-log", "-", "-read:mode=safe,printtime=0", str(model),
            "-d", "VLN_IPAR_CHILD_PROCESS", "automatic", "-d", "VLN_DPAR_TIME_LIMIT", str(seconds),
            f"-solve:res=res,trm=trm,msg=msg,time-limit={seconds + 5},max-numvar={most},max-numcon={most}",
            "-write-solution", "solution.json", "-indicator-file:done", "ready"]


def run(words, folder):
    """Runs the program; its exit status and its log. SIGPIPE and SIGXFSZ stay ignored, as they are
    in Python: a file that grows too large is then an error, not an end. Python runs the handler of a
    signal between two calls, so none of these calls may wait for long."""
    requests = []
    signal.signal(signal.SIGTERM, lambda *_: requests.append("stop"))
    with subprocess.Popen(words, cwd=folder, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                          restore_signals=False) as process:
        while True:
            try:
                log = process.communicate(timeout=0.1)[1]
                return process.returncode, log.decode(errors="replace")
            except subprocess.TimeoutExpired:
                if requests:
                    process.terminate()


def read(folder, name):
    """A file's text; None if it is missing. On a full disk it is there and empty."""
    file = Path(folder, name)
    return file.read_text(errors="replace") if file.exists() else None


def judge_solution(folder, termination):
    """The outcome of a solve that returned: from its JSON solution and its termination code."""
    solutions = json.loads(read(folder, "solution.json"))["solutions"]
    solution = next((solutions[kind] for kind in ("integer", "basic", "interior") if kind in solutions), {})
    problem = solution.get("problem status", "unknown")
    if solution.get("solution status") in OPTIMAL:
        return "optimal", problem, solution
    if problem in INFEASIBLE:
        return "infeasible", problem, solution
    if problem in UNBOUNDED:
        return "unbounded", problem, solution
    return STOPPED.get(termination, "unknown"), termination, solution


def judge(status, log, folder):
    """Outcome, reason and solution of a run, by its exit status and the files that it left."""
    errors = [line for line in log.splitlines() if line.startswith("VLN_RES_ERR_")]
    last_error = errors[-1] if errors else "no reason was given"
    response, termination = read(folder, "res"), read(folder, "trm")
    if response == "VLN_RES_ERR_SERVER_PROBLEM_SIZE":
        return "too large", read(folder, "msg"), {}
    if status == -signal.SIGABRT:
        return "error", last_error, {}
    if status == -signal.SIGTERM:
        return "stopped", "SIGTERM came before the program was ready for it", {}
    if status < 0:
        return "killed", signal.Signals(-status).name, {}
    if status != 0 or read(folder, "ready") != "done":
        return "not written", "the disk is full", {}
    if response is None:
        return "stopped", "SIGTERM came before the solve", {}
    if response == "" or termination == "":
        return "not written", "the disk was full", {}
    if response != "VLN_RES_OK":
        return "error", read(folder, "msg") or response, {}
    return judge_solution(folder, termination)


def main():
    parser = argparse.ArgumentParser(description="Solves one model; prints the outcome as JSON.")
    parser.add_argument("--program", default="vorlancli")
    parser.add_argument("--seconds", type=float, default=60.0, help="time limit of the solve")
    parser.add_argument("--most", type=int, default=1000000, help="most variables or constraints")
    parser.add_argument("model", type=Path)
    given = parser.parse_args()
    try:
        with tempfile.TemporaryDirectory() as folder:
            words = command(given.program, given.model.resolve(), given.seconds, given.most)
            outcome, reason, solution = judge(*run(words, folder), folder)
    except OSError as error:  # no folder, no program
        outcome, reason, solution = "error", str(error), {}
    json.dump({"outcome": outcome, "reason": reason, "solution": solution}, sys.stdout)
    print()
    return 0 if outcome in ("optimal", "infeasible", "unbounded") else 1


if __name__ == "__main__":
    sys.exit(main())
