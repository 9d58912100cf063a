// A network drawn as a tree, and what of it is not well as a table.
import { useLayoutEffect, useMemo, useRef, useState } from "preact/hooks";
import { inspect } from "../core";
import type { Counts, TreeNode } from "../../inspect/api";
import { VirtualRows } from "../parts/virtual";
import { Waiting } from "../parts/waiting";
import { useAnswer } from "../work";
import { allNodes, type NodeRow, pathsAbove, rowsOf, total } from "./network_rows";
import { StatusMark } from "./status";
import { Unwell } from "./unwell";

const pictures: Record<string, string> = {
  server: "M3 13 9 3l6 10zM9 9v6",
  client: "M4 12a7 7 0 0 1 10 0M6.5 14a3.5 3.5 0 0 1 5 0M9 15.5v.2",
  display: "M2 4h14v9H2zM6 16h6", module: "M4 4h10v10H4zM9 4v10M4 9h10",
  direct: "M2 9h14M5 6 2 9l3 3M13 6l3 3-3 3", getStatusModule: "M4 4h10v10H4zM6 9l2 2 4-4",
};

function Picture({ kind }: { kind: string }) {
  return (
    <svg class="kind" viewBox="0 0 18 18" width="18" height="18" aria-hidden="true">
      <path d={pictures[kind] ?? "M5 5l8 8M13 5l-8 8"} />
    </svg>
  );
}

const counted = (below: Counts) => Object.entries(below)
  .map(([kind, count]) => `${count} ${kind}${count === 1 || kind === "none" ? "" : "s"}`)
  .join(", ");

function condition(node: TreeNode): string {
  if (!node.well && node.error) return "fault";
  return node.status === undefined ? "none" : inspect.statusLook(node.status).condition;
}

function Row({ row, folded, here }: { row: NodeRow; folded: boolean; here: boolean }) {
  const { node, rails, last, depth } = row;
  return (
    <>
      {rails.slice(1).map((on) => <span class={on ? "rail" : "gap"} />)}
      {depth > 0 && <span class={last ? "elbow" : "tee"} />}
      <span class={`twist ${node.children.length ? folded ? "folded" : "unfolded" : ""}`} />
      <span class={`node ${condition(node)} ${here ? "here" : ""}`}>
        <Picture kind={node.kind} />
        <span class="node-name">{inspect.escaped(node.name || node.uuid || node.kind)}
        </span>
        <span class="quiet small">{node.kind}</span>
        {node.status !== undefined && <StatusMark status={node.status} />}
        {node.error && <span class="chip error">in error</span>}
      </span>
      {folded && total(node) > 0 && <span class="quiet small below">{counted(node.below)}</span>}
    </>
  );
}

const few = 60; // nodes that are shown unfolded at first

function Drawing({ nodes }: { nodes: TreeNode[] }) {
  const all = useMemo(() => allNodes(nodes), [nodes]);
  const first = useMemo(() => new Set(all.length <= few ? []
    : all.filter(({ path, children }) => children.length > 0 && path.split(".").length > 2)
      .map(({ path }) => path)), [all]);
  const [folded, setFolded] = useState<ReadonlySet<string>>(first);
  const [query, setQuery] = useState("");
  const [at, setAt] = useState(0);
  const [wanted, setWanted] = useState<string>(); // path of the node whose row gets the focus
  const tree = useRef(false);                     // whether the drawing gets it
  const unwell = useMemo(() => all.filter(({ well }) => !well), [all]);
  const rows = useMemo(() => rowsOf(nodes, folded, query), [nodes, folded, query]);
  const here = Math.min(at, rows.length - 1);
  const chosen = rows[here]?.node;
  useLayoutEffect(() => {
    if (tree.current) document.getElementById("network")?.focus();
    tree.current = false;
  });
  const showNode = ({ path }: TreeNode) => {
    const next = new Set(folded);
    for (const above of pathsAbove(path)) next.delete(above);
    setFolded(next);
    setQuery("");
    setAt(rowsOf(nodes, next, "").findIndex(({ node }) => node.path === path));
    tree.current = true;
  };
  const fold = (path: string, on = !folded.has(path)) => {
    const next = new Set(folded);
    if (on) next.add(path);
    else next.delete(path);
    setFolded(next);
  };
  const keys = (event: KeyboardEvent) => {
    const node = chosen;
    const moves: Record<string, number> = {
      ArrowUp: here - 1, ArrowDown: here + 1, Home: 0, End: rows.length - 1,
    };
    if (event.key in moves) setAt(Math.max(0, Math.min(rows.length - 1, moves[event.key])));
    else if (node && event.key === "ArrowRight") fold(node.path, false);
    else if (node && event.key === "ArrowLeft") fold(node.path, true);
    else if (node && (event.key === "Enter" || event.key === " ")) fold(node.path);
    else return;
    event.preventDefault();
  };
  return (
    <>
      <p class="network-tools">
        <input type="search" aria-label="Search nodes" placeholder="Search nodes" value={query}
          onInput={(event) => setQuery(event.currentTarget.value)} />
        <button onClick={() => setFolded(new Set())}>Unfold all</button>
        <button onClick={() => setFolded(new Set(all.filter(({ children }) => children.length > 0)
          .map(({ path }) => path)))}>Fold all</button>
        {unwell.length > 0 && <button disabled={!chosen || chosen.well}
          onClick={() => setWanted(chosen.path)}>Show in the table</button>}
      </p>
      {rows.length === 0 ? <p class="empty">No node has “{query.trim()}”.</p> : (
        <VirtualRows class="network" height={34} count={rows.length} shown={here}
          row={(line) => {
            const { node, depth } = rows[line];
            return (
              <div class="node-row" key={node.path} id={`node-${line}`} role="treeitem"
                aria-level={depth + 1} aria-selected={line === here}
                aria-expanded={node.children.length ? !folded.has(node.path) : undefined}
                onClick={() => {
                  setAt(line);
                  if (node.children.length) fold(node.path);
                }}>
                <Row row={rows[line]} here={line === here}
                  folded={query.trim() === "" && folded.has(node.path)} />
              </div>
            );
          }}
          attributes={{ id: "network", role: "tree", tabIndex: 0, "aria-label": "Network",
            onKeyDown: keys, "aria-activedescendant": `node-${here}` } as object} />
      )}
      <Unwell nodes={unwell} chosen={chosen} wanted={wanted} onFocused={() => setWanted(undefined)}
        onNode={showNode} />
    </>
  );
}

export function Network({ type, bytes }: { type: string; bytes: Uint8Array }) {
  const { value, waiting } = useAnswer("tree", type, bytes);
  if (waiting || !value) return <Waiting />;
  if (value.children.length === 0) return <p class="empty">The message holds no node.</p>;
  return (
    <div class="network-pane">
      <p class="pane-note small quiet">{counted(value.below)}</p>
      <Drawing nodes={value.children} key={bytes} />
    </div>
  );
}
