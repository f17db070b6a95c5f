// The list of jobs as they change, and the form for new ones.
import { useEffect, useState } from "preact/hooks";
import {
  type Filter, type Job, elapsed, formatSeconds, jobAddress, passes, summary, withJob, withoutJob,
} from "../model";
import { type Link, follow } from "../follow";
import type { Failure, Session } from "../session";
import { Badge, LinkNote, Moment, useNow } from "./parts";
import { NewJob, type Sending } from "./new_job";

const kPage = 100;

interface Page {
  jobs: Job[];
  next: string | null;
  seq: number;
}

interface Listed {
  state: "loading" | "ready" | "failed";
  jobs: Job[];
  next: string | null;
  readAt: Record<string, number>; // when the server said it
  message: string;
}

const kNothing: Listed = { state: "loading", jobs: [], next: null, readAt: {}, message: "" };

function pageAddress(filter: Filter, after: string | null): string {
  const query = new URLSearchParams({ limit: String(kPage) });
  // A job that is being started counts as running, but is stored under a name of its own.
  if (filter === "queued" || filter === "ended") query.set("state", filter);
  if (after) query.set("after", after);
  return `/v1/jobs?${query}`;
}

function readNow(jobs: Job[]): Record<string, number> {
  const now = Date.now();
  return Object.fromEntries(jobs.map((job) => [job.id, now]));
}

/** The jobs that pass the filter, kept up to date by the stream of changes. */
function useJobs(session: Session, filter: Filter) {
  const [listed, setListed] = useState(kNothing);
  const [link, setLink] = useState<Link>({ state: "joining" });
  const [round, setRound] = useState(0);

  useEffect(() => {
    const ending = new AbortController();
    const read = async () => {
      const page = await session.json<Page>(pageAddress(filter, null), { signal: ending.signal });
      const jobs = page.jobs.filter((job) => passes(job, filter));
      setListed({ state: "ready", jobs, next: page.next, readAt: readNow(jobs), message: "" });
      return String(page.seq);
    };
    const fail = (failure: Failure) => {
      if (!ending.signal.aborted) setListed((old) => ({ ...old, state: "failed", message: failure.message }));
    };
    const take = (name: string, data: unknown) => {
      if (name === "reset") read().catch(fail);
      if (name === "deleted") {
        setListed((old) => ({ ...old, jobs: withoutJob(old.jobs, (data as Job).id) }));
      }
      if (name !== "job") return;
      const job = data as Job;
      setListed((old) => {
        // What is older than the pages read so far comes when its page is asked for.
        const oldest = old.jobs[old.jobs.length - 1];
        if (old.next && oldest && job.id < oldest.id) return old;
        return { ...old, jobs: withJob(old.jobs, job, filter), readAt: { ...old.readAt, [job.id]: Date.now() } };
      });
    };
    setListed((old) => ({ ...old, state: "loading" }));
    read()
      .then((seq) => follow(session, "/v1/events", seq, ending.signal, { onEvent: take, onLink: setLink, onRefusal: fail }))
      .catch(fail);
    return () => ending.abort();
  }, [session, filter, round]);

  const more = async () => {
    const page = await session.json<Page>(pageAddress(filter, listed.next));
    const jobs = page.jobs.filter((job) => passes(job, filter));
    setListed((old) => ({
      ...old,
      jobs: jobs.reduce((all, job) => withJob(all, job, filter), old.jobs),
      next: page.next,
      readAt: { ...readNow(jobs), ...old.readAt },
    }));
  };
  return { listed, link, more, again: () => setRound(round + 1) };
}

function Row(props: { job: Job; readAt: number; now: number; isAdmin: boolean }) {
  const { job } = props;
  const seconds = elapsed(job, Math.max(0, (props.now - props.readAt) / 1000));
  const name = job.name || `(${job.id.slice(0, 12)})`;
  return (
    <tr>
      <td><Badge job={job} /></td>
      <td class="name">
        <a href={jobAddress(job.id)} title={name}>{name}</a>
        <small>{summary(job)}</small>
      </td>
      <td class="number">{formatSeconds(seconds)}</td>
      <td class="number wide"><Moment at={job.created} /></td>
      {props.isAdmin && <td class="wide owner" title={job.owner}>{job.owner}</td>}
    </tr>
  );
}

const kFilters: [Filter, string][] = [["", "All"], ["queued", "Queued"], ["running", "Running"], ["ended", "Ended"]];

function FilterBar(props: { filter: Filter; onFilter: (filter: Filter) => void }) {
  return (
    <fieldset class="filters">
      <legend class="unseen">Which jobs</legend>
      {kFilters.map(([value, word]) => (
        <label key={value}>
          <input type="radio" name="filter" checked={props.filter === value} onChange={() => props.onFilter(value)} />
          <span>{word}</span>
        </label>
      ))}
    </fieldset>
  );
}

function Nothing(props: { filter: Filter; maySubmit: boolean }) {
  if (props.filter !== "") return <p class="empty">No job is {props.filter}.</p>;
  return (
    <p class="empty">
      No jobs yet. {props.maySubmit ? "Drop a problem file into the form to submit one." : "They show here as they come."}
    </p>
  );
}

function MoreButton(props: { more: () => Promise<void> }) {
  const [state, setState] = useState("");
  const read = () => {
    setState("Loading …");
    props.more().then(() => setState(""), (failure: Failure) => setState(`${failure.message} Try again`));
  };
  return <button type="button" class="quiet more" onClick={read}>{state || "Show older jobs"}</button>;
}

function Jobs(props: { session: Session }) {
  const [filter, setFilter] = useState<Filter>("");
  const { listed, link, more, again } = useJobs(props.session, filter);
  const now = useNow(listed.jobs.some((job) => job.state === "running" || job.state === "stopping"));
  const isAdmin = props.session.me.role === "admin";
  return (
    <section class="card" aria-labelledby="jobs-title" aria-busy={listed.state === "loading"}>
      <div class="heading">
        <h1 id="jobs-title">Jobs</h1>
        <FilterBar filter={filter} onFilter={setFilter} />
      </div>
      <LinkNote link={link} />
      {listed.state === "failed" && (
        <p class="trouble" role="alert">
          {listed.message} <button type="button" class="quiet" onClick={again}>Try again</button>
        </p>
      )}
      {listed.state === "loading" && listed.jobs.length === 0 && <p class="loading" role="status">Loading the jobs …</p>}
      {listed.state === "ready" && listed.jobs.length === 0 && !listed.next && (
        <Nothing filter={filter} maySubmit={props.session.maySubmit} />
      )}
      {listed.jobs.length > 0 && (
        <table aria-label="Jobs">
          <thead>
            <tr>
              <th scope="col">State</th><th scope="col">Job</th><th scope="col" class="number">Solve</th>
              <th scope="col" class="number wide">Submitted</th>{isAdmin && <th scope="col" class="wide">Owner</th>}
            </tr>
          </thead>
          <tbody>
            {listed.jobs.map((job) => (
              <Row key={job.id} job={job} readAt={listed.readAt[job.id] ?? now} now={now} isAdmin={isAdmin} />
            ))}
          </tbody>
        </table>
      )}
      {listed.next && <MoreButton more={more} />}
    </section>
  );
}

export function ListPage(props: { session: Session; sending: Sending }) {
  useEffect(() => { document.title = "Vorlan jobs"; }, []);
  return (
    <div class={props.session.maySubmit ? "columns" : ""}>
      {props.session.maySubmit && <NewJob session={props.session} sending={props.sending} />}
      <Jobs session={props.session} />
    </div>
  );
}
