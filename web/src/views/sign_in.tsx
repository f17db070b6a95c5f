// Signing in by an access token.
import { useEffect, useRef, useState } from "preact/hooks";

export function SignIn(props: { message: string; onEnter: (token: string) => Promise<void> }) {
  const input = useRef<HTMLInputElement>(null);
  const [isBusy, setBusy] = useState(false);
  useEffect(() => input.current?.focus(), []);
  const enter = async (event: Event) => {
    event.preventDefault();
    const token = input.current!.value.trim();
    if (token === "" || isBusy) return;
    setBusy(true);
    await props.onEnter(token);
    setBusy(false);
  };
  return (
    <section class="card narrow">
      <h1>Sign in</h1>
      <form onSubmit={enter}>
        {props.message && <p class="trouble" role="alert">{props.message}</p>}
        <label class="field">
          <span>Access token</span>
          <input ref={input} type="password" name="token" autocomplete="current-password" spellcheck={false}
            placeholder="vln_…" aria-describedby="token-help" required />
        </label>
        <button disabled={isBusy}>{isBusy ? "Signing in …" : "Sign in"}</button>
      </form>
      <p class="hint" id="token-help">
        The server prints the first token when it starts on a new data folder;{" "}
        <code>vorlanserver token add</code> makes further ones. The token stays in this tab and is
        forgotten when the tab is closed.
      </p>
    </section>
  );
}
