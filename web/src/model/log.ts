// The log of a job out of the events that tell it, and what its lines say of the model.

export interface LogPiece {
  attempt: number;
  from: number;
  bytes: number;
  text: string;
}

export interface LogChange {
  startsAnew: boolean; // what was shown is another attempt's
  text: string; // to be added
}

/** Joins the pieces. The server tells each byte once; where it left some out, a line says so. */
export class LogJoiner {
  private attempt = 0;
  private end = 0;

  take(piece: LogPiece): LogChange {
    const startsAnew = this.attempt !== 0 && piece.attempt !== this.attempt;
    if (piece.attempt !== this.attempt) this.end = 0;
    const note = this.noteBefore(piece);
    this.attempt = piece.attempt;
    this.end = piece.from + piece.bytes;
    return { startsAnew, text: note + piece.text };
  }

  private noteBefore(piece: LogPiece): string {
    if (piece.from > this.end) return "\n[... the middle of a long log is left out ...]\n\n";
    if (piece.from < this.end) return "\n[... the end of the log, once more ...]\n\n";
    return "";
  }
}

export interface Size {
  what: string;
  count: number;
}

const kSizeNames: Record<string, string> = { "matrix elements": "elements", integer: "integer variables" };

/** The model's sizes from the line "Read 96 constraints, 160 variables, ... in 0.02 s". */
export function sizesIn(text: string): Size[] {
  const line = /^Read (\d+ constraints?, .*) in [\d.e+-]+ s$/m.exec(text)?.[1];
  if (line === undefined) return [];
  const sizes: Size[] = [];
  for (const part of line.split(", ")) {
    const found = /^(\d+) (.+)$/.exec(part);
    if (found) sizes.push({ what: kSizeNames[found[2]!] ?? found[2]!, count: Number(found[1]) });
  }
  return sizes;
}

/** "optimal", "primal infeasible" ... from the summary at the end of a log; "" before it. */
export function statusIn(text: string): string {
  const solution = /^ {2}solution status +(.+)$/m.exec(text)?.[1] ?? "";
  const problem = /^ {2}problem status +(.+)$/m.exec(text)?.[1] ?? "";
  return solution === "" || solution === "unknown" ? problem : solution;
}
