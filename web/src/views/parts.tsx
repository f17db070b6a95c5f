// Small parts that several views have in common.
import type { ComponentChildren } from "preact";
import { useEffect, useRef, useState } from "preact/hooks";
import { type Job, standing } from "../model";
import { type Link, tryNow } from "../follow";

export function Badge(props: { job: Job }) {
  const { word, tone } = standing(props.job);
  return <span class={`badge ${tone}`}>{word}</span>;
}

/** Milliseconds of now, each second anew while `isTicking`. */
export function useNow(isTicking: boolean): number {
  const [now, setNow] = useState(() => Date.now());
  useEffect(() => {
    if (!isTicking) return;
    setNow(Date.now());
    const timer = setInterval(() => setNow(Date.now()), 1000);
    return () => clearInterval(timer);
  }, [isTicking]);
  return now;
}

/** Says that what is shown may be old, while it may be. */
export function LinkNote(props: { link: Link }) {
  const { link } = props;
  const isLost = link.state === "lost";
  const now = useNow(isLost);
  if (!isLost) return null;
  const seconds = Math.max(0, Math.ceil((link.retryAt - now) / 1000));
  return (
    <p class="trouble" role="alert">
      {link.message} What is shown may be old. {seconds > 0 ? `Trying again in ${seconds} s.` : "Trying again …"}{" "}
      <button type="button" class="quiet" onClick={tryNow}>Try now</button>
    </p>
  );
}

/** A moment in the reader's own way of writing it. */
export function Moment(props: { at: number }) {
  const date = new Date(1000 * props.at);
  const isToday = date.toDateString() === new Date().toDateString();
  const text = isToday
    ? date.toLocaleTimeString([], { hour: "2-digit", minute: "2-digit", second: "2-digit" })
    : date.toLocaleString([], { month: "short", day: "numeric", hour: "2-digit", minute: "2-digit" });
  return <time dateTime={date.toISOString()} title={date.toLocaleString()}>{text}</time>;
}

/** Asks before what cannot be undone. */
export function Confirm(props: {
  title: string; children: ComponentChildren; action: string; onYes: () => void; onNo: () => void;
}) {
  const dialog = useRef<HTMLDialogElement>(null);
  useEffect(() => dialog.current?.showModal(), []);
  return (
    <dialog ref={dialog} onClose={props.onNo} aria-labelledby="confirm-title">
      <h2 id="confirm-title">{props.title}</h2>
      <p>{props.children}</p>
      <div class="actions">
        <button type="button" class="quiet" autofocus onClick={props.onNo}>Keep it</button>
        <button type="button" class="danger" onClick={props.onYes}>{props.action}</button>
      </div>
    </dialog>
  );
}
