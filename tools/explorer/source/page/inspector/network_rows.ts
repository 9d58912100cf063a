// The rows of a drawn network: nodes that are not folded away, and what a search finds.
import type { TreeNode } from "../../inspect/api";

export interface NodeRow {
  node: TreeNode;
  depth: number;
  rails: boolean[];  // for each level above: whether a line goes on below
  last: boolean;     // of its siblings
}

export const total = (node: TreeNode): number =>
  Object.values(node.below).reduce((sum, count) => sum + count, 0);

function fits(node: TreeNode, words: string): boolean {
  const { name, uuid, kind, status, address } = node;
  return [name, uuid, kind, status ?? "", ...Object.values(address)]
    .some((text) => String(text).toLowerCase().includes(words));
}

// The paths of the nodes that fit, and of those above them.
function found(nodes: TreeNode[], words: string): Set<string> {
  const paths = new Set<string>();
  const visit = (node: TreeNode): boolean => {
    let any = fits(node, words);
    for (const child of node.children) any = visit(child) || any;
    if (any) paths.add(node.path);
    return any;
  };
  nodes.forEach(visit);
  return paths;
}

export function rowsOf(nodes: TreeNode[], folded: ReadonlySet<string>, query: string): NodeRow[] {
  const words = query.trim().toLowerCase();
  const kept = words === "" ? undefined : found(nodes, words);
  const rows: NodeRow[] = [];
  const visit = (siblings: TreeNode[], depth: number, rails: boolean[]) => {
    const shown = kept ? siblings.filter(({ path }) => kept.has(path)) : siblings;
    shown.forEach((node, at) => {
      const last = at === shown.length - 1;
      rows.push({ node, depth, rails, last });
      if (kept || !folded.has(node.path)) visit(node.children, depth + 1, [...rails, !last]);
    });
  };
  visit(nodes, 0, []);
  return rows;
}

// The paths of the nodes above a node.
export const pathsAbove = (path: string): string[] => path.split(".")
  .map((_, at, places) => places.slice(0, at).join(".")).slice(1);

export function allNodes(nodes: TreeNode[]): TreeNode[] {
  const all: TreeNode[] = [];
  const visit = (node: TreeNode) => {
    all.push(node);
    node.children.forEach(visit);
  };
  nodes.forEach(visit);
  return all;
}
