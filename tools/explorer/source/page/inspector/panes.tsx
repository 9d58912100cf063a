// The ways to look at a message beside its bytes.
import type { ComponentChildren } from "preact";
import { useLayoutEffect, useState } from "preact/hooks";
import { inspect } from "../core";
import type { Walk } from "../../inspect/api";
import { Waiting } from "../parts/waiting";
import { Compare } from "./compare";
import { Export } from "./export";
import { Fields } from "./fields";
import { Form } from "./form";
import type { Doc, Records } from "./inspector";
import { JsonEditor } from "./json_editor";
import { Network } from "./network";
import { RecordList } from "./records";
import { Status } from "./status";

interface Props {
  doc: Doc;
  walk: Walk;
  pointed: number;
  secrets: boolean;
  records?: Records;
  onPoint: (span: number) => void;
  onBytes: (bytes: Uint8Array) => void;
  onRecord: (at: number) => void;
  onSecrets: (shown: boolean) => void;
}

// What needs a message that can be read, and what may show a pass phrase.
function Guarded({ walk, secrets, covered, onSecrets, children }: {
  walk: Walk; secrets: boolean; covered: boolean; onSecrets: (shown: boolean) => void;
  children: ComponentChildren;
}) {
  if (!walk.done) return <Waiting />;
  if (walk.errors.length > 0) {
    return <p class="empty">A reader refuses these bytes, so there is no message to show here.
      The fields that could be read are under “Fields”.</p>;
  }
  if (covered && !secrets) {
    return (
      <div class="empty">
        <p>This message holds a pass phrase.</p>
        <p><button onClick={() => onSecrets(true)}>Show the pass phrase</button></p>
      </div>
    );
  }
  return <>{children}</>;
}

export function Panes(props: Props) {
  const { doc, walk, secrets, records, onBytes } = props;
  const [chosen, setChosen] = useState("Fields");
  // It stays while a byte is half written, which no reader takes.
  const [before, setBefore] = useState<{ type: string; bytes: Uint8Array }>();
  const covered = inspect.schema.message(doc.type)!.fields.some(({ secret }) => secret) ||
    walk.masked;
  const message = { type: doc.type, bytes: doc.bytes };
  const panes: Record<string, () => ComponentChildren> = {
    Fields: () => <Fields walk={walk} pointed={props.pointed} onPoint={props.onPoint} />,
    ...(records && { Records: () => <RecordList records={records} onRecord={props.onRecord} /> }),
    ...(inspect.holdsNodes(doc.type) && { Network: () => <Network {...message} /> }),
    ...(doc.type === "NetworkStatusReport" && { Status: () => <Status bytes={doc.bytes} /> }),
    JSON: () => <JsonEditor {...message} onBytes={onBytes} />,
    Form: () => <Form {...message} onBytes={onBytes} />,
    Compare: () => <Compare {...message} secrets={secrets}
      before={before?.type === doc.type ? before.bytes : undefined}
      onBefore={(bytes) => setBefore({ type: doc.type, bytes })} />,
    Export: () => <Export {...message} />,
  };
  const names = Object.keys(panes);
  const shown = names.includes(chosen) ? chosen : "Fields";
  // A stream begins with the list of its records.
  useLayoutEffect(() => {
    if (records) setChosen("Records");
  }, [records?.whole]);
  const keys = (event: KeyboardEvent) => {
    const step = { ArrowRight: 1, ArrowLeft: -1 }[event.key];
    if (!step) return;
    event.preventDefault();
    const next = names[(names.indexOf(shown) + step + names.length) % names.length];
    setChosen(next);
    document.getElementById(`tab-${next}`)?.focus();
  };
  const free = ["Fields", "Records", "Network", "Status"].includes(shown);
  const needs = ["Network", "Status"].includes(shown);
  return (
    <section class="panel panes" aria-label="Meaning">
      <div class="tabs panel-head" role="tablist" aria-label="Ways to look" onKeyDown={keys}>
        {names.map((name) => (
          <button role="tab" id={`tab-${name}`} aria-selected={name === shown}
            aria-controls="pane" tabIndex={name === shown ? 0 : -1}
            onClick={() => setChosen(name)}>{name}</button>
        ))}
      </div>
      <div id="pane" role="tabpanel" aria-labelledby={`tab-${shown}`} class="pane">
        {free && !needs ? panes[shown]()
          : (
            <Guarded walk={walk} secrets={secrets} covered={covered && !needs}
              onSecrets={props.onSecrets}>{panes[shown]()}</Guarded>
          )}
      </div>
    </section>
  );
}
