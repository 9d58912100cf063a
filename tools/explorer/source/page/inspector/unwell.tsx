// The nodes of a network that are not ok, as a table that leads to them.
import { inspect } from "../core";
import type { TreeNode } from "../../inspect/api";
import { Table } from "../parts/table";
import { StatusMark } from "./status";

interface Props {
  nodes: TreeNode[];
  chosen?: TreeNode;      // in the drawing
  wanted?: string;        // path of the node whose row gets the focus
  onFocused: () => void;
  onNode: (node: TreeNode) => void;
}

const addressWords = ({ address }: TreeNode) =>
  Object.entries(address).map(([name, value]) => `${name} ${inspect.escaped(String(value))}`)
    .join(", ");

export function Unwell({ nodes, chosen, wanted, onFocused, onNode }: Props) {
  if (nodes.length === 0) return <h3>Every node is ok</h3>;
  const here = chosen?.well === false ? nodes.indexOf(chosen) : -1;
  const name = (node: TreeNode) => (
    <button class="plain" title="Show it in the drawing" onClick={() => onNode(node)}
      ref={(button) => {
        if (!button || node.path !== wanted) return;
        button.focus();
        onFocused();
      }}>
      {inspect.escaped(node.name || node.uuid || node.path)}</button>
  );
  return (
    <>
      <h3>Not ok: {nodes.length}</h3>
      <Table class="unwell" label="Nodes that are not ok" count={nodes.length} here={here}
        shown={wanted === undefined ? undefined : here}
        heads={["Node", "Kind", "Status", "Address"]} cells={(at) => {
          const node = nodes[at];
          return [name(node), node.kind,
            <><StatusMark status={node.status} />{node.error && " in error"}</>,
            <span class="small">{addressWords(node)}</span>];
        }} />
    </>
  );
}
