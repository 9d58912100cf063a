#!/usr/bin/python3
"""A reader for tarn conform without generated code.

Debian: python3-protobuf
    tarn conform -- /usr/bin/python3 reader.py /usr/share/tarn/tarn.binpb
"""
import base64
import pathlib
import sys
import warnings

from google.protobuf import descriptor_pb2, descriptor_pool, json_format, message_factory
from google.protobuf.message import DecodeError

ERRORS = (DecodeError, UnicodeDecodeError, json_format.ParseError)


def classes(descriptor_set):
    """The message classes by full name, of the two schema files."""
    files = descriptor_pb2.FileDescriptorSet.FromString(descriptor_set).file
    pool = descriptor_pool.DescriptorPool()
    for file in files:
        pool.Add(file)
    names = [f"{file.package}.{message.name}" for file in files for message in file.message_type]
    if hasattr(message_factory, "GetMessageClass"):
        return {n: message_factory.GetMessageClass(pool.FindMessageTypeByName(n)) for n in names}
    factory = message_factory.MessageFactory(pool)
    return {n: factory.GetPrototype(pool.FindMessageTypeByName(n)) for n in names}


def convert(operation, kind, data):
    """What the answer holds."""
    if operation == "from_json":
        return json_format.Parse(data, kind()).SerializeToString(deterministic=True)
    message = kind.FromString(data)
    if operation == "to_json":
        return json_format.MessageToJson(message).encode()
    return message.SerializeToString(deterministic=True)


def answer(operation, kind, data):
    """What comes after the identifier."""
    # One implementation only warns where a message ends before its bytes do.
    with warnings.catch_warnings(record=True) as warned:
        warnings.simplefilter("always")
        try:
            result = convert(operation, kind, data)
        except ERRORS as error:
            return "rejected " + str(error).replace("\n", " ")
    if warned:
        return f"rejected {warned[0].message}"
    return "ok " + base64.b64encode(result).decode()


types = classes(pathlib.Path(sys.argv[1]).read_bytes())
for line in sys.stdin:
    identifier, asked, name, payload = line.rstrip("\n").split(" ")
    print(identifier, answer(asked, types[name], base64.b64decode(payload)), flush=True)
