// Objective and bound over time, and the gap between them. Dashes tell the lines apart as well as
// colours do; a table says the same in words.
import { useEffect, useRef, useState } from "preact/hooks";
import uPlot from "uplot";
import { type Column, type ProgressHistory, formatGap, formatSeconds, formatShort, formatValue } from "../model";

interface Line {
  label: string;
  colour: string; // a custom property of the style sheet
  dash?: number[];
  column: Column;
}

interface PlotProps {
  title: string;
  height: number;
  times: number[];
  lines: Line[];
  isLogarithmic?: boolean;
  format: (value: number | null) => string;
}

const kScheme = "(prefers-color-scheme: dark)";

/** Changes with the system's colours. */
function useScheme(): boolean {
  const [isDark, setDark] = useState(() => matchMedia(kScheme).matches);
  useEffect(() => {
    const query = matchMedia(kScheme);
    const change = () => setDark(query.matches);
    query.addEventListener("change", change);
    return () => query.removeEventListener("change", change);
  }, []);
  return isDark;
}

function optionsOf(props: PlotProps, width: number): uPlot.Options {
  const style = getComputedStyle(document.documentElement);
  const colour = (name: string) => style.getPropertyValue(name).trim();
  const font = `12px ${style.fontFamily}`;
  const axis = { stroke: colour("--muted"), font, grid: { stroke: colour("--line"), width: 1 }, ticks: { show: false } };
  const steps = uPlot.paths.stepped!({ align: 1 });
  return {
    width,
    height: props.height,
    cursor: { y: false, sync: { key: "job" } },
    scales: { x: { time: false }, y: props.isLogarithmic ? { distr: 3 } : {} },
    legend: { markers: { width: 2, dash: (_, index) => (props.lines[index - 1]?.dash ? "dashed" : "solid") } },
    axes: [
      { ...axis, size: 30, values: (_, ticks) => ticks.map((tick) => (tick < 60 ? `${formatShort(tick)} s` : formatSeconds(tick))) },
      { ...axis, size: 74, values: (_, ticks) => ticks.map((tick) => (tick === null ? "" : props.format(tick))) },
    ],
    series: [
      { label: "Time", value: (_, value) => formatSeconds(value) },
      ...props.lines.map((line) => ({
        label: line.label,
        stroke: colour(line.colour),
        width: 2,
        dash: line.dash,
        paths: steps,
        points: { show: props.times.length < 3 },
        value: (_: uPlot, value: number | null) => props.format(value),
      })),
    ],
  };
}

function Plot(props: PlotProps) {
  const box = useRef<HTMLDivElement>(null);
  const plot = useRef<uPlot | null>(null);
  const isDark = useScheme();
  const isShort = props.times.length < 3;
  const data = [props.times, ...props.lines.map((line) => line.column)] as uPlot.AlignedData;
  const latest = useRef(data);
  latest.current = data;
  useEffect(() => {
    const frame = box.current!;
    const width = () => Math.max(200, frame.clientWidth);
    const made = new uPlot(optionsOf(props, width()), latest.current, frame);
    plot.current = made;
    const watch = new ResizeObserver(() => made.setSize({ width: width(), height: props.height }));
    watch.observe(frame);
    return () => {
      watch.disconnect();
      made.destroy();
    };
  }, [isDark, isShort]);
  useEffect(() => plot.current?.setData(data), [props.times.length, props.times[props.times.length - 1]]);
  return (
    <figure aria-label={props.title}>
      <figcaption>{props.title}</figcaption>
      <div ref={box} class="plot" aria-hidden="true" />
    </figure>
  );
}

const kRowsOfTable = 50;

function ValueTable(props: { history: ProgressHistory }) {
  const points = props.history.told.slice(-kRowsOfTable).reverse();
  return (
    <details>
      <summary>The values as a table</summary>
      <div class="scroll">
        <table aria-label="Values of the plots">
          <thead><tr><th scope="col">Time</th><th scope="col">Objective</th><th scope="col">Bound</th><th scope="col">Gap</th></tr></thead>
          <tbody>
            {points.map((point, index) => (
              <tr key={index}>
                <td>{formatSeconds(point.time)}</td><td>{formatValue(point.objective)}</td>
                <td>{formatValue(point.bound)}</td><td>{formatGap(point.gap)}</td>
              </tr>
            ))}
          </tbody>
        </table>
      </div>
    </details>
  );
}

/** Nothing, until there are two points that a line could join. */
export function Plots(props: { history: ProgressHistory; isEnded: boolean }) {
  const { history } = props;
  const times = history.times;
  if (times.length < 2) {
    const words = props.isEnded
      ? "This solve told its objective at its end only: there is no course to draw."
      : "The course of objective and bound is drawn here once the solve tells it.";
    return <p class="empty">{words}</p>;
  }
  const gaps = history.gaps;
  return (
    <>
      {history.hasValues && (
        <Plot title="Objective and bound" height={220} times={times} format={formatShort} lines={[
          { label: "Objective", colour: "--objective", column: history.objectives },
          { label: "Bound", colour: "--bound", dash: [6, 4], column: history.bounds },
        ]} />
      )}
      {gaps.some((gap) => gap !== null) && (
        <Plot title="Gap, logarithmic" height={150} times={times} isLogarithmic
          format={(value) => (value === null ? "–" : formatGap(value / 100))}
          lines={[{ label: "Gap", colour: "--gap", column: gaps }]} />
      )}
      <ValueTable history={history} />
    </>
  );
}
