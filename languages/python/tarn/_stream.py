"""Messages from bytes, and streams of messages that have their lengths in front of them."""
from typing import IO, Any, Dict, Iterable, Iterator, List, Literal, Optional, Tuple, Type, TypeVar

from google.protobuf.internal import api_implementation
from google.protobuf.message import DecodeError, Message

M = TypeVar('M', bound=Message)
MAX_SIZE = 64 << 20
# The runtime counts the bytes of a message in 31 bits.
_MOST = 2**31 - 1
_CHUNK = 1 << 20
# The largest number that a field can have, without bytes.
_LAST_FIELD = b'\xfa\xff\xff\xff\x0f\x00'
_ORDER: Dict[str, Literal['big', 'little']] = {'u32be': 'big', 'u32le': 'little'}


class DamagedError(ValueError):
    """Bytes that are no message.

    In a stream, `record` is the number of the record, from 1, and `offset` the byte
    where the message begins or, if its length is what is wrong, where that begins."""

    def __init__(self, reason: str, record: int = 0, offset: int = 0) -> None:
        place = f'record {record}: byte {offset}: ' if record else ''
        super().__init__(place + reason)
        self.reason, self.record, self.offset = reason, record, offset


def _order(frame: str) -> Literal['big', 'little']:
    if frame not in _ORDER:
        raise ValueError(f'no frame {frame!r}, only varint, u32be and u32le')
    return _ORDER[frame]


def _stopped_early(message: Message, data: bytes) -> bool:
    """Protobuf 3.20 and 3.21 in C++ stop without an error where a group ends that was
    not opened. A field that follows all others is then not read."""
    if api_implementation.Type() != 'cpp':
        return False
    longer: Any = type(message)()
    longer.ParseFromString(data + _LAST_FIELD)
    shorter: Any = message
    return len(longer.UnknownFields()) == len(shorter.UnknownFields())


def parse(message_type: Type[M], data: bytes) -> M:
    """Reads a message; DamagedError where the bytes are none.

    It is as strict in every implementation of the runtime, unlike FromString."""
    try:
        message = message_type()
        message.ParseFromString(data)
        if _stopped_early(message, data):
            raise DamagedError('a group ends that was not opened')
        return message
    except RecursionError as error:
        raise DamagedError('nested too deep') from error
    # The last two where the program makes errors of warnings.
    except (DecodeError, UnicodeDecodeError, RuntimeWarning, SystemError) as error:
        raise DamagedError(str(error.__cause__ or error)) from error


def _read(stream: IO[bytes], size: int) -> bytes:
    """Fewer bytes only at the end. Room is made as they come, not as announced."""
    parts: List[bytes] = []
    while size > 0:
        part = stream.read(min(size, _CHUNK))
        if part is None:
            raise BlockingIOError('the stream has no bytes yet')
        if not part:
            break
        parts.append(part)
        size -= len(part)
    return b''.join(parts)


def _read_header(stream: IO[bytes], frame: str) -> Tuple[bytes, Optional[int]]:
    """The header, and the length that it announces; None where it is not whole."""
    if frame != 'varint':
        order = _order(frame)
        header = _read(stream, 4)
        return header, int.from_bytes(header, order) if len(header) == 4 else None
    header = byte = _read(stream, 1)
    while byte and byte[0] >= 0x80 and len(header) < 10:
        byte = _read(stream, 1)
        header += byte
    if not byte or byte[0] >= 0x80:
        return header, None
    bits = sum((byte & 0x7F) << 7 * i for i, byte in enumerate(header))
    return header, bits & (2**64 - 1)


def _header(size: int, frame: str) -> bytes:
    if frame != 'varint':
        return size.to_bytes(4, _order(frame))
    header = b''
    while size >= 0x80:
        header += bytes([size & 0x7F | 0x80])
        size >>= 7
    return header + bytes([size])


def read_framed(stream: IO[bytes], message_type: Type[M], frame: str = 'varint',
                max_size: int = MAX_SIZE) -> Iterator[M]:
    """Yields the messages of a binary stream; only one of them is in memory.

    DamagedError, after the messages before it, for one that is cut off, that has
    more than `max_size` bytes, or that is no message of the type."""
    most = min(max_size, _MOST)
    record, offset = 1, 0
    while (found := _read_header(stream, frame))[0]:
        header, size = found
        if size is None:
            raise DamagedError('a frame longer than ten bytes' if len(header) == 10
                               else 'cut off inside the frame', record, offset)
        if size > most:
            raise DamagedError(f'message of {size} bytes: more than {most} bytes',
                               record, offset)
        data = _read(stream, size)
        if len(data) < size:
            raise DamagedError(f'cut off inside the message: {len(data)} of its {size} '
                               'bytes are there', record, offset)
        offset += len(header)
        try:
            message = parse(message_type, data)
        except DamagedError as error:
            raise DamagedError(error.reason, record, offset) from error.__cause__
        yield message
        offset += size
        record += 1


def write_framed(stream: IO[bytes], messages: Iterable[Message], frame: str = 'varint') -> None:
    """Writes each message with its length in front of it, the same bytes every time."""
    for message in messages:
        data = message.SerializeToString(deterministic=True)
        left = memoryview(_header(len(data), frame) + data)
        while left:
            left = left[stream.write(left):]
