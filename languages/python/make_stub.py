#!/usr/bin/python3
"""Writes tarn/__init__.pyi: every message with its fields and their comments.

Usage: make_stub.py PACKAGE_FOLDER    where tarn/ lies, with the descriptor set
"""
import keyword
import pathlib
import sys

FOLDER = pathlib.Path(sys.argv[1])
sys.path.insert(0, str(FOLDER))
from tarn import _schema as schema

Field = schema.Field
HEAD = '''"""The messages of an electronic price-sign installation."""
from collections.abc import Iterable, Mapping
from enum import IntEnum
from typing import Any, Literal, NoReturn

from google.protobuf.internal.containers import (
    RepeatedCompositeFieldContainer, RepeatedScalarFieldContainer, ScalarMap)
from google.protobuf.message import Message

from tarn._schema import TYPES as TYPES, fingerprint as fingerprint, type_named as type_named
from tarn._stream import (
    MAX_SIZE as MAX_SIZE, DamagedError as DamagedError, parse as parse,
    read_framed as read_framed, write_framed as write_framed)
'''
SCALARS = {'bool': 'bool', 'bytes': 'bytes', 'float': 'float', 'int32': 'int',
           'string': 'str', 'uint32': 'int'}


def doc(name, indent):
    text = schema.COMMENTS.get(name)
    if not text:
        return f'{indent}...\n'
    if '\\' in text or '"""' in text:
        sys.exit(f'make_stub.py: {name}: a comment that no plain string can hold')
    return f'{indent}"""' + text.replace('\n', '\n' + indent) + '"""\n'


def enumeration(name, indent=''):
    text = f'{indent}class {schema.DECLARED[name].name}(IntEnum):\n' + doc(name, indent + '    ')
    for value in schema.DECLARED[name].value:
        text += f'{indent}    {value.name} = {value.number}\n'
        text += doc(f'{name}.{value.name}', indent + '    ')
    return text


def read_as(field):
    """What one value is read as: the number of an enum may have no name."""
    if field.type == Field.TYPE_MESSAGE:
        return schema.bare(schema.kind_of(field))
    return 'int' if field.type == Field.TYPE_ENUM else SCALARS[schema.kind_of(field)]


def taken_as(field):
    """What a constructor takes."""
    entry = schema.entry_of(field)
    if entry:
        return f'Mapping[{taken_as(entry.field[0])}, {taken_as(entry.field[1])}]'
    kind = read_as(field)
    if field.type == Field.TYPE_MESSAGE:
        kind += ' | Mapping[str, Any]'
    if field.type == Field.TYPE_ENUM:
        kind += ' | str'
    return f'Iterable[{kind}]' if field.label == Field.LABEL_REPEATED else kind


def attribute(name, field):
    entry = schema.entry_of(field)
    kind = read_as(field)
    if entry:
        if entry.field[1].type == Field.TYPE_MESSAGE:
            sys.exit(f'make_stub.py: {name}.{field.name}: a map of messages')
        kind = f'ScalarMap[{read_as(entry.field[0])}, {read_as(entry.field[1])}]'
    elif field.label == Field.LABEL_REPEATED:
        container = 'Composite' if field.type == Field.TYPE_MESSAGE else 'Scalar'
        kind = f'Repeated{container}FieldContainer[{kind}]'
    elif field.type != Field.TYPE_MESSAGE:
        return f'    {field.name}: {kind}\n' + doc(f'{name}.{field.name}', '    ')
    # Nothing can be assigned to it.
    return (f'    @property\n    def {field.name}(self) -> {kind}:\n'
            + doc(f'{name}.{field.name}', ' ' * 8))


def literals(names):
    return f'Literal[{", ".join(map(repr, names))}]' if names else 'NoReturn'


def message(name):
    declared = schema.DECLARED[name]
    choices = [choice.name for choice in declared.oneof_decl]
    present = [field.name for field in declared.field if field.type == Field.TYPE_MESSAGE
               and field.label != Field.LABEL_REPEATED or field.HasField('oneof_index')]
    text = f'class {declared.name}(Message):\n' + doc(name, '    ')
    for inner in declared.enum_type:
        text += enumeration(f'{name}.{inner.name}', '    ')
    spoken = [field for field in declared.field if not keyword.iskeyword(field.name)]
    text += ''.join(attribute(name, field) for field in spoken)
    text += '    def __init__(self, *'
    for field in spoken:
        text += f',\n        {field.name}: {taken_as(field)} | None = ...'
    text += ') -> None: ...\n'
    text += f'    def HasField(self, field_name: {literals(present + choices)}) -> bool: ...\n'
    every = [field.name for field in declared.field] + choices
    text += f'    def ClearField(self, field_name: {literals(every)}) -> None: ...\n'
    for index, choice in enumerate(choices):
        members = [field.name for field in declared.field
                   if field.HasField('oneof_index') and field.oneof_index == index]
        if index:
            sys.exit(f'make_stub.py: {name}: a second oneof')
        text += (f'    def WhichOneof(self, oneof_group: {literals([choice])})'
                 f' -> {literals(members)} | None: ...\n')
    return text


def accessors():
    """Of the fields whose name is a keyword, which no class can declare."""
    text = ''
    for owner, field in schema.KEYWORDS:
        name, kind = f'{owner}_{field.name}', read_as(field)
        for head in (f'get_{name}(message: {owner}) -> {kind}',
                     f'set_{name}(message: {owner}, value: {kind}) -> None'):
            text += f'def {head}:\n' + doc(f'tarn.{owner}.{field.name}', '    ')
    return text


parts = [HEAD, accessors()]
parts += [enumeration(f'tarn.{name}') for name in schema.ENUMS]
parts += [message(f'tarn.{name}') for name in schema.TYPES]
(FOLDER / 'tarn/__init__.pyi').write_text('\n'.join(parts))
