// Requests with the token, which is kept for this tab only and travels in a header, never in an
// address: addresses end up in histories and logs.
import type { Limits, Me, ServerLimits } from "./model";
import { limitsOf } from "./model";

const kTokenKey = "token";

export class Failure extends Error {
  /** `status` is the answer's, 0 when none came; `type` is the problem's name for programs. */
  constructor(message: string, readonly status: number, readonly type = "") {
    super(message);
  }
}

export function storedToken(): string {
  return sessionStorage.getItem(kTokenKey) ?? "";
}

export function forgetToken(): void {
  sessionStorage.removeItem(kTokenKey);
}

export class Session {
  me!: Me;
  serverLimits!: ServerLimits;
  /** Called once, when the server no longer takes the token. */
  onExpired: () => void = () => {};

  constructor(readonly token: string) {}

  /** Signs in, or fails. */
  static async begin(token: string): Promise<Session> {
    const session = new Session(token);
    session.me = await session.json<Me>("/v1/me");
    session.serverLimits = await session.json<ServerLimits>("/v1/limits");
    sessionStorage.setItem(kTokenKey, token);
    return session;
  }

  get limits(): Limits {
    return limitsOf(this.serverLimits, this.me);
  }

  get maySubmit(): boolean {
    return this.me.role !== "read";
  }

  async ask(path: string, options: RequestInit = {}): Promise<Response> {
    const headers = { ...(options.headers as Record<string, string>), Authorization: `Bearer ${this.token}` };
    let answer: Response;
    try {
      answer = await fetch(path, { ...options, headers, cache: "no-store" });
    } catch (error) {
      if (options.signal?.aborted) throw error;
      throw new Failure("The server cannot be reached.", 0);
    }
    if (!answer.ok) throw this.failureOf(answer.status, await answer.text().catch(() => ""));
    return answer;
  }

  async json<Document>(path: string, options: RequestInit = {}): Promise<Document> {
    return (await (await this.ask(path, options)).json()) as Document;
  }

  /** What went wrong, from the problem document of an answer. */
  failureOf(status: number, body: string): Failure {
    if (status === 401) this.onExpired();
    let document: { detail?: string; type?: string } = {};
    try {
      document = JSON.parse(body) as typeof document;
    } catch {
      // A proxy's answer, as a rule.
    }
    const detail = document.detail ?? `the server answered with status ${status}`;
    const sentence = detail.charAt(0).toUpperCase() + detail.slice(1);
    return new Failure(/[.!?]$/.test(sentence) ? sentence : `${sentence}.`, status, document.type);
  }
}

/** Has the browser save a file that only the token can fetch. */
export async function download(session: Session, path: string, name: string): Promise<void> {
  const content = await (await session.ask(path)).blob();
  const link = document.createElement("a");
  link.href = URL.createObjectURL(content);
  link.download = name;
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href), 60_000);
}
