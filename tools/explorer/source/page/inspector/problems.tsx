// Why the bytes are refused: the byte, the field and the reason.
import { useState } from "preact/hooks";
import type { Walk } from "../../inspect/api";

const few = 5;

export function Problems({ walk, onPoint }: { walk: Walk; onPoint: (offset: number) => void }) {
  const [all, setAll] = useState(false);
  const { errors } = walk;
  if (errors.length === 0) return null;
  const shown = all ? errors.slice(0, 1000) : errors.slice(0, few);
  return (
    <section class="problems" aria-label="Problems">
      <div role="alert"><ul>
        {shown.map(({ offset, path, reason, problem }) => (
          <li data-problem={problem}>
            <button class="plain" onClick={() => onPoint(offset)}>
              <span class="at">byte {offset}</span>
              {path && <code>{path}</code>}
              <span>{reason}</span>
            </button>
          </li>
        ))}
      </ul></div>
      {errors.length > shown.length && !all &&
        <button class="plain" onClick={() => setAll(true)}>
          {errors.length - few} more</button>}
    </section>
  );
}
