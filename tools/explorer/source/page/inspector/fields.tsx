// The fields in the order of their bytes.
import type { Walk } from "../../inspect/api";
import { VirtualRows } from "../parts/virtual";
import { hueOf, nameOf, remarksOf, valueOf } from "./spans";

interface Props { walk: Walk; pointed: number; onPoint: (span: number) => void }

export function Fields({ walk, pointed, onPoint }: Props) {
  const { spans } = walk;
  const row = (at: number) => {
    const span = spans[at];
    const remarks = remarksOf(span);
    const classes = ["field", hueOf(span), span.kind];
    if (at === pointed) classes.push("here");
    return (
      <div class={classes.join(" ")} key={at} id={`span-${at}`} role="option" data-span={at}
        aria-selected={at === pointed} aria-setsize={spans.length} aria-posinset={at + 1}>
        <span class="no" aria-hidden="true">
          {span.kind === "skipped" ? "!" : span.number ?? ""}</span>
        <span class="says" style={{ paddingLeft: `${Math.min(span.depth, 24) * 14}px` }}>
          <span class="name">{nameOf(span)}</span>
          <span class="value">{valueOf(span) || (span.length !== undefined &&
            <span class="quiet">{span.length} {span.length === 1 ? "byte" : "bytes"}</span>)}</span>
        </span>
        {remarks.length > 0 && <span class={`remark ${span.problem ? "bad" : ""}`}>
          {remarks.join("; ")}</span>}
      </div>
    );
  };
  const keys = (event: KeyboardEvent) => {
    const moves: Record<string, number> = {
      ArrowUp: pointed - 1, ArrowDown: pointed + 1, PageUp: pointed - 12, PageDown: pointed + 12,
      Home: 0, End: spans.length - 1,
    };
    if (!(event.key in moves)) return;
    event.preventDefault();
    onPoint(Math.max(0, Math.min(spans.length - 1, moves[event.key])));
  };
  const point = (event: MouseEvent) => {
    const on = (event.target as HTMLElement).closest<HTMLElement>("[data-span]");
    if (on && Number(on.dataset.span) !== pointed) onPoint(Number(on.dataset.span));
  };
  if (spans.length === 0) {
    return <p class="empty">No bytes: a message whose every field is absent.</p>;
  }
  return (
    <VirtualRows class="fields" height={30} count={spans.length} row={row} shown={pointed}
      attributes={{
        tabIndex: 0, role: "listbox", "aria-label": "Fields", onKeyDown: keys, onMouseOver: point,
        onClick: point, "aria-activedescendant": pointed < 0 ? undefined : `span-${pointed}`,
      } as object} />
  );
}
