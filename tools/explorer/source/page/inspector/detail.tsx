// All about the field that is pointed at.
import { inspect } from "../core";
import type { Span } from "../../inspect/api";
import { Comment } from "../reference/comment";
import { fieldOf, nameOf, partAt, remarksOf, valueOf } from "./spans";

interface Props { type: string; span?: Span; bytes: Uint8Array; offset: number }

const spaced = (bytes: Uint8Array) =>
  inspect.toHex(bytes).replace(/\s/g, "").replace(/..(?=.)/g, "$& ");

export function Detail({ type, span, bytes, offset }: Props) {
  if (!span) {
    return (
      <div class="detail panel">
        <p class="quiet" id="pointed" role="status">
          {bytes.length === 0 ? "No bytes. A hex digit adds one." : offset >= bytes.length
            ? `The end, after ${bytes.length} bytes. A hex digit adds a byte.`
            : "Point at a byte or a field."}
        </p>
      </div>
    );
  }
  const field = fieldOf(type, span.path);
  const begin = span.offset, tag = span.tagSize ?? 0, length = span.lengthSize ?? 0;
  const part = { tag: "tag", length: "length", value: "value", lost: "not decoded" }[
    partAt(span, offset)];
  const value = valueOf(span);
  const address = field && `${field.message}.${field.name}`;
  return (
    <div class="detail panel">
      <p class="unseen" id="pointed" role="status">
        Byte {offset}, {part} of {span.path ?? nameOf(span)}. {valueOf(span)}
      </p>
      <h3><code>{span.path ?? nameOf(span)}</code>
        {address && <a href={`#${address}`}>{address}</a>}</h3>
      <dl class="facts small">
        {tag > 0 && <div><dt>Tag</dt><dd>
          <code>{spaced(bytes.subarray(begin, begin + tag))}</code>{" "}
          <span class="quiet">field {span.number}, {span.wireType}</span></dd></div>}
        {length > 0 && <div><dt>Length</dt><dd>
          <code>{spaced(bytes.subarray(begin + tag, begin + tag + length))}</code>{" "}
          <span class="quiet">{span.length} {span.length === 1 ? "byte" : "bytes"}</span></dd>
        </div>}
        {value && <div><dt>Value</dt><dd><code class="long">{value}</code></dd></div>}
        {field && <div><dt>Type</dt><dd><code>{field.repeated ? "repeated " : ""}{field.type}</code>
        </dd></div>}
        <div><dt>Place</dt><dd>bytes {begin} to {begin + span.size - 1}</dd></div>
        {remarksOf(span).map((remark) => (
          <div><dt>Note</dt><dd class="warning">{remark}</dd></div>
        ))}
      </dl>
      {field && <div class="small detail-comment"><Comment text={field.comment}
        owner={field.message} /></div>}
    </div>
  );
}
