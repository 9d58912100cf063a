// Tries the forms that an input can have, and decides which one it has.
import { InputFault, type InputError, type Message, type ReadResult, type Reading }
  from "./api";
import { bytesOf, findInvalidUtf8, textOf } from "./bytes";
import { trim } from "./digits";
import { linesOf } from "./dump";
import { formsInside, formsOf, isText, knownFormat, type Found } from "./forms";
import { fromJson, jsonProblem, understoodJson } from "./json_read";
import { lineMessages } from "./line_messages";
import { encode } from "./message";
import { Evidence } from "./rank";
import { findType, schema, type Type } from "./schema";
import { fromText, understoodText } from "./text_read";

// How well the types fit a reading.
enum Quality { none, foreign, odd, clean }

function qualityOf(types: Type[], bytes: Uint8Array): Quality {
  let best = Quality.none;
  for (const type of types) {
    const evidence = new Evidence(type, bytes);
    if (evidence.clean && evidence.fields > 0) return Quality.clean;
    if (!evidence.accepted) continue;
    best = Math.max(best, evidence.fields > 0 ? Quality.odd : Quality.foreign);
  }
  return best;
}

interface Attempt {
  reading: Reading;
  certain: boolean;
  quality: Quality;
  complaint?: InputError; // of text and JSON that no type takes: why the likeliest does not
}

const MANY = 20; // types that a text is like; it is then like none

const NAMED = 3;        // types at most, of JSON that is cut off
const LOOKED = 64 << 10; // characters of it

// What each type understands of a text, and the most of it.
function understood(form: "text" | "json", types: Type[], text: string): [number[], number] {
  const sizes = types.map((type) =>
    form === "json" ? understoodJson(type, text) : understoodText(type, text));
  return [sizes, sizes.reduce((a, b) => Math.max(a, b), 0)];
}

// Which types have the names up to where JSON breaks off; empty if that says little.
function namedBefore(types: Type[], json: string): string {
  const [sizes, most] = understood("json", types, json.slice(0, LOOKED));
  const like = types.filter((_, i) => sizes[i] === most).map(({ name }) => name);
  if (types.length === 1 || like.length > NAMED) return "";
  const last = like.pop();
  const names = like.length > 0 ? `${like.join(", ")} or ${last}` : last;
  return ` (the names before are those of ${names})`;
}

// Why a text is no message of the type that understands most of it. Of types that do it
// alike, the one with a name that is nearly there counts.
function explain(form: "text" | "json", types: Type[], text: string,
                 faults: InputFault[]): InputError {
  const broken = form === "json" ? jsonProblem(text) : undefined;
  if (broken !== undefined) {
    return { reason: broken.reason + namedBefore(types, text), offset: broken.offset, form };
  }
  const [sizes, most] = understood(form, types, text);
  const like = faults.flatMap((fault, i) => sizes[i] === most ? [{ fault, type: types[i] }] : []);
  const near = like.find(({ fault }) => fault.reason.includes(" did you mean "));
  const { fault: { reason, offset }, type } = near ?? like[0];
  if (types.length === 1) return { reason, offset, form };
  if (near === undefined && like.length > MANY && reason.includes(" has no ")) {
    return { reason: "no message type has all of these fields", form };
  }
  return { reason: `${reason} (read as ${type.fullName}, which it is most like)`, offset, form };
}

// A message as text or JSON, for every type that takes it.
function tryWritten(form: "text" | "json", types: Type[], text: string, start: number): Attempt {
  const reading: Reading = { form, layout: "", bytes: new Uint8Array(), types: [] };
  const faults: InputFault[] = [];
  for (const { name } of types) {
    try {
      const message: Message = form === "json" ? fromJson(name, text) : fromText(name, text);
      if (reading.types.length === 0) reading.bytes = encode(message);
      reading.types.push(name);
    } catch (fault) {
      if (!(fault instanceof InputFault)) throw fault;
      faults.push(fault);
    }
  }
  if (reading.types.length > 0) {
    const quality = reading.bytes.length === 0 ? Quality.odd : Quality.clean;
    return { reading, certain: form === "json", quality };
  }
  const complaint = explain(form, types, text, faults);
  if (complaint.offset !== undefined) complaint.offset += start;
  return { reading, certain: form === "json", quality: Quality.none, complaint };
}

