// What the package does with the golden messages, in Node and in a browser.
import { fromBinary, fromJsonString, toBinary, toJsonString } from '@bufbuild/protobuf';
import { base64Decode, base64Encode } from '@bufbuild/protobuf/wire';
import * as libschema from 'libschema';

// Where the runtime differs: what it does, who is right, and the answers. The
// README of the package has a row for each.
export const EXPECTED = [
  {
    does: 'Takes a field with another wire type for the field, and so reads something else ' +
      'or nothing',
    right: 'golden message',
    answers: [
      'read accepted/AppStates/states_as_fixed32_are_unknown',
      'read accepted/BaseMsg/text_in_place_of_a_number_is_unknown',
      'read accepted/ChildTypes/client_as_varint_is_unknown',
      'read accepted/ChildTypes/direct_as_varint_is_unknown',
      'read accepted/ChildTypes/display_as_varint_is_unknown',
      'read accepted/ChildTypes/getStatusModule_as_varint_is_unknown',
      'read accepted/ChildTypes/module_as_varint_is_unknown',
      'read accepted/ChildTypes/server_as_varint_is_unknown',
      'read accepted/ChildTypes/wrong_wire_type_does_not_switch',
      'read accepted/ClientStatusMsg/strength_as_fixed64_is_unknown',
      'read accepted/ClientStatusMsg/strength_as_varint_is_unknown',
      'read accepted/Frame/number_as_bytes_is_unknown',
      'read accepted/Frame/number_as_fixed32_is_unknown',
      'read accepted/Frame/number_as_fixed64_is_unknown',
      'write accepted/Frame/number_as_group_is_unknown',
      'read accepted/GetStatusModule/flag_as_bytes_is_unknown',
      'read accepted/GetStatusModule/number_as_fixed32_is_unknown',
      'read accepted/HwIdRowInfo/pitch_as_varint_is_unknown',
      'read accepted/HwIdRowInfo/text_as_varint_is_unknown',
      'read accepted/NetworkStatusReport/key_as_varint_is_dropped',
      'write accepted/NetworkStatusReport/map_as_varint_is_unknown',
      'read accepted/Price/line_num_as_bytes_is_unknown',
    ],
  },
  {
    does: 'Reads beyond the end of a damaged record, instead of refusing it',
    right: 'golden message',
    answers: [
      'refuse rejected/AppStates/packed_state_runs_out_of_its_record',
      'refuse rejected/NetworkStatusReport/value_runs_out_of_its_entry',
      'refuse rejected/Prices/group_runs_out_of_its_record',
      'refuse rejected/Prices/varint_runs_out_of_its_record',
    ],
  },
  {
    does: 'Skips an unknown number of eleven bytes; a number has at most ten',
    right: 'golden message',
    answers: [
      'refuse rejected/BaseMsg/unknown_varint_of_eleven_bytes',
    ],
  },
  {
    does: 'Makes a signalling NaN quiet',
    right: 'golden message',
    answers: [
      'write accepted/ClientStatusMsg/signalling_nan_is_kept',
    ],
  },
  {
    does: 'Does not sort the entries of a map when it writes bytes',
    right: 'both',
    answers: [
      'write accepted/NetworkStatusReport/keys_are_sorted',
    ],
  },
  {
    does: 'Writes -0 as 0 in JSON',
    right: 'golden message',
    answers: [
      'to_json valid/CCMsgDefinitions/negative_zero_is_written',
      'to_json valid/ClientStatusMsg/negative_zero_is_written',
      'to_json valid/HwIdRowInfo/negative_zero_is_written',
    ],
  },
];

const schemas = new Map(Object.values(libschema).filter(({ kind }) => kind === 'message')
  .map((schema) => [schema.name, schema]));

function attempt(operation) {
  try {
    return operation();
  } catch {
    return undefined;
  }
}

// The operations whose answers differ from the golden message.
function differing({ kind, type, bytes, canonical, json }) {
  const schema = schemas.get(type);
  const message = attempt(() => fromBinary(schema, base64Decode(bytes)));
  if (kind === 'rejected') return message === undefined ? [] : ['refuse'];
  if (message === undefined) return ['read'];
  const written = (made) => attempt(() => base64Encode(toBinary(schema, made())));
  const fromText = (text) => written(() => fromJsonString(schema, text()));
  const answers = { write: written(() => message) };
  if (kind === 'valid') {
    answers.from_json = fromText(() => json);
    answers.to_json = fromText(() => toJsonString(schema, message));
  }
  return Object.keys(answers).filter((operation) => answers[operation] !== canonical);
}

// Every difference, as "operation case".
export function differences(cases) {
  return cases.flatMap((one) => differing(one).map((operation) => `${operation} ${one.path}`));
}
