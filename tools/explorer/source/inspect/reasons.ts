// Why bytes are refused, in words.
import type { Fault, Item, Stack } from "./walker";
import { MAX_DEPTH } from "./walker";

// "tarn.Server.name", or "field 15 of tarn.Server" if the field is unknown. What may be a
// pass phrase that was read as a tag is not shown.
function nameOf(item: Item | undefined, stack: Stack): string {
  if (item?.field !== undefined) return item.field.fullName;
  const { type, group } = stack.top;
  const record = type !== undefined ? type.fullName : stack.masked ? "a group" : `group ${group}`;
  if (item === undefined || item.tag === 0) return record;
  return stack.masked ? `an unknown field of ${record}` : `field ${item.number} of ${record}`;
}

const bytes = (count: number): string => `${count} ${count === 1 ? "byte" : "bytes"}`;

// Whether the length of an item is known, runs past the record, and may be shown.
function overruns(item: Item, stack: Stack): boolean {
  return item.data >= 0 && item.end > stack.top.end &&
    (item.field !== undefined || !stack.masked);
}

function cutOff(item: Item, stack: Stack): string {
  const { end } = stack.top;
  if (overruns(item, stack)) {
    return `cut off inside ${nameOf(item, stack)}: ${end - item.data} of its ` +
      `${bytes(item.end - item.data)} are there`;
  }
  const inTag = item.tag === 0 && item.begin !== end;
  return `cut off inside ${inTag ? "a tag of " : ""}${nameOf(item, stack)}`;
}

function pastEnd(item: Item, stack: Stack): string {
  const record = nameOf(undefined, stack);
  if (overruns(item, stack)) {
    return `length runs past the end of ${record}: ${bytes(item.end - item.data)} announced, ` +
      `${stack.top.end - item.data} left`;
  }
  if (item.tag === 0) return `tag runs past the end of ${record}`;
  if (item.field !== undefined && item.tag === item.field.packedTag) {
    return `value runs past the end of the list ${nameOf(item, stack)}`;
  }
  return `value of ${nameOf(item, stack)} runs past the end of ${record}`;
}

// `offset` is that of the message in its file.
export function reasonOf({ problem, at, item }: Fault, stack: Stack, offset: number): string {
  const { masked, top } = stack;
  switch (problem) {
    case "cutOff":
      return cutOff(item, stack);
    case "pastEnd":
      return pastEnd(item, stack);
    case "longVarint":
      return "varint longer than ten bytes";
    case "longTag":
      return "tag longer than five bytes";
    case "longLength":
      return "length of 2 GiB or more, or longer than five bytes";
    case "badUtf8":
      return `invalid UTF-8 in ${nameOf(item, stack)} at byte ${offset + at}`;
    case "tooDeep":
      return `nested deeper than ${MAX_DEPTH}`;
    case "endGroup":
      if (masked) return "end-group tag without its group";
      return `end-group tag of field ${item.number}` +
        (top.group !== 0 ? ` inside group ${top.group}` : ", which no group precedes");
    case "openGroup":
      return masked ? "a group has no end-group tag" : `group ${top.group} has no end-group tag`;
    case "zeroNumber":
      return item.tag === 4 ? "end-group tag of field 0" : "tag with field number 0";
    case "noSuchWireType":
      return masked ? "a wire type that does not exist"
        : `wire type ${item.wire} does not exist`;
  }
}

const WORDS = {
  longVarint: "varint_too_long", longTag: "key_too_long", longLength: "length_too_long",
  tooDeep: "too_deep", openGroup: "group_not_closed", noSuchWireType: "bad_wire_type",
};

// The reason as the golden messages have it. They look at the length of a record before
// they look into it.
export function wordOf({ problem, item }: Fault, { top, frames, depth }: Stack): string {
  const around = frames.slice(1, depth + 1);
  if (around.some(({ group, clipped }) => group === 0 && clipped)) return "length_past_end";
  const long = item.data >= 0 && item.end > top.end;
  const open = top.group !== 0 && item.tag === 0 && item.begin === top.end;
  switch (problem) {
    case "cutOff": return long ? "length_past_end" : open ? WORDS.openGroup : "truncated";
    case "pastEnd": return long ? "length_past_record" : "truncated";
    case "badUtf8": return item.field!.fullName;
    case "endGroup": return top.group !== 0 ? "group_mismatch" : "end_group";
    case "zeroNumber": return item.tag === 0 ? "zero_key" : "zero_field_number";
    default: return WORDS[problem];
  }
}
