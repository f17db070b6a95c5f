// The log of a job: follows its end until the reader scrolls up. Only the last part of a long one is
// kept on the page; the whole can be downloaded.
import { useEffect, useImperativeHandle, useRef, useState } from "preact/hooks";
import type { Ref } from "preact";

const kMostShown = 1_000_000; // characters

export interface LogHandle {
  clear(): void;
  append(text: string): void;
}

function isAtEnd(box: HTMLElement): boolean {
  return box.scrollTop + box.clientHeight >= box.scrollHeight - 8;
}

export function LogView(props: { handle: Ref<LogHandle>; isRunning: boolean; onDownload: () => void }) {
  const box = useRef<HTMLPreElement>(null);
  const shown = useRef(0);
  const follows = useRef(true);
  const [isFollowing, setFollowing] = useState(true);
  const [isCut, setCut] = useState(false);
  const [isEmpty, setEmpty] = useState(true);

  const goToEnd = () => {
    const log = box.current;
    if (log) log.scrollTop = log.scrollHeight;
  };
  const setFollow = (value: boolean) => {
    follows.current = value;
    setFollowing(value);
  };
  useImperativeHandle(props.handle, () => ({
    clear() {
      box.current!.replaceChildren();
      shown.current = 0;
      setCut(false);
      setEmpty(true);
    },
    append(text: string) {
      const log = box.current!;
      log.append(document.createTextNode(text));
      shown.current += text.length;
      while (shown.current > kMostShown && log.firstChild !== log.lastChild) {
        shown.current -= log.firstChild!.textContent!.length;
        log.firstChild!.remove();
        setCut(true);
      }
      setEmpty(false);
      if (follows.current) goToEnd();
    },
  }), []);
  useEffect(() => {
    // The box changes its size with the window and the fonts.
    const watch = new ResizeObserver(() => follows.current && goToEnd());
    watch.observe(box.current!);
    return () => watch.disconnect();
  }, []);

  return (
    <section class="card" aria-labelledby="log-title">
      <div class="heading">
        <h2 id="log-title">Log</h2>
        <div class="actions">
          {props.isRunning && (
            <label class="check">
              <input type="checkbox" checked={isFollowing} onChange={(event) => {
                setFollow(event.currentTarget.checked);
                if (event.currentTarget.checked) goToEnd();
              }} /> Follow
            </label>
          )}
          <button type="button" class="quiet" disabled={isEmpty} onClick={props.onDownload}>Download</button>
        </div>
      </div>
      {isCut && <p class="hint">Only the end of a long log is shown here. The download has all of it.</p>}
      {isEmpty && <p class="empty">{props.isRunning ? "Nothing yet." : "There is no log yet: the job has not begun."}</p>}
      <pre ref={box} class={isEmpty ? "log none" : "log"} tabIndex={0} role="region" aria-label="Log"
        onScroll={(event) => {
          const isAtItsEnd = isAtEnd(event.currentTarget); // the box of an event may have left the page
          if (isAtItsEnd !== follows.current) setFollow(isAtItsEnd);
        }} />
    </section>
  );
}
