// A status report as a table, worst first.
import { inspect } from "../core";
import { useMemo } from "preact/hooks";
import type { Condition, StatusReport, StatusRow } from "../../inspect/api";
import { Table } from "../parts/table";
import { Waiting } from "../parts/waiting";
import { useAnswer } from "../work";

const severity: Condition[] = ["fault", "odd", "waiting", "none", "good"];

export function StatusMark({ status }: { status: string | number | undefined }) {
  if (status === undefined) return <span class="quiet">–</span>;
  const { words, condition } = inspect.statusLook(status);
  return <span class={`status ${condition}`} title={words}>{status}</span>;
}

function worst({ status, priceUpdate }: StatusRow): number {
  return Math.min(...[status, priceUpdate].filter((code) => code !== undefined)
    .map((code) => severity.indexOf(inspect.statusLook(code!).condition)));
}

// Each part is weighed once: a report may name very many.
const worstFirst = (report?: StatusReport): StatusRow[] =>
  (report?.parts ?? []).map((part) => ({ part, worst: worst(part) }))
    .sort((a, b) => a.worst - b.worst).map(({ part }) => part);

export function Status({ bytes }: { bytes: Uint8Array }) {
  const { value, waiting } = useAnswer("status", bytes);
  const parts = useMemo(() => worstFirst(value), [value]);
  if (waiting || !value) return <Waiting />;
  return (
    <>
      <p class="pane-note">Price update of the network: <StatusMark status={value.priceLifecycle} />
      </p>
      {parts.length === 0 ? <p class="empty">The report names no part.</p> : (
        <Table class="parts" label="Status report" heads={["Part", "Status", "Price update"]}
          count={parts.length} cells={(at) => {
            const { part, status, priceUpdate } = parts[at];
            return [inspect.escaped(part), <StatusMark status={status} />,
              <StatusMark status={priceUpdate} />];
          }} />
      )}
    </>
  );
}
