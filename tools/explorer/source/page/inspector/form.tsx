// The message as a form; the bytes follow each change.
import { useState } from "preact/hooks";
import { inspect, schema } from "../core";
import type { Message, SchemaField, Value } from "../../inspect/api";
import { Waiting } from "../parts/waiting";
import { useAnswer } from "../work";

interface Props { type: string; bytes: Uint8Array; onBytes: (bytes: Uint8Array) => void }
type Held = Value | Value[] | Map<string, number> | undefined;
type Set = (value: Held) => void;

const most = 1 << 16; // bytes of a message that a form can still show

function zeroOf(field: SchemaField): Value {
  if (field.kind === "message") return { type: field.type, fields: new Map(), unknown: [] };
  if (field.kind === "bytes") return new Uint8Array();
  if (field.kind === "string") return "";
  return field.kind === "bool" ? false : 0;
}

const isZero = (value: Value) => value === 0 || value === false || value === "" ||
  (value instanceof Uint8Array && value.length === 0);

function fromText(field: SchemaField, text: string): Value | undefined {
  if (field.kind === "bytes") {
    const digits = text.replace(/\s/g, "");
    if (!/^([0-9a-fA-F]{2})*$/.test(digits)) return undefined;
    return Uint8Array.from(digits.match(/../g) ?? [], (byte) => parseInt(byte, 16));
  }
  if (field.kind === "string") return text;
  const number = text.trim() === "" ? 0 : Number(text);
  if (field.kind === "float") {
    return Number.isNaN(number) && text.trim() !== "NaN" ? undefined
      : inspect.bitsOf(Math.fround(number));
  }
  const [low, high] = field.kind === "uint32" ? [0, 0xffffffff] : [-0x80000000, 0x7fffffff];
  return Number.isInteger(number) && number >= low && number <= high ? number : undefined;
}

function toText(field: SchemaField, value: Value): string {
  if (value instanceof Uint8Array) return inspect.toHex(value).trim();
  if (field.kind !== "float") return String(value);
  const float = inspect.floatOf(value as number);
  return Object.is(float, -0) ? "-0" : String(float);
}

const wanted: Partial<Record<SchemaField["kind"], string>> = {
  int32: "a whole number from -2147483648 to 2147483647",
  uint32: "a whole number from 0 to 4294967295", float: "a number", bytes: "pairs of hex digits",
};

function TextInput({ field, value, label, onSet }:
    { field: SchemaField; value: Value; label: string; onSet: (value: Value) => void }) {
  const [written, setWritten] = useState<string>();
  const fault = written !== undefined && fromText(field, written) === undefined;
  return (
    <span class="form-input">
      <input value={written ?? toText(field, value)} aria-label={label} spellcheck={false}
        autocomplete="off" aria-invalid={fault}
        inputMode={/int|float/.test(field.kind) ? "decimal" : "text"}
        onInput={(event) => {
          setWritten(event.currentTarget.value);
          const made = fromText(field, event.currentTarget.value);
          if (made !== undefined) onSet(made);
        }} onBlur={() => !fault && setWritten(undefined)} />
      {fault && <span class="small warning" role="alert">It takes {wanted[field.kind]}.</span>}
    </span>
  );
}

function EnumInput({ type, value, label, onSet }:
    { type: string; value: number; label: string; onSet: (value: number) => void }) {
  const { values } = schema.enumeration(type)!;
  return (
    <select aria-label={label} value={value}
      onChange={(event) => onSet(Number(event.currentTarget.value))}>
      {values.map(({ name, number }) => <option value={number}>{name} ({number})</option>)}
      {!values.some(({ number }) => number === value) &&
        <option value={value}>{value}, not declared</option>}
    </select>
  );
}

function One({ field, value, label, onSet }:
    { field: SchemaField; value: Value; label: string; onSet: (value: Value) => void }) {
  if (field.kind === "message") {
    return <MessageForm message={value as Message} label={label} onSet={onSet} />;
  }
  if (field.kind === "bool") {
    return <input type="checkbox" aria-label={label} checked={value as boolean}
      onChange={(event) => onSet(event.currentTarget.checked)} />;
  }
  if (field.kind === "enum") {
    return <EnumInput type={field.type} value={value as number} label={label} onSet={onSet} />;
  }
  return <TextInput field={field} value={value} label={label} onSet={onSet} />;
}

const Remove = ({ what, onRemove }: { what: string; onRemove: () => void }) => (
  <button class="plain remove" aria-label={`Remove ${what}`} title={`Remove ${what}`}
    onClick={onRemove}>×</button>
);

