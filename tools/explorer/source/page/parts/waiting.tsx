// What stands where an answer is on its way.
import type { ComponentChildren } from "preact";

export const Waiting = ({ children = "Reading…" }: { children?: ComponentChildren }) =>
  <p class="empty" aria-busy="true">{children}</p>;
