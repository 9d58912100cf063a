// Floats as text, digit for digit as the C++ runtime writes them.
import { bitsOf, floatOf } from "./bytes";

// The digits of a number that are nearest, of two that are as near those that are even.
function digitsOf(value: number, count: number): { digits: string; exponent: number } {
  let [digits, exponent] = value.toExponential(count - 1).split("e");
  const longer = value.toExponential(count).split("e")[0];
  if (Number(`${longer}e${exponent}`) === value && longer.endsWith("5")) {
    const shorter = longer.slice(0, -1);
    if ("02468".includes(shorter.at(-1)!)) digits = shorter;
  }
  return { digits: digits.replace(".", ""), exponent: Number(exponent) };
}

// As printf's %g does.
function general(value: number, precision: number): string {
  const { digits, exponent } = digitsOf(Math.abs(value), precision);
  const kept = digits.replace(/0+$/, "") || "0";
  const sign = value < 0 || Object.is(value, -0) ? "-" : "";
  if (exponent < -4 || exponent >= precision) {
    const size = String(Math.abs(exponent)).padStart(2, "0");
    const tail = kept.length > 1 ? `.${kept.slice(1)}` : "";
    return `${sign}${kept[0]}${tail}e${exponent < 0 ? "-" : "+"}${size}`;
  }
  if (exponent < 0) return `${sign}0.${"0".repeat(-exponent - 1)}${kept}`;
  const whole = kept.slice(0, exponent + 1).padEnd(exponent + 1, "0");
  return sign + whole + (kept.length > exponent + 1 ? `.${kept.slice(exponent + 1)}` : "");
}

const MAXIMUM = 0x7F7FFFFF; // its nine digits are more than the largest float

// As few digits as the runtime takes for the same float again.
export function shortFloat(bits: number): string {
  const value = floatOf(bits);
  if (Number.isNaN(value)) return "nan";
  if (!Number.isFinite(value)) return value > 0 ? "inf" : "-inf";
  // The runtime's reader of numbers takes no subnormal ones, so it trusts no few digits.
  const subnormal = (bits & 0x7F800000) === 0 && value !== 0;
  const short = general(value, 6);
  return bitsOf(Number(short)) === bits >>> 0 && !subnormal ? short : general(value, 9);
}

function floatText(bits: number): string {
  if ((bits & 0x7FFFFFFF) !== MAXIMUM) return shortFloat(bits);
  return floatOf(bits) > 0 ? "3.4028234663852886e+38" : "-3.4028234663852886e+38";
}

// As it stands in JSON: a number, or a text where JSON has none.
export function jsonFloat(bits: number): number | string {
  const value = floatOf(bits);
  if (Number.isNaN(value)) return "NaN";
  if (!Number.isFinite(value)) return value > 0 ? "Infinity" : "-Infinity";
  return Number(floatText(bits));
}

export function jsonFloatText(bits: number): string {
  if (bits >>> 0 === 0x80000000) return "-0.0";
  const value = jsonFloat(bits);
  return typeof value === "string" ? `"${value}"` : floatText(bits);
}
