// Numbers and texts as bytes.

// A number of up to 64 bits, in two halves.
export interface Long { low: number; high: number }

export const bigOf = ({ low, high }: Long): bigint =>
  BigInt(high >>> 0) << 32n | BigInt(low >>> 0);

// How many bytes a number takes as a varint.
export function varintSize(low: number, high = 0): number {
  const bits = high !== 0 ? 64 - Math.clz32(high) : 32 - Math.clz32(low);
  return Math.max(1, Math.ceil(bits / 7));
}

// Reads a varint of up to `limit` bytes, 5 or 10, before `end`. Returns where it ends, or
// -1 if there is none.
export function readVarint(
  bytes: Uint8Array, at: number, end: number, limit: number, to: Long): number {
  let low = 0, high = 0;
  for (let i = 0; i < limit && at + i < end; ++i) {
    const byte = bytes[at + i];
    const bits = byte & 0x7F;
    if (i < 4) low |= bits << 7 * i;
    else if (i === 4) low |= bits << 28, high |= bits >> 4;
    else high |= i < 9 ? bits << 7 * i - 32 : bits << 31;
    if (byte < 0x80) {
      to.low = low >>> 0;
      to.high = high >>> 0;
      return at + i + 1;
    }
  }
  return -1;
}

// Offset of the first byte from `at` that is not UTF-8, or -1. Surrogates, overlong forms
// and code points above U+10FFFF are refused.
export function findInvalidUtf8(bytes: Uint8Array, at: number, end: number): number {
  while (at < end) {
    const first = bytes[at];
    if (first < 0x80) {
      ++at;
      continue;
    }
    const size = first < 0xC2 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : first < 0xF5 ? 4 : 0;
    if (size === 0 || at + size > end) return at;
    const least = first === 0xE0 ? 0xA0 : first === 0xF0 ? 0x90 : 0x80;
    const most = first === 0xED ? 0x9F : first === 0xF4 ? 0x8F : 0xBF;
    if (bytes[at + 1] < least || bytes[at + 1] > most) return at;
    for (let i = 2; i < size; ++i) {
      if ((bytes[at + i] & 0xC0) !== 0x80) return at;
    }
    at += size;
  }
  return -1;
}

// A mark of the order of bytes is text like any other.
const decoder = new TextDecoder("utf-8", { ignoreBOM: true });
export const textOf = (bytes: Uint8Array): string => decoder.decode(bytes);
const encoder = new TextEncoder();
export const bytesOf = (text: string): Uint8Array => encoder.encode(text);

const scratch = new DataView(new ArrayBuffer(4));
// The float that 32 bits stand for, and the other way round.
export function floatOf(bits: number): number {
  scratch.setUint32(0, bits);
  return scratch.getFloat32(0);
}
export function bitsOf(float: number): number {
  scratch.setFloat32(0, float);
  return scratch.getUint32(0);
}

// Collects bytes; the buffer grows as needed.
export class Sink {
  private bytes = new Uint8Array(64);
  size = 0;

  private reserve(count: number): void {
    if (this.size + count <= this.bytes.length) return;
    const grown = new Uint8Array(Math.max(2 * this.bytes.length, this.size + count));
    grown.set(this.bytes.subarray(0, this.size));
    this.bytes = grown;
  }
  byte(value: number): void {
    this.reserve(1);
    this.bytes[this.size++] = value;
  }
  put(bytes: Uint8Array): void {
    this.reserve(bytes.length);
    this.bytes.set(bytes, this.size);
    this.size += bytes.length;
  }
  varint(low: number, high = 0): void {
    while (high !== 0 || low > 0x7F) {
      this.byte(low & 0x7F | 0x80);
      low = (low >>> 7 | high << 25) >>> 0;
      high >>>= 7;
    }
    this.byte(low);
  }
  fixed32(value: number): void {
    for (let shift = 0; shift < 32; shift += 8) this.byte(value >>> shift & 0xFF);
  }
  take(): Uint8Array {
    return this.bytes.slice(0, this.size);
  }
}

const BASE64 = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

export function toBase64(bytes: Uint8Array): string {
  const parts: string[] = [];
  for (let i = 0; i < bytes.length; i += 3) {
    const left = bytes.length - i;
    const bits = bytes[i] << 16 | (bytes[i + 1] ?? 0) << 8 | (bytes[i + 2] ?? 0);
    parts.push(BASE64[bits >> 18] + BASE64[bits >> 12 & 63] +
      (left > 1 ? BASE64[bits >> 6 & 63] : "=") + (left > 2 ? BASE64[bits & 63] : "="));
  }
  return parts.join("");
}

const HEX = Array.from({ length: 256 }, (_, byte) => byte.toString(16).padStart(2, "0"));

export function toHex(bytes: Uint8Array): string {
  return Array.from(bytes, (byte) => HEX[byte]).join(" ");
}
