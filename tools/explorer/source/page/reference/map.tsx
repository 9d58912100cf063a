// The map: the types of both files, and which embeds which.
import { useMemo, useState } from "preact/hooks";
import { schema } from "../core";
import { contentOf, files } from "./names";
import { layOut, nodeHeight, type Layout, type Line, type Place } from "./map_layout";

function graphOf(file: string): globalThis.Map<string, string[]> {
  const { messages, enums } = contentOf(file);
  return new globalThis.Map([
    ...messages.map((message): [string, string[]] => [message.name, message.embeds]),
    ...enums.map((type): [string, string[]] => [type.name, []]),
  ]);
}

function curve(from: Place, to: Place): string {
  const back = to.x <= from.x;
  const x1 = back ? from.x : from.x + from.width, x2 = back ? to.x + to.width : to.x;
  const y1 = from.y + nodeHeight / 2, y2 = to.y + nodeHeight / 2;
  const bend = Math.max(24, Math.abs(x2 - x1) / 2) * (back ? -1 : 1);
  return `M${x1} ${y1}C${x1 + bend} ${y1} ${x2 - bend} ${y2} ${x2} ${y2}`;
}

const leastWidth = 1100; // pixels of a map; on less its text is too small

function Drawing({ file, layout }: { file: string; layout: Layout }) {
  const [near, setNear] = useState<string>();
  const places = new globalThis.Map(layout.places.map((place) => [place.name, place]));
  const touches = ({ from, to }: Line) => from === near || to === near;
  const lit = new Set(layout.lines.filter(touches).flatMap(({ from, to }) => [from, to]));
  const look = (on: boolean) => (near === undefined ? "" : on ? "lit" : "dim");
  return (
    <div class="map-scroll" tabIndex={0} role="group" aria-label={`Map of ${file}`}>
      <svg class="map" width={layout.width + 4} height={layout.height + 4}
        viewBox={`-2 -2 ${layout.width + 4} ${layout.height + 4}`}
        style={{ minWidth: `${Math.min(layout.width, leastWidth)}px` }}>
        <defs>
          <marker id={`end-${file}`} viewBox="0 0 8 8" refX="7" refY="4" markerWidth="7"
            markerHeight="7" orient="auto-start-reverse">
            <path d="M0 .8 7 4 0 7.2z" fill="context-stroke" />
          </marker>
        </defs>
        {layout.lines.map((line) => (
          <path class={`edge ${look(touches(line))}`} marker-end={`url(#end-${file})`}
            marker-start={line.both ? `url(#end-${file})` : undefined}
            d={curve(places.get(line.from)!, places.get(line.to)!)} />
        ))}
        {layout.places.map(({ name, x, y, width }) => {
          const type = schema.message(name);
          return (
            <a href={`#${name}`} class={`${type ? "message" : "enum"} ${look(lit.has(name) ||
              name === near)}`} aria-label={`${name}, ${type ? "message" : "enum"}${
              type?.embeds.length ? `, embeds ${type.embeds.join(", ")}` : ""}`}
              onMouseEnter={() => setNear(name)} onMouseLeave={() => setNear(undefined)}
              onFocus={() => setNear(name)} onBlur={() => setNear(undefined)}>
              <rect x={x} y={y} width={width} height={nodeHeight} rx={type ? 6 : 15} />
              <text x={x + width / 2} y={y + nodeHeight / 2}>{name}</text>
            </a>
          );
        })}
      </svg>
    </div>
  );
}

export function Map() {
  const layouts = useMemo(() =>
    files.map((file) => ({ file, layout: layOut(graphOf(file), 1180) })), []);
  return (
    <div class="page map-page">
      <h1>Map</h1>
      <p class="lead">An arrow leads from a message to what its fields hold. Point at one to see
        only what it is joined to; choose it to read about it.</p>
      <p class="map-key small"><span class="key-message">message</span>
        <span class="key-enum">enum</span></p>
      {layouts.map(({ file, layout }) => {
        const { messages, enums } = contentOf(file);
        return (
          <section class="panel map-panel">
            <h2><code>{file}</code></h2>
            <p class="quiet small">{messages.length} messages, {enums.length} enums</p>
            <Drawing file={file} layout={layout} />
          </section>
        );
      })}
    </div>
  );
}
