#!/usr/bin/python3
"""Writes code for the types of a network tree, a function for each type.

usage: generate.py DESCRIPTOR_SET FOLDER

FOLDER gets
  read_generated.h    Read(message): a sum over all values, as Code has them
  read_flatbuffers.h  the same for the tables of tree.fbs
  make_flatbuffers.h  Make(message, builder): the same values in a buffer
  walk_protozero.h    Walk<Type>(reader): the same, of bytes
  structs.h           plain structs with the keys of all members
  tree.fbs            the schema for FlatBuffers, where numbers stand for enums
"""
import pathlib
import sys

from google.protobuf import descriptor_pb2

FIELD = descriptor_pb2.FieldDescriptorProto
KINDS = {FIELD.TYPE_BOOL: 'bool', FIELD.TYPE_INT32: 'int32',
         FIELD.TYPE_ENUM: 'enum', FIELD.TYPE_STRING: 'string',
         FIELD.TYPE_MESSAGE: 'message'}
# For each file the function of a type, and what each kind of field adds to it.
FUNCTIONS = {
    'read_generated.h': ('Read(const tarn::{type}& m)', '{fields}', {
        'number': 'sum += Code(m.{lower}());',
        'string': 'sum += Code(m.{lower}());',
        'message': 'if (m.has_{lower}()) sum += Read(m.{lower}());',
        'numbers': 'for (const int x : m.{lower}()) sum += Code(x);',
        'messages': 'for (const auto& x : m.{lower}()) sum += Read(x);'}),
    'read_flatbuffers.h': ('Read(const tarn_fb::{type}& m)', '{fields}', {
        'number': 'sum += Code(m.{lower}());',
        'string': 'sum += Code(View(m.{lower}()));',
        'message': 'if (m.{lower}() != nullptr) sum += Read(*m.{lower}());',
        'choice': 'if (m.types_type() == tarn_fb::Types_{sub}) '
                  'sum += Read(*m.types_as_{sub}());',
        'numbers': 'for (const int x : Elements(m.{lower}())) sum += Code(x);',
        'messages':
            'for (const auto* x : Elements(m.{lower}())) sum += Read(*x);'}),
    'walk_protozero.h': (
        'Walk{type}(protozero::pbf_reader in)',
        'while (in.next()) switch (in.tag()) {{\n'
        '{fields}    default: in.skip();\n  }}\n', {
            'number': 'case {number}: sum += Code(in.get_{kind}()); break;',
            'string': 'case {number}: sum += Code(in.get_view()); break;',
            'message':
                'case {number}: sum += Walk{sub}(in.get_message()); break;',
            'numbers': 'case {number}: for (const auto x : '
                       'in.get_packed_{kind}()) sum += Code(x); break;',
            'messages':
                'case {number}: sum += Walk{sub}(in.get_message()); break;'})}
# What a table points to is written before it is.
ADD = 'out.add_{lower}({lower});'
PARTS = {
    'number': '',
    'string': 'Offset<flatbuffers::String> {lower}; if (!m.{lower}().empty()) '
              '{lower} = builder.CreateString(m.{lower}());',
    'message': 'Offset<tarn_fb::{sub}> {lower}; if (m.has_{lower}()) '
               '{lower} = Make(m.{lower}(), builder);',
    'numbers': 'const auto {lower} = builder.CreateVector('
               'm.{lower}().data(), m.{lower}().size());',
    'messages': 'std::vector<Offset<tarn_fb::{sub}>> {lower}; '
                'for (const auto& x : m.{lower}()) '
                '{lower}.push_back(Make(x, builder)); '
                'const auto {lower}_at = CreateList({lower}, builder);'}
ADDITIONS = {
    'number': 'out.add_{lower}(m.{lower}());', 'string': ADD, 'message': ADD,
    'choice': 'if (m.has_{lower}()) {{ out.add_types_type('
              'tarn_fb::Types_{sub}); out.add_types({lower}.Union()); }}',
    'numbers': ADD, 'messages': 'out.add_{lower}({lower}_at);'}
MEMBERS = {'number': '{cpp} {name} = 0;', 'string': 'std::string {name};',
           'message': 'std::unique_ptr<{sub}> {name};',
           'numbers': 'std::vector<int32_t> {name};',
           'messages': 'std::vector<{sub}> {name};'}
