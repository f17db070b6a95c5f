// One job: where it stands, how its solve goes, its log, its results, and what can be done with it.
import { useEffect, useMemo, useRef, useState } from "preact/hooks";
import {
  type Job, type LogPiece, type Progress, type Size, LogJoiner, ProgressHistory, codeInWords, elapsed,
  formatBytes, formatCount, formatGap, formatSeconds, formatValue, isContinuous, kListAddress, kUnknown, sizesIn, standing, statusIn, summary,
} from "../model";
import { type Link, follow } from "../follow";
import { type Failure, type Session, download } from "../session";
import { type LogHandle, LogView } from "./log_view";
import { Badge, Confirm, LinkNote, Moment, useNow } from "./parts";
import { Plots } from "./plot";

/** What the stream of a job has told so far. */
interface Watched {
  job: Job | null;
  readAt: number;
  sizes: Size[];
  status: string;
  logAt: number; // when the log last grew
  isDeleted: boolean;
  refusal: Failure | null;
}

const kNothing: Watched = {
  job: null, readAt: 0, sizes: [], status: "", logAt: 0, isDeleted: false, refusal: null,
};

function useJob(session: Session, id: string) {
  const [watched, setWatched] = useState(kNothing);
  const [link, setLink] = useState<Link>({ state: "joining" });
  const history = useMemo(() => new ProgressHistory(), [id]);
  const log = useRef<LogHandle>(null);
  useEffect(() => {
    const ending = new AbortController();
    const joiner = new LogJoiner();
    // A stream that begins anew, after an error of the view as a rule, begins with the log's start.
    history.clear();
    log.current?.clear();
    const takeLog = (piece: LogPiece & { progress: Progress[] }) => {
      const change = joiner.take(piece);
      if (change.startsAnew) {
        log.current?.clear();
        history.clear();
      }
      log.current?.append(change.text);
      history.add(piece.progress);
      const sizes = sizesIn(piece.text);
      const status = statusIn(piece.text);
      setWatched((old) => ({
        ...old, logAt: Date.now(), sizes: sizes.length > 0 ? sizes : old.sizes,
        status: status || (change.startsAnew ? "" : old.status),
      }));
    };
    const take = (name: string, data: unknown) => {
      if (name === "job") setWatched((old) => ({ ...old, job: data as Job, readAt: Date.now() }));
      if (name === "log") takeLog(data as LogPiece & { progress: Progress[] });
      if (name === "deleted") setWatched((old) => ({ ...old, isDeleted: true }));
      return name === "deleted" || name === "end";
    };
    void follow(session, `/v1/jobs/${id}/events`, "", ending.signal, {
      onEvent: take,
      onLink: setLink,
      onRefusal: (refusal) => setWatched((old) => ({ ...old, refusal })),
    });
    return () => ending.abort();
  }, [session, id]);
  return { watched, link, history, log };
}

interface Fact {
  what: string;
  value: string;
  title?: string;
}

function Facts(props: { facts: Fact[]; class?: string }) {
  return (
    <dl class={`facts ${props.class ?? ""}`}>
      {props.facts.map((fact) => (
        <div key={fact.what}><dt>{fact.what}</dt><dd title={fact.title}>{fact.value}</dd></div>
      ))}
    </dl>
  );
}

function mainFacts(job: Job, progress: Progress | null, waited: number): Fact[] {
  const seconds = elapsed(job, waited);
  const facts: Fact[] = [
    { what: "Objective", value: formatValue(progress?.objective ?? null) },
    { what: isContinuous(progress) ? "Dual objective" : "Bound", value: formatValue(progress?.bound ?? null) },
    { what: "Gap", value: formatGap(progress?.gap ?? null) },
    { what: "Solve time", value: formatSeconds(seconds) },
  ];
  if (progress && progress.nodes !== null) facts.push({ what: "Nodes", value: formatCount(progress.nodes) });
  if (progress && progress.iterations !== null) facts.push({ what: "Iterations", value: formatCount(progress.iterations) });
  return job.state === "ended" ? facts.filter((fact) => fact.value !== kUnknown) : facts;
}

