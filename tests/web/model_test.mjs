// The rules of the server's page that need no screen, as they are served (web/dist/model.js). Needs
// nothing but node: node --test tests/web/model_test.mjs
import assert from "node:assert/strict";
import { test } from "node:test";
import * as model from "../../web/dist/model.js";

const kJob = {
  id: "0a", name: "p.mps", owner: "o", state: "running", outcome: null, response: null, termination: null,
  message: null, progress: null, solve_seconds: 2, seq: 5, queue_place: null,
};
const job = (changes) => ({ ...kJob, ...changes });

test("events are the same wherever their text is cut", () => {
  const text = ": hello\n\nid: 1-20\nevent: log\ndata: {\"a\":1}\n\nevent: end\ndata: {}\n\ndata: a\ndata: b\n\n";
  const whole = new model.EventParser().take(text);
  assert.deepEqual(whole, [
    { name: "log", id: "1-20", data: '{"a":1}' },
    { name: "end", id: "", data: "{}" },
    { name: "message", id: "", data: "a\nb" },
  ]);
  for (let cut = 0; cut <= text.length; ++cut) {
    const parser = new model.EventParser();
    assert.deepEqual([...parser.take(text.slice(0, cut)), ...parser.take(text.slice(cut))], whole);
  }
});

test("an event that is not whole is none", () => {
  assert.deepEqual(new model.EventParser().take("id: 9\nevent: log\ndata: 1\n"), []);
});

test("pauses grow, to an end", () => {
  assert.deepEqual([1, 2, 3, 10].map(model.pauseAfter), [0.5, 1, 2, 15]);
});

test("numbers as people read them", () => {
  assert.deepEqual([0, 1023, 4159, 4294967296, 1.5 * 2 ** 20].map(model.formatBytes),
    ["0 B", "1023 B", "4.1 KiB", "4 GiB", "1.5 MiB"]);
  assert.deepEqual([null, 0.004, 3.21, 9.97, 59.6, 128, 11100, 187200].map(model.formatSeconds),
    ["–", "0.004 s", "3.2 s", "10 s", "1 m 00 s", "2 m 08 s", "3 h 05 m", "2 d 04 h"]);
  assert.deepEqual([604800, 86400, 600, 0.5].map(model.formatSpan), ["7 days", "1 day", "10 min", "0.5 s"]);
  assert.deepEqual([null, 1, 0.366, 2.76e-8, 0].map(model.formatGap), ["–", "100\u00a0%", "36.6\u00a0%", "2.8e-6\u00a0%", "0\u00a0%"]);
  assert.equal(model.formatValue(-0.076063478547), "-0.07606347855");
  assert.deepEqual([7, 1234, 1234567].map(model.formatCount), ["7", "1\u202f234", "1\u202f234\u202f567"]);
});

test("each end of a job has a word of its own", () => {
  const word = (changes) => model.standing(job(changes)).word;
  assert.equal(word({ state: "stopping" }), "stopping");
  const ended = (outcome, termination) => word({ state: "ended", outcome, termination });
  assert.deepEqual(
    [ended("ok", "VLN_RES_OK"), ended("ok", "VLN_RES_TRM_MAX_TIME"), ended("failed"), ended("cancelled"), ended("lost")],
    ["done", "ended early", "failed", "cancelled", "lost"]);
  assert.equal(model.summary(job({ state: "ended", outcome: "failed", response: "VLN_RES_ERR_MPS_FILE" })), "mps file");
});

test("a running job's time goes on between the server's words, an ended one's does not", () => {
  assert.equal(model.elapsed(kJob, 3), 5);
  assert.equal(model.elapsed(job({ state: "ended" }), 3), 2);
  assert.equal(model.elapsed(job({ solve_seconds: null }), 3), null);
});

test("the list keeps its order and drops old news", () => {
  const ids = (jobs) => jobs.map((one) => one.id).join(" ");
  const list = ["0c", "0a"].map((id) => job({ id }));
  assert.equal(ids(model.withJob(list, job({ id: "0b" }), "")), "0c 0b 0a");
  assert.equal(ids(model.withJob(list, job({ id: "0d" }), "")), "0d 0c 0a");
  assert.equal(model.withJob(list, job({ id: "0c", seq: 4, name: "old" }), "")[0].name, "p.mps");
  assert.equal(model.withJob(list, job({ id: "0c", seq: 6, name: "new" }), "")[0].name, "new");
  assert.equal(ids(model.withJob(list, job({ id: "0c", seq: 6, state: "ended" }), "running")), "0a");
  assert.equal(ids(model.withJob(list, job({ id: "0b", state: "queued" }), "running")), "0c 0a");
  assert.equal(ids(model.withoutJob(list, "0c")), "0a");
});

const kServer = {
  slots: 2, jobs: 10, problem_bytes: 1000, time_limit: 600, variables: null, constraints: null, threads: 4,
  memory_mib: null, retention_seconds: 86400,
};
const kMe = { quota: { jobs: null, bytes: 500, threads: null, time: 900, variables: 7 } };

test("of the server's limit and the token's quota the smaller holds", () => {
  const limits = model.limitsOf(kServer, kMe);
  assert.deepEqual(limits, { fileBytes: 500, seconds: 600, threads: 4, variables: 7 });
  assert.equal(model.refusalOfFile(500, limits), "");
  assert.match(model.refusalOfFile(501, limits), /at most 500 B/);
  assert.match(model.refusalOfFile(0, limits), /empty/);
  assert.deepEqual(["", "600", "0.5"].map((text) => model.refusalOfSeconds(text, limits)), ["", "", ""]);
  for (const text of ["601", "0", "-1", "ten", "1e999"]) assert.notEqual(model.refusalOfSeconds(text, limits), "");
});

