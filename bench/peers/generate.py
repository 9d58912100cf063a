#!/usr/bin/python3
"""Writes code for the types of a network tree, a function for each type.

usage: generate.py DESCRIPTOR_SET FOLDER

FOLDER gets
  read_generated.h    Read(message): a sum over all values, as Code has them
  read_flatbuffers.h  the same for the tables of tree.fbs
  walk_protozero.h    Walk<Type>(reader): the same, of bytes
  read_json.h         Read(object, &message), by simdjson
  write_json.h        Write(message, out), by RapidJSON
  tree.fbs            the schema for FlatBuffers: of a oneof all members, and
                      numbers for enums, so that it takes the same JSON
"""
import pathlib
import sys

from google.protobuf import descriptor_pb2

FIELD = descriptor_pb2.FieldDescriptorProto
KINDS = {FIELD.TYPE_BOOL: 'bool', FIELD.TYPE_INT32: 'int32',
         FIELD.TYPE_ENUM: 'enum', FIELD.TYPE_STRING: 'string',
         FIELD.TYPE_MESSAGE: 'message'}
AT_KEY = 'if (key == "{name}") '
EACH = 'for (auto x : field.value().get_array()) '
WRITE = 'out.Key("{name}"), Write(m.{lower}(), out);'
WRITE_LIST = (
    'if (!m.{lower}().empty()) {{ out.Key("{name}"); out.StartArray(); '
    'for (const auto& x : m.{lower}()) Write(x, out); out.EndArray(); }}')
SUM = '  uint64_t sum = 0;\n{fields}  return sum;\n'
# For each file the function of a type, its body, and what each kind of field
# adds to it.
FUNCTIONS = {
    'read_generated.h': ('uint64_t Read(const tarn::{type}& m)', SUM, {
        'number': 'sum += Code(m.{lower}());',
        'string': 'sum += Code(m.{lower}());',
        'message': 'if (m.has_{lower}()) sum += Read(m.{lower}());',
        'numbers': 'for (const int x : m.{lower}()) sum += Code(x);',
        'messages': 'for (const auto& x : m.{lower}()) sum += Read(x);'}),
    'read_flatbuffers.h': ('uint64_t Read(const tarn_fb::{type}& m)', SUM, {
        'number': 'sum += Code(m.{member}());',
        'string': 'sum += Code(flatbuffers::GetStringView(m.{member}()));',
        'message': 'if (m.{member}() != nullptr) sum += Read(*m.{member}());',
        'numbers': 'if (m.{member}() != nullptr) '
                   'for (const int x : *m.{member}()) sum += Code(x);',
        'messages': 'if (m.{member}() != nullptr) '
                    'for (const auto* x : *m.{member}()) sum += Read(*x);'}),
    'walk_protozero.h': (
        'uint64_t Walk{type}(protozero::pbf_reader in)',
        '  uint64_t sum = 0;\n  while (in.next()) switch (in.tag()) {{\n'
        '{fields}    default: in.skip();\n  }}\n  return sum;\n', {
            'number': 'case {number}: sum += Code(in.get_{kind}()); break;',
            'string': 'case {number}: sum += Code(in.get_view()); break;',
            'message':
                'case {number}: sum += Walk{sub}(in.get_message()); break;',
            'numbers': 'case {number}: for (const auto x : '
                       'in.get_packed_{kind}()) sum += Code(x); break;',
            'messages':
                'case {number}: sum += Walk{sub}(in.get_message()); break;'}),
    'read_json.h': (
        'void Read(ondemand::object in, tarn::{type}* m)',
        '  for (auto field : in) {{\n'
        '    const std::string_view key = field.unescaped_key();\n'
        '{fields}    throw std::runtime_error("unknown key");\n  }}\n', {
            'number': AT_KEY + 'm->set_{lower}('
                      'Get<decltype(m->{lower}())>(field.value())); else',
            'string': AT_KEY +
                      'm->set_{lower}(Get<std::string>(field.value())); else',
            'message': AT_KEY +
                       'Read(field.value(), m->mutable_{lower}()); else',
            'numbers': AT_KEY + EACH +
                       'm->add_{lower}(Get<decltype(m->{lower}(0))>(x.value()));'
                       ' else',
            'messages': AT_KEY + EACH + 'Read(x.value(), m->add_{lower}()); else'}),
    'write_json.h': (
        'void Write(const tarn::{type}& m, Writer& out)',
        '  out.StartObject();\n{fields}  out.EndObject();\n', {
            'number': 'if (m.{lower}()) ' + WRITE,
            'string': 'if (!m.{lower}().empty()) ' + WRITE,
            'message': 'if (m.has_{lower}()) ' + WRITE,
            'numbers': WRITE_LIST, 'messages': WRITE_LIST})}
TABLES = {'number': '{name}: {fbs};', 'string': '{name}: string;',
          'message': '{name}: {sub};',
          'numbers': '{name}: [int32];', 'messages': '{name}: [{sub}];'}


def names(field):
    """What a template may want to know of a field."""
    many = field.label == FIELD.LABEL_REPEATED
    kind = what = KINDS.get(field.type)
    if kind is None or (many and kind == 'string'):
        sys.exit(f'generate.py: {field.name} is of a kind that trees lack')
    if many:
        what = 'messages' if kind == 'message' else 'numbers'
    elif kind not in ('string', 'message'):
        what = 'number'
    return {'what': what, 'kind': kind, 'name': field.name,
            'lower': field.name.lower(), 'number': field.number,
            # flatc knows a keyword of C++20.
            'member': field.name + '_' * (field.name == 'module'),
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


def functions(types, head, body, lines):
    for name in types:
        yield f'{head.format(type=name)};\n'
    for name, fields in types.items():
        inner = ''.join(f'    {lines[field["what"]].format(**field)}\n'
                        for field in fields)
        yield (f'{head.format(type=name)} {{\n'
               f'{body.format(fields=inner)}}}\n')


def tables(types):
    yield 'namespace tarn_fb;\n'
    for name, fields in types.items():
        members = ' '.join(TABLES[field['what']].format(**field)
                           for field in fields)
        yield f'table {name} {{ {members} }}\n'
    yield 'root_type ModsConfigured;\n'


def main(descriptor_set, folder):
    types = tree_types(descriptor_pb2.FileDescriptorSet.FromString(
        pathlib.Path(descriptor_set).read_bytes()))
    files = {name: functions(types, *how) for name, how in FUNCTIONS.items()}
    files['tree.fbs'] = tables(types)
    for name, text in files.items():
        (pathlib.Path(folder) / name).write_text(''.join(text))


if __name__ == '__main__':
    main(*sys.argv[1:])
