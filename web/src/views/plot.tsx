// Objective and bound over time, and the gap between them. Dashes tell the lines apart as well as
// colours do; a table says the same in words.
import { useEffect, useRef, useState } from "preact/hooks";
import uPlot from "uplot";
import {
  type Column, type ProgressHistory, formatCount, formatGap, formatSeconds, formatShort, formatValue, shownRange,
} from "../model";

interface Line {
  label: string;
  colour: string; // a custom property of the style sheet
  dash?: number[];
  column: Column;
}

interface PlotProps {
  title: string;
  height: number;
  places: number[];
  isByIteration: boolean;
  lines: Line[];
  isLogarithmic?: boolean;
  isStepped: boolean; // values hold until the next one
  format: (value: number | null) => string;
}

const kWholeSteps = [1, 2, 5, 10, 20, 50, 100, 200, 500, 1000, 2000, 5000, 10000, 20000, 50000, 100000, 1000000];
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

type Range = [number, number] | null;

const formatTick = (seconds: number) => (seconds < 60 ? `${formatShort(seconds)} s` : formatSeconds(seconds));

function optionsOf(props: PlotProps, width: number, shown: () => Range): uPlot.Options {
  const style = getComputedStyle(document.documentElement);
  const colour = (name: string) => style.getPropertyValue(name).trim();
  const font = `12px ${style.fontFamily}`;
  const axis = { stroke: colour("--muted"), font, grid: { stroke: colour("--line"), width: 1 }, ticks: { show: false } };
  const paths = props.isStepped ? uPlot.paths.stepped!({ align: 1 }) : uPlot.paths.linear!();
  const range = () => uPlot.rangeNum(...(shown() ?? [0, 1]), 0.1, true);
  const place = props.isByIteration ? formatCount : formatSeconds;
  // Of a logarithmic axis, powers of ten alone have a line.
  const isLined = (value: number) => !props.isLogarithmic || Number.isInteger(Math.round(1e6 * Math.log10(value)) / 1e6);
  const lines = { ...axis.grid, filter: (_: uPlot, ticks: number[]) => ticks.map((value) => (isLined(value) ? value : null)) };
  const tick = props.isByIteration ? formatCount : formatTick;
  return {
    width,
    height: props.height,
    cursor: { y: false, sync: { key: "job" } },
    scales: { x: { time: false }, y: props.isLogarithmic ? { distr: 3 } : { range } },
    legend: { markers: { width: 2, dash: (_, index) => (props.lines[index - 1]?.dash ? "dashed" : "solid") } },
    axes: [
      { ...axis, size: 30, incrs: props.isByIteration ? kWholeSteps : undefined, values: (_, ticks) => ticks.map(tick) },
      { ...axis, grid: lines, size: 74, values: (_, ticks) => ticks.map((tick) => (tick === null ? "" : props.format(tick))) },
    ],
    series: [
      { label: props.isByIteration ? "Iteration" : "Time", value: (_, value) => place(value) },
      ...props.lines.map((line) => ({
        label: line.label,
        stroke: colour(line.colour),
        width: 2,
        dash: line.dash,
        paths,
        points: { show: props.places.length < 3 },
        value: (_: uPlot, value: number | null) => props.format(value),
      })),
    ],
  };
}

function Plot(props: PlotProps) {
  const box = useRef<HTMLDivElement>(null);
  const plot = useRef<uPlot | null>(null);
  const isDark = useScheme();
  const isShort = props.places.length < 3;
  const data = [props.places, ...props.lines.map((line) => line.column)] as uPlot.AlignedData;
  const latest = useRef(data);
  latest.current = data;
  const shown = () => shownRange(latest.current.slice(1) as Column[]);
  useEffect(() => {
    const frame = box.current!;
    const width = () => Math.max(200, frame.clientWidth);
    const made = new uPlot(optionsOf(props, width(), shown), latest.current, frame);
    plot.current = made;
    const watch = new ResizeObserver(() => made.setSize({ width: width(), height: props.height }));
    watch.observe(frame);
    return () => {
      watch.disconnect();
      made.destroy();
    };
  }, [isDark, isShort, props.isByIteration, props.isStepped]);
  useEffect(() => plot.current?.setData(data), [props.places.length, props.places[props.places.length - 1]]);
  return (
    <figure aria-label={props.title}>
      <figcaption>{props.title}</figcaption>
      <div ref={box} class="plot" aria-hidden="true" />
    </figure>
  );
}

const kRowsOfTable = 50;

function ValueTable(props: { history: ProgressHistory; lines: Line[] }) {
  const points = props.history.told.slice(-kRowsOfTable).reverse();
  const headings = ["Time", "Iteration", ...props.lines.map((line) => line.label), "Gap"];
  return (
    <details>
      <summary>The values as a table</summary>
      <div class="scroll">
        <table aria-label="Values of the plots">
          <thead><tr>{headings.map((heading) => <th key={heading} scope="col">{heading}</th>)}</tr></thead>
          <tbody>
            {points.map((point, index) => (
              <tr key={index}>
                <td>{formatSeconds(point.time)}</td><td>{formatCount(point.iterations)}</td>
                <td>{formatValue(point.objective)}</td>
                <td>{formatValue(point.bound)}</td><td>{formatGap(point.gap)}</td>
              </tr>
            ))}
          </tbody>
        </table>
      </div>
    </details>
  );
}

/** A continuous method goes through a primal and a dual point; a search has an incumbent and a bound. */
function linesOf(history: ProgressHistory): Line[] {
  const [objective, bound] = history.isContinuous ? ["Primal objective", "Dual objective"] : ["Objective", "Bound"];
  return [
    { label: objective!, colour: "--objective", column: history.objectives },
    { label: bound!, colour: "--bound", dash: [6, 4], column: history.bounds },
  ];
}

/** Nothing, until there are two points that a line could join. */
export function Plots(props: { history: ProgressHistory; isEnded: boolean }) {
  const { history } = props;
  if (!history.hasCourse) {
    const words = props.isEnded
      ? "This solve was over too soon for a course that could be drawn."
      : "The course of objective and bound is drawn here once the solve tells it.";
    return <p class="empty">{words}</p>;
  }
  const gaps = history.gaps;
  const lines = linesOf(history);
  const { places, isByIteration } = history;
  const common = { places, isByIteration, isStepped: !history.isContinuous };
  return (
    <>
      {history.hasValues && (
        <Plot {...common} key={lines[0]!.label} height={220} format={formatShort} lines={lines}
          title={history.isContinuous ? "Primal and dual objective" : "Objective and bound"} />
      )}
      {gaps.some((gap) => gap !== null) && (
        <Plot {...common} title="Gap, logarithmic" height={150} isLogarithmic
          format={(value) => (value === null ? "–" : formatGap(value / 100))}
          lines={[{ label: "Gap", colour: "--gap", column: gaps }]} />
      )}
      <ValueTable history={history} lines={lines} />
    </>
  );
}
