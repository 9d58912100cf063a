// The inspector: takes bytes in, and shows them beside what they mean.
import { useLayoutEffect, useMemo, useRef, useState } from "preact/hooks";
import { schema } from "../core";
import type { StreamRecord } from "../../inspect/api";
import { addressOf, type View } from "../route";
import type { Opened } from "../jobs";
import { run } from "../work";
import { Bytes, type Lit } from "./bytes";
import { Detail } from "./detail";
import { InputBar } from "./input";
import { Legend } from "./legend";
import { Panes } from "./panes";
import { Problems } from "./problems";
import { samples } from "./samples";
import { endOf, spanAt } from "./spans";
import { TypeBar } from "./type_bar";
import { useWalk } from "./use_walk";

export interface Doc { bytes: Uint8Array; type: string; how: string; others: Opened["others"] }
export interface Records { frame: string; all: StreamRecord[]; chosen: number; whole: Uint8Array }

const nothing: Doc = { bytes: new Uint8Array(), type: "Server", how: "", others: [] };
const kept = 100; // steps back

export function Inspector({ view }: { view?: View & { page: "inspect" } }) {
  const [doc, setDoc] = useState<Doc>(nothing);
  const [earlier, setEarlier] = useState<Doc[]>([]);
  const [complaint, setComplaint] = useState<string>();
  const [busy, setBusy] = useState(false);
  const [records, setRecords] = useState<Records>();
  const [offset, setOffset] = useState(0);
  const [secrets, setSecrets] = useState(false);
  const opening = useRef(0);
  const walk = useWalk(doc.type, doc.bytes, secrets);

  const show = (next: Doc, at = 0) => {
    setEarlier(doc === nothing ? [] : [...earlier, doc].slice(-kept));
    setDoc(next);
    setOffset(at);
    setComplaint(undefined);
  };
  const open = async (input: string | Uint8Array, type?: string) => {
    const mine = ++opening.current; // what is opened later takes its place
    setBusy(true);
    const { value, error } = await run("open", input, type);
    if (mine !== opening.current) return;
    if (error) {
      setBusy(false);
      setComplaint(placed(input, error.reason, error.offset));
      return;
    }
    const stream = type ? undefined : (await run("stream", value!.bytes)).value;
    if (mine !== opening.current) return;
    setBusy(false);
    setSecrets(false);
    if (stream && stream.frame !== "none" && stream.records.length > 0) {
      const first = stream.records[0];
      const { value: inner } = await run("candidates", first.bytes);
      if (mine !== opening.current) return;
      setRecords({ frame: stream.frame, all: stream.records, chosen: 0, whole: value!.bytes });
      show({ ...value!, bytes: first.bytes, type: inner![0].type });
    } else {
      setRecords(undefined);
      show(value!);
    }
  };
  // The bytes of the address; those of the example where there are none yet. They are there
  // before anybody can give others.
  useLayoutEffect(() => {
    if (!view) return;
    if (view.bytes) {
      opening.current++;
      const { bytes, type } = view;
      if (type) {
        setRecords(undefined);
        setSecrets(false);
        show({ bytes, type, how: "bytes of the address", others: [] });
      } else void open(bytes);
    } else if (view.type) change(view.type);
    else if (doc === nothing) void open(samples[0].input, samples[0].type);
  }, [view]);

  const change = (type: string) => {
    if (schema.message(type)) show({ ...doc, type }, Math.min(offset, doc.bytes.length));
  };
  const edit = (bytes: Uint8Array, at = offset) =>
    show({ ...doc, bytes, how: "edited" }, Math.min(at, bytes.length));
  const undo = () => {
    const before = earlier.at(-1);
    if (!before) return;
    setEarlier(earlier.slice(0, -1));
    setDoc(before);
    setOffset(Math.min(offset, before.bytes.length));
  };
  const chooseRecord = async (at: number) => {
    setRecords({ ...records!, chosen: at });
    show({ ...doc, bytes: records!.all[at].bytes });
  };

  const span = useMemo(() => spanAt(walk.spans, offset), [walk, walk.read, offset]);
  const lit = useMemo((): Lit => {
    if (span < 0) return { begin: -1, own: -1, end: -1 };
    const { offset: begin, size } = walk.spans[span];
    return { begin, own: begin + size, end: endOf(walk.spans, span) };
  }, [walk, walk.read, span]);
  const point = (at: number) => setOffset(walk.spans[at]?.offset ?? offset);
  return (
    <div class="page inspector">
      <h1 class="unseen">Inspector</h1>
      <InputBar onOpen={open} busy={busy} complaint={complaint} />
      <TypeBar doc={doc} walk={walk} secrets={secrets} onType={change} onSecrets={setSecrets}
        onStream={() => void open(doc.bytes)}
        onReading={(reading) => show({ ...doc, ...reading, type: reading.type || doc.type })}
        link={() => addressOf({ page: "inspect", type: doc.type, bytes: doc.bytes })}
        onUndo={earlier.length > 0 ? undo : undefined} />
      <Problems walk={walk} onPoint={setOffset} />
      <div class="split" aria-busy={busy || !walk.done}>
        <section class="panel bytes-panel" aria-labelledby="bytes-title">
          <header class="panel-head"><h2 id="bytes-title">Bytes</h2><Legend /></header>
          <Bytes bytes={doc.bytes} walk={walk} pointed={{ offset, span }} lit={lit}
            onPoint={setOffset} onChange={edit} onUndo={undo} />
        </section>
        <Panes doc={doc} walk={walk} pointed={span} secrets={secrets} records={records}
          onPoint={point} onBytes={edit} onRecord={chooseRecord} onSecrets={setSecrets} />
      </div>
      <Detail type={doc.type} span={walk.spans[span]} bytes={doc.bytes} offset={offset} />
    </div>
  );
}

// A complaint about an input, with the line and the column where the input is text.
function placed(input: string | Uint8Array, reason: string, offset: number): string {
  if (offset < 0) return reason;
  if (typeof input !== "string") return `Byte ${offset}: ${reason}`;
  const before = input.slice(0, offset).split("\n");
  return `Line ${before.length}, column ${before.at(-1)!.length + 1}: ${reason}`;
}
