// Tells digits of one message in several lines from messages in lines of their own.
import { fromBase64, fromHexDigits, fromNumbers, trim } from "./digits";
import { linesOf } from "./dump";
import type { Found } from "./forms";
import { Evidence } from "./rank";
import type { Type } from "./schema";
import { Walker, type Item, type Stack } from "./walker";

function isSound(type: Type, bytes: Uint8Array): boolean {
  const evidence = new Evidence(type, bytes);
  return evidence.clean && evidence.fields > 0;
}

// The least and the greatest number of the fields of a message.
function numbersIn(type: Type, bytes: Uint8Array): [number, number] {
  let least = Infinity, most = 0;
  const add = ({ depth }: Stack, { number }: Item): void => {
    if (depth !== 0) return;
    least = Math.min(least, number);
    most = Math.max(most, number);
  };
  new Walker(type, bytes, { value: add, packed: add, enter: add }).run();
  return [least, most];
}

// `canBeOne`: the lines can be one message as well, broken into lines of one length.
export interface LineMessages { count: number; canBeOne: boolean }

// Lines are messages of their own if each is a sound one of the same type. Lines whose
// fields follow those of the line before, by their numbers, are parts of one message:
// undefined.
export function lineMessages(types: Type[], form: Found): LineMessages | undefined {
  let like = types;
  let parts = true, wrapped = true;
  let lastNumber = 0, firstSize = 0, lastSize = 0, count = 0;
  for (const raw of linesOf(form.digits ?? "")) {
    const line = trim(raw);
    if (line === "") continue;
    const bytes = form.form === "hex" ? fromHexDigits(line)
      : form.form === "base64" ? fromBase64(line) : fromNumbers(line);
    if (bytes === undefined) return undefined;
    like = like.filter((type) => isSound(type, bytes));
    if (like.length === 0) return undefined;
    const [least, most] = numbersIn(like[0], bytes);
    parts &&= least > lastNumber;
    lastNumber = most;
    if (count++ === 0) firstSize = lastSize = line.length;
    wrapped &&= lastSize === firstSize && line.length <= firstSize;
    lastSize = line.length;
  }
  if (count < 2 || parts) return undefined;
  const canBeOne = wrapped && types.some((type) => {
    const evidence = new Evidence(type, form.bytes);
    return evidence.clean && evidence.disorder === 0;
  });
  return { count, canBeOne };
}
