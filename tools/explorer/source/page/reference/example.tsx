// The worked example beside an entry: a golden message as JSON, and its bytes.
import examples from "virtual:examples";
import { useMemo } from "preact/hooks";
import { inspect } from "../core";
import { hueOf, nameOf, partAt, valueOf } from "../inspector/spans";
import type { Span } from "../../inspect/api";
import { addressOf } from "../route";

const bytesOf = (base64: string) => Uint8Array.from(atob(base64), (text) => text.charCodeAt(0));

const most = 24; // bytes of a span that are shown

function SpanBytes({ span, bytes }: { span: Span; bytes: Uint8Array }) {
  const shown = Math.min(span.size, most);
  return (
    <span class="span-bytes">
      {Array.from({ length: shown }, (_, at) => {
        const part = partAt(span, span.offset + at);
        const covered = span.masked && part === "value";
        return <b class={`byte ${part} ${hueOf(span)}`}>
          {covered ? "••" : bytes[span.offset + at].toString(16).padStart(2, "0")}</b>;
      })}
      {span.size > shown && "…"}
    </span>
  );
}

export function Example({ type }: { type: string }) {
  const { bytes, json, spans } = useMemo(() => {
    const bytes = bytesOf(examples[type].bytes);
    return {
      bytes, spans: inspect.walk(type, bytes).spans,
      json: inspect.toJson(inspect.decode(type, bytes), { pretty: true }),
    };
  }, [type]);
  return (
    <aside class="example" aria-label={`Example of ${type}`}>
      <h3>Example{" "}
        <a href={addressOf({ page: "inspect", type, bytes })}>Open in the inspector</a></h3>
      <p class="small quiet">The golden message <code>{type}/{examples[type].case}</code></p>
      <pre tabIndex={0} aria-label={`JSON of the example of ${type}`}>{json}</pre>
      <ol class="annotated" tabIndex={0} aria-label={`Bytes of the example of ${type}`}>
        {spans.map((span) => (
          <li style={{ paddingLeft: `${Math.min(span.depth, 8) * 10}px` }}>
            <span class="says"><span class="quiet">{span.number}</span> {nameOf(span)}
              {valueOf(span) && `: ${valueOf(span)}`}</span>
            <SpanBytes span={span} bytes={bytes} />
          </li>
        ))}
      </ol>
    </aside>
  );
}
