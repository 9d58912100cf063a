// Where the map puts the types of a file: those that embed one another in columns from
// left to right, group by group, and the others after them.
export interface Place { name: string; x: number; y: number; width: number }
export interface Line { from: string; to: string; both: boolean }
export interface Layout { places: Place[]; lines: Line[]; width: number; height: number }

export const nodeHeight = 30;
const characterWidth = 7.3, columnGap = 38, rowGap = 10, groupGap = 34;

type Graph = Map<string, string[]>; // what each type embeds

function groupsOf(graph: Graph): string[][] {
  const beside = new Map<string, Set<string>>([...graph.keys()].map((name) => [name, new Set()]));
  for (const [name, embedded] of graph) {
    for (const other of embedded) {
      beside.get(name)!.add(other);
      beside.get(other)!.add(name);
    }
  }
  const seen = new Set<string>();
  const groups: string[][] = [];
  for (const name of graph.keys()) {
    if (seen.has(name)) continue;
    const group = [name];
    seen.add(name);
    for (let at = 0; at < group.length; at++) {
      for (const other of beside.get(group[at])!) {
        if (!seen.has(other)) seen.add(other), group.push(other);
      }
    }
    groups.push(group);
  }
  return groups;
}

// The edges that do not lead back to a type that embeds the one they start from.
function forwardEdges(group: string[], graph: Graph): [string, string][] {
  const edges: [string, string][] = [];
  const state = new Map<string, "open" | "closed">();
  const visit = (name: string) => {
    state.set(name, "open");
    for (const other of graph.get(name)!) {
      if (state.get(other) !== "open") edges.push([name, other]);
      if (!state.has(other)) visit(other);
    }
    state.set(name, "closed");
  };
  const embedded = new Set(group.flatMap((name) => graph.get(name)!));
  const roots = group.filter((name) => !embedded.has(name));
  for (const name of [...roots, ...group]) if (!state.has(name)) visit(name);
  return edges;
}

function columnsOf(group: string[], edges: [string, string][]): string[][] {
  const column = new Map(group.map((name) => [name, 0]));
  for (let changed = true; changed;) {
    changed = false;
    for (const [from, to] of edges) {
      if (column.get(to)! > column.get(from)!) continue;
      column.set(to, column.get(from)! + 1);
      changed = true;
    }
  }
  // A type that nothing embeds stands just left of the first that it embeds.
  const embedded = new Set(edges.map(([, to]) => to));
  for (const name of group) {
    if (embedded.has(name)) continue;
    const next = edges.filter(([from]) => from === name).map(([, to]) => column.get(to)!);
    if (next.length > 0) column.set(name, Math.min(...next) - 1);
  }
  const columns: string[][] = [];
  for (const name of group) (columns[column.get(name)!] ??= []).push(name);
  return columns;
}

// Puts each type near the middle of those that it is joined to.
function untangle(columns: string[][], edges: [string, string][]): void {
  for (let round = 0; round < 8; round++) {
    const place = new Map<string, number>();
    for (const column of columns) {
      column.forEach((name, at) => place.set(name, (at + 0.5) / column.length));
    }
    for (const column of columns) {
      const middle = new Map(column.map((name) => {
        const near = edges.filter((edge) => edge.includes(name))
          .map(([from, to]) => place.get(from === name ? to : from)!);
        const sum = near.reduce((total, at) => total + at, 0);
        return [name, near.length === 0 ? place.get(name)! : sum / near.length];
      }));
      column.sort((a, b) => middle.get(a)! - middle.get(b)!);
    }
  }
}

const widthOf = (name: string) => Math.ceil(name.length * characterWidth) + 18;

function placeGroup(group: string[], graph: Graph): Layout {
  const edges = forwardEdges(group, graph);
  const columns = columnsOf(group, edges);
  untangle(columns, edges);
  const tallest = Math.max(...columns.map((column) => column.length));
  const height = tallest * (nodeHeight + rowGap) - rowGap;
  const places: Place[] = [];
  let x = 0;
  for (const column of columns) {
    const width = Math.max(...column.map(widthOf));
    const step = height / column.length;
    column.forEach((name, at) => places.push({
      name, x, y: Math.round(at * step + (step - nodeHeight) / 2), width,
    }));
    x += width + columnGap;
  }
  return { places, lines: [], width: x - columnGap, height };
}

export function layOut(graph: Graph, wide: number): Layout {
  const groups = groupsOf(graph);
  const placed = groups.map((group) => placeGroup(group, graph));
  placed.sort((a, b) => b.places.length - a.places.length);
  const places: Place[] = [];
  let x = 0, y = 0, rowHeight = 0, width = 0, alone = false;
  for (const group of placed) {
    const single = group.places.length === 1;
    const gap = single ? 14 : groupGap;
    if (x > 0 && (x + group.width > wide || single !== alone)) {
      y += rowHeight + (single && alone ? rowGap : groupGap);
      x = rowHeight = 0;
    }
    alone = single;
    for (const place of group.places) places.push({ ...place, x: place.x + x, y: place.y + y });
    x += group.width + gap;
    rowHeight = Math.max(rowHeight, group.height);
    width = Math.max(width, x - gap);
  }
  const lines: Line[] = [];
  for (const [from, embedded] of graph) {
    for (const to of embedded) {
      const both = graph.get(to)!.includes(from);
      if (!both || from < to) lines.push({ from, to, both });
    }
  }
  return { places, lines, width, height: y + rowHeight };
}
