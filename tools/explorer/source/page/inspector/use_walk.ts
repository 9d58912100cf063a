// Walks over bytes in slices between frames, so that the page answers meanwhile.
import { useEffect, useMemo, useState } from "preact/hooks";
import { inspect } from "../core";
import type { Walk } from "../../inspect/api";

const atOnce = 1 << 14, slice = 1500, budget = 12; // bytes, spans, milliseconds

export function useWalk(type: string, bytes: Uint8Array, showSecrets: boolean): Walk {
  const walk = useMemo(() => {
    const started = inspect.startWalk(type, bytes, { showSecrets });
    if (bytes.length <= atOnce) while (!started.step(slice));
    return started;
  }, [type, bytes, showSecrets]);
  const [, setRead] = useState(0);
  useEffect(() => {
    if (walk.done) return;
    let timer: ReturnType<typeof setTimeout>;
    const goOn = () => {
      const begin = performance.now();
      while (!walk.step(slice) && performance.now() - begin < budget);
      setRead(walk.read);
      if (!walk.done) timer = setTimeout(goOn);
    };
    timer = setTimeout(goOn);
    return () => clearTimeout(timer);
  }, [walk]);
  return walk;
}
