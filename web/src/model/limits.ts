// What the server and the token admit, so that a submission is refused before it is sent.
import { formatBytes, formatCount, formatSpan } from "./format";

export interface ServerLimits {
  slots: number;
  jobs: number;
  problem_bytes: number;
  time_limit: number | null;
  variables: number | null;
  constraints: number | null;
  threads: number | null;
  memory_mib: number | null;
  retention_seconds: number;
}

export interface Me {
  owner: string;
  role: "read" | "submit" | "admin";
  quota: {
    jobs: number | null;
    bytes: number | null;
    threads: number | null;
    time: number | null;
    variables: number | null;
  };
  expires: number | null;
}

export interface Limits {
  fileBytes: number;
  seconds: number | null;
  threads: number | null;
  variables: number | null;
}

function smaller(first: number | null, second: number | null): number | null {
  if (first === null || second === null) return first ?? second;
  return Math.min(first, second);
}

/** Both hold: the server's limits and the token's quota. */
export function limitsOf(server: ServerLimits, me: Me): Limits {
  return {
    fileBytes: smaller(server.problem_bytes, me.quota.bytes) ?? server.problem_bytes,
    seconds: smaller(server.time_limit, me.quota.time),
    threads: smaller(server.threads, me.quota.threads),
    variables: smaller(server.variables, me.quota.variables),
  };
}

/** The limits as a reader of the form wants to know them. */
export function limitsInWords(server: ServerLimits, me: Me): string[] {
  const limits = limitsOf(server, me);
  const words = [`files up to ${formatBytes(limits.fileBytes)}`];
  if (limits.seconds !== null) words.push(`solves up to ${formatSpan(limits.seconds)}`);
  if (limits.variables !== null) words.push(`up to ${formatCount(limits.variables)} variables`);
  if (server.constraints !== null) words.push(`up to ${formatCount(server.constraints)} constraints`);
  if (server.memory_mib !== null) words.push(`${formatBytes(server.memory_mib * 2 ** 20)} of memory`);
  if (me.quota.jobs !== null) words.push(`up to ${formatCount(me.quota.jobs)} jobs at a time`);
  words.push(server.slots === 1 ? "1 job runs at a time" : `${server.slots} jobs run at a time`);
  words.push(`kept for ${formatSpan(server.retention_seconds)}`);
  return words;
}

/** Why this file cannot be sent; "" when it can. */
export function refusalOfFile(bytes: number, limits: Limits): string {
  if (bytes === 0) return "The file is empty.";
  if (bytes <= limits.fileBytes) return "";
  return `The file has ${formatBytes(bytes)}; at most ${formatBytes(limits.fileBytes)} are taken.`;
}

/** Why this time limit, as typed, cannot be; "" when it can. */
export function refusalOfSeconds(text: string, limits: Limits): string {
  if (text.trim() === "") return "";
  const seconds = Number(text);
  if (!Number.isFinite(seconds) || seconds <= 0) return "The time limit is a number of seconds above 0.";
  if (limits.seconds === null || seconds <= limits.seconds) return "";
  return `The time limit can be ${limits.seconds} seconds at most.`;
}

export interface Wishes {
  seconds: string;
  threads: string;
  priority: string;
}

/** What stands behind /v1/jobs? when a file is sent; what is left empty is the server's choice. */
export function submissionQuery(name: string, wishes: Wishes): string {
  const query = new URLSearchParams({ name: shortName(name) });
  if (wishes.seconds.trim() !== "") query.set("time_limit", wishes.seconds.trim());
  if (wishes.threads !== "") query.set("threads", wishes.threads);
  if (wishes.priority !== "") query.set("priority", wishes.priority);
  return query.toString();
}

const kLongestName = 255; // bytes, the server's limit

// The end of a long name says the format, and stays.
function shortName(name: string): string {
  let rest = name;
  while (new TextEncoder().encode(rest).length > kLongestName) rest = rest.slice(1);
  return rest;
}
