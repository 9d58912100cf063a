"""The messages of an electronic price-sign installation.

Each message is a class of Protocol Buffers, each enum an IntEnum that also takes
numbers without a name. help(tarn.Server) shows what the schema says of its fields."""
from typing import Any

from tarn._schema import ENUMS, KEYWORDS, TYPES, fingerprint, type_named
from tarn._stream import MAX_SIZE, DamagedError, parse, read_framed, write_framed

__all__ = ['DamagedError', 'MAX_SIZE', 'TYPES', 'fingerprint', 'parse', 'read_framed',
           'type_named', 'write_framed', *TYPES, *ENUMS]


def _add_accessors(owner: str, name: str) -> None:
    def get(message: Any) -> Any:
        return getattr(message, name)

    def put(message: Any, value: Any) -> None:
        setattr(message, name, value)

    get.__doc__ = put.__doc__ = f'The field {owner}.{name}: a keyword of Python.'
    globals().update({f'get_{owner}_{name}': get, f'set_{owner}_{name}': put})


globals().update(TYPES)
globals().update(ENUMS)
for _owner, _field in KEYWORDS:
    _add_accessors(_owner, _field.name)
