import { create, fromBinary, toBinary, toJsonString } from "@bufbuild/protobuf";
import { PriceSchema } from "libschema";

const sent = create(PriceSchema, { lineNum: 2, productId: "coffee", setPrice: "2.50" });
const bytes: Uint8Array = toBinary(PriceSchema, sent);
const received = fromBinary(PriceSchema, bytes);
console.log(toJsonString(PriceSchema, received));
