// The message as JSON, with completion of names; the bytes follow what is written.
import { useLayoutEffect, useRef, useState } from "preact/hooks";
import { Waiting } from "../parts/waiting";
import { run, useAnswer } from "../work";
import { type Context, contextAt } from "./json_context";

interface Props { type: string; bytes: Uint8Array; onBytes: (bytes: Uint8Array) => void }

const most = 400000; // characters that a box can still edit

const placed = (text: string, offset: number): string => {
  if (offset < 0) return "";
  const lines = text.slice(0, offset).split("\n");
  return `Line ${lines.length}, column ${lines.at(-1)!.length + 1}: `;
};

export function JsonEditor({ type, bytes, onBytes }: Props) {
  const { value, error, waiting } = useAnswer("json", type, bytes, true);
  const [text, setText] = useState("");
  const [complaint, setComplaint] = useState<string>();
  const [context, setContext] = useState<Context>();
  const [chosen, setChosen] = useState(0);
  const mine = useRef<Uint8Array>();
  const box = useRef<HTMLTextAreaElement>(null);
  // Bytes that this box has made itself leave its text as it is being written.
  useLayoutEffect(() => {
    if (value === undefined || mine.current === bytes) return;
    setText(value);
    setComplaint(undefined);
  }, [value, bytes]);
  const complete = () => {
    const { selectionStart, value: now } = box.current!;
    setContext(contextAt(type, now, selectionStart));
    setChosen(0);
  };
  const write = async (next: string) => {
    setText(next);
    const { value: made, error: fault } = await run("fromJson", type, next);
    if (box.current?.value !== next) return;
    setComplaint(fault && placed(next, fault.offset) + fault.reason);
    if (!made) return;
    mine.current = made;
    onBytes(made);
  };
  const accept = (at: number) => {
    const { from, to, choices } = context!;
    const next = text.slice(0, from) + choices[at].text + text.slice(to);
    const caret = from + choices[at].text.length;
    setContext(undefined);
    void write(next).then(() => box.current?.setSelectionRange(caret, caret));
    box.current!.value = next;
    box.current!.setSelectionRange(caret, caret);
    box.current!.focus();
  };
  const keys = (event: KeyboardEvent) => {
    if (event.key === " " && event.ctrlKey) complete();
    else if (!context) return;
    else if (event.key === "ArrowDown") setChosen((chosen + 1) % context.choices.length);
    else if (event.key === "ArrowUp") {
      setChosen((chosen + context.choices.length - 1) % context.choices.length);
    } else if (event.key === "Enter" || event.key === "Tab") accept(chosen);
    else if (event.key === "Escape") setContext(undefined);
    else return;
    event.preventDefault();
  };
  if (error) return <p class="empty">{error.reason}</p>;
  if (waiting) return <Waiting>Writing the JSON…</Waiting>;
  if (value!.length > most) {
    return <p class="empty">The JSON has {value!.length.toLocaleString("en")} characters, too
      many to edit here. “Export” saves it.</p>;
  }
  return (
    <div class="pad json-editor">
      <textarea ref={box} value={text} spellcheck={false} aria-label="JSON"
        aria-autocomplete="list" aria-controls="completions"
        aria-activedescendant={context && `completion-${chosen}`} aria-describedby="json-complaint"
        aria-invalid={complaint !== undefined} onKeyDown={keys}
        onInput={(event) => {
          void write(event.currentTarget.value);
          complete();
        }} onBlur={() => setContext(undefined)} />
      <ul id="completions" role="listbox" aria-label="Completions" class="completions"
        hidden={!context}>
        {context?.choices.map((choice, at) => (
          <li id={`completion-${at}`} role="option" aria-selected={at === chosen}
            onMouseDown={(event) => event.preventDefault()} onClick={() => accept(at)}>
            <code>{choice.text}</code> <span class="quiet small">{choice.says}</span>
          </li>
        ))}
      </ul>
      <p id="json-complaint" class={`small ${complaint ? "warning" : "quiet"}`} role="status">
        {complaint ??
          "The bytes follow. Inside quotes, names are completed; Ctrl and Space asks."}</p>
    </div>
  );
}
