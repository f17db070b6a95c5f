#!/usr/bin/env python3
"""Solves a problem file on a solver server; Python's standard library is all that it needs.

usage: server_client.py PROBLEM_FILE SOLUTION_FILE

VORLAN_SERVER_URL is the server (http://localhost:7467), VORLAN_TOKEN the access token. The solution is JSON.
"""
import json
import os
import pathlib
import sys
import time
import urllib.error
import urllib.parse
import urllib.request
import uuid

URL = os.environ.get("VORLAN_SERVER_URL", "http://localhost:7467")
PATIENCE = 600.0  # seconds without a server after which this gives up


def ask(method, path, body=None, headers=None):
    """The body of the answer. A server that is away for a while, or busy, is asked again."""
    headers = {"Authorization": f"Bearer {os.environ['VORLAN_TOKEN']}", **(headers or {})}
    end = time.monotonic() + PATIENCE
    while True:
        try:
            request = urllib.request.Request(URL + path, body, headers, method=method)
            with urllib.request.urlopen(request, timeout=60) as answer:
                return answer.read()
        except urllib.error.HTTPError as error:
            if error.code not in (429, 502, 503, 504) or time.monotonic() > end:
                sys.exit(f"{method} {path.partition('?')[0]} failed: {error.code} {error.read().decode(errors='replace')}")
        except (urllib.error.URLError, OSError) as error:
            if time.monotonic() > end:
                sys.exit(f"{method} {path.partition('?')[0]} failed: {error}")
        time.sleep(1.0)


def submit(path):
    """The key makes it safe to send the file again: the server accepts one job for it."""
    query = urllib.parse.urlencode({"name": path.name})
    headers = {"Idempotency-Key": str(uuid.uuid4()), "Content-Type": "application/octet-stream"}
    return json.loads(ask("POST", f"/v1/jobs?{query}", path.read_bytes(), headers))


def await_end(job):
    while job["state"] != "ended":
        job = json.loads(ask("GET", f"/v1/jobs/{job['id']}?wait=25&after={job['seq']}"))
        if job["progress"]:
            print(f"{job['state']}: {job['progress']}", file=sys.stderr)
    return job


def main():
    if len(sys.argv) != 3 or "VORLAN_TOKEN" not in os.environ:
        sys.exit(__doc__)
    job = await_end(submit(pathlib.Path(sys.argv[1])))
    if job["outcome"] != "ok":
        sys.exit(f"{job['outcome']}: {job['response']}: {job['message']}")
    pathlib.Path(sys.argv[2]).write_bytes(ask("GET", f"/v1/jobs/{job['id']}/solution.json"))
    ask("DELETE", f"/v1/jobs/{job['id']}")
    print(f"{job['outcome']}: {job['termination']} after {job['solve_seconds']:.2f} s")


if __name__ == "__main__":
    main()