function sideFacts(job: Job, sizes: Size[], isAdmin: boolean): Fact[] {
  const facts = sizes.map(({ what, count }) => ({
    what: what.charAt(0).toUpperCase() + what.slice(1), value: formatCount(count),
  }));
  const more: Fact[] = [{ what: "File", value: formatBytes(job.problem.bytes), title: `SHA-256 ${job.problem.sha256}` }];
  if (job.threads !== null) more.push({ what: "Threads", value: String(job.threads) });
  if (job.priority !== 0) more.push({ what: "Priority", value: String(job.priority) });
  if (job.time_limit !== null) more.push({ what: "Time limit", value: formatSeconds(job.time_limit) });
  if (job.attempt > 1) more.push({ what: "Attempt", value: String(job.attempt) });
  if (isAdmin) more.push({ what: "Owner", value: job.owner });
  return [...facts, ...more];
}

/** The sentence below the name, read out when it changes. */
function standingInWords(job: Job, status: string): string {
  if (job.state === "queued") return job.queue_place ? `Place ${job.queue_place} in the queue.` : "In the queue.";
  if (job.state === "stopping") return "The solve is asked to end.";
  if (job.state === "running") return job.solve_began === null ? "The problem is being read." : "The solve is running.";
  if (job.outcome === "cancelled") return "Cancelled: no results were wanted.";
  if (job.outcome === "lost") return "The worker died, twice. Nothing more is tried.";
  if (job.outcome === "failed") return `${job.message || "The job failed."} (${job.response})`;
  const end = job.termination === "VLN_RES_OK" ? "" : `The solve ended early: ${codeInWords(job.termination ?? "")}. `;
  return end + (status === "" ? "" : `${status.charAt(0).toUpperCase()}${status.slice(1)}.`);
}

type Wish = "stop" | "cancel" | "delete";

function Actions(props: { session: Session; job: Job; onTrouble: (message: string) => void }) {
  const { session, job } = props;
  const [asked, setAsked] = useState<Wish | null>(null);
  const [isBusy, setBusy] = useState(false);
  const send = async (wish: Wish) => {
    setAsked(null);
    setBusy(true);
    props.onTrouble("");
    try {
      if (wish === "delete") await session.ask(`/v1/jobs/${job.id}`, { method: "DELETE" });
      else await session.ask(`/v1/jobs/${job.id}/${wish}`, { method: "POST" });
      if (wish === "delete") location.hash = kListAddress;
    } catch (error) {
      props.onTrouble((error as Failure).message);
    }
    setBusy(false);
  };
  if (!session.maySubmit) return null;
  const isEnded = job.state === "ended";
  return (
    <div class="actions">
      {job.state === "running" && (
        <button type="button" disabled={isBusy} onClick={() => send("stop")}>Stop and keep results</button>
      )}
      {!isEnded && <button type="button" class="quiet danger" disabled={isBusy} onClick={() => setAsked("cancel")}>Cancel</button>}
      {isEnded && <button type="button" class="quiet danger" disabled={isBusy} onClick={() => setAsked("delete")}>Delete</button>}
      {asked === "cancel" && (
        <Confirm title="Cancel this job?" action="Cancel the job" onYes={() => send("cancel")} onNo={() => setAsked(null)}>
          The solve ends at once, and there will be no results. To keep what it has found, stop it instead.
        </Confirm>
      )}
      {asked === "delete" && (
        <Confirm title="Delete this job?" action="Delete" onYes={() => send("delete")} onNo={() => setAsked(null)}>
          The problem, the log and all results go. This cannot be undone.
        </Confirm>
      )}
    </div>
  );
}

const kResultWords: Record<string, string> = {
  result: "Task solver result, for vorlancli",
  "solution.json": "Solution, JSON",
  "solution.plain": "Solution, plain text",
  log: "Log of the worker",
  "solve.log": "Log of the solve",
};

function savedName(job: Job, file: string): string {
  const stem = (job.name || job.id).replace(/[^\w.-]+/g, "_");
  return file === "result" ? `${stem}.result.task.zst` : `${stem}.${file}`;
}