// Of a text that is nothing but comments: what it would be without their marks.
function uncomment(text: string): string | undefined {
  const lines = linesOf(text).map(trim).filter((line) => line !== "");
  if (lines.length === 0 || lines.some((line) => line[0] !== "#")) return undefined;
  return lines.map((line) => `${line.replace(/^# ?/, "")}\n`).join("");
}

// Whether a form is more than a word or a number that a person wrote.
function isMessage({ form, bytes, certain, problem, text }: Found, plain: string): boolean {
  if (text !== undefined || problem !== undefined) return false;
  if (form === "base64") return bytes.length >= 12 && !trim(plain).includes(" ");
  return certain || bytes.length >= 4;
}

// Of a text that is nothing but comments which hold the digits of a message, why it is not
// read. The comments with which tarn shows unknown fields hold none.
function whyComments(text: string): string | undefined {
  const plain = uncomment(text);
  if (plain === undefined || /^[1-9][0-9]*(: | \{)/.test(plain)) return undefined;
  const held = formsOf(plain).find((form) => isMessage(form, plain));
  return held && `nothing but comments, which hold ${held.layout || held.form}: ` +
    "take the # off each line";
}

function attempt(found: Found, types: Type[], input: string): Attempt {
  const { form, layout, bytes, certain, text } = found;
  if (form === "text" || form === "json") {
    const tried = tryWritten(form, types, text!, Math.max(0, input.indexOf(text!)));
    return { ...tried, certain, reading: { ...tried.reading, layout } };
  }
  const skipped = found.skipped ?? 0;
  const note = skipped === 0 ? {} : {
    note: `the dump begins at byte ${skipped}: the ${skipped} bytes before are missing`,
  };
  return { reading: { form, layout, bytes, types: [], ...note }, certain,
           quality: qualityOf(types, bytes) };
}

// The attempts that are as good as the best one.
function best(attempts: Attempt[], certain: boolean): Attempt[] {
  for (const quality of [Quality.clean, Quality.odd, Quality.foreign]) {
    const found = attempts.filter((one) => one.quality === quality && (one.certain || !certain));
    if (found.length > 0) return found;
  }
  return [];
}

const isDump = ({ certain, reading }: Attempt): boolean =>
  certain && reading.layout.startsWith("a dump");

// The readings that the input leaves open. An input that ends like a line, and has no known
// field as binary, is taken for a line that a person wrote.
function choicesOf(attempts: Attempt[], binary: Attempt, line: boolean): Attempt[] {
  const sure = best(attempts, true);
  if (sure.length > 0) return sure;
  // A dump is one even if its message is broken.
  if (attempts.length > 0 && isDump(attempts[0]) && binary.quality !== Quality.clean) {
    return [attempts[0]];
  }
  const choices = best(attempts, false);
  if (binary.quality === Quality.none ||
      (binary.quality === Quality.foreign && line && choices.length > 0)) {
    return choices;
  }
  if (choices.length === 0 || choices[0].quality !== Quality.clean) return [binary];
  return [binary, ...choices];
}

const lineAt = (input: string, at: number): number => input.slice(0, at).split("\n").length;

// Whether the lines of a block are messages of their own, which make up all of its bytes.
function isSeveral(types: Type[], forms: Found[], place: number): boolean {
  const block = forms[place];
  if (!block.joined) return false;
  let end = block.at, bytes = 0;
  for (const form of forms.slice(place + 1)) {
    if (form.at >= block.at + block.size) break;
    if (form.at < end || form.bytes.length >= block.bytes.length ||
        qualityOf(types, form.bytes) !== Quality.clean) {
      continue;
    }
    end = form.at + form.size;
    bytes += form.bytes.length;
  }
  return bytes === block.bytes.length;
}

const SHOWN = 3; // lines with messages

// `lines`: in which the messages begin; of many, the first ones.
function several(count: number, lines: number[]): string {
  const places = lines.map(String);
  if (count > lines.length) places.push(`${count - lines.length} more`);
  const last = places.pop();
  return `text with ${count} messages in it, in lines ${places.join(", ")} and ${last}: ` +
    "cut one out";
}

// Of digits whose lines are messages of their own, why they are not read.
function whyLines(types: Type[], input: string, form: Found): string | undefined {
  const messages = lineMessages(types, form);
  if (messages === undefined) return undefined;
  const { count, canBeOne } = messages;
  if (canBeOne) {
    return `${form.form} in ${count} lines, which can be one message or one in each line: ` +
      "join the lines, or cut one out";
  }
  const lines = linesOf(input).flatMap((line, i) => /[0-9a-zA-Z]/.test(line) ? [i + 1] : []);
  return several(count, lines.slice(0, SHOWN));
}

// A message inside other text; undefined if there is none.
function inside(types: Type[], input: string): ReadResult | undefined {
  const forms = formsInside(input).sort((a, b) => a.at - b.at);
  const messages: Found[] = [];
  let end = 0;
  forms.forEach((form, i) => {
    if (form.at < end || qualityOf(types, form.bytes) !== Quality.clean ||
        isSeveral(types, forms, i) || lineMessages(types, form) !== undefined) {
      return;
    }
    end = form.at + form.size;
    messages.push(form);
  });
  if (messages.length === 0) return undefined;
  const [{ form, at, bytes }] = messages;
  if (messages.length > 1) {
    const first = messages.slice(0, SHOWN).map((message) => lineAt(input, message.at));
    return { readings: [], error: { reason: several(messages.length, first), offset: at } };
  }
  const place = bytesOf(input.slice(0, at)).length;
  return { readings: [{
    form, bytes, types: [], layout: `inside other text, at byte ${place}`,
    note: `text with one message in it: the ${form} at byte ${place} is read`,
  }] };
}

function readText(types: Type[], input: string, binary: Attempt): ReadResult {
  const failed = (reason: string, form: Found): ReadResult =>
    ({ readings: [], error: { reason, form: form.form } });
  const forms = formsOf(input);
  for (const form of forms) {
    const reason = form.form === "text" ? whyComments(form.text!) : undefined;
    if (reason !== undefined) return { readings: [], error: { reason } };
  }
  for (const form of forms) {
    if (!form.certain && binary.quality === Quality.clean) continue;
    const reason = whyLines(types, input, form);
    if (reason !== undefined) return { readings: [], error: { reason } };
  }
  const sound = forms.filter(({ problem }) => problem === undefined);
  const broken = forms.find(({ problem }) => problem !== undefined);
  const attempts = sound.map((form) => attempt(form, types, input));
  // Of a dump whose groups can be words or bytes, the words alone, unless the bytes are a
  // sound message.
  if (attempts.length === 2 && isDump(attempts[0]) && attempts[0].reading.form === "words" &&
      attempts[1].quality !== Quality.clean) {
    attempts.pop();
  }
  // Digits that are clearly some, but cannot be read, are nothing else.
  if (attempts.length === 0 && forms.length > 0 && forms[0].certain &&
      binary.quality !== Quality.clean) {
    return failed(forms[0].problem!, forms[0]);
  }
  const choices = choicesOf(attempts, binary, input.endsWith("\n"));
  if (choices.length > 0) return { readings: choices.map(({ reading }) => reading) };
  const found = inside(types, input);
  if (found !== undefined) return found;
  if (broken !== undefined) return failed(broken.problem!, forms[forms.length - 1]);
  if (attempts.length === 0) {
    const note = "this text is taken as bytes: the page knows no form that it has; " +
      "tarn what knows more of them";
    return { readings: [{ ...binary.reading, note }] };
  }
  const [{ complaint, reading }] = attempts;
  return complaint !== undefined ? { readings: [], error: complaint } : { readings: [reading] };
}

export function read(input: string | Uint8Array, names?: string[]): ReadResult {
  const types = (names ?? schema.messages.map(({ name }) => name)).map(findType);
  const bytes = typeof input === "string" ? bytesOf(input) : input;
  const isUtf8 = typeof input === "string" || findInvalidUtf8(bytes, 0, bytes.length) < 0;
  const text = typeof input === "string" ? input : isUtf8 ? textOf(bytes) : "";
  const reading: Reading = { form: "binary", layout: "", bytes, types: [] };
  if (isUtf8 && isText(text) && trim(text) !== "") {
    return readText(types, text,
      { reading, certain: false, quality: qualityOf(types, bytes) });
  }
  const format = qualityOf(types, bytes) === Quality.clean ? undefined : knownFormat(bytes);
  if (format !== undefined) reading.note = `these bytes look like something else: ${format}`;
  return { readings: [reading] };
}
