// What the page works out without a browser: addresses, search, map, completion, rows.
import { describe, expect, test } from "vitest";
import { contextAt } from "../inspector/json_context";
import { allNodes, rowsOf } from "../inspector/network_rows";
import { endOf, partAt, spanAt } from "../inspector/spans";
import { inspect } from "../core";
import { slicesOf, treeOf } from "../flat";
import { layOut } from "../reference/map_layout";
import { entries, known, resolve } from "../reference/names";
import { marked, search } from "../reference/search";
import { addressOf, BadAddress, fromBase64Url, toBase64Url, viewOf } from "../route";

describe("an address", () => {
  test("holds every byte, and gives it back", () => {
    const bytes = Uint8Array.from({ length: 70001 }, (_, at) => at * 7);
    expect(fromBase64Url(toBase64Url(bytes))).toEqual(bytes);
    const view = { page: "inspect", type: "Server", bytes } as const;
    expect(viewOf(addressOf(view), known)).toEqual(view);
  });
  test("of an entry leads to it", () => {
    expect(viewOf("#Server.status", known)).toEqual({ page: "reference", name: "Server.status" });
  });
  test.each(["#Sever", "#type=Sever", "#bytes=a*", "#type=Server&bytes=A", "#%"])(
    "%s is refused", (address) => {
      expect(() => viewOf(address, known)).toThrow(BadAddress);
    });
  test("that is refused is repeated in part, and so that it can be seen", () => {
    expect(() => viewOf(`#\u202e${"A".repeat(1000)}`, known))
      .toThrow(`The schema has no \\xe2\\x80\\xae${"A".repeat(59)}….`);
  });
});

describe("the search", () => {
  test("has a name before a part of one, and that before a comment", () => {
    const found = search(entries, "server").map(({ address }) => address);
    expect(found[0]).toBe("Server");
    expect(found.indexOf("ChildTypes.server")).toBeLessThan(found.indexOf("Server.name"));
    expect(found).toContain("ClientRadioConfigMsg.networkId");
  });
  test("wants every word", () => {
    expect(search(entries, "radio zzz")).toEqual([]);
    expect(search(entries, "  ")).toEqual([]);
  });
  test("marks what was found, also where it is a sign of a pattern", () => {
    expect(marked("a (b) c", "(b)")).toEqual(["a ", "(b)", " c"]);
  });
  test("a name in a comment leads to the field beside it first", () => {
    expect(resolve("status", "Server")).toBe("Server.status");
    expect(resolve("Product", "Price")).toBe("Product");
    expect(resolve("nothing", "Price")).toBeUndefined();
  });
});

test("the map puts what is embedded to the right, and nothing on top of another", () => {
  const { places } = layOut(new Map([
    ["A", ["B", "C"]], ["B", ["C", "A"]], ["C", []], ["D", []], ["E", []],
  ]), 400);
  const at = (name: string) => places.find((place) => place.name === name)!;
  expect(at("A").x).toBeLessThan(at("B").x);
  expect(at("B").x).toBeLessThan(at("C").x);
  expect(new Set(places.map(({ x, y }) => `${x} ${y}`)).size).toBe(5);
});

describe("completion", () => {
  const choices = (text: string) => {
    const caret = text.indexOf("|");
    return contextAt("ModsConfigured", text.replace("|", ""), caret)?.choices
      .map((choice) => choice.text);
  };
  test("knows the fields of the message that the caret is in", () => {
    expect(choices('{"m|')).toEqual(["modsConfigured"]);
    expect(choices('{"modsConfigured": [{"server": {"k|"')).toEqual(["kt2"]);
    expect(choices('{"modsConfigured": [{"server": {"name": "}", "chan|')).toEqual(["channel"]);
  });
  test("knows the values of an enum", () => {
    expect(choices('{"modsConfigured": [{"server": {"status": "comm_|"}}]}'))
      .toEqual(["comm_error"]);
  });
  test("has nothing where there is none", () => {
    expect(choices('{"modsConfigured": [{"server": {"name": "o|')).toBeUndefined();
    expect(choices("|")).toBeUndefined();
  });
});

test("a search in a network keeps what stands above a node that fits", () => {
  const json = '{"modsConfigured": [{"server": {"name": "S", "children": [' +
    '{"client": {"name": "a"}}, {"client": {"name": "b"}}]}}]}';
  const { children } = inspect.tree(inspect.fromJson("ModsConfigured", json));
  expect(allNodes(children).length).toBe(3);
  expect(rowsOf(children, new Set(), "B").map(({ node }) => node.name)).toEqual(["S", "b"]);
  expect(rowsOf(children, new Set([children[0].path]), "").length).toBe(1);
});

test("every byte is in one span, and is tag, length or value", () => {
  const bytes = Uint8Array.from([0x3a, 4, 0x0a, 2, 0x10, 1]);
  const { spans } = inspect.walk("Server", bytes);
  expect([...bytes.keys()].map((at) => spanAt(spans, at))).toEqual([0, 0, 1, 1, 2, 2]);
  expect([...bytes.keys()].map((at) => partAt(spans[spanAt(spans, at)], at)))
    .toEqual(["tag", "length", "tag", "length", "tag", "value"]);
  expect(endOf(spans, 0)).toBe(6);
  expect(spanAt(spans, 6)).toBe(-1);
});

test("a tree comes out of its slices as it went in", () => {
  const node = (name: string, children: number): object => ({ client: { name,
    children: Array.from({ length: children }, (_, at) => ({ module: { uuid: `${name}-${at}` } })),
  } });
  const bytes = JSON.stringify({ modsConfigured: Array.from({ length: 900 },
    (_, at) => node(`c${at}`, at % 5)) });
  const tree = inspect.tree(inspect.fromJson("ModsConfigured", bytes));
  const slices = [...slicesOf(tree)];
  expect(slices.length).toBe(2);
  expect(treeOf(tree.below, slices.flat())).toEqual(tree);
});