TABLES = {'number': '{lower}: {fbs};', 'string': '{lower}: string;',
          'message': '{lower}: {sub};',
          'numbers': '{lower}: [int32];', 'messages': '{lower}: [{sub}];'}


def names(field):
    """What a template may want to know of a field."""
    many = field.label == FIELD.LABEL_REPEATED
    kind = what = KINDS.get(field.type)
    if kind is None or (many and kind == 'string'):
        sys.exit(f'generate.py: {field.name} is of a kind that trees lack')
    if many:
        what = 'messages' if kind == 'message' else 'numbers'
    elif field.HasField('oneof_index'):
        what = 'choice'
    elif kind not in ('string', 'message'):
        what = 'number'
    return {'what': what, 'kind': kind, 'name': field.name,
            'lower': field.name.lower(), 'number': field.number,
            'cpp': 'bool' if kind == 'bool' else 'int32_t',
            'fbs': 'bool' if kind == 'bool' else 'int32',
            'sub': field.type_name.rsplit('.', 1)[-1]}


def tree_types(descriptor_set):
    """All types of a tree, {name: fields}."""
    known = {message.name: message for file in descriptor_set.file
             for message in file.message_type}
    types = {}
    wanted = ['ModsConfigured']
    while wanted:
        name = wanted.pop()
        if name not in types:
            types[name] = [names(field) for field in known[name].field]
            wanted += [field['sub'] for field in types[name]
                       if field['kind'] == 'message']
    return types


def line(lines, field):
    """The line of a field; a choice is a message where nothing else is said."""
    what = field['what']
    return lines.get(what, lines['message']).format(**field)


def functions(types, head, body, lines):
    for name in types:
        yield f'uint64_t {head.format(type=name)};\n'
    for name, fields in types.items():
        inner = ''.join(f'  {line(lines, field)}\n'
                        for field in fields)
        yield (f'uint64_t {head.format(type=name)} {{\n'
               f'  uint64_t sum = 0;\n{body.format(fields=inner)}'
               '  return sum;\n}\n')


def makers(types):
    for name in types:
        yield (f'Offset<tarn_fb::{name}> Make(const tarn::{name}& m, '
               'Builder& builder);\n')
    for name, fields in types.items():
        parts, additions = (
            ''.join(f'  {line(lines, field)}\n'
                    for field in fields) for lines in (PARTS, ADDITIONS))
        yield (f'Offset<tarn_fb::{name}> Make(const tarn::{name}& m, '
               f'Builder& builder) {{\n{parts}'
               f'  tarn_fb::{name}Builder out(builder);\n{additions}'
               '  return out.Finish();\n}\n')


def structs(types):
    for name in types:
        yield f'struct {name};\n'
    for name, fields in types.items():
        yield f'struct {name} {{\n'
        for field in fields:
            yield f'  {line(MEMBERS, field)}\n'
        visits = ' ||\n        '.join(
            f'visit("{field["name"]}", {field["name"]})' for field in fields)
        yield ('  template <typename V>\n'
               '  [[gnu::always_inline]] bool Visit(V visit) {\n'
               f'    return {visits};\n  }}\n}};\n')


def tables(types):
    yield 'namespace tarn_fb;\n'
    for name, fields in types.items():
        choices = [field['sub'] for field in fields
                   if field['what'] == 'choice']
        if choices:
            yield f'union Types {{ {", ".join(choices)} }}\n'
        lines = ['types: Types;'] if choices else [
            line(TABLES, field) for field in fields]
        yield f'table {name} {{ {" ".join(lines)} }}\n'


def main(descriptor_set, folder):
    types = tree_types(descriptor_pb2.FileDescriptorSet.FromString(
        pathlib.Path(descriptor_set).read_bytes()))
    files = {name: functions(types, *how) for name, how in FUNCTIONS.items()}
    files |= {'make_flatbuffers.h': makers(types), 'structs.h': structs(types),
              'tree.fbs': tables(types)}
    for name, text in files.items():
        (pathlib.Path(folder) / name).write_text(''.join(text))


if __name__ == '__main__':
    main(*sys.argv[1:])
