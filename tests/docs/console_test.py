#!/usr/bin/env python3
"""Runs the console blocks of a document and compares what they print with what the document shows.

usage: console_test.py PROGRAM DOCUMENT

A block "```lp NAME" or "```python NAME" gives a file of that name. In a block "```console" a line that begins with "$ "
is a command for the shell, lines that begin with "> " continue it, and the rest is what it prints
(standard output and standard error, blanks at ends of lines apart). "..." stands for any text, over
lines too where it is a line by itself, and a time in seconds ("0.00 s") for any other. All blocks run in one folder, where vorlancli is PROGRAM,
vorlan is the program beside it, ./run starts them as the one of the project does, examples/ has the
examples, and Python knows the module vorlan. A block with a command of the server is passed over: its
own tests run it.
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
SYSTEM_PYTHON = pathlib.Path("/usr/bin/python3")

# A time as re.escape leaves it.
SECONDS = re.compile(r"[0-9]+\\\.[0-9]+\\ s\b")

# What ./run does once everything is built.
RUN = """#!/bin/sh
case $1 in
  vorlan) shift; exec vorlan "$@" ;;
  *) exec vorlancli "$@" ;;
esac
"""


def blocks(text):
    """The fenced blocks as pairs of the words after the fence and the lines."""
    return [(match[1].split(), match[2].splitlines())
            for match in re.finditer(r"^```(\w[^\n]*)\n(.*?)^```$", text, re.MULTILINE | re.DOTALL)]


def commands(lines):
    """The commands of a console block, each with the lines that it should print."""
    found = []
    for line in lines:
        if line.startswith("$ "):
            found.append((line[2:], []))
        elif line.startswith("> "):
            found[-1] = (found[-1][0] + "\n" + line[2:], [])
        else:
            found[-1][1].append(line.rstrip())
    return found


def pattern(lines):
    """A regular expression for what the lines stand for."""
    parts = []
    for line in lines:
        if line == "...":
            parts.append(r"(?:.*\n)*?")
        else:
            text = ".*?".join(map(re.escape, line.split("...")))
            parts.append(SECONDS.sub(lambda _: r"[0-9]+\.[0-9]+ s", text) + r"\n")
    return "".join(parts)


def is_runnable(words, lines):
    """True for a console block without the server."""
    return words[0] == "console" and not any(command.startswith("vorlanserver")
                                             for command, _ in commands(lines))


def main(program, document):
    text = pathlib.Path(document).read_text(encoding="utf-8")
    wrong = count = 0
    with tempfile.TemporaryDirectory() as folder:
        place = pathlib.Path(folder)
        (place / "bin").mkdir()
        (place / "examples").symlink_to(ROOT / "examples")
        (place / "run").write_text(RUN, encoding="utf-8")
        (place / "run").chmod(0o755)
        for name in ("vorlancli", "vorlan"):
            (place / "bin" / name).symlink_to(pathlib.Path(program).resolve().with_name(name))
        if SYSTEM_PYTHON.exists():  # which has the modules of the system's packages
            (place / "bin" / "python3").symlink_to(SYSTEM_PYTHON)
        environment = dict(os.environ, PATH=f"{place / 'bin'}:{os.environ['PATH']}", LC_ALL="C",
                           PYTHONPATH=str(ROOT / "python"), PYTHONDONTWRITEBYTECODE="1")
        for words, lines in blocks(text):
            if words[0] in ("lp", "python") and len(words) > 1:
                (place / words[1]).write_text("\n".join(lines) + "\n", encoding="utf-8")
            for command, shown in commands(lines) if is_runnable(words, lines) else ():
                ended = subprocess.run(["bash", "-c", command], cwd=place, env=environment, timeout=120,
                                       stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                       stderr=subprocess.STDOUT, text=True, check=False)
                printed = "".join(line.rstrip() + "\n" for line in ended.stdout.splitlines())
                count += 1
                if not re.fullmatch(pattern(shown), printed):
                    wrong += 1
                    print(f"{document}: $ {command}\n  shows\n    " + "\n    ".join(shown) +
                          "\n  but prints\n    " + "\n    ".join(printed.splitlines()))
    print(f"{document}: {count - wrong} of {count} commands print what is shown")
    return 1 if wrong or count == 0 else 0


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    sys.exit(main(*sys.argv[1:]))
