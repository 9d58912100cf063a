// The entry of a message or an enum, field by field and value by value.
import { useState } from "preact/hooks";
import { schema } from "../core";
import type { SchemaEnum, SchemaField, SchemaMessage } from "../../inspect/api";
import { Comment } from "./comment";
import { Example } from "./example";

function TypeName({ name }: { name: string }) {
  return schema.message(name) || schema.enumeration(name)
    ? <a href={`#${name}`}><code>{name}</code></a> : <code>{name}</code>;
}

function FieldType({ field }: { field: SchemaField }) {
  if (field.kind === "map") return <><code>map</code> of text to <TypeName name={field.type} /></>;
  return <>{field.repeated && <span>repeated </span>}<TypeName name={field.type} /></>;
}

function Accessors({ field }: { field: SchemaField }) {
  const [open, setOpen] = useState(false);
  return (
    <details class="accessors" onToggle={(event) => setOpen(event.currentTarget.open)}>
      <summary>C++, Python, TypeScript</summary>
      {open && (
        <dl>
          <dt>C++</dt><dd><pre tabIndex={0}>{field.cpp.join("\n")}</pre></dd>
          <dt>Python</dt><dd><code>{field.python}</code></dd>
          <dt>TypeScript</dt><dd><code>{field.typescript}</code></dd>
        </dl>
      )}
    </details>
  );
}

const wires = {
  varint: "varint", fixed64: "8 bytes", length: "length", start: "group", end: "end of group",
  fixed32: "4 bytes",
};

function FieldRow({ field, target }: { field: SchemaField; target?: string }) {
  const address = `${field.message}.${field.name}`;
  return (
    <tr id={address} tabIndex={-1} class={address === target ? "target" : ""}>
      <td class="number">{field.number}</td>
      <td class="what">
        <a class="self" href={`#${address}`}><code>{field.name}</code></a>
        {field.oneof && <span class="chip">one of {field.oneof}</span>}
        {field.secret && <span class="chip">secret</span>}
        <div class="comment"><Comment text={field.comment} owner={field.message} /></div>
        <Accessors field={field} />
      </td>
      <td data-label="Type"><FieldType field={field} /></td>
      <td data-label="Tag"><code>{field.tag}</code></td>
      <td data-label="Wire type">{wires[field.wireType]}</td>
      <td data-label="JSON"><code>{field.jsonName}</code></td>
    </tr>
  );
}

function Links({ title, names }: { title: string; names: string[] }) {
  return (
    <div>
      <dt>{title}</dt>
      <dd>{names.map((name, at) => (
        <>{at > 0 && ", "}<a href={`#${name}`}><code>{name}</code></a></>
      ))}</dd>
    </div>
  );
}

interface Facts { file: string; cppClass: string; usedIn: string[]; embeds?: string[] }

function FactList({ file, cppClass, usedIn, embeds = [] }: Facts) {
  return (
    <dl class="facts small">
      <div><dt>File</dt><dd><code>{file}</code></dd></div>
      <div><dt>C++</dt><dd><code>{cppClass}</code></dd></div>
      {usedIn.length > 0 && <Links title="Used in" names={usedIn} />}
      {embeds.length > 0 && <Links title="Embeds" names={embeds} />}
    </dl>
  );
}

function Heading({ name, kind }: { name: string; kind: string }) {
  return <h2><a class="self" href={`#${name}`}>{name}</a> <span class="chip">{kind}</span></h2>;
}

export function MessageEntry({ message, target }: { message: SchemaMessage; target?: string }) {
  return (
    <section class="entry panel" id={message.name} tabIndex={-1} aria-label={message.name}>
      <div class="entry-text">
        <Heading name={message.name} kind="message" />
        <div class="entry-comment"><Comment text={message.comment} owner={message.name} /></div>
        <FactList {...message} />
        {message.oneofs.map((oneof) => (
          <div class="small oneof">
            <b>One of <code>{oneof.name}</code>.</b>{" "}
            <Comment text={oneof.comment} owner={message.name} />
          </div>
        ))}
        <table class="fields-table">
          <thead><tr><th>No.</th><th>Field</th><th>Type</th><th>Tag</th><th>Wire</th><th>JSON</th>
          </tr></thead>
          <tbody>{message.fields.map((field) => <FieldRow field={field} target={target} />)}</tbody>
        </table>
      </div>
      <Example type={message.name} />
    </section>
  );
}

export function EnumEntry({ type, target }: { type: SchemaEnum; target?: string }) {
  return (
    <section class="entry panel" id={type.name} tabIndex={-1} aria-label={type.name}>
      <div class="entry-text">
        <Heading name={type.name} kind="enum" />
        <div class="entry-comment"><Comment text={type.comment} owner={type.name} /></div>
        <FactList {...type} />
        <table class="fields-table values">
          <thead><tr><th>No.</th><th>Value</th><th>C++</th></tr></thead>
          <tbody>{type.values.map((value) => {
            const address = `${type.name}.${value.name}`;
            return (
              <tr id={address} tabIndex={-1} class={address === target ? "target" : ""}>
                <td class="number">{value.number}</td>
                <td class="what"><a class="self" href={`#${address}`}><code>{value.name}</code></a>
                  <div class="comment"><Comment text={value.comment} owner={type.name} /></div></td>
                <td data-label="C++"><code>{value.constant}</code></td>
              </tr>
            );
          })}</tbody>
        </table>
      </div>
    </section>
  );
}
