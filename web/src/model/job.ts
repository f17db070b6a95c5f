// A job as the server tells it, and what the page says of it.
import { formatGap, formatShort } from "./format";

export interface Progress {
  time: number;
  objective: number | null;
  bound: number | null;
  gap: number | null;
  iterations: number | null;
  nodes: number | null;
}

export interface ResultFile {
  name: string;
  bytes: number;
  sha256: string;
  href: string;
}

export interface Job {
  id: string;
  name: string;
  owner: string;
  state: "queued" | "running" | "stopping" | "ended";
  outcome: "ok" | "failed" | "cancelled" | "lost" | null;
  response: string | null;
  termination: string | null;
  message: string | null;
  attempt: number;
  progress: Progress | null;
  priority: number;
  time_limit: number | null;
  threads: number | null;
  created: number;
  solve_began: number | null;
  solve_seconds: number | null;
  ended: number | null;
  problem: { bytes: number; sha256: string };
  seq: number;
  log_bytes: number;
  results: ResultFile[];
  queue_place?: number | null;
}

/** What a state is drawn as; the word says the same, for those who see no colours. */
export type Tone = "waiting" | "active" | "good" | "partial" | "bad";

export interface Standing {
  word: string;
  tone: Tone;
}

export function standing(job: Job): Standing {
  if (job.state === "queued") return { word: "queued", tone: "waiting" };
  if (job.state !== "ended") return { word: job.state, tone: "active" };
  if (job.outcome === "failed" || job.outcome === "lost") return { word: job.outcome, tone: "bad" };
  if (job.outcome === "cancelled") return { word: "cancelled", tone: "waiting" };
  return job.termination === "VLN_RES_OK"
    ? { word: "done", tone: "good" }
    : { word: "ended early", tone: "partial" };
}

const kEarlyEnds: Record<string, string> = {
  VLN_RES_TRM_USER_CALLBACK: "stopped, by request or at its time limit",
  VLN_RES_TRM_MAX_TIME: "time limit reached",
};

/** The code in words: VLN_RES_TRM_MAX_ITERATIONS is "max iterations". */
export function codeInWords(code: string): string {
  return kEarlyEnds[code] ?? code.replace(/^VLN_RES_(ERR_|TRM_|WRN_)?/, "").toLowerCase().replaceAll("_", " ");
}

/** One line on where the job stands, beside its state. */
export function summary(job: Job): string {
  if (job.state === "queued") return job.queue_place ? `place ${job.queue_place} in the queue` : "";
  if (job.outcome === "lost") return "its worker died, twice";
  if (job.outcome === "cancelled") return "no results were wanted";
  if (job.outcome === "failed") return job.message || codeInWords(job.response ?? "");
  const progress = job.progress;
  const parts: string[] = [];
  if (progress && progress.objective !== null) parts.push(`objective ${formatShort(progress.objective)}`);
  if (progress && progress.gap !== null) parts.push(`gap ${formatGap(progress.gap)}`);
  if (parts.length === 0 && progress && progress.iterations !== null) {
    parts.push(`iteration ${progress.iterations}`);
  }
  return parts.join(", ");
}

/** How long the solve runs by now; `waited` is for how many seconds the server's word is old. */
export function elapsed(job: Job, waited: number): number | null {
  if (job.solve_seconds === null) return null;
  return job.state === "ended" ? job.solve_seconds : job.solve_seconds + waited;
}

export type Filter = "" | "queued" | "running" | "ended";

export function passes(job: Job, filter: Filter): boolean {
  if (filter === "running") return job.state === "running" || job.state === "stopping";
  return filter === "" || job.state === filter;
}

/** Puts in a job that is new or has changed, the newest first; older news than known are dropped. */
export function withJob(jobs: Job[], job: Job, filter: Filter): Job[] {
  const known = jobs.find((other) => other.id === job.id);
  if (known && known.seq > job.seq) return jobs;
  const others = jobs.filter((other) => other.id !== job.id);
  if (!passes(job, filter)) return known ? others : jobs;
  const place = others.findIndex((other) => other.id < job.id);
  others.splice(place < 0 ? others.length : place, 0, job);
  return others;
}

export function withoutJob(jobs: Job[], id: string): Job[] {
  return jobs.filter((job) => job.id !== id);
}