function Many({ field, values, label, onSet }:
    { field: SchemaField; values: Value[]; label: string; onSet: Set }) {
  return (
    <div class="form-many">
      {values.map((value, at) => (
        <div class="form-entry" key={at}>
          {field.kind === "message" && <span class="form-name mono">[{at}]</span>}
          <One field={field} value={value} label={`${label}[${at}]`}
            onSet={(next) => onSet(values.with(at, next))} />
          <Remove what={`${label}[${at}]`}
            onRemove={() => onSet(values.length > 1 ? values.toSpliced(at, 1) : undefined)} />
        </div>
      ))}
      <button onClick={() => onSet([...values, zeroOf(field)])}>Add<span class="unseen"> to {label}
      </span></button>
    </div>
  );
}

function MapForm({ field, entries, label, onSet }:
    { field: SchemaField; entries: Map<string, number>; label: string; onSet: Set }) {
  const [key, setKey] = useState("");
  const change = (edit: (entries: Map<string, number>) => void) => {
    const next = new Map(entries);
    edit(next);
    onSet(next.size > 0 ? next : undefined);
  };
  return (
    <div class="form-many">
      {[...entries].map(([name, value]) => (
        <div class="form-entry" key={name}>
          <span class="form-key">{inspect.escaped(name)}</span>
          <EnumInput type={field.type} value={value} label={`${label}["${name}"]`}
            onSet={(number) => change((next) => next.set(name, number))} />
          <Remove what={`${name} from ${label}`}
            onRemove={() => change((next) => next.delete(name))} />
        </div>
      ))}
      <div class="form-entry">
        <input value={key} aria-label={`New key of ${label}`} placeholder="New key"
          onInput={(event) => setKey(event.currentTarget.value)} />
        <button disabled={entries.has(key)} onClick={() => {
          change((next) => next.set(key, 0));
          setKey("");
        }}>Add</button>
      </div>
    </div>
  );
}

function Control({ field, held, label, onSet }:
    { field: SchemaField; held: Held; label: string; onSet: Set }) {
  if (field.kind === "map") {
    return <MapForm field={field} entries={(held as Map<string, number>) ?? new Map()} label={label}
      onSet={onSet} />;
  }
  if (field.repeated) {
    return <Many field={field} values={(held as Value[]) ?? []} label={label} onSet={onSet} />;
  }
  if (field.kind === "message" && held === undefined) {
    return <button onClick={() => onSet(zeroOf(field))}>Add<span class="unseen"> {label}</span>
    </button>;
  }
  return (
    <span class="form-one">
      <One field={field} value={(held as Value) ?? zeroOf(field)} label={label}
        onSet={(value) => onSet(field.kind !== "message" && !field.oneof && isZero(value)
          ? undefined : value)} />
      {field.kind === "message" && <Remove what={label} onRemove={() => onSet(undefined)} />}
    </span>
  );
}

function MessageForm({ message, label, onSet }:
    { message: Message; label: string; onSet: (message: Message) => void }) {
  const { fields } = schema.message(message.type)!;
  const set = (field: SchemaField, value: Held) => {
    const next = new Map(message.fields);
    for (const other of fields) {
      if (field.oneof !== undefined && other.oneof === field.oneof) next.delete(other.number);
    }
    if (value === undefined) next.delete(field.number);
    else next.set(field.number, value);
    onSet({ ...message, fields: next });
  };
  return (
    <div class="form" role="group" aria-label={label}>
      {fields.map((field) => {
        const path = label === message.type ? field.name : `${label}.${field.name}`;
        const held = message.fields.get(field.number);
        return (
          <div class={`form-field ${held === undefined ? "absent" : ""}`}>
            <span class="form-name">
              <span class="quiet mono">{field.number}</span> {field.name}</span>
            <Control field={field} held={held} label={path}
              onSet={(value) => set(field, value)} />
          </div>
        );
      })}
      {message.unknown.length > 0 && <p class="small quiet">
        Unknown fields: {message.unknown.length}, kept as they are.</p>}
    </div>
  );
}

export function Form(props: Props) {
  const { length } = props.bytes;
  if (length <= most) return <WholeForm {...props} />;
  return <p class="empty">The message has {length.toLocaleString("en")} bytes, too many for a form.
    Bytes can be edited in place.</p>;
}

function WholeForm({ type, bytes, onBytes }: Props) {
  const { value, error, waiting } = useAnswer("message", type, bytes);
  if (waiting) return <Waiting />;
  if (error) return <p class="empty">{error.reason}</p>;
  return (
    <div class="scroll pad">
      <MessageForm message={value!} label={type}
        onSet={(message) => onBytes(inspect.encode(message))} />
    </div>
  );
}
