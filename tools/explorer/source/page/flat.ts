// A tree as slices of a list, and back: a page takes a list over from its worker slice by
// slice, and a tree all at once, which holds up a frame.
import type { Tree, TreeNode } from "../inspect/api";

const slice = 2000; // nodes

export interface FlatNode { node: Omit<TreeNode, "children">; children: number }

export function* slicesOf(tree: Tree): Generator<FlatNode[]> {
  let made: FlatNode[] = [];
  const waiting = [...tree.children].reverse();
  while (waiting.length > 0) {
    const { children, ...node } = waiting.pop()!;
    made.push({ node, children: children.length });
    for (let at = children.length - 1; at >= 0; at--) waiting.push(children[at]);
    if (made.length < slice) continue;
    yield made;
    made = [];
  }
  yield made;
}

export function treeOf(below: Tree["below"], list: FlatNode[]): Tree {
  let next = 0;
  const take = (): TreeNode => {
    const { node, children } = list[next++];
    return { ...node, children: Array.from({ length: children }, take) };
  };
  const tops: TreeNode[] = [];
  while (next < list.length) tops.push(take());
  return { below, children: tops };
}
