// The records of a stream.
import { VirtualRows } from "../parts/virtual";
import type { Records } from "./inspector";

const frames: Record<string, string> = {
  varint: "a varint", u32be: "four bytes, big-endian", u32le: "four bytes, little-endian",
};

export function RecordList({ records, onRecord }: {
  records: Records; onRecord: (at: number) => void;
}) {
  const { all, chosen, frame } = records;
  const row = (at: number) => (
    <div class={`stream-record ${at === chosen ? "here" : ""}`} key={at} id={`record-${at}`}
      role="option" aria-selected={at === chosen} aria-setsize={all.length} aria-posinset={at + 1}
      onClick={() => onRecord(at)}>
      <span class="quiet">{at + 1}</span>
      <span>byte {all[at].offset}</span>
      <span class="quiet">{all[at].bytes.length} bytes</span>
      <code>{[...all[at].bytes.subarray(0, 10)].map((byte) => byte.toString(16).padStart(2, "0"))
        .join(" ")}{all[at].bytes.length > 10 && " …"}</code>
    </div>
  );
  const keys = (event: KeyboardEvent) => {
    const step = { ArrowUp: -1, ArrowDown: 1, PageUp: -12, PageDown: 12 }[event.key];
    if (!step) return;
    event.preventDefault();
    onRecord(Math.max(0, Math.min(all.length - 1, chosen + step)));
  };
  return (
    <>
      <p class="pane-note small quiet">{all.length} records, with {frames[frame]} as the length
        before each</p>
      <VirtualRows class="records" height={36} count={all.length} row={row} shown={chosen}
        attributes={{ role: "listbox", tabIndex: 0, "aria-label": "Records", onKeyDown: keys,
          "aria-activedescendant": `record-${chosen}` } as object} />
    </>
  );
}
