// Numbers as people read them.

export const kUnknown = "–";

export function formatBytes(bytes: number): string {
  const units = ["B", "KiB", "MiB", "GiB", "TiB"];
  let value = bytes;
  let unit = 0;
  while (value >= 1024 && unit < units.length - 1) {
    value /= 1024;
    unit += 1;
  }
  const digits = unit === 0 || value >= 100 || Number.isInteger(value) ? 0 : 1;
  return `${value.toFixed(digits)} ${units[unit]}`;
}

/** 0.004 s, 3.2 s, 41 s, 2 m 08 s, 3 h 05 m, 2 d 04 h. */
export function formatSeconds(seconds: number | null): string {
  if (seconds === null) return kUnknown;
  if (seconds < 0.0995) return `${seconds.toFixed(3)} s`;
  if (seconds < 9.95) return `${seconds.toFixed(1)} s`;
  const whole = Math.round(seconds);
  if (whole < 60) return `${whole} s`;
  if (whole < 3600) return inTwo(whole, 60, "m", 1, "s");
  if (whole < 86400) return inTwo(whole, 3600, "h", 60, "m");
  return inTwo(whole, 86400, "d", 3600, "h");
}

function inTwo(seconds: number, big: number, bigUnit: string, small: number, unit: string): string {
  const first = Math.floor(seconds / big);
  const second = Math.floor((seconds % big) / small);
  return `${first} ${bigUnit} ${String(second).padStart(2, "0")} ${unit}`;
}

/** A length of time that is a rule, not a measurement: "7 days", "10 min". */
export function formatSpan(seconds: number): string {
  const units: [number, string][] = [[86400, "day"], [3600, "hour"], [60, "min"]];
  for (const [size, unit] of units) {
    const count = seconds / size;
    if (count < 1 || !Number.isInteger(count)) continue;
    return `${count} ${unit}${count === 1 || unit === "min" ? "" : "s"}`;
  }
  return formatSeconds(seconds);
}

/** Ten digits: an objective in full enough to compare. */
export function formatValue(value: number | null): string {
  return value === null ? kUnknown : String(Number(value.toPrecision(10)));
}

/** Five digits: a tick of an axis, a line of a list. */
export function formatShort(value: number | null): string {
  return value === null ? kUnknown : String(Number(value.toPrecision(5)));
}

export function formatCount(count: number | null): string {
  return count === null ? kUnknown : String(count).replace(/\B(?=(\d{3})+$)/g, "\u202f");
}

/** A relative gap in percent: 36.6 %, 0.021 %, 2.8e-6 %. */
export function formatGap(gap: number | null): string {
  if (gap === null) return kUnknown;
  const percent = 100 * gap;
  if (percent > 0 && percent < 1e-3) return `${percent.toExponential(1)}\u00a0%`;
  return `${Number(percent.toPrecision(3))}\u00a0%`;
}
