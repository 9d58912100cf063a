// Where bytes come in: paste, drop, a file, or an example.
import { useLayoutEffect, useRef, useState } from "preact/hooks";
import { inspect } from "../core";
import { samples } from "./samples";

interface Props {
  onOpen: (input: string | Uint8Array, type?: string) => void;
  busy: boolean;
  complaint?: string;
}

const largest = 64 << 20; // bytes of a file

export function InputBar({ onOpen, busy, complaint }: Props) {
  const [text, setText] = useState("");
  const [dragged, setDragged] = useState(false);
  const [tooLarge, setTooLarge] = useState<string>();
  const file = useRef<HTMLInputElement>(null);
  const take = async (given: File | null | undefined) => {
    if (!given) return;
    const fits = given.size <= largest;
    setTooLarge(fits ? undefined
      : `${inspect.escaped(given.name)} has ${given.size} bytes; the page takes up to ${largest}.`);
    if (fits) onOpen(new Uint8Array(await given.arrayBuffer()));
  };
  useLayoutEffect(() => {
    const over = (event: DragEvent) => {
      if (!event.dataTransfer?.types.includes("Files")) return;
      event.preventDefault();
      setDragged(true);
    };
    const leave = (event: DragEvent) => event.relatedTarget === null && setDragged(false);
    const drop = (event: DragEvent) => {
      event.preventDefault();
      setDragged(false);
      void take(event.dataTransfer?.files[0]);
    };
    addEventListener("dragover", over);
    addEventListener("dragleave", leave);
    addEventListener("drop", drop);
    return () => {
      removeEventListener("dragover", over);
      removeEventListener("dragleave", leave);
      removeEventListener("drop", drop);
    };
  });
  const openText = (input: string) => {
    setTooLarge(undefined);
    if (input.trim() !== "") onOpen(input);
  };
  // A long text would make the box slow, and the box is no place to read it.
  const paste = (event: ClipboardEvent) => {
    const pasted = event.clipboardData?.getData("text") ?? "";
    if (pasted === "" || (event.currentTarget as HTMLTextAreaElement).value !== "") return;
    event.preventDefault();
    setText(pasted.length > 20000 ? "" : pasted);
    openText(pasted);
  };
  const shown = tooLarge ?? complaint;
  return (
    <section class={`input panel ${dragged ? "dragged" : ""}`} aria-label="Input">
      <textarea rows={2} value={text} spellcheck={false} aria-label="Bytes to inspect"
        aria-describedby="input-complaint" aria-invalid={shown !== undefined}
        placeholder="Paste hex, base64, a dump, JSON or text, or drop a file on the page."
        onInput={(event) => setText(event.currentTarget.value)} onPaste={paste}
        onKeyDown={(event) => {
          if (event.key === "Enter" && (event.ctrlKey || event.metaKey)) openText(text);
        }} />
      <div class="input-actions">
        <button class="primary" onClick={() => openText(text)} disabled={text.trim() === ""}>
          Inspect</button>
        <button onClick={() => file.current!.click()}>Open a file</button>
        <input ref={file} type="file" hidden aria-label="File"
          onChange={(event) => take(event.currentTarget.files?.[0])} />
        <select aria-label="Examples" value="" onChange={(event) => {
          const sample = samples[Number(event.currentTarget.value)];
          event.currentTarget.value = "";
          setText("");
          setTooLarge(undefined);
          onOpen(sample.input, sample.type);
        }}>
          <option value="" disabled hidden>Examples</option>
          {samples.map(({ title, says }, at) => <option value={at}>{title}: {says}</option>)}
        </select>
        <span class="quiet small privacy">Nothing leaves this page.</span>
      </div>
      <p class="input-complaint" id="input-complaint" role="alert">{shown}</p>
      <span class="unseen" role="status">{busy ? "Reading" : ""}</span>
      {dragged && <div class="drop-here" aria-hidden="true">Drop the file to inspect it</div>}
    </section>
  );
}
