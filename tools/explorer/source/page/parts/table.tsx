// A table of equal rows, of which only those in sight are in the page.
import type { ComponentChildren } from "preact";
import { VirtualRows } from "./virtual";

interface Table {
  label: string;
  class: string;           // gives the columns their widths
  heads: string[];
  count: number;
  cells: (at: number) => ComponentChildren[];
  here?: number;           // the row to mark
  shown?: number;          // the row to bring into sight
}

export function Table({ label, class: name, heads, count, cells, here, shown }: Table) {
  return (
    <div class={`table ${name}`} role="table" aria-label={label} aria-rowcount={count + 1}>
      <div role="rowgroup">
        <div class="table-row heads" role="row" aria-rowindex={1}>
          {heads.map((head) => <span role="columnheader">{head}</span>)}
        </div>
      </div>
      <VirtualRows class="table-rows" height={34} count={count} shown={shown}
        row={(at) => (
          <div class={`table-row ${at === here ? "here" : ""}`} role="row" aria-rowindex={at + 2}
            aria-current={at === here || undefined} key={at}>
            {cells(at).map((cell) => <span role="cell">{cell}</span>)}
          </div>
        )}
        attributes={{ role: "rowgroup", tabIndex: 0, "aria-label": label } as object} />
    </div>
  );
}
