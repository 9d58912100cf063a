// Builds two messages, reads them back from their bytes, and writes them.
import {
  create, fromBinary, toBinary, type DescMessage, type MessageShape,
} from "@bufbuild/protobuf";
import { CashCreditMsgSchema } from "./Network_pb.js";
import { PriceSchema } from "./Tarn_pb.js";

function writeReadBack<D extends DescMessage>(schema: D, sent: MessageShape<D>) {
  const received = fromBinary(schema, toBinary(schema, sent));
  process.stdout.write(toBinary(schema, received));
}

writeReadBack(PriceSchema, create(PriceSchema, {
  lineNum: 101,
  productId: "product_id",
  setPrice: "set_price",
}));
writeReadBack(CashCreditMsgSchema, create(CashCreditMsgSchema, {
  size1hx1w: [
    {
      dimensions: "dimensions",
      pixelPitchMm: 2.5,
      messages: ["messages", "messages"],
    },
    {},
  ],
}));