function Results(props: { session: Session; job: Job; onTrouble: (message: string) => void }) {
  const { session, job } = props;
  const [busy, setBusy] = useState("");
  if (job.state !== "ended") return null;
  const fetchFile = async (name: string) => {
    setBusy(name);
    props.onTrouble("");
    await download(session, `/v1/jobs/${job.id}/${name}`, savedName(job, name))
      .catch((error: Failure) => props.onTrouble(error.message));
    setBusy("");
  };
  return (
    <section class="card" aria-labelledby="results-title">
      <h2 id="results-title">Results</h2>
      {job.results.length === 0 && <p class="empty">The job left no files.</p>}
      <ul class="files">
        {job.results.map((file) => (
          <li key={file.name} title={`SHA-256 ${file.sha256}`}>
            <span class="result-name">{kResultWords[file.name] ?? file.name}</span>
            <small>{formatBytes(file.bytes)}</small>
            <button type="button" class="quiet small" disabled={busy === file.name}
              aria-label={`Download ${file.name}`} onClick={() => fetchFile(file.name)}>Download</button>
          </li>
        ))}
      </ul>
    </section>
  );
}

function useTitle(job: Job | null): void {
  const text = job ? `${standing(job).word}: ${job.name || job.id}` : "Vorlan jobs";
  useEffect(() => { document.title = text; }, [text]);
}

function Gone(props: { text: string }) {
  return (
    <section class="card narrow">
      <h1>No such job</h1>
      <p role="alert">{props.text}</p>
      <a href={kListAddress}>To the list of jobs</a>
    </section>
  );
}

export function JobPage(props: { session: Session; id: string }) {
  const { session } = props;
  const { watched, link, history, log } = useJob(session, props.id);
  const [trouble, setTrouble] = useState("");
  const { job } = watched;
  const isSolving = job !== null && (job.state === "running" || job.state === "stopping");
  const now = useNow(isSolving);
  useTitle(job);
  if (watched.isDeleted) return <Gone text="The job was deleted." />;
  if (watched.refusal?.status === 404) return <Gone text="There is no job under this address: it was deleted, or it is another owner's." />;
  // The log is ahead of the job while the solve runs; at its end the job has the last word.
  const progress = (isSolving && history.last) || job?.progress || null;
  const silence = watched.logAt === 0 ? 0 : Math.floor((now - watched.logAt) / 1000);
  return (
    <div class="job">
      <a class="back" href={kListAddress}>← All jobs</a>
      {watched.refusal && <p class="trouble" role="alert">{watched.refusal.message}</p>}
      <LinkNote link={link} />
      {trouble && <p class="trouble" role="alert">{trouble}</p>}
      {!job && !watched.refusal && <p class="loading" role="status">Loading the job …</p>}
      {job && (
        <section class="card" aria-labelledby="job-title">
          <div class="heading">
            <h1 id="job-title" title={job.name}><span class="long">{job.name || job.id}</span> <Badge job={job} /></h1>
            <Actions session={session} job={job} onTrouble={setTrouble} />
          </div>
          <p role="status" class={job.outcome === "failed" || job.outcome === "lost" ? "trouble" : ""}>
            {standingInWords(job, watched.status)}
          </p>
          <Facts class="main" facts={mainFacts(job, progress, Math.max(0, (now - watched.readAt) / 1000))} />
          <Facts facts={sideFacts(job, watched.sizes, session.me.role === "admin")} />
          <p class="hint">
            Submitted <Moment at={job.created} />{job.ended !== null && <>, ended <Moment at={job.ended} /></>}.
            Job <code>{job.id}</code>
            {isSolving && silence >= 10 && <>. The log last grew {formatSeconds(silence)} ago</>}
          </p>
        </section>
      )}
      {job && <Results session={session} job={job} onTrouble={setTrouble} />}
      <div class={job && job.solve_began !== null ? "halves" : ""}>
        {job && job.solve_began !== null && (
          <section class="card" aria-label="Course of the solve">
            <Plots history={history} isEnded={job.state === "ended"} />
            <p class="unseen">{summary(job)}</p>
          </section>
        )}
        <LogView handle={log} isRunning={isSolving} onDownload={() => {
          download(session, `/v1/jobs/${props.id}/log`, job ? savedName(job, "log") : "log")
            .catch((error: Failure) => setTrouble(error.message));
        }} />
      </div>
    </div>
  );
}
