// Two messages compared by meaning: nodes are matched by their uuid.
import { useState } from "preact/hooks";
import { inspect } from "../core";
import type { Difference, NodeName } from "../../inspect/api";
import { Waiting } from "../parts/waiting";
import { run, useAnswer } from "../work";

interface Props {
  type: string;
  bytes: Uint8Array;
  secrets: boolean;
  before?: Uint8Array;
  onBefore: (bytes: Uint8Array) => void;
}

const called = ({ kind, name, uuid, field }: NodeName) =>
  [kind, name && `“${inspect.escaped(name)}”`, !name && uuid && inspect.escaped(uuid), field]
    .filter(Boolean).join(" ");

function Words({ difference: of }: { difference: Difference }) {
  const node = of.kind ? called({ kind: of.kind, name: of.name, uuid: of.uuid }) : undefined;
  const along = of.along ? Object.entries(of.along).map(([kind, count]) => `${count} ${kind}`) : [];
  return (
    <li class={`difference ${of.change}`}>
      <span class="chip">{of.change}</span>
      <span>{node && <b>{node}</b>} {of.field && <code>{of.field}</code>}
        {of.unknownFields && "unknown fields"}
        {of.from && of.to && <> from {called(of.from)} to {called(of.to)}</>}
        {along.length > 0 && <span class="quiet"> with {along.join(", ")}</span>}</span>
      {(of.before !== undefined || of.after !== undefined) && (
        <span class="change">
          <del><span class="unseen">before: </span>{of.before ?? "absent"}</del>
          <ins><span class="unseen">after: </span>{of.after ?? "absent"}</ins>
        </span>
      )}
      {of.sizeBefore !== undefined && <span class="change"><del>{of.sizeBefore} entries</del>
        <ins>{of.sizeAfter} entries</ins></span>}
    </li>
  );
}

function Differences({ type, before, after, secrets }:
    { type: string; before: Uint8Array; after: Uint8Array; secrets: boolean }) {
  const { value, error, waiting } = useAnswer("compare", type, before, after, secrets);
  if (waiting) return <Waiting>Comparing…</Waiting>;
  if (error) return <p class="complaint" role="alert">{error.reason}</p>;
  if (value!.length === 0) return <p class="empty">They say the same.</p>;
  return (
    <>
      <p class="small quiet" role="status">{value!.length}{" "}
        {value!.length === 1 ? "difference" : "differences"}</p>
      {inspect.byPlace(type, value!) && <p class="small warning">Nodes without a uuid are compared
        by their place: two of them can be different nodes.</p>}
      <ol class="differences">{value!.slice(0, 1000).map((difference: Difference) =>
        <Words difference={difference} />)}</ol>
      {value!.length > 1000 && <p class="pane-note">{value!.length - 1000} more</p>}
    </>
  );
}

export function Compare({ type, bytes, secrets, before, onBefore }: Props) {
  const [text, setText] = useState("");
  const [complaint, setComplaint] = useState<string>();
  const take = async (input: string) => {
    const { value, error } = await run("open", input, type);
    setComplaint(error?.reason);
    if (value) onBefore(value.bytes);
  };
  return (
    <div class="scroll pad" tabIndex={0} role="group" aria-label="Comparison">
      <p class="small">Compare with an earlier message: keep what is shown now and then change
        it, or paste another {type}.</p>
      <textarea rows={2} value={text} aria-label="Earlier message" spellcheck={false}
        placeholder="Hex, base64, JSON or text"
        onInput={(event) => setText(event.currentTarget.value)} />
      <p class="pane-actions">
        <button onClick={() => take(text)} disabled={text.trim() === ""}>Compare</button>
        <button onClick={() => onBefore(bytes)}>Keep what is shown</button>
      </p>
      {complaint && <p class="complaint" role="alert">{complaint}</p>}
      {before ? <Differences type={type} before={before} after={bytes} secrets={secrets} />
        : <p class="empty">Nothing to compare with yet.</p>}
    </div>
  );
}
