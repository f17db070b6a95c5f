// The history of a solve for its plot.
import type { Progress } from "./job";

const kMostPoints = 4000;
const kShortest = 1; // second
const kFarOut = 10;

export type Column = (number | null)[];

function hasValue(point: Progress): boolean {
  return point.objective !== null || point.bound !== null;
}

/** True of the progress of a model without integers, which has no nodes. */
export function isContinuous(progress: Progress | null): boolean {
  return progress !== null && progress.nodes === null;
}

/**
 * The least and the largest value that a plot shows. The first points of a method may be so far out that
 * nothing could be seen of the others: what makes the range more than ten times that of all but the first quarter
 * is beyond the edge.
 */
export function shownRange(columns: Column[]): [number, number] | null {
  const count = columns[0]?.length ?? 0;
  const least: number[] = Array(count + 1).fill(Infinity); // from a point on
  const most: number[] = Array(count + 1).fill(-Infinity);
  for (let i = count - 1; i >= 0; --i) {
    const values = columns.map((column) => column[i]).filter((value) => typeof value === "number");
    least[i] = Math.min(least[i + 1]!, ...values);
    most[i] = Math.max(most[i + 1]!, ...values);
  }
  const span = (from: number) => most[from]! - least[from]!;
  const usual = span(Math.min(Math.ceil(count / 4), count));
  let first = 0;
  while (usual > 0 && span(first) > kFarOut * usual) first += 1;
  return Number.isFinite(least[first]) ? [least[first]!, most[first]!] : null;
}

export class ProgressHistory {
  private points: Progress[] = [];

  clear(): void {
    this.points = [];
  }

  /** Adds points in the order of time. Long histories lose every second point of their past. */
  add(points: Progress[]): void {
    for (const point of points) {
      const time = Math.max(point.time, this.last?.time ?? 0);
      this.points.push({ ...point, time });
    }
    while (this.points.length > kMostPoints) {
      const last = this.points.length - 1;
      this.points = this.points.filter((_, index) => index % 2 === 0 || index === last);
    }
  }

  get last(): Progress | undefined {
    return this.points[this.points.length - 1];
  }

  /** Points that say something about the objective, or how far the solve is from its end. */
  get told(): Progress[] {
    return this.points.filter((point) => hasValue(point) || point.gap !== null);
  }

  /** True when objective or bound have a course. */
  get hasValues(): boolean {
    return this.points.filter(hasValue).length > 1;
  }

  /** True of a model without integers: its lines are those of the points that a method goes through. */
  get isContinuous(): boolean {
    return this.points.every(isContinuous);
  }

  /** True when the time is too short to tell iterations apart: the log rounds it to hundredths. */
  get isByIteration(): boolean {
    const counts = this.told.map((point) => point.iterations);
    const isRising = counts.every((count, i) => count !== null && (i === 0 || count >= counts[i - 1]!));
    return this.isContinuous && isRising && (this.last?.time ?? 0) < kShortest;
  }

  /** Where the points stand from left to right: at iterations of a short solve, else at seconds. */
  get places(): number[] {
    return this.told.map((point) => (this.isByIteration ? point.iterations! : point.time));
  }

  /** True when there is a line to draw. */
  get hasCourse(): boolean {
    const places = this.places;
    return places.length > 1 && places[places.length - 1]! > places[0]!;
  }

  get objectives(): Column {
    return this.told.map((point) => point.objective);
  }

  get bounds(): Column {
    return this.told.map((point) => point.bound);
  }

  /** In percent. A gap of 0 has no place on a logarithmic axis. */
  get gaps(): Column {
    return this.told.map((point) => (point.gap !== null && point.gap > 0 ? 100 * point.gap : null));
  }
}
