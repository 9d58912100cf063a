// A comment of the schema: its paragraphs, and the names in it as links.
import { resolve } from "./names";

export function Comment({ text, owner }: { text: string; owner: string }) {
  return (
    <>
      {text.split("\n\n").map((paragraph) => (
        <p>
          {paragraph.split("`").map((part, at) => {
            if (at % 2 === 0) return part;
            const address = resolve(part, owner);
            const code = <code>{part}</code>;
            return address ? <a href={`#${address}`}>{code}</a> : code;
          })}
        </p>
      ))}
    </>
  );
}

// The first sentence, without marks.
export const summaryOf = (comment: string): string =>
  comment.replaceAll("`", "").replace(/([.:]) [\s\S]*$/, (_, end) => (end === ":" ? "" : "."));
