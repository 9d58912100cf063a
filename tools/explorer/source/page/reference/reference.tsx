// The reference: a list of all types, and an entry for each.
import { useEffect, useRef, useState } from "preact/hooks";
import { schema } from "../core";
import { EnumEntry, MessageEntry } from "./entry";
import { contentOf, files } from "./names";

function Contents({ current }: { current?: string }) {
  const [filter, setFilter] = useState("");
  const fits = ({ name }: { name: string }) => name.toLowerCase().includes(filter.toLowerCase());
  const nav = useRef<HTMLElement>(null);
  useEffect(() => {
    const link = nav.current!.querySelector<HTMLElement>("[aria-current]");
    if (link) nav.current!.scrollTop = link.offsetTop - nav.current!.clientHeight / 2;
  }, [current]);
  return (
    <nav class="contents" aria-label="Types" ref={nav}>
      <input type="search" aria-label="Filter the types" placeholder="Filter the types"
        value={filter} onInput={(event) => setFilter(event.currentTarget.value)} />
      {files.map((file) => {
        const { messages, enums } = contentOf(file);
        const types = [...messages, ...enums].filter(fits);
        return types.length > 0 && (
          <>
            <h2>{file}</h2>
            <ul>
              {types.map(({ name }) => (
                <li><a href={`#${name}`} aria-current={name === current ? "true" : undefined}>
                  {name}
                  {schema.enumeration(name) && <span class="quiet"> enum</span>}
                </a></li>
              ))}
            </ul>
          </>
        );
      })}
      {![...schema.messages, ...schema.enums].some(fits) &&
        <p class="quiet small">No type has “{filter}” in its name.</p>}
    </nav>
  );
}

// The type of an entry: the longest name of one that the address begins with.
function typeOf(address: string | undefined): string | undefined {
  if (address === undefined) return undefined;
  const types = [...schema.messages, ...schema.enums].map(({ name }) => name)
    .filter((name) => address === name || address.startsWith(`${name}.`));
  return types.sort((a, b) => b.length - a.length)[0];
}

export function Reference({ name }: { name?: string }) {
  const type = typeOf(name);
  useEffect(() => {
    if (!name) return scrollTo(0, 0);
    const entry = document.getElementById(name);
    entry?.scrollIntoView();
    entry?.focus({ preventScroll: true });
  }, [name]);
  return (
    <div class="reference">
      <Contents current={type} />
      <div class="entries">
        <header class="entries-head">
          <h1>Reference</h1>
          <p class="lead">{schema.messages.length} messages and {schema.enums.length} enums of
            libschema {schema.version}, in the words of the schema files. Whatever “is as agreed”
            is left to the programs that exchange a message. The <a href="#map">map</a> shows what
            embeds what.</p>
          <button class="print-button" onClick={() => print()}>Print</button>
        </header>
        {files.map((file) => {
          const { messages, enums } = contentOf(file);
          return (
            <>
              {messages.map((message) => <MessageEntry message={message} target={name} />)}
              {enums.map((type) => <EnumEntry type={type} target={name} />)}
            </>
          );
        })}
      </div>
    </div>
  );
}
