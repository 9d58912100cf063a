// Streams: messages with their lengths in front of them.
import type { Frame, Stream, StreamRecord } from "./api";
import { readVarint } from "./bytes";
import { Evidence } from "./rank";
import { allTypes, type Type } from "./schema";

const FRAMES: Frame[] = ["varint", "u32be", "u32le"];

// Where a message begins and how long it is; undefined: there is no whole length.
function header(frame: Frame, bytes: Uint8Array, at: number):
  { begin: number; length: number } | undefined {
  if (frame === "varint") {
    const bits = { low: 0, high: 0 };
    const begin = readVarint(bytes, at, bytes.length, 10, bits);
    return begin < 0 ? undefined : { begin, length: bits.low + 0x100000000 * bits.high };
  }
  if (at + 4 > bytes.length) return undefined;
  const view = new DataView(bytes.buffer, bytes.byteOffset);
  return { begin: at + 4, length: view.getUint32(at, frame === "u32le") };
}

function take(frame: Frame, bytes: Uint8Array): Stream {
  const records: StreamRecord[] = [];
  for (let at = 0; at < bytes.length;) {
    const next = header(frame, bytes, at);
    const path = `record ${records.length + 1}`;
    if (next === undefined) {
      const long = bytes.length - at >= 10;
      const reason = long ? "a frame longer than ten bytes" : "cut off inside the frame";
      return { frame, records, error: { offset: at, path, reason } };
    }
    const { begin, length } = next;
    const left = bytes.length - begin;
    if (length > left) {
      const reason = `cut off inside the message: ${left} of its ${length} bytes are there`;
      return { frame, records, error: { offset: at, path, reason } };
    }
    records.push({ offset: begin, bytes: bytes.subarray(begin, begin + length) });
    at = begin + length;
  }
  return { frame, records };
}

const SOUND = 2;   // as many messages
const TAKEN = 32;  // and bytes as these are no accident
const LOOKED = 4;  // messages that are weighed

function isSound({ records, error }: Stream, types: Type[]): boolean {
  const sound = records.slice(0, LOOKED).every(({ bytes }) => types.some((type) => {
    const evidence = new Evidence(type, bytes);
    return evidence.clean && evidence.fields > 0;
  }));
  if (!sound || records.length === 0) return false;
  const { offset, bytes } = records[records.length - 1];
  return error === undefined || (records.length >= SOUND && offset + bytes.length >= TAKEN);
}

// Without a frame it looks for one: a stream with "none" has the bytes as its one record.
export function streamOf(bytes: Uint8Array, frame?: Frame, types = allTypes): Stream {
  const alone: Stream = { frame: "none", records: [{ offset: 0, bytes }] };
  if (frame !== undefined) return frame === "none" ? alone : take(frame, bytes);
  return FRAMES.map((one) => take(one, bytes))
    .find((stream) => isSound(stream, types)) ?? alone;
}
