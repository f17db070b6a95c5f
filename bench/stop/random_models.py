"""Models on which stops are hard: large ones, ones whose single steps last long, and one that lies.

Each writes a file into a folder and gives its path. The numbers are random by a fixed seed.
"""
import gzip
import json
import random
import subprocess


def quadratic_grid(folder, side):
    """A quadratic program over a cube of points whose neighbours should agree: long factorizations."""
    draw = random.Random(side)
    count = side ** 3
    steps = (1, side, side * side)
    path = folder / f"grid{side}.mps.gz"
    with gzip.open(path, "wt", compresslevel=1) as file:
        file.write("NAME GRID\nROWS\n N COST\nCOLUMNS\n")
        file.writelines(f" X{i} COST {draw.uniform(-1, 1):.6f}\n" for i in range(count))
        file.write("RHS\nBOUNDS\n")
        file.writelines(f" UP BND X{i} {draw.uniform(0.1, 2):.6f}\n" for i in range(count))
        file.write("QUADOBJ\n")
        for i in range(count):
            file.write(f" X{i} X{i} 6.01\n")
            file.writelines(f" X{i} X{i + step} -1\n" for step in steps
                            if i // step % side + 1 < side)
        file.write("ENDATA\n")
    return path


def invented_solution(program, folder, side):
    """The same with a solution that claims to be optimal and is not, as a file of a stranger may."""
    plain = folder / "liar.jtask"
    subprocess.run([program, "-read", quadratic_grid(folder, side), "-write", plain], check=True,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    task = json.loads(plain.read_text())
    count = side ** 3
    solution = {name: [0.0] * count for name in ("slx", "sux")}
    solution |= {"xx": [0.05] * count, "skx": [1] * count, "y": [], "xc": [], "skc": [], "slc": [],
                 "suc": [], "dual objective": 0.0, "primal objective": 0.0,
                 "problem status": "primal and dual feasible", "solution status": "optimal"}
    task["solutions"] = {"interior": solution}
    plain.write_text(json.dumps(task))
    subprocess.run(["zstd", "-q", "-f", "--rm", plain], check=True)
    return folder / "liar.jtask.zst"


def max_cut(folder, count):
    """The semidefinite relaxation of a cut of a torus of points: an iteration lasts long."""
    draw = random.Random(count)
    path = folder / f"cut{count}.dat-s"
    weights = {}
    width = 20
    for i in range(count):
        for j in ((i + 1) % count, (i + width) % count):
            weights[min(i, j), max(i, j)] = draw.choice((-1, 1))
    with path.open("w") as file:
        file.write(f"{count}\n1\n{count}\n" + " ".join("1" for _ in range(count)) + "\n")
        degree = [0] * count
        for (i, j), weight in weights.items():
            degree[i] += weight
            degree[j] += weight
        file.writelines(f"0 1 {i + 1} {i + 1} {-0.25 * degree[i]}\n" for i in range(count))
        file.writelines(f"0 1 {i + 1} {j + 1} {0.25 * w}\n" for (i, j), w in sorted(weights.items()))
        file.writelines(f"{i + 1} 1 {i + 1} {i + 1} 1\n" for i in range(count))
    return path


def transport(folder, sources, sinks):
    """A linear program with a variable for each pair."""
    draw = random.Random(sources)
    path = folder / f"transport{sources}x{sinks}.mps.gz"
    supply = [draw.randrange(50, 100) for _ in range(sources)]
    with gzip.open(path, "wt", compresslevel=1) as file:
        file.write("NAME TRANSPORT\nROWS\n N COST\n")
        file.writelines(f" L S{i}\n" for i in range(sources))
        file.writelines(f" G D{j}\n" for j in range(sinks))
        file.write("COLUMNS\n")
        for i in range(sources):
            file.writelines(f" X{i}_{j} COST {draw.randrange(1, 1000)} S{i} 1\n X{i}_{j} D{j} 1\n"
                            for j in range(sinks))
        file.write("RHS\n")
        file.writelines(f" RHS S{i} {supply[i]}\n" for i in range(sources))
        file.writelines(f" RHS D{j} {0.9 * sum(supply) / sinks:.6f}\n" for j in range(sinks))
        file.write("ENDATA\n")
    return path


def chain(folder, count):
    """A linear program that is only large: each row is about a variable and the next."""
    draw = random.Random(count)
    path = folder / f"chain{count}.mps.gz"
    with gzip.open(path, "wt", compresslevel=1) as file:
        file.write("NAME CHAIN\nROWS\n N COST\n")
        file.writelines(f" G R{i}\n" for i in range(count))
        file.write("COLUMNS\n")
        for i in range(count):
            file.write(f" X{i} COST {draw.randrange(1, 100)} R{i} 1\n")
            file.write(f" X{i} R{(i + 1) % count} {draw.uniform(0.1, 0.9):.4f}\n")
        file.write("RHS\n")
        file.writelines(f" RHS R{i} {draw.randrange(1, 50)}\n" for i in range(count))
        file.write("ENDATA\n")
    return path
