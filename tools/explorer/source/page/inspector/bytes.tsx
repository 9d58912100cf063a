// The bytes, which can be pointed at and edited in place.
import { useEffect, useMemo, useRef, useState } from "preact/hooks";
import type { Walk } from "../../inspect/api";
import { VirtualRows } from "../parts/virtual";
import { hueOf, partAt, spanAt } from "./spans";

// The bytes of the span that is pointed at, and of what it holds: offsets.
export interface Lit { begin: number; own: number; end: number }
export interface Pointer { offset: number; span: number }

interface Props {
  bytes: Uint8Array;
  walk: Walk;
  pointed: Pointer;
  lit: Lit;
  onPoint: (offset: number) => void;
  onChange: (bytes: Uint8Array, offset: number) => void;
  onUndo: () => void;
}

const hex = (byte: number) => byte.toString(16).padStart(2, "0");
const shown = (byte: number) => (byte >= 0x20 && byte < 0x7f ? String.fromCharCode(byte) : "·");

function spliced(bytes: Uint8Array, at: number, removed: number, added: number[]): Uint8Array {
  const made = new Uint8Array(bytes.length - removed + added.length);
  made.set(bytes.subarray(0, at));
  made.set(added, at);
  made.set(bytes.subarray(at + removed), at + added.length);
  return made;
}

export function Bytes({ bytes, walk, pointed, lit, onPoint, onChange, onUndo }: Props) {
  const [wide, setWide] = useState(16);
  const [half, setHalf] = useState<number>(); // offset of a byte with one new digit
  const frame = useRef<HTMLDivElement>(null);
  useEffect(() => {
    const watch = new ResizeObserver(([{ contentRect }]) =>
      setWide(contentRect.width >= 590 ? 16 : contentRect.width >= 440 ? 12 : 8));
    watch.observe(frame.current!);
    return () => watch.disconnect();
  }, []);
  const { spans, errors } = walk;
  const faults = useMemo(() => new Set(errors.map((error) => error.offset)),
    [errors, errors.length]);
  const at = pointed.offset;

  const light = (offset: number) => {
    if (offset < lit.begin || offset >= lit.end) return "";
    return offset < lit.own ? "lit" : "inside";
  };
  const type = (digit: number) => {
    if (half === at && at < bytes.length) {
      onChange(spliced(bytes, at, 1, [(bytes[at] & 0xf0) | digit]), at + 1);
      setHalf(undefined);
    } else {
      onChange(spliced(bytes, at, at < bytes.length ? 1 : 0, [(digit << 4)]), at);
      setHalf(at);
    }
  };
  const keys = (event: KeyboardEvent) => {
    const moves: Record<string, number> = {
      ArrowLeft: -1, ArrowRight: 1, ArrowUp: -wide, ArrowDown: wide,
      PageUp: -16 * wide, PageDown: 16 * wide,
      Home: event.ctrlKey ? -at : -(at % wide),
      End: event.ctrlKey ? bytes.length - at : wide - 1 - (at % wide),
    };
    if ((event.ctrlKey || event.metaKey) && event.key === "z") onUndo();
    else if (event.key in moves) {
      onPoint(Math.max(0, Math.min(bytes.length, at + moves[event.key])));
      setHalf(undefined);
    } else if (event.ctrlKey || event.metaKey || event.altKey) return;
    else if (/^[0-9a-fA-F]$/.test(event.key)) type(parseInt(event.key, 16));
    else if (event.key === "Insert") onChange(spliced(bytes, at, 0, [0]), at);
    else if (event.key === "Delete" && at < bytes.length) onChange(spliced(bytes, at, 1, []), at);
    else if (event.key === "Backspace" && at > 0) onChange(spliced(bytes, at - 1, 1, []), at - 1);
    else return;
    event.preventDefault();
  };

  const cell = (offset: number) => {
    if (offset === bytes.length) {
      const fault = faults.has(offset);
      return <b class={`byte end ${offset === at ? "here" : ""} ${fault ? "fault" : ""}`}
        data-offset={offset}><i>{fault ? "!" : ""}</i>+</b>;
    }
    const place = spanAt(spans, offset);
    const span = spans[place];
    const part = span ? partAt(span, offset) : "value";
    const first = span?.offset === offset;
    const covered = span?.masked && part === "value";
    const classes = ["byte", part, span ? hueOf(span) : ""];
    if (first) classes.push("first");
    classes.push(light(offset));
    if (offset === at) classes.push("here");
    if (faults.has(offset)) classes.push("fault");
    if (span?.kind === "unknown") classes.push("unknown");
    const mark = faults.has(offset) ? "!" : part === "tag" && first ? span?.number
      : part === "length" && partAt(span, offset - 1) === "tag" ? "len" : "";
    return (
      <b class={classes.join(" ")} data-offset={offset}>
        <i>{mark}</i>{covered ? "••" : hex(bytes[offset])}
      </b>
    );
  };
  const digits = bytes.length < 1 << 16 ? 4 : bytes.length < 1 << 24 ? 6 : 8;
  const row = (line: number) => {
    const begin = line * wide;
    const count = Math.min(wide, bytes.length + 1 - begin);
    const text = Array.from({ length: Math.min(wide, bytes.length - begin) }, (_, column) => {
      const offset = begin + column;
      const span = spans[spanAt(spans, offset)];
      return (
        <span class={light(offset)} data-offset={offset}>
          {span?.masked && partAt(span, offset) === "value" ? "•" : shown(bytes[offset])}
        </span>
      );
    });
    return (
      <div class="byte-row" key={line}>
        <span class="offset">{begin.toString(16).padStart(digits, "0")}</span>
        <span class={`cells w${wide}`}>
          {Array.from({ length: count }, (_, column) => cell(begin + column))}
        </span>
        <span class="ascii">{text}</span>
      </div>
    );
  };
  const point = (event: MouseEvent) => {
    const on = (event.target as HTMLElement).closest<HTMLElement>("[data-offset]");
    if (!on || Number(on.dataset.offset) === at) return;
    onPoint(Number(on.dataset.offset));
    setHalf(undefined);
  };
  return (
    <div ref={frame} class="bytes-frame">
      <VirtualRows class="bytes" height={36} count={Math.floor(bytes.length / wide) + 1} row={row}
        shown={Math.floor(at / wide)}
        attributes={{
          tabIndex: 0, role: "group", "aria-label": "Bytes: arrows move, hex digits write",
          "aria-describedby": "pointed", onKeyDown: keys, onMouseOver: point, onClick: point,
          "data-typing": "",
        } as object} />
    </div>
  );
}
