// The search over names and comments, which lists what it finds as one types.
import { useEffect, useLayoutEffect, useMemo, useRef, useState } from "preact/hooks";
import { type Entry, entries } from "./names";
import { marked, search } from "./search";

function Marked({ text, query }: { text: string; query: string }) {
  return <>{marked(text, query).map((part, at) => (at % 2 ? <mark>{part}</mark> : part))}</>;
}

// The part of a comment around the first match.
function around(comment: string, query: string): string {
  const plain = comment.replaceAll("`", "").replaceAll("\n", " ");
  const first = query.trim().split(/\s+/)[0].toLowerCase();
  const at = plain.toLowerCase().indexOf(first);
  if (at < 60) return plain.slice(0, 140);
  return `…${plain.slice(plain.lastIndexOf(" ", at - 40) + 1, at + 100)}`;
}

export function SearchBox() {
  const [query, setQuery] = useState("");
  const [open, setOpen] = useState(false);
  const [chosen, setChosen] = useState(0);
  const input = useRef<HTMLInputElement>(null);
  const found = useMemo(() => search(entries, query), [query]);
  useLayoutEffect(() => {
    const slash = (event: KeyboardEvent) => {
      const on = event.target as HTMLElement;
      if (event.key !== "/" || event.ctrlKey || event.metaKey || event.altKey) return;
      if (on.closest("input, textarea, select, [data-typing]")) return;
      event.preventDefault();
      input.current!.focus();
    };
    addEventListener("keydown", slash);
    return () => removeEventListener("keydown", slash);
  }, []);
  useEffect(() => {
    document.getElementById(`found-${chosen}`)?.scrollIntoView({ block: "nearest" });
  }, [chosen]);
  const go = (entry: Entry) => {
    setOpen(false);
    location.hash = entry.address;
  };
  const keys = (event: KeyboardEvent) => {
    if (event.key === "ArrowDown") setChosen(Math.min(chosen + 1, found.length - 1));
    else if (event.key === "ArrowUp") setChosen(Math.max(chosen - 1, 0));
    else if (event.key === "Enter" && found[chosen]) go(found[chosen]);
    else if (event.key === "Escape") setOpen(false);
    else return;
    event.preventDefault();
  };
  const shown = open && query.trim() !== "";
  return (
    <div class="search" role="search">
      <input ref={input} type="search" role="combobox" aria-label="Search names and comments"
        aria-expanded={shown} aria-controls="found" aria-autocomplete="list"
        aria-activedescendant={shown && found[chosen] ? `found-${chosen}` : undefined}
        placeholder="Search names and comments" value={query} autocomplete="off" spellcheck={false}
        onInput={(event) => {
          setQuery(event.currentTarget.value);
          setOpen(true);
          setChosen(0);
        }}
        onFocus={() => setOpen(true)} onBlur={() => setOpen(false)} onKeyDown={keys} />
      <kbd aria-hidden="true">/</kbd>
      <ul id="found" role="listbox" aria-label="Found" hidden={!shown || found.length === 0}>
        {shown && found.map((entry, at) => (
          <li id={`found-${at}`} role="option" aria-selected={at === chosen}
            onMouseDown={(event) => event.preventDefault()} onClick={() => go(entry)}>
            <span><code><Marked text={entry.address} query={query} /></code>
              <span class="quiet small">{entry.kind}</span></span>
            <span class="small quiet"><Marked text={around(entry.comment, query)} query={query} />
            </span>
          </li>
        ))}
      </ul>
      {shown && found.length === 0 &&
        <p class="nothing-found">No name and no comment has “{query.trim()}”.</p>}
      <span class="unseen" role="status">{shown ? `${found.length} found` : ""}</span>
    </div>
  );
}
