// Walks over bytes in slices between frames, so that the page answers meanwhile.
import { useEffect, useMemo, useReducer } from "preact/hooks";
import { inspect } from "../core";
import type { Walk } from "../../inspect/api";

const atOnce = 1 << 14, slice = 1500; // bytes, spans
const budget = 12, pause = 100;       // milliseconds of a slice, and between two drawings

export function useWalk(type: string, bytes: Uint8Array, showSecrets: boolean): Walk {
  const walk = useMemo(() => {
    const started = inspect.startWalk(type, bytes, { showSecrets });
    if (bytes.length <= atOnce) while (!started.step(slice));
    return started;
  }, [type, bytes, showSecrets]);
  const [, draw] = useReducer((count: number) => count + 1, 0);
  useEffect(() => {
    if (walk.done) return;
    let timer: ReturnType<typeof setTimeout>;
    let drawn = performance.now();
    const goOn = () => {
      const begin = performance.now();
      while (!walk.step(slice) && performance.now() - begin < budget);
      if (walk.done || begin - drawn > pause) {
        drawn = begin;
        draw(undefined);
      }
      if (!walk.done) timer = setTimeout(goOn);
    };
    timer = setTimeout(goOn);
    return () => clearTimeout(timer);
  }, [walk]);
  return walk;
}
