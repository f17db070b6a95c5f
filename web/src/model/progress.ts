// The history of a solve for its plot.
import type { Progress } from "./job";

const kMostPoints = 4000;

export type Column = (number | null)[];

function hasValue(point: Progress): boolean {
  return point.objective !== null || point.bound !== null;
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

  /** True when objective or bound have a course. Interior-point methods tell the gap alone until they end. */
  get hasValues(): boolean {
    return this.points.filter(hasValue).length > 1;
  }

  get times(): number[] {
    return this.told.map((point) => point.time);
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