test("a submission says what was asked for, and the end of a long name", () => {
  const none = { seconds: "", threads: "", priority: "" };
  assert.equal(model.submissionQuery("a b&c.mps", none), "name=a+b%26c.mps");
  assert.equal(model.submissionQuery("p", { seconds: " 5 ", threads: "2", priority: "-10" }),
    "name=p&time_limit=5&threads=2&priority=-10");
  const name = new URLSearchParams(model.submissionQuery("ü".repeat(300) + ".mps", none)).get("name");
  assert.ok(new TextEncoder().encode(name).length <= 255);
  assert.ok(name.endsWith("ü.mps"));
});

test("pieces of a log join; another attempt begins anew; what is left out is said", () => {
  const joiner = new model.LogJoiner();
  const piece = (attempt, from, text) => joiner.take({ attempt, from, bytes: text.length, text });
  assert.deepEqual(piece(1, 0, "ab\n"), { startsAnew: false, text: "ab\n" });
  assert.deepEqual(piece(1, 3, "c\n"), { startsAnew: false, text: "c\n" });
  assert.match(piece(1, 100, "z\n").text, /left out[^]*z\n$/);
  assert.deepEqual(piece(2, 0, "new\n"), { startsAnew: true, text: "new\n" });
});

test("sizes and the end's status come from the log", () => {
  const log = "Read file: x\nRead 96 constraints, 160 variables, 2053 matrix elements, 159 integer, minimize in 0.02 s\n" +
    "  problem status    primal feasible\n  solution status   integer optimal\n";
  assert.deepEqual(model.sizesIn(log).map(({ what, count }) => `${count} ${what}`),
    ["96 constraints", "160 variables", "2053 elements", "159 integer variables"]);
  assert.equal(model.statusIn(log), "integer optimal");
  assert.deepEqual([model.sizesIn("nothing"), model.statusIn("")], [[], ""]);
});

const point = (time, objective, bound, gap) => ({ time, objective, bound, gap, iterations: null, nodes: null });

test("the course of a solve is in the order of time, and only what says something is drawn", () => {
  const history = new model.ProgressHistory();
  history.add([point(0, null, null, null), point(1, 9, 3, 2 / 3), point(0.5, 6, 6, 0)]);
  assert.deepEqual(history.places, [1, 1]);
  assert.deepEqual(history.objectives, [9, 6]);
  assert.deepEqual(history.bounds, [3, 6]);
  assert.equal(history.gaps[1], null);
});

const step = (iterations, objective, bound, time = 0) => ({ ...point(time, objective, bound, null), iterations });

test("a short solve without integers is drawn by its iterations, a long one by its time", () => {
  const history = new model.ProgressHistory();
  history.add([step(0, 0, -8, 0.01), step(1, 5, 3, 0.01), step(2, 4, 4, 0.02)]);
  assert.deepEqual(history.places, [0, 1, 2]);
  assert.equal(history.hasCourse, true);
  history.add([step(3, 4, 4, 30)]);
  assert.deepEqual(history.places, [0.01, 0.01, 0.02, 30]);
  const search = new model.ProgressHistory();
  search.add([{ ...step(0, 0, -8, 0.01), nodes: 0 }, { ...step(9, 0, -7, 0.01), nodes: 1 }]);
  assert.deepEqual(search.places, [0.01, 0.01]);
  assert.equal(search.hasCourse, false);
});

test("iterations that begin anew leave the time as the place", () => {
  const history = new model.ProgressHistory();
  history.add([step(0, 9, null, 0.1), step(40, 4, 3, 0.2), step(2, 4, null, 0.3)]);
  assert.deepEqual(history.places, [0.1, 0.2, 0.3]);
});

test("first points far out are beyond the edge of a plot", () => {
  assert.equal(model.shownRange([[null, null], [null, null]]), null);
  assert.deepEqual(model.shownRange([[3, 2, null], [null, 1, 1]]), [1, 3]);
  assert.deepEqual(model.shownRange([[1e9, 1e6, 9, 8, 7, 6, 5], [-1e9, 0, 1, 2, 3, 4, 5]]), [1, 9]);
  // A fall to a tenth at once is no reason to hide where it came from, nor is a level end.
  assert.deepEqual(model.shownRange([[70, 9, 8, 7, 6, 5], [1, 1, 1, 1, 1, 1]]), [1, 70]);
  assert.deepEqual(model.shownRange([[90, 5, 5, 5, 5, 5, 5]]), [5, 90]);
});

test("a gap alone has a course, without that of the objective", () => {
  const history = new model.ProgressHistory();
  history.add([point(0, null, null, 1.5), point(1, null, null, 0.5), point(2, 7, 7, 0)]);
  assert.deepEqual(history.places, [0, 1, 2]);
  assert.deepEqual(history.gaps, [150, 50, null]);
  assert.equal(history.hasValues, false);
  history.add([point(3, 7, 7, 0)]);
  assert.equal(history.hasValues, true);
});

test("a long course keeps its ends and stays small", () => {
  const history = new model.ProgressHistory();
  for (let time = 0; time < 20001; ++time) history.add([point(time, time, null, null)]);
  assert.ok(history.places.length <= 4000);
  assert.equal(history.places[0], 0);
  assert.equal(history.places.at(-1), 20000);
});

test("addresses lead to jobs, and nothing else does", () => {
  assert.deepEqual(model.routeOf("#/jobs/0a1b"), { page: "job", id: "0a1b" });
  for (const hash of ["", "#/", "#/jobs/", "#/jobs/../x", "#/jobs/0a/log", "#/jobs/<b>"]) {
    assert.deepEqual(model.routeOf(hash), { page: "list" });
  }
  assert.deepEqual(model.routeOf(model.jobAddress("ff")), { page: "job", id: "ff" });
});
