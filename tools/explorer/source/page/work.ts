// Runs a job: a small one at once, a large one in a worker, so that no frame waits.
import { useEffect, useMemo, useState } from "preact/hooks";
import { InputFault, type Tree } from "../inspect/api";
import { type FlatNode, slicesOf, treeOf } from "./flat";
import { type Job, type Jobs, jobs } from "./jobs";

export type Answer<T> = { value?: T; error?: InputFault; waiting?: true };
type Result<J extends Job> = ReturnType<Jobs[J]>;
type Reply = { id: number; value?: unknown; reason?: string; offset?: number; nodes?: FlatNode[] };

const atOnce = 1 << 15; // bytes or characters
const frame = 16;       // milliseconds

const sizeOf = (part: unknown): number =>
  typeof part === "string" || part instanceof Uint8Array ? part.length : 0;

const faultOf = (error: unknown): InputFault => error instanceof InputFault ? error
  : new InputFault(error instanceof Error ? error.message : String(error), -1);

function runHere<J extends Job>(job: J, parts: Parameters<Jobs[J]>): Answer<Result<J>> {
  try {
    const run = jobs[job] as unknown as (...parts: Parameters<Jobs[J]>) => Result<J>;
    return { value: run(...parts) };
  } catch (error) {
    return { error: faultOf(error) };
  }
}

let worker: Worker | undefined;
let last = 0;
const waiting = new Map<number, (reply: Reply) => void>();
const grown = new Map<number, FlatNode[]>(); // nodes of trees that are on their way

// The worker runs the script of this page: nothing is fetched.
function start(): Worker {
  const script = document.querySelector<HTMLScriptElement>("script[type=module]")!.text;
  const made = new Worker(URL.createObjectURL(new Blob([script], { type: "text/javascript" })));
  made.onmessage = ({ data }: MessageEvent<Reply>) => {
    if (data.nodes) {
      const nodes = grown.get(data.id) ?? [];
      for (const node of data.nodes) nodes.push(node);
      grown.set(data.id, nodes);
      return;
    }
    const nodes = grown.get(data.id);
    if (nodes) data.value = treeOf((data.value as Tree).below, nodes);
    grown.delete(data.id);
    waiting.get(data.id)?.(data);
    waiting.delete(data.id);
  };
  return made;
}

export function serve(): void {
  self.onmessage = async ({ data: [id, job, parts] }: MessageEvent<[number, Job, never]>) => {
    const { value, error } = runHere(job, parts);
    const reply: Reply = { id, value, reason: error?.reason, offset: error?.offset };
    const page = self as unknown as Worker;
    if (job === "tree" && value) {
      const tree = value as unknown as Tree;
      for (const nodes of slicesOf(tree)) {
        page.postMessage({ id, nodes });
        await new Promise((done) => setTimeout(done, frame));
      }
      reply.value = { ...tree, children: [] };
    }
    page.postMessage(reply);
  };
}

export function run<J extends Job>(job: J, ...parts: Parameters<Jobs[J]>):
    Promise<Answer<Result<J>>> {
  if (parts.every((part) => sizeOf(part) <= atOnce)) return Promise.resolve(runHere(job, parts));
  worker ??= start();
  const id = ++last;
  return new Promise((done) => {
    waiting.set(id, ({ value, reason, offset }) => done(reason === undefined
      ? { value: value as Result<J> } : { error: new InputFault(reason, offset!) }));
    worker!.postMessage([id, job, parts]);
  });
}

// The answer to a job; it waits while a worker is at it.
export function useAnswer<J extends Job>(job: J, ...parts: Parameters<Jobs[J]>):
    Answer<Result<J>> {
  const small = (parts as unknown[]).every((part) => sizeOf(part) <= atOnce);
  const here = useMemo(() => (small ? runHere(job, parts) : undefined), [job, ...parts]);
  const [there, setThere] = useState<{ key: unknown[]; answer: Answer<Result<J>> }>();
  useEffect(() => {
    if (small) return;
    let wanted = true;
    void run(job, ...parts).then((answer) => wanted && setThere({ key: parts, answer }));
    return () => {
      wanted = false;
    };
  }, [job, ...parts]);
  if (here) return here;
  const same = there?.key.every((part, at) => part === (parts as unknown[])[at]);
  return same ? there!.answer : { waiting: true };
}
