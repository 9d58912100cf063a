import { create } from "@bufbuild/protobuf";
import { sizeDelimitedDecodeStream, sizeDelimitedEncode } from "@bufbuild/protobuf/wire";
import { ServerSchema, StatusCodes } from "libschema/Network";

async function* cutOff() {
  yield sizeDelimitedEncode(ServerSchema, create(ServerSchema, {
    name: "Roof", status: StatusCodes.ok,
  }));
  yield sizeDelimitedEncode(ServerSchema, create(ServerSchema, {
    name: "Yard", status: StatusCodes.comm_error,
  }));
  yield Uint8Array.of(9, 10, 4);
}

try {
  for await (const server of sizeDelimitedDecodeStream(ServerSchema, cutOff())) {
    console.log(server.name, StatusCodes[server.status]);
  }
} catch (error) {
  console.log(String(error));
}
