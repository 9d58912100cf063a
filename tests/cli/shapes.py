"""Messages of about a size that are hard on who reads them. Each function takes the size and a byte
that makes another message of the same shape."""
from wire import field


def server(uuid, children, name=b''):
    return field(1, field(1, name) + field(4, uuid) + children)


def tree(size, byte):
    """A long uuid above many nodes without one, at many depths."""
    node = b''
    for _ in range(20):
        length = size // 40
        children = field(7, field(2, b'')) * (length // 4) + (field(7, node) if node else b'')
        node = field(2, field(4, byte * length) + children)
    return field(1, node)


def long_name(size, byte):
    children = b''.join(field(7, field(2, field(4, byte + b'%d' % i))) for i in range(size // 20))
    return field(1, server(b'u', children, b'n' * (size // 2)))


def long_port(size, byte):
    half = size // 4
    nodes = field(5, field(2, field(4, byte))) * (half // 8)
    return b''.join(field(1, field(5, nodes + field(6, port * half))) for port in (b'x', b'y'))


def truth_table(size, byte):
    """A long key of an entry with many values."""
    row = field(1, b'k' * (size // 2)) + field(8, byte * (size // 2))
    return field(1, row)


def equal_ids(size, byte):
    return field(1, field(1, b'a') + field(5, byte)) * (size // 8)


def other_order(size, byte):
    ids = [b'%06d' % i for i in range(size // 12)]
    return b''.join(field(1, field(1, i)) for i in (ids if byte == b'\0' else reversed(ids)))


def moved_nodes(size, byte):
    ids = [b'%06d' % i for i in range(size // 16)]
    children = b''.join(field(7, field(2, field(4, i))) for i in ids)
    return field(1, server(byte, children))


def bare_nodes(size, byte):
    return field(1, b'') * (size // 2) if byte == b'\0' else b''


def unknown_fields(size, byte):
    return field(100, byte) * (size // 4)


def empty_nodes(size, byte):
    return field(1, b'') * (size // 2) + field(1, field(1, field(4, byte)))


def deep_nodes(size, byte):
    """Trees of 50 levels, one beside the other."""
    node = field(2, field(4, byte))
    for _ in range(48):
        node = field(2, field(7, node))
    return field(1, node) * (size // len(node))


def equal_keys(size, byte):
    return field(1, field(1, b'key') + field(2, 2)) * (size // 9) + field(3, byte)


def different_keys(size, byte):
    return b''.join(field(1, field(1, b'%06d' % i) + field(2, 2))
                    for i in range(size // 12)) + field(3, byte)


def switches(size, byte):
    """Kinds of a node that replace one another."""
    return field(1, (field(1, b'') + field(2, b'')) * (size // 4) + field(1, field(4, byte)))


def numbers(size, byte):
    return field(1, b'\2' * size) + field(100, byte)


SHAPES = [('ModsConfigured', tree), ('ModsConfigured', long_name), ('ModsConfigured', long_port),
          ('HwIdGroups', truth_table), ('KT4Products', equal_ids), ('KT4Products', other_order),
          ('ModsConfigured', moved_nodes), ('ModsConfigured', bare_nodes),
          ('Server', unknown_fields)]
