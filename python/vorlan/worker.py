"""Runs vorlancli once in a folder of its own and reads what it leaves."""
import json
import os
import pathlib
import shutil
import subprocess


class SolveError(RuntimeError):
    """The program could not be run, or it refused the model; the text is its own line."""


def find_program(program=None):
    """The path of vorlancli: the argument, the variable VORLANCLI, or what PATH has."""
    wanted = program or os.environ.get("VORLANCLI") or "vorlancli"
    found = shutil.which(wanted)
    if found is None:
        raise SolveError(f"{wanted} is not found; give its path as program= or in VORLANCLI")
    return os.path.abspath(found)


def run(folder, model, *, program=None, parameters=(), time_limit=None, show_log=False):
    """Solves the file `model` in `folder`; returns the parsed JSON solution document.

    parameters: pairs of name and value, set after the model is read. time_limit: seconds.
    """
    folder = pathlib.Path(folder)
    words = [find_program(program), "-log", "-" if show_log else "log", "-read", str(model)]
    for name, value in dict(parameters).items():
        words += ["-d", name, str(value)]
    if time_limit is not None:
        words += ["-d", "VLN_DPAR_TIME_LIMIT", repr(float(time_limit))]
    words += ["-solve:res=response,msg=message", "-write-solution", "solution.json"]
    ended = subprocess.run(words, cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                           stderr=None if show_log else subprocess.PIPE, check=False)
    solution = folder / "solution.json"
    if ended.returncode != 0 or not solution.exists():
        raise SolveError(reason(folder, ended))
    # JSON has 20 for 20.0: values are floats, whatever they happen to be.
    return json.loads(solution.read_text(encoding="utf-8", errors="replace"), parse_int=float)


def reason(folder, ended):
    """The line in which the program says why it failed."""
    texts = [(ended.stderr or b"").decode("utf-8", "replace")]
    for name in ("log", "message"):
        path = folder / name
        if path.exists():
            texts.append(path.read_text(encoding="utf-8", errors="replace"))
    for text in texts:
        for line in reversed(text.splitlines()):
            if line.startswith("VLN_RES_ERR"):
                return line
    return f"vorlancli ended with status {ended.returncode}"


def best_solution(document):
    """The most telling solution of a document and its kind, or (None, {})."""
    solutions = document["solutions"]
    for kind in ("integer", "basic", "interior"):
        if kind in solutions:
            return kind, solutions[kind]
    return None, {}
