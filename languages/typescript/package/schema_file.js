// Makes the description of a schema file from what differs from the defaults. It
// needs no descriptor of descriptors, so a page that loads a message stays small.
import { createFileRegistry } from "@bufbuild/protobuf";

// The name in JSON of a field for which the schema gives none.
export const jsonName = (name) =>
  name.replace(/_+(.?)/g, (_, next) => next.toUpperCase());

// A message of google.protobuf. Fields that are not set have their defaults in
// the prototype, as in all messages with explicit presence.
function message(type, defaults, set, lists = {}) {
  const made = Object.create(defaults);
  Object.assign(made, { $typeName: `google.protobuf.${type}` }, set);
  for (const [name, make] of Object.entries(lists)) {
    made[name] = (set[name] ?? []).map((item) => make(item));
  }
  return made;
}

const same = (item) => item;

const field = (set) => message("FieldDescriptorProto", {
  typeName: "", extendee: "", defaultValue: "", oneofIndex: 0, proto3Optional: false,
}, { label: 1, jsonName: jsonName(set.name), ...set });

const oneof = (set) => message("OneofDescriptorProto", {}, set);

const enumValue = (set) => message("EnumValueDescriptorProto", {}, set);

const enumType = (set) => message("EnumDescriptorProto", { visibility: 0 }, set,
  { value: enumValue, reservedRange: same, reservedName: same });

const messageOptions = (set) => message("MessageOptions", {
  messageSetWireFormat: false, noStandardDescriptorAccessor: false, deprecated: false,
  mapEntry: false, deprecatedLegacyJsonFieldConflicts: false,
}, set, { uninterpretedOption: same });

function messageType({ options, ...set }) {
  if (options) set.options = messageOptions(options);
  return message("DescriptorProto", { visibility: 0 }, set, {
    field, extension: same, nestedType: messageType, enumType, extensionRange: same,
    oneofDecl: oneof, reservedRange: same, reservedName: same,
  });
}

export function schemaFile(set) {
  const file = message("FileDescriptorProto", { edition: 0 }, set, {
    dependency: same, publicDependency: same, weakDependency: same, optionDependency: same,
    messageType, enumType, service: same, extension: same,
  });
  return createFileRegistry(file, () => undefined).getFile(set.name);
}
