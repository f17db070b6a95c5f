// The page of the solver service: signing in, the list of jobs, one job.
import { render } from "preact";
import { useCallback, useEffect, useRef, useState } from "preact/hooks";
import { type Route, type Wishes, kListAddress, routeOf } from "./model";
import { type Failure, Session, forgetToken, storedToken } from "./session";
import { type Upload, upload } from "./uploads";
import { JobPage } from "./views/job_page";
import { ListPage } from "./views/list_page";
import { SignIn } from "./views/sign_in";

type Entry =
  | { state: "entering" }
  | { state: "outside"; message: string }
  | { state: "unreached"; message: string; token: string }
  | { state: "inside"; session: Session };

function useRoute(): Route {
  const [route, setRoute] = useState(() => routeOf(location.hash));
  useEffect(() => {
    const change = () => setRoute(routeOf(location.hash));
    window.addEventListener("hashchange", change);
    return () => window.removeEventListener("hashchange", change);
  }, []);
  return route;
}

function useEntry() {
  const [entry, setEntry] = useState<Entry>({ state: "entering" });
  const leave = useCallback((message: string) => {
    forgetToken();
    setEntry({ state: "outside", message });
  }, []);
  const enter = useCallback(async (token: string) => {
    try {
      const session = await Session.begin(token);
      session.onExpired = () => leave("The token has expired or was revoked. Sign in with another one.");
      setEntry({ state: "inside", session });
    } catch (error) {
      const failure = error as Failure;
      if (failure.status === 401) return leave("The server does not know this token, or no longer.");
      setEntry({ state: "unreached", message: failure.message, token });
    }
  }, [leave]);
  useEffect(() => {
    const token = storedToken();
    if (token) void enter(token);
    else setEntry({ state: "outside", message: "" });
  }, [enter]);
  return { entry, enter, leave };
}

/** The files on their way, and the sending of further ones. */
function useUploads(session: Session | null) {
  const [uploads, setUploads] = useState<Upload[]>([]);
  const isBusy = uploads.some((one) => one.state === "sending");
  useEffect(() => {
    if (!isBusy) return;
    const ask = (event: BeforeUnloadEvent) => event.preventDefault();
    window.addEventListener("beforeunload", ask);
    return () => window.removeEventListener("beforeunload", ask);
  }, [isBusy]);
  const change = (news: Upload) =>
    setUploads((old) =>
      old.some((one) => one.key === news.key) ? old.map((one) => (one.key === news.key ? news : one)) : [...old, news],
    );
  const send = async (files: File[], wishes: Wishes) => {
    if (!session) return;
    const ends: Upload[] = [];
    // One by one: the connections are few, and the order of the files is the order of the queue.
    for (const file of files) ends.push(await upload(session, file, wishes, change));
    const job = ends.length === 1 ? ends[0]?.job : undefined;
    if (job && routeOf(location.hash).page === "list") location.hash = `#/jobs/${job.id}`;
  };
  const forget = (key: string) => setUploads((old) => old.filter((one) => one.key !== key));
  return { uploads, send, forget };
}

function Header(props: { session: Session | null; onLeave: () => void }) {
  return (
    <header>
      <a class="skip" href="#main" onClick={(event) => { event.preventDefault(); document.getElementById("main")?.focus(); }}>
        Skip to the content
      </a>
      <a class="brand" href={kListAddress}>Vorlan jobs</a>
      {props.session && (
        <div class="who">
          <span title="who this token belongs to">{props.session.me.owner}</span>
          <span class="role">{props.session.me.role}</span>
          <button type="button" class="quiet" onClick={props.onLeave}>Sign out</button>
        </div>
      )}
    </header>
  );
}

/** A new view begins where reading begins, also for those who hear the page. */
function useFocusOn(route: Route, isInside: boolean) {
  const main = useRef<HTMLElement>(null);
  const isFirst = useRef(true);
  const address = route.page === "job" ? route.id : "";
  useEffect(() => {
    if (!isInside) return;
    if (!isFirst.current) {
      main.current?.focus({ preventScroll: true });
      window.scrollTo(0, 0);
    }
    isFirst.current = false;
  }, [address, isInside]);
  return main;
}

function App() {
  const route = useRoute();
  const { entry, enter, leave } = useEntry();
  const session = entry.state === "inside" ? entry.session : null;
  const sending = useUploads(session);
  const main = useFocusOn(route, session !== null);
  return (
    <>
      <Header session={session} onLeave={() => leave("")} />
      <main id="main" ref={main} tabIndex={-1}>
        {entry.state === "entering" && <p class="loading" role="status">Signing in …</p>}
        {entry.state === "outside" && <SignIn message={entry.message} onEnter={enter} />}
        {entry.state === "unreached" && (
          <section class="card narrow" role="alert">
            <h1>No connection</h1>
            <p>{entry.message}</p>
            <button type="button" onClick={() => enter(entry.token)}>Try again</button>{" "}
            <button type="button" class="quiet" onClick={() => leave("")}>Sign in with another token</button>
          </section>
        )}
        {session && route.page === "list" && <ListPage session={session} sending={sending} />}
        {session && route.page === "job" && <JobPage key={route.id} session={session} id={route.id} />}
      </main>
    </>
  );
}

const page = document.getElementById("page")!;
page.replaceChildren();
render(<App />, page);
