// Follows a stream of server-sent events for as long as a view is open, over cuts and sleeps.
//
// Over HTTP/1.1 a browser opens six connections to a server, for all tabs together. Four of them
// may be held by streams; a tab that gets none of these, or that nobody looks at, opens its stream
// for a moment from time to time instead. Both read the same events from the same position.
import { EventParser, pauseAfter } from "./model";
import { Failure, type Session } from "./session";

const kStreams = 4;
const kSilence = 45_000; // the server says something each 15 seconds
const kLook = 400; // a look ends after so much silence
const kPauseOfLooks = 2_000;
const kPauseHidden = 15_000;

export type Link = { state: "joining" | "live" } | { state: "lost"; message: string; retryAt: number };

export interface Follower {
  /** True ends the following: no more is to come. */
  onEvent(name: string, data: unknown): boolean | void;
  onLink(link: Link): void;
  /** A refusal that asking again will not change. */
  onRefusal(failure: Failure): void;
}

/** Follows until `signal` aborts, the events end, or the server refuses. */
export async function follow(
  session: Session, path: string, start: string, signal: AbortSignal, follower: Follower,
): Promise<void> {
  const position = { id: start };
  let failures = 0;
  follower.onLink({ state: "joining" });
  while (!signal.aborted) {
    const release = document.hidden ? null : await takeStream();
    try {
      const heard = () => {
        failures = 0;
        follower.onLink({ state: "live" });
      };
      if (await readStream(session, path, position, signal, release !== null, heard, follower)) return;
      if (release === null) await pause(document.hidden ? kPauseHidden : kPauseOfLooks, signal);
    } catch (error) {
      if (signal.aborted) return;
      const failure = error instanceof Failure ? error : new Failure("The connection was lost.", 0);
      if (isFinal(failure)) return follower.onRefusal(failure);
      failures += 1;
      release?.();
      const wait = 1000 * pauseAfter(failures);
      follower.onLink({ state: "lost", message: failure.message, retryAt: Date.now() + wait });
      await pause(wait, signal);
    } finally {
      release?.();
    }
  }
}

function isFinal(failure: Failure): boolean {
  return failure.status >= 400 && failure.status < 500 && failure.status !== 408 && failure.status !== 429;
}

/** One of the streams that all tabs may hold, to be given back; null when all are taken. */
async function takeStream(): Promise<(() => void) | null> {
  // Locks are missing where a page came over plain HTTP from another machine.
  if (!navigator.locks) return () => {};
  for (let number = 0; number < kStreams; ++number) {
    const release = await new Promise<(() => void) | null>((resolve) => {
      void navigator.locks.request(`stream-${number}`, { ifAvailable: true }, (lock) => {
        if (lock === null) return resolve(null);
        return new Promise<void>((free) => resolve(() => free()));
      });
    });
    if (release) return release;
  }
  return null;
}

/** Reads until the stream ends or falls silent; true when the follower wants no more. */
async function readStream(
  session: Session, path: string, position: { id: string }, signal: AbortSignal, isHeld: boolean,
  heard: () => void, follower: Follower,
): Promise<boolean> {
  const cut = new AbortController();
  const stop = () => cut.abort();
  const stopWhenHidden = () => document.hidden && isHeld && cut.abort();
  signal.addEventListener("abort", stop);
  document.addEventListener("visibilitychange", stopWhenHidden);
  let timer = 0;
  let isQuiet = false;
  const expectMore = () => {
    clearTimeout(timer);
    timer = window.setTimeout(() => {
      isQuiet = true;
      cut.abort();
    }, isHeld ? kSilence : kLook);
  };
  try {
    const headers: Record<string, string> = position.id === "" ? {} : { "Last-Event-ID": position.id };
    const answer = await session.ask(path, { headers, signal: cut.signal });
    heard();
    expectMore();
    const reader = answer.body!.pipeThrough(new TextDecoderStream()).getReader();
    const parser = new EventParser();
    for (let piece = await reader.read(); !piece.done; piece = await reader.read()) {
      expectMore();
      for (const event of parser.take(piece.value)) {
        if (event.id !== "") position.id = event.id;
        if (follower.onEvent(event.name, JSON.parse(event.data))) return true;
      }
    }
    if (isHeld) throw new Failure("The server ended the connection.", 0);
    return false;
  } catch (error) {
    const isOurCut = cut.signal.aborted && !signal.aborted && !(isQuiet && isHeld);
    if (isOurCut) return false;
    throw error;
  } finally {
    clearTimeout(timer);
    cut.abort();
    signal.removeEventListener("abort", stop);
    document.removeEventListener("visibilitychange", stopWhenHidden);
  }
}

/** Waits; less when the tab comes into view, the network comes back, or somebody asks for it. */
function pause(milliseconds: number, signal: AbortSignal): Promise<void> {
  return new Promise((resolve) => {
    const end = () => {
      clearTimeout(timer);
      signal.removeEventListener("abort", end);
      window.removeEventListener("online", end);
      window.removeEventListener(kTryNow, end);
      document.removeEventListener("visibilitychange", endWhenSeen);
      resolve();
    };
    const endWhenSeen = () => !document.hidden && end();
    const timer = window.setTimeout(end, milliseconds);
    signal.addEventListener("abort", end);
    window.addEventListener("online", end);
    window.addEventListener(kTryNow, end);
    document.addEventListener("visibilitychange", endWhenSeen);
  });
}

const kTryNow = "vorlan-try-now";

/** Ends the pause before the next try of every follower. */
export function tryNow(): void {
  window.dispatchEvent(new Event(kTryNow));
}
