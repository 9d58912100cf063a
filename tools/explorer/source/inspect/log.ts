// Lines of logs and of mails, without what their writers put around them.
import { trim } from "./digits";
import { linesOf } from "./dump";

const TIME = new RegExp("^(?:<[0-9][^>]*>)?(?:" +
  "[0-9]{4}-[0-9]{2}-[0-9]{2}[ T][0-9]{2}:[0-9]{2}:[0-9]{2}[0-9.,+\\-:Z]*|" +
  "(?:Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec)" +
  "(?: [0-9]{2}| {2}[0-9])[ T][0-9]{2}:[0-9]{2}:[0-9]{2}) ");

export interface LogLine { sender: string; text: string }

export function readLogLine(line: string): LogLine {
  const time = TIME.exec(line);
  const sender = time && /^([^ ]+ [^ ]+:) /.exec(line.slice(time[0].length));
  if (!time || !sender) return { sender: "", text: line };
  return { sender: sender[1].slice(0, -1), text: line.slice(time[0].length + sender[0].length) };
}

// The lines of one sender, without it; undefined if they are not all of one.
export function unlog(text: string): string | undefined {
  let plain = "", first = "";
  for (const line of linesOf(text)) {
    if (trim(line) === "") continue;
    const { sender, text: rest } = readLogLine(line);
    first ||= sender;
    if (sender === "" || sender !== first) return undefined;
    plain += `${rest}\n`;
  }
  return plain === "" ? undefined : plain;
}

// A line without the marks of a quotation in a mail.
export const unquoted = (line: string): string => line.replace(/^(?: *>)+/, "").replace(/^ /, "");

export function unquote(text: string): string | undefined {
  const lines = linesOf(text);
  if (!lines.some((line) => line[0] === ">")) return undefined;
  if (lines.some((line) => trim(line) !== "" && line[0] !== ">")) return undefined;
  return lines.map((line) => `${unquoted(line)}\n`).join("");
}

// Without line numbers, as cat -n or grep -n write them.
export function unnumber(text: string): string | undefined {
  let plain = "", last = 0;
  for (const line of linesOf(text)) {
    const trimmed = trim(line);
    if (trimmed === "") continue;
    const match = /^([1-9][0-9]{0,14})([^0-9][^]*)$/.exec(trimmed);
    if (match === null) return undefined;
    const [, digits, rest] = match;
    const number = Number(digits);
    if (last !== 0 && number !== last + 1) return undefined;
    const padded = !line.startsWith(trimmed);
    const marked = "\t:|).".includes(rest[0]);
    if (!marked && !(rest[0] === " " && (padded || number < 10))) return undefined;
    last = number;
    plain += `${rest.slice(1)}\n`;
  }
  return last === 0 ? undefined : plain;
}
