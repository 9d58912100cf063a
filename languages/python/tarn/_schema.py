"""The schema, in a descriptor pool of its own: other files may have the same names."""
import difflib
import enum
import inspect
import keyword
import zlib
from importlib import resources
from typing import Any, Dict, Iterable, Iterator, Optional, Tuple, Type

from google.protobuf import descriptor_pb2, descriptor_pool, message_factory
from google.protobuf.message import Message

Field = descriptor_pb2.FieldDescriptorProto
_FILES = descriptor_pb2.FileDescriptorSet.FromString(
    resources.files('tarn').joinpath('tarn.binpb').read_bytes()).file
_pool: Any = descriptor_pool.DescriptorPool()
# Messages and enums by full name, with those that are declared inside messages.
DECLARED: Dict[str, Any] = {}
# Of each declaration that has one, by names such as tarn.StatusCodes.ok.
COMMENTS: Dict[str, str] = {}


def bare(full_name: str) -> str:
    """The name without the package."""
    return full_name[len('tarn.'):]


def _collect(scope: str, *declared: Any) -> None:
    for one in declared:
        name = f'{scope}.{one.name}'
        DECLARED[name] = one
        if hasattr(one, 'field'):
            _collect(name, *one.nested_type, *one.enum_type)


def _comments(file: descriptor_pb2.FileDescriptorProto) -> Iterator[Tuple[str, str]]:
    for location in file.source_code_info.location:
        if len(location.path) % 2 or not location.leading_comments:
            continue
        declared: Any = file
        name = file.package
        for number, index in zip(location.path[::2], location.path[1::2]):
            member = declared.DESCRIPTOR.fields_by_number[number].name
            declared = getattr(declared, member)[index]
            name += f'.{declared.name}'
        yield name, inspect.cleandoc(location.leading_comments)


for _file in _FILES:
    _pool.AddSerializedFile(_file.SerializeToString())
    _collect(_file.package, *_file.message_type, *_file.enum_type)
    COMMENTS.update(_comments(_file))


def kind_of(field: Field) -> str:
    """A full name, or the word of the schema for a scalar."""
    return field.type_name[1:] or Field.Type.Name(field.type)[len('TYPE_'):].lower()


def entry_of(field: Field) -> Any:
    """The type of the entries, if the field is a map."""
    if field.type != Field.TYPE_MESSAGE:
        return None
    message = DECLARED[kind_of(field)]
    return message if message.options.map_entry else None


def _words(field: Field) -> str:
    if entry := entry_of(field):
        return f'map of {_words(entry.field[0])} to {_words(entry.field[1])}'
    kind = bare(kind_of(field)) if field.type_name else kind_of(field)
    return ('repeated ' if field.label == Field.LABEL_REPEATED else '') + kind


def _document(made: Any, name: str, members: Iterable[Tuple[str, str]]) -> None:
    made.__module__ = 'tarn'
    made.__doc__ = COMMENTS[name]
    for member, words in members:
        comment = COMMENTS.get(f'{name}.{member}', '').replace('\n', '\n    ')
        made.__doc__ += f'\n\n{member}: {words}\n    {comment}'


class _OpenEnum(enum.IntEnum):
    """Takes every number that a message can carry, as messages do."""

    @classmethod
    def _missing_(cls, value: object) -> Any:
        if not isinstance(value, int) or not -2**31 <= value < 2**31:
            return None
        member = int.__new__(cls, value)
        member._value_ = int(value)
        member._name_ = str(member._value_)
        return member

    def __reduce_ex__(self, protocol: Any) -> Tuple[Any, ...]:
        return type(self), (self._value_,)


def _make_enum(name: str) -> Type[enum.IntEnum]:
    make: Any = _OpenEnum
    values = [(value.name, value.number) for value in DECLARED[name].value]
    made: Type[enum.IntEnum] = make(DECLARED[name].name, values, qualname=bare(name))
    _document(made, name, ((value, str(number)) for value, number in values))
    return made


def _make_type(name: str) -> Type[Message]:
    factory: Any = message_factory
    make = getattr(factory, 'GetMessageClass', None) or factory.MessageFactory(_pool).GetPrototype
    made: Type[Message] = make(_pool.FindMessageTypeByName(name))
    _document(made, name, ((field.name, _words(field)) for field in DECLARED[name].field))
    for inner in DECLARED[name].enum_type:
        setattr(made, inner.name, _make_enum(f'{name}.{inner.name}'))
    return made


# Those that no message holds, by their names without the package.
TYPES = {one.name: _make_type(f'tarn.{one.name}') for file in _FILES for one in file.message_type}
ENUMS = {one.name: _make_enum(f'tarn.{one.name}') for file in _FILES for one in file.enum_type}
# The fields that no program can name, with their messages.
KEYWORDS = [(name, field) for name in TYPES for field in DECLARED[f'tarn.{name}'].field
            if keyword.iskeyword(field.name)]


def type_named(name: str) -> Type[Message]:
    """The type of a name such as "Server" or "tarn.Server".

    LookupError, with the names that come near, where there is none."""
    wanted = bare(name) if name.startswith('tarn.') else name
    if wanted in TYPES:
        return TYPES[wanted]
    near = difflib.get_close_matches(wanted, TYPES)
    hint = f', did you mean {" or ".join(near)}?' if near else ''
    raise LookupError(f'no message type {name!r}{hint}')


def _line(field: Field, owner: Any) -> str:
    label = ''
    if field.label == Field.LABEL_REPEATED:
        lengths = (Field.TYPE_STRING, Field.TYPE_BYTES, Field.TYPE_MESSAGE)
        label = 'repeated ' if field.type in lengths else 'packed '
    line = f'{field.number} {field.name} {label}{kind_of(field)}'
    if field.HasField('oneof_index'):
        line += f' of {owner.oneof_decl[field.oneof_index].name}'
    return line + '\n'


def _cover(name: str, covered: Dict[str, str]) -> None:
    """Adds the text of the type, and of those that it holds."""
    one = DECLARED[name]
    if name in covered:
        return
    if not hasattr(one, 'field'):
        values = sorted((value.number, value.name) for value in one.value)
        covered[name] = f'enum {name}\n' + ''.join(f'{n} {value}\n' for n, value in values)
        return
    fields = sorted(one.field, key=lambda field: int(field.number))
    covered[name] = f'message {name}\n' + ''.join(_line(field, one) for field in fields)
    for field in fields:
        if field.type_name:
            _cover(kind_of(field), covered)


def fingerprint(message_type: Optional[Type[Message]] = None) -> str:
    """What `tarn fingerprint` prints of the schema, or of a type and those that it holds."""
    covered: Dict[str, str] = {}
    for name in [message_type.DESCRIPTOR.full_name] if message_type else DECLARED:
        _cover(name, covered)
    total = zlib.crc32(''.join(covered[name] for name in sorted(covered)).encode())
    return f'{total >> 16:04x}-{total & 0xffff:04x}'
