// The form for new jobs: files dropped or chosen, wishes, limits, and how far the sending is.
import { useEffect, useRef, useState } from "preact/hooks";
import {
  type Wishes, formatBytes, jobAddress, limitsInWords, refusalOfFile, refusalOfSeconds,
} from "../model";
import type { Session } from "../session";
import type { Upload } from "../uploads";

export interface Sending {
  uploads: Upload[];
  send: (files: File[], wishes: Wishes) => void;
  forget: (key: string) => void;
}

const kFormats = ".mps .lp .opf .ptf .cbf .dat-s .task .jtask, also with .gz or .zst";

/** Files may be dropped anywhere on the page; beside the form a browser would open them instead. */
function useDrop(onFiles: (files: File[]) => void): boolean {
  const [isOver, setOver] = useState(false);
  const take = useRef(onFiles);
  take.current = onFiles;
  useEffect(() => {
    const holdsFiles = (event: DragEvent) => event.dataTransfer?.types.includes("Files") ?? false;
    const over = (event: DragEvent) => {
      if (!holdsFiles(event)) return;
      event.preventDefault();
      setOver(true);
    };
    const leave = (event: DragEvent) => event.relatedTarget === null && setOver(false);
    const drop = (event: DragEvent) => {
      if (!holdsFiles(event)) return;
      event.preventDefault();
      setOver(false);
      take.current([...event.dataTransfer!.files]);
    };
    document.addEventListener("dragover", over);
    document.addEventListener("dragleave", leave);
    document.addEventListener("drop", drop);
    return () => {
      document.removeEventListener("dragover", over);
      document.removeEventListener("dragleave", leave);
      document.removeEventListener("drop", drop);
    };
  }, []);
  return isOver;
}

function Chosen(props: { files: File[]; refusals: string[]; onRemove: (index: number) => void }) {
  if (props.files.length === 0) return null;
  return (
    <ul class="files" aria-label="Chosen files">
      {props.files.map((file, index) => (
        <li key={index}>
          <span class="file-name" title={file.name}>{file.name}</span>
          <small>{formatBytes(file.size)}</small>
          <button type="button" class="quiet small" aria-label={`Leave out ${file.name}`} onClick={() => props.onRemove(index)}>×</button>
          {props.refusals[index] && <p class="trouble">{props.refusals[index]}</p>}
        </li>
      ))}
    </ul>
  );
}

function UploadRow(props: { upload: Upload; onForget: () => void }) {
  const { upload } = props;
  return (
    <li>
      <span class="file-name" title={upload.name}>
        {upload.job ? <a href={jobAddress(upload.job.id)}>{upload.name}</a> : upload.name}
      </span>
      {upload.state === "accepted" && <small>submitted</small>}
      {upload.state === "sending" && <small>{Math.floor(100 * upload.sent)} %</small>}
      {upload.state === "sending"
        ? <button type="button" class="quiet small" onClick={upload.abort}>Stop</button>
        : <button type="button" class="quiet small" aria-label={`Forget ${upload.name}`} onClick={props.onForget}>×</button>}
      {upload.state === "sending" && <progress max={1} value={upload.sent} aria-label={`${upload.name} is being sent`} />}
      {upload.message && upload.state !== "accepted" && (
        <p class={upload.state === "refused" ? "trouble" : "hint"} role="alert">{upload.message}</p>
      )}
    </li>
  );
}

const kPriorities: [string, string][] = [["10", "high"], ["", "normal"], ["-10", "low"]];

function WishFields(props: { session: Session; wishes: Wishes; refusal: string; onChange: (wishes: Wishes) => void }) {
  const { wishes, onChange } = props;
  const { limits } = props.session;
  const threads = Array.from({ length: Math.min(limits.threads ?? 1, 64) }, (_, index) => String(index + 1));
  return (
    <div class="wishes">
      <label class="field">
        <span>Time limit</span>
        <span class="with-unit">
          <input inputMode="decimal" value={wishes.seconds} aria-invalid={props.refusal !== ""} size={8}
            aria-describedby="seconds-trouble" placeholder={limits.seconds === null ? "none" : String(limits.seconds)}
            onInput={(event) => onChange({ ...wishes, seconds: event.currentTarget.value })} /> s
        </span>
      </label>
      {threads.length > 1 && (
        <label class="field">
          <span>Threads</span>
          <select value={wishes.threads} onChange={(event) => onChange({ ...wishes, threads: event.currentTarget.value })}>
            <option value="">{threads.length}</option>
            {threads.slice(0, -1).reverse().map((count) => <option key={count} value={count}>{count}</option>)}
          </select>
        </label>
      )}
      <label class="field">
        <span>Priority</span>
        <select value={wishes.priority} onChange={(event) => onChange({ ...wishes, priority: event.currentTarget.value })}>
          {kPriorities.map(([value, word]) => <option key={word} value={value}>{word}</option>)}
        </select>
      </label>
      <p class="trouble" id="seconds-trouble" role="alert">{props.refusal}</p>
    </div>
  );
}

export function NewJob(props: { session: Session; sending: Sending }) {
  const { session, sending } = props;
  const [files, setFiles] = useState<File[]>([]);
  const [wishes, setWishes] = useState<Wishes>({ seconds: "", threads: "", priority: "" });
  const input = useRef<HTMLInputElement>(null);
  const add = (more: File[]) => setFiles((old) => [...old, ...more]);
  const isOver = useDrop(add);
  const refusals = files.map((file) => refusalOfFile(file.size, session.limits));
  const refusal = refusalOfSeconds(wishes.seconds, session.limits);
  const isReady = files.length > 0 && refusal === "" && refusals.every((text) => text === "");
  const submit = (event: Event) => {
    event.preventDefault();
    if (!isReady) return;
    sending.send(files, wishes);
    setFiles([]);
  };
  return (
    <section class="card" aria-labelledby="new-title">
      <h2 id="new-title">New job</h2>
      <form onSubmit={submit}>
        <label class={isOver ? "drop over" : "drop"}>
          <input ref={input} class="unseen" type="file" multiple aria-describedby="formats"
            onChange={() => {
              add([...input.current!.files!]);
              input.current!.value = "";
            }} />
          <span>{isOver ? "Drop it" : <>Drop a problem file, or <u>choose one</u></>}</span>
        </label>
        <p class="hint" id="formats">{kFormats}</p>
        <Chosen files={files} refusals={refusals} onRemove={(index) => setFiles(files.filter((_, i) => i !== index))} />
        <WishFields session={session} wishes={wishes} refusal={refusal} onChange={setWishes} />
        <button disabled={!isReady}>{files.length > 1 ? `Submit ${files.length} jobs` : "Submit"}</button>
      </form>
      {sending.uploads.length > 0 && (
        <ul class="files" aria-label="Sent files">
          {sending.uploads.map((one) => <UploadRow key={one.key} upload={one} onForget={() => sending.forget(one.key)} />)}
        </ul>
      )}
      <ul class="limits" aria-label="Limits">
        {limitsInWords(session.serverLimits, session.me).map((words) => <li key={words}>{words}</li>)}
      </ul>
    </section>
  );
}
