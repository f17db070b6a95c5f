// Files on their way to the server. They belong to the page as a whole, so that looking at a job
// meanwhile interrupts none.
import type { Job, Wishes } from "./model";
import { pauseAfter, submissionQuery } from "./model";
import { Failure, type Session } from "./session";

export interface Upload {
  key: string;
  name: string;
  sent: number; // share, 0 to 1
  state: "sending" | "accepted" | "refused";
  job?: Job;
  message?: string;
  abort: () => void;
}

const kMostTries = 5;

/** Unlike for any other submission; randomUUID() is missing where a page came over plain HTTP. */
function newKey(): string {
  const bytes = crypto.getRandomValues(new Uint8Array(16));
  return Array.from(bytes, (byte) => byte.toString(16).padStart(2, "0")).join("");
}

/** Sends a file; `onChange` gets each state of it. Tries again under the same key: one job results. */
export async function upload(
  session: Session, file: File, wishes: Wishes, onChange: (upload: Upload) => void,
): Promise<Upload> {
  const canceller = new AbortController();
  let upload: Upload = { key: newKey(), name: file.name, sent: 0, state: "sending", abort: () => canceller.abort() };
  const change = (news: Partial<Upload>) => {
    upload = { ...upload, ...news };
    onChange(upload);
  };
  change({});
  for (let tries = 1; ; ++tries) {
    try {
      const path = `/v1/jobs?${submissionQuery(file.name, wishes)}`;
      const job = await send(session, path, upload.key, file, canceller.signal, (sent) => change({ sent }));
      change({ state: "accepted", sent: 1, job });
      return upload;
    } catch (error) {
      const failure = error instanceof Failure ? error : new Failure(String(error), 400);
      if (canceller.signal.aborted) {
        await giveUp(session, upload.key);
        change({ state: "refused", message: "Not sent." });
        return upload;
      }
      if (!isWorthAgain(failure) || tries === kMostTries) {
        change({ state: "refused", message: failure.message });
        return upload;
      }
      change({ sent: 0, message: `${failure.message} Trying again …` });
      await new Promise((resume) => setTimeout(resume, 1000 * pauseAfter(tries)));
    }
  }
}

function isWorthAgain(failure: Failure): boolean {
  return failure.status === 0 || failure.status === 503 || failure.status === 409;
}

/** Whatever has arrived under the key goes. */
async function giveUp(session: Session, key: string): Promise<void> {
  await session.ask(`/v1/jobs?key=${key}`, { method: "DELETE" }).catch(() => {});
}

// fetch() tells nothing of how much of a body was sent.
function send(
  session: Session, path: string, key: string, file: File, signal: AbortSignal, onSent: (share: number) => void,
): Promise<Job> {
  return new Promise((resolve, reject) => {
    const request = new XMLHttpRequest();
    request.open("POST", path);
    request.setRequestHeader("Authorization", `Bearer ${session.token}`);
    request.setRequestHeader("Idempotency-Key", key);
    request.setRequestHeader("Content-Type", "application/octet-stream");
    request.upload.onprogress = (event) => onSent(event.total > 0 ? event.loaded / event.total : 0);
    request.onload = () => {
      if (request.status >= 200 && request.status < 300) return resolve(JSON.parse(request.responseText) as Job);
      return reject(session.failureOf(request.status, request.responseText));
    };
    request.onerror = () => reject(new Failure("The connection broke while the file was sent.", 0));
    request.onabort = () => reject(new Failure("Not sent.", 0));
    signal.addEventListener("abort", () => request.abort());
    if (signal.aborted) return reject(new Failure("Not sent.", 0));
    return request.send(file);
  });
}
