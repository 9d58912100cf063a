// The worked example of each type, which the build takes from the corpus.
declare module "virtual:examples" {
  const examples: Record<string, { case: string; bytes: string }>;
  export default examples;
}
