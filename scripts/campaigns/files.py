"""Changes files of all formats at random, reads and solves each.

The fuzz targets hold what is read against what is written; this goes on to the solve. Its files come
from fuzz/corpus and examples: bytes, digits, words and lines are exchanged, dropped, doubled or taken
from another file of the format, and some files are compressed, one of those cut short. Each is read
and solved under a time limit, and the plain report is written. Allowed are a refusal by an error of
the library, and a solve with its indicator and response file. Anything else is a find: death by a
signal other than that of the program's own error, a time beyond the limit, more memory than the bound
below, a solve without its files. Finds stay in the build's folder campaign-files.
"""
import collections
import gzip
import pathlib
import re
import resource
import shutil
import signal
import subprocess

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
SUFFIX = {"cbf": ".cbf", "jtask": ".jtask", "lp": ".lp", "mps": ".mps", "ptf": ".ptf",
          "sdpa": ".dat-s", "task": ".task"}
TIME_LIMIT = 2  # of a solve, in seconds
GRACE = 18  # for reading, a busy machine and the rest
MEMORY = 4 << 30  # of addresses
NUMBERS = [b"0", b"-1", b"1e30", b"1e308", b"-inf", b"nan", b"2147483647", b"-2147483648", b"1e-300",
           b"0.1", b"99999999999999999999", b"7"]


def load():
    """The files that changes begin with, by suffix."""
    seeds = collections.defaultdict(list)
    for folder, suffix in SUFFIX.items():
        for path in sorted((ROOT / "fuzz" / "corpus" / folder).iterdir()):
            seeds[suffix].append(path.read_bytes())
    for path in sorted((ROOT / "examples").iterdir()):
        if path.suffix in seeds and path.stat().st_size < 100_000:
            seeds[path.suffix].append(path.read_bytes())
    return seeds


def spans(data, is_part):
    """The runs of bytes that are parts of a kind, as (begin, end)."""
    found, begin = [], None
    for place, byte in enumerate(data):
        if is_part(byte) and begin is None:
            begin = place
        elif not is_part(byte) and begin is not None:
            found.append((begin, place))
            begin = None
    return found + ([(begin, len(data))] if begin is not None else [])


def change_byte(data, _, rng):
    place = rng.randrange(len(data))
    return data[:place] + bytes([rng.randrange(256)]) + data[place + 1:]


def change_number(data, _, rng):
    numbers = spans(data, lambda byte: byte in b"0123456789.+-eE")
    begin, end = rng.choice(numbers or [(0, 0)])
    return data[:begin] + rng.choice(NUMBERS) + data[end:]


def swap_words(data, other, rng):
    words = spans(data, lambda byte: byte > 32)
    others = spans(other, lambda byte: byte > 32)
    if not words or not others:
        return data
    (begin, end), (from_begin, from_end) = rng.choice(words), rng.choice(others)
    return data[:begin] + other[from_begin:from_end] + data[end:]


def change_line(data, other, rng):
    lines, others = data.split(b"\n"), other.split(b"\n")
    place = rng.randrange(len(lines))
    kind = rng.randrange(4)
    if kind == 0:
        del lines[place]
    elif kind == 1:
        lines.insert(place, lines[rng.randrange(len(lines))])
    elif kind == 2:
        lines.insert(place, rng.choice(others))
    else:
        place_of_other = rng.randrange(len(lines))
        lines[place], lines[place_of_other] = lines[place_of_other], lines[place]
    return b"\n".join(lines)


def cut(data, _, rng):
    begin = rng.randrange(len(data))
    return data[:begin] + data[begin + rng.randrange(1, 200):]


CHANGES = (change_byte, change_number, change_number, swap_words, swap_words, change_line, change_line,
           cut)


def changed(seeds, rng):
    """A suffix and a content."""
    suffix = rng.choice(sorted(seeds))
    data = rng.choice(seeds[suffix])
    for _ in range(rng.choice((1, 1, 2, 3, 8))):
        data = rng.choice(CHANGES)(data, rng.choice(seeds[suffix]), rng) or b"\n"
    if rng.randrange(10) == 0:
        data = gzip.compress(data, 1, mtime=0)
        suffix += ".gz"
        if rng.randrange(3) == 0:
            data = data[:rng.randrange(1, len(data))]
    return suffix, data


def bound_resources():
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def run(program, path, folder):
    """What came of the file, and whether that is a find."""
    files = {name: folder / name for name in ("res", "plain", "ready")}
    for file in files.values():
        file.unlink(missing_ok=True)
    command = [program, "-log", folder / "log", "-read:mode=safe", path,
               f"-solve:res={files['res']},time-limit={TIME_LIMIT}",
               "-write-solution", files["plain"], "-indicator-file:done", files["ready"]]
    try:
        done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                              stderr=subprocess.PIPE, timeout=TIME_LIMIT + GRACE,
                              preexec_fn=bound_resources, check=False)
    except subprocess.TimeoutExpired:
        return "too late", True
    error = done.stderr.decode(errors="replace")
    if done.returncode == 0:
        complete = all(file.exists() for file in files.values())
        return ("solved", False) if complete else ("solved without its files", True)
    if done.returncode == -signal.SIGABRT and "VLNException" in error:
        said = error + (folder / "log").read_text(errors="replace")
        code = (re.findall(r"VLN_RES_\w+", said) or ["an error without a code"])[-1]
        internal = "INTERNAL" in code or "CRASH" in code
        return f"refused: {code}", internal
    return f"ended with status {done.returncode}", True


def campaign(program, build, _seconds, draw, folder, over):
    seeds = load()
    keep = build / "campaign-files"
    counts, finds = collections.Counter(), []
    while not over():
        suffix, data = changed(seeds, draw)
        path = folder / f"changed{suffix}"
        path.write_bytes(data)
        outcome, is_find = run(program, path, folder)
        counts[outcome] += 1
        if is_find:
            keep.mkdir(parents=True, exist_ok=True)
            name = f"find-{draw.randrange(1 << 30)}{suffix}"
            shutil.copy(path, keep / name)
            finds.append(f"{keep / name}: {outcome}")
        path.unlink()
    return counts, finds
