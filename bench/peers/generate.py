#!/usr/bin/python3
"""Writes the schema down in the forms that the contestants need.

usage: generate.py DESCRIPTOR_SET FOLDER

FOLDER gets fields.h, every message and every field as macros, and tarn.fbs and
tarn.capnp for the two contestants whose compilers do not read the schema as it
is: neither knows maps, whose entries become structures, and their enums are
closed, so that numbers stand for them.
"""
import pathlib
import re
import sys

from google.protobuf import descriptor_pb2

FIELD = descriptor_pb2.FieldDescriptorProto
# The name in functions of Protocol Buffers libraries, in C++, FlatBuffers and
# Cap'n Proto.
NUMBERS = {
    FIELD.TYPE_BOOL: ('bool', 'bool', 'bool', 'Bool'),
    FIELD.TYPE_INT32: ('int32', 'int32_t', 'int32', 'Int32'),
    FIELD.TYPE_UINT32: ('uint32', 'uint32_t', 'uint32', 'UInt32'),
    FIELD.TYPE_FLOAT: ('float', 'float', 'float32', 'Float32'),
    FIELD.TYPE_ENUM: ('enum', 'int32_t', 'int32', 'Int32'),
}
TEXTS = {
    FIELD.TYPE_STRING: ('string', 'std::string', 'string', 'Text'),
    FIELD.TYPE_BYTES: ('bytes', 'std::string', '[ubyte]', 'Data'),
}
ENTRY = 'StatusEntry'
HEAD = {
    '.h': '// Made by generate.py.\n#ifndef FIELDS_H_\n#define FIELDS_H_\n',
    '.fbs': '// Made by generate.py.\nnamespace tarn_fb;\n',
    '.capnp': '# Made by generate.py.\n@0xb1f0c3a4d5e69788;\n'
              'using Cxx = import "/capnp/c++.capnp";\n'
              '$Cxx.namespace("tarn_capnp");\n',
}


def camel(name):
    """A name as Cap'n Proto wants it, from the first capital on."""
    words = [word[0].upper() + word[1:] for word in name.split('_') if word]
    return ''.join(words) if words[0][0].isalpha() else 'F' + ''.join(words)


def snake(name):
    """A name as protobuf-c makes one of it."""
    return re.sub('(?<=[^A-Z_])(?=[A-Z])', '_', name).lower()


def type_names(field):
    if field.type == FIELD.TYPE_MESSAGE:
        name = field.type_name.rsplit('.', 1)[-1]
        return 'message', name, name, name
    return NUMBERS.get(field.type) or TEXTS[field.type]


def is_map(field):
    return field.type_name.count('.') == 3 and field.type_name.endswith('Entry')


def macro(field):
    """The macro that is to handle a field."""
    if is_map(field):
        return 'MAP'
    if field.HasField('oneof_index'):
        return 'CHOICE'
    name = {FIELD.TYPE_MESSAGE: 'MESSAGE', FIELD.TYPE_STRING: 'STRING',
            FIELD.TYPE_BYTES: 'BYTES', FIELD.TYPE_ENUM: 'ENUM'}.get(field.type,
                                                                   'NUMBER')
    return name + 'S' * (field.label == FIELD.LABEL_REPEATED)


def fields_h(messages):
    names = ' '.join(f'X({message.name})' for message in messages)
    yield f'#define SCHEMA_MESSAGES(X) {names}\n'
    names = ' '.join(f'X({name}, {snake(name)})' for message in messages
                     for name in [message.name] +
                     [f'{message.name}__{entry.name}'
                      for entry in message.nested_type])
    yield f'#define SCHEMA_C_NAMES(X) {names}\n'
    for message in messages:
        yield f'#define SCHEMA_FIELDS_{message.name}(X) \\\n'
        for field in message.field:
            kind, cpp, _, _ = type_names(field)
            if field.type == FIELD.TYPE_ENUM:
                cpp = '_'.join(field.type_name.split('.')[2:])
            yield (f'  X({macro(field)}, {field.number}, {field.name}, '
                   f'{field.name.lower()}, {camel(field.name)}, {kind}, '
                   f'{cpp}) \\\n')
        yield '\n'
    yield '#endif\n'


def tarn_fbs(messages):
    yield f'table {ENTRY} {{ key: string; value: int32; }}\n'
    for message in messages:
        choices = [type_names(field)[1] for field in message.field
                   if field.HasField('oneof_index')]
        if choices:
            yield f'union {message.name}Kind {{ {", ".join(choices)} }}\n'
            yield f'table {message.name} {{ types: {message.name}Kind; }}\n'
            continue
        yield f'table {message.name} {{\n'
        for field in message.field:
            name = ENTRY if is_map(field) else type_names(field)[2]
            many = field.label == FIELD.LABEL_REPEATED
            yield (f'  {field.name.lower()}: '
                   f'{f"[{name}]" if many else name};\n')
        yield '}\n'


def tarn_capnp(messages):
    yield f'struct {ENTRY} {{ key @0 :Text; value @1 :Int32; }}\n'
    for message in messages:
        yield f'struct {message.name} {{\n'
        choices = [field.HasField('oneof_index') for field in message.field]
        if any(choices):
            yield '  union {\n'
        for place, field in enumerate(message.field):
            name = ENTRY if is_map(field) else type_names(field)[3]
            if field.label == FIELD.LABEL_REPEATED:
                name = f'List({name})'
            own = camel(field.name)
            yield f'  {own[0].lower()}{own[1:]} @{place} :{name};\n'
        if any(choices):
            yield f'  none @{len(choices)} :Void;\n  }}\n'
        yield '}\n'


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    files = descriptor_pb2.FileDescriptorSet.FromString(
        pathlib.Path(sys.argv[1]).read_bytes())
    messages = [message for file in files.file for message in file.message_type]
    folder = pathlib.Path(sys.argv[2])
    for name, write in (('fields.h', fields_h), ('tarn.fbs', tarn_fbs),
                        ('tarn.capnp', tarn_capnp)):
        path = folder / name
        path.write_text(HEAD[path.suffix] + ''.join(write(messages)))


if __name__ == '__main__':
    main()
