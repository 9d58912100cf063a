// The message in a form for other programs.
import { useEffect, useState } from "preact/hooks";
import { run } from "../work";

interface Props { type: string; bytes: Uint8Array }

const forms: Record<string, { title: string; file: string;
    make: (props: Props) => Promise<string> }> = {
  hex: { title: "Hex", file: "hex", make: async ({ bytes }) => answer(await run("hex", bytes)) },
  base64: { title: "Base64", file: "b64",
    make: async ({ bytes }) => answer(await run("base64", bytes)) },
  c: { title: "C array", file: "h",
    make: async ({ type, bytes }) => answer(await run("cArray", type, bytes)) },
  json: { title: "JSON", file: "json",
    make: async ({ type, bytes }) => answer(await run("json", type, bytes, true)) },
  cpp: { title: "C++ that builds the message", file: "cc",
    make: async ({ type, bytes }) => answer(await run("cpp", type, bytes)) },
  corpus: { title: "Corpus case", file: "txt",
    make: async ({ type, bytes }) => answer(await run("corpusCase", type, "new_case", bytes)) },
};

function answer({ value, error }: { value?: string; error?: Error }): string {
  if (error) throw error;
  return value!;
}

const most = 20000; // characters that are shown

export function Export({ type, bytes }: Props) {
  const [form, setForm] = useState("hex");
  const [text, setText] = useState("");
  const [said, setSaid] = useState("");
  useEffect(() => {
    let wanted = true;
    forms[form].make({ type, bytes }).then(
      (made) => wanted && setText(made),
      (error: Error) => wanted && setText(`It cannot be written: ${error.message}`));
    return () => {
      wanted = false;
    };
  }, [form, type, bytes]);
  const save = (content: BlobPart, name: string) => {
    const link = document.createElement("a");
    link.href = URL.createObjectURL(new Blob([content]));
    link.download = name;
    link.click();
    URL.revokeObjectURL(link.href);
  };
  const copy = () => navigator.clipboard?.writeText(text).then(
    () => setSaid("Copied"), () => setSaid("The browser does not let the page copy"));
  return (
    <div class="pad export">
      <p class="pane-actions">
        <label>As{" "}
          <select value={form} onChange={(event) => setForm(event.currentTarget.value)}>
            {Object.entries(forms).map(([name, { title }]) =>
              <option value={name}>{title}</option>)}
          </select></label>
        <button onClick={copy}>Copy</button>
        <button onClick={() => save(text, `${type}.${forms[form].file}`)}>Save</button>
        <button onClick={() => save(bytes as BlobPart, `${type}.binpb`)}>Save the bytes</button>
        <span class="small quiet" role="status">{said}</span>
      </p>
      <textarea readOnly aria-label={forms[form].title} spellcheck={false}
        value={text.length > most
          ? `${text.slice(0, most)}\n… Copy and Save give all of it.` : text} />
    </div>
  );
}
