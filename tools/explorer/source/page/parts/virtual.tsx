// A list of equal rows, of which only those in sight are in the page.
import type { ComponentChildren, JSX } from "preact";
import { useEffect, useLayoutEffect, useRef, useState } from "preact/hooks";

interface Rows {
  count: number;
  height: number;         // of a row, in pixels
  row: (at: number) => ComponentChildren;
  shown?: number;         // the row to bring into sight
  class: string;
  attributes?: JSX.HTMLAttributes<HTMLDivElement>;
}

const spare = 8; // rows above and below those in sight

export function VirtualRows({ count, height, row, shown, class: name, attributes }: Rows) {
  const box = useRef<HTMLDivElement>(null);
  const [from, setFrom] = useState(0);
  const [inSight, setInSight] = useState(40);
  const look = () => {
    const { scrollTop, clientHeight } = box.current!;
    setFrom(Math.max(0, Math.floor(scrollTop / height) - spare));
    setInSight(Math.ceil(clientHeight / height) + 2 * spare);
  };
  useEffect(() => {
    const watch = new ResizeObserver(look);
    watch.observe(box.current!);
    return () => watch.disconnect();
  }, [height]);
  useLayoutEffect(() => {
    if (shown === undefined || shown < 0) return;
    const { scrollTop, clientHeight } = box.current!;
    const top = shown * height;
    if (top < scrollTop) box.current!.scrollTop = Math.max(0, top - height);
    else if (top + 2 * height > scrollTop + clientHeight) {
      box.current!.scrollTop = top + 2 * height - clientHeight;
    }
  }, [shown, height]);
  const first = Math.min(from, Math.max(0, count - 1));
  const last = Math.min(count, first + inSight);
  const rows = [];
  for (let at = first; at < last; at++) rows.push(row(at));
  return (
    <div ref={box} class={`rows ${name}`} onScroll={look} {...attributes}>
      <div role="presentation" style={{ height: `${count * height}px` }}>
        <div role="presentation" style={{ transform: `translateY(${first * height}px)` }}>
          {rows}</div>
      </div>
    </div>
  );
}
