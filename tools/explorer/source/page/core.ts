// What the page asks about the schema and about bytes.
import { inspect } from "../inspect/index";

export { inspect };
export const { schema } = inspect;
