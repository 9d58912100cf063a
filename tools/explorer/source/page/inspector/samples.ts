// The examples that the inspector offers. The first is there on the first visit.
import examples from "virtual:examples";

export interface Sample { title: string; says: string; type?: string; input: string }

const network = {
  modsConfigured: [{
    server: {
      name: "Roof radio", status: "ok", uuid: "s-1", firmwareVersion: "4.2.1", port: "ttyUSB0",
      networkId: 7, channel: 11,
      children: [{
        client: {
          name: "North sign", status: "ok", uuid: "c-1", firmwareVersion: "4.2.1",
          children: [{
            display: {
              name: "North line 1", status: "ok", uuid: "d-1",
              frameSelect: [{ message: 4, frame: 1, price: 3 }],
              children: [
                { module: { uuid: "m-1", hwId: "D16-24", status: "ok", nodeAddr: 21 } },
                { module: { uuid: "m-2", hwId: "D16-24", status: "ok", nodeAddr: 22 } },
              ],
            },
          }, {
            display: {
              name: "North line 2", status: "price_update_failure", error: true, uuid: "d-2",
              children: [
                { module: { uuid: "m-3", hwId: "D16-24", status: "comm_error", nodeAddr: 25,
                  error: true } },
                { module: { uuid: "m-4", hwId: "D16-24", status: "ok", nodeAddr: 26 } },
              ],
            },
          }],
        },
      }, {
        client: {
          name: "South sign", status: "retry_mode", uuid: "c-2", firmwareVersion: "4.1.7",
          children: [{ display: { name: "South line 1", subtype: "message", uuid: "d-3",
            status: "command_blank", displayBlanked: true } }],
        },
      }],
    },
  }],
};

const report = {
  statusPacket: {
    "Roof radio": "ok", "North sign": "ok", "North line 2": "comm_error",
    "South sign": "retry_mode", "South line 1": "command_blank",
  },
  priceSyncStatusPacket: {
    "North line 1": "price_update_ok", "North line 2": "price_update_failure",
    "South line 1": "price_sync_pending",
  },
  networkPriceLifecycle: "price_sync_pending",
};

export const samples: Sample[] = [
  { title: "A network", says: "radios, displays and modules", type: "ModsConfigured",
    input: JSON.stringify(network) },
  { title: "A server radio", says: "every field set", type: "Server",
    input: examples.Server.bytes },
  { title: "A status report", says: "what is not well comes first", type: "NetworkStatusReport",
    input: JSON.stringify(report) },
  { title: "Broken bytes", says: "bad text, then cut off", type: "Server",
    input: "0A 08 4E 6F 72 74 68 20 C3 28 10 02 22" },
  { title: "From a newer schema", says: "unknown fields and values", type: "Server",
    input: "0A 05 4E 6F 72 74 68 10 63 A0 01 07 AA 01 02 68 69 0D 01 00 00 00" },
  { title: "A stream", says: "three prices, a length before each",
    input: "0E 08 01 12 04 6D 69 6C 6B 1A 04 31 2E 31 35 0C 08 02 12 03 74 65 61 1A 03 32 2E 30 " +
      "0D 08 03 12 03 6E 75 74 1A 04 33 2E 37 35" },
  { title: "A pass phrase", says: "covered until asked for", type: "Wifi",
    input: JSON.stringify({ ssid: "forecourt", pass: "not for everyone" }) },
];
