// Which type the bytes are read as, whether they are one, and what else they may be.
import { useState } from "preact/hooks";
import { schema } from "../core";
import type { Walk } from "../../inspect/api";
import { files, contentOf } from "../reference/names";
import { Waiting } from "../parts/waiting";
import { useAnswer } from "../work";
import type { Doc } from "./inspector";

interface Props {
  doc: Doc;
  walk: Walk;
  secrets: boolean;
  onType: (type: string) => void;
  onStream: () => void;
  onReading: (reading: Doc["others"][number]) => void;
  onSecrets: (shown: boolean) => void;
  onUndo?: () => void;
  link: () => string;
}

function Verdict({ walk }: { walk: Walk }) {
  if (!walk.done) return <span class="verdict">reading…</span>;
  if (walk.errors.length > 0) return <span class="verdict bad">refused</span>;
  return walk.odd ? <span class="verdict odd">accepted, with remarks</span>
    : <span class="verdict good">accepted</span>;
}

function Candidates({ doc, onType }: { doc: Doc; onType: (type: string) => void }) {
  const { value, waiting } = useAnswer("candidates", doc.bytes);
  if (waiting) return <Waiting>Ranking the types…</Waiting>;
  return (
    <ol class="candidates">
      {value?.map(({ type, reasons, rank }) => (
        <li>
          <button class="plain" onClick={() => onType(type)} aria-pressed={type === doc.type}>
            <span class="quiet">{rank}</span> <b>{type}</b>
            <span class="quiet small">{reasons}</span>
          </button>
        </li>
      ))}
    </ol>
  );
}

// Another type, or a stream, that the bytes are more like.
function Hint({ doc, onType, onStream }: Pick<Props, "doc" | "onType" | "onStream">) {
  const { types, frame } = useAnswer("hint", doc.type, doc.bytes).value ?? {};
  if (frame) {
    return <p class="small hint">These bytes look like a stream, of messages with their lengths in
      front: <button class="plain" onClick={onStream}>list its records</button></p>;
  }
  return types ? (
    <p class="small hint">These bytes look more like{" "}
      {types.map((type, at) => (
        <>{at > 0 && " or "}<button class="plain" onClick={() => onType(type)}>{type}</button></>
      ))} than like {doc.type}.</p>
  ) : null;
}

export function TypeBar(props: Props) {
  const { doc, walk, secrets, onType, onReading, onSecrets, onUndo, link } = props;
  const [ranked, setRanked] = useState(false);
  const [copied, setCopied] = useState("");
  const secret = schema.message(doc.type)!.fields.some((field) => field.secret) ||
    walk.masked;
  const copy = async () => {
    const address = `${location.href.replace(/#.*/, "")}${link()}`;
    history.replaceState(null, "", link());
    await navigator.clipboard?.writeText(address).then(
      () => setCopied("Copied"), () => setCopied("It is in the address bar"));
    setTimeout(() => setCopied(""), 2500);
  };
  return (
    <section class="type-bar" aria-label="Type">
      <div class="type-line">
        <label>Type{" "}
          <select value={doc.type} onChange={(event) => onType(event.currentTarget.value)}>
            {files.map((file) => (
              <optgroup label={file}>
                {contentOf(file).messages.map(({ name }) => <option value={name}>{name}</option>)}
              </optgroup>
            ))}
          </select>
        </label>
        <Verdict walk={walk} />
        <span class="quiet small size">{doc.bytes.length.toLocaleString("en")}{" "}
          {doc.bytes.length === 1 ? "byte" : "bytes"}{doc.how && `, ${doc.how}`}</span>
        <span class="type-actions">
          <button onClick={() => setRanked(!ranked)} aria-expanded={ranked}>
            What could it be?</button>
          {secret && <button onClick={() => onSecrets(!secrets)} aria-pressed={secrets}>
            {secrets ? "Cover the pass phrase" : "Show the pass phrase"}</button>}
          <button onClick={onUndo} disabled={!onUndo}>Undo</button>
          <button onClick={copy} title={secret ? "The link holds the pass phrase" : undefined}>
            {copied || "Copy a link"}</button>
        </span>
      </div>
      <span class="unseen" role="status">{copied}</span>
      <Hint {...props} />
      {doc.others.length > 0 && (
        <p class="small">It can also be read as{" "}
          {doc.others.map((reading) => (
            <button class="plain" onClick={() => onReading(reading)}>{reading.how}</button>
          ))}
        </p>
      )}
      {ranked && <Candidates doc={doc} onType={onType} />}
    </section>
  );
}
