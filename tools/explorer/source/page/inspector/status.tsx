// A status report as a table, worst first.
import { inspect } from "../core";
import type { Condition, StatusRow } from "../../inspect/api";
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

export function Status({ bytes }: { bytes: Uint8Array }) {
  const { value, waiting } = useAnswer("status", bytes);
  if (waiting || !value) return <p class="empty">Reading…</p>;
  const parts = value.parts.map((part, at) => ({ part, at }))
    .sort((a, b) => worst(a.part) - worst(b.part) || a.at - b.at).map(({ part }) => part);
  return (
    <div class="scroll" tabIndex={0} role="group" aria-label="Status report">
      <p class="pane-note">Price update of the network: <StatusMark status={value.priceLifecycle} />
      </p>
      {parts.length === 0 ? <p class="empty">The report names no part.</p> : (
        <table class="status-table">
          <thead><tr><th>Part</th><th>Status</th><th>Price update</th></tr></thead>
          <tbody>{parts.slice(0, 2000).map(({ part, status, priceUpdate }) => (
            <tr><td>{part}</td><td><StatusMark status={status} /></td>
              <td><StatusMark status={priceUpdate} /></td></tr>
          ))}</tbody>
        </table>
      )}
      {parts.length > 2000 && <p class="pane-note">{parts.length - 2000} more are not shown.</p>}
    </div>
  );
}
