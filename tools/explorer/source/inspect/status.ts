// What status numbers mean, and reports of them.
import type { Condition, Message, StatusLook, StatusReport, StatusRow } from "./api";
import { compareBytes, mapOf, one } from "./message";
import { findType, type Field } from "./schema";

const LOOKS: { [name: string]: [words: string, condition: Condition] } = {
  unused: ["no status", "none"],
  ok: ["ok", "good"],
  comm_error: ["communication error", "fault"],
  power_outage: ["power outage", "fault"],
  assy_conf_err: ["assembly error", "fault"],
  price_update_failure: ["price update failed", "fault"],
  retry_mode: ["retrying", "odd"],
  format_invalid: ["invalid format", "fault"],
  command_blank: ["blanked by command", "waiting"],
  price_sync_pending: ["price sync pending", "waiting"],
  price_update_uninitialized: ["price update not ready", "waiting"],
  price_update_ok: ["price updated", "good"],
};
// The worst first.
const CONDITIONS: Condition[] = ["fault", "odd", "waiting", "good", "none"];

const REPORT = findType("NetworkStatusReport");
const [PARTS, PRICES, LIFECYCLE] = [1, 2, 3].map((number) => REPORT.byNumber[number] as Field);
const STATUS = LIFECYCLE.enumeration!;

// As JSON has it: a name, or a number that is not declared.
export const statusOf = (number: number): string | number => STATUS.names.get(number) ?? number;

export function statusLook(status: string | number): StatusLook {
  const name = typeof status === "string" ? status : STATUS.names.get(status);
  const [words, condition] = LOOKS[name ?? ""] ?? [`status ${status}`, "odd"];
  return { words, condition, well: condition !== "fault" && condition !== "odd" };
}

const rank = (number: number): number =>
  CONDITIONS.indexOf(statusLook(statusOf(number)).condition);
const worse = (a: number, b: number): number => rank(a) - rank(b) || a - b;

// The parts of a NetworkStatusReport, the worst first.
export function status(message: Message): StatusReport {
  if (message.type !== REPORT.name) throw new Error(`${message.type} is no status report`);
  const parts = mapOf(message, PARTS);
  const prices = mapOf(message, PRICES);
  const rows = [...new Set([...parts.keys(), ...prices.keys()])].sort(compareBytes)
    .map((part) => {
      const numbers = [parts.get(part), prices.get(part)].filter((n) => n !== undefined);
      return { part, worst: numbers.sort(worse)[0] };
    }).sort((a, b) => worse(a.worst, b.worst));
  return {
    parts: rows.map(({ part }) => {
      const row: StatusRow = { part };
      if (parts.has(part)) row.status = statusOf(parts.get(part)!);
      if (prices.has(part)) row.priceUpdate = statusOf(prices.get(part)!);
      return row;
    }),
    priceLifecycle: statusOf((one(message, LIFECYCLE) ?? 0) as number),
  };
}
