// Server-sent events out of pieces of text that end anywhere. The browser's EventSource cannot
// send a token, so the page reads the streams with fetch().

export interface ServerEvent {
  name: string;
  id: string; // where a stream goes on that is cut behind this event; "" when the event has none
  data: string;
}

export class EventParser {
  private rest = "";
  private name = "";
  private id = "";
  private data: string[] = [];

  /** The events that this piece completes. */
  take(piece: string): ServerEvent[] {
    const found: ServerEvent[] = [];
    const lines = (this.rest + piece).split("\n");
    this.rest = lines.pop() ?? "";
    for (const line of lines) {
      const event = this.takeLine(line.endsWith("\r") ? line.slice(0, -1) : line);
      if (event) found.push(event);
    }
    return found;
  }

  private takeLine(line: string): ServerEvent | null {
    if (line === "") return this.finish();
    const colon = line.indexOf(":");
    if (colon === 0) return null; // a comment: the server is alive
    const field = colon < 0 ? line : line.slice(0, colon);
    const value = colon < 0 ? "" : line.slice(colon + 1).replace(/^ /, "");
    if (field === "event") this.name = value;
    if (field === "id") this.id = value;
    if (field === "data") this.data.push(value);
    return null;
  }

  private finish(): ServerEvent | null {
    const event = { name: this.name || "message", id: this.id, data: this.data.join("\n") };
    const isEmpty = this.data.length === 0;
    this.name = this.id = "";
    this.data = [];
    return isEmpty ? null : event;
  }
}

/** How many seconds to wait after so many failures in a row, before the next try. */
export function pauseAfter(failures: number): number {
  return Math.min(0.5 * 2 ** (failures - 1), 15);
}
