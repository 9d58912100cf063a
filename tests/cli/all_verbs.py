"""Every verb of tarn in every form, with what it reads, for tests that let things fail."""
import os

SERVER = b"\x0a\x05North\x10\x01\x22\x01u"
NODES = b"\x0a\x0e\x0a\x0c" + SERVER
REPORT = b"\x0a\x05\x0a\x01a\x10\x01"


def verbs(file):
    """Arguments and standard input; `file` has NODES twice, files go beside it."""
    folder = os.path.dirname(file)
    broken = SERVER + b"\x0a"
    yield ["--version"], b""
    yield ["help"], b""
    yield [], b""
    yield ["no-such-verb"], b""
    yield ["decode", "--help"], b""
    yield ["list"], b""
    yield ["list", "--json"], b""
    yield ["describe", "Server"], b""
    yield ["describe", "Server.status", "--json"], b""
    yield ["describe", "Sever"], b""
    yield ["fingerprint"], b""
    yield ["sample", "network"], b""
    yield ["sample", "Wifi", "--to=json"], b""
    yield ["complete", "--", "decode", ""], b""
    yield ["manual"], b""
    for form in "text", "json", "hex", "binary":
        yield ["decode", "Server", f"--to={form}"], SERVER
    yield ["decode", "Server", "--partial"], broken
    yield ["decode", "Server", "--strict"], SERVER + b"\x78\x01"
    yield ["decode", "Server", "no such file"], b""
    yield ["encode", "Server"], b'name: "x" status: ok'
    yield ["encode", "Server"], b'name: "x" status: wrong'
    yield ["encode", "Server"], b'{"name":"x","status":"ok"}'
    yield ["encode", "Server"], b'{"name":"x","status":"wrong"}'
    yield ["annotate", "Server"], broken
    yield ["annotate", "Server", "--json"], broken
    yield ["check", "ModsConfigured"], NODES + NODES + b"\x78\x01"
    yield ["check", "ModsConfigured", "--json"], NODES + NODES + b"\x78\x01"
    yield ["guess"], NODES
    yield ["guess", "--json"], NODES
    yield ["tree", "--type=ModsConfigured"], NODES
    yield ["tree"], NODES
    yield ["tree", "--dot"], NODES
    yield ["tree", "--json"], NODES
    yield ["what"], NODES
    yield ["what", "--json"], broken
    yield ["what", "--frame=varint"], b"\x0e" + REPORT * 2 + b"\x07" + REPORT
    yield ["what", '{"nmae": ""}'], b""
    yield ["rows", "ModsConfigured", "--table=node"], NODES
    yield ["rows", "NetworkStatusReport", "--to=ndjson"], REPORT
    yield ["rows", "--columns"], b""
    yield ["rows", "ModsConfigured", f"--folder={folder}/rows"], NODES
    yield ["describe", "--json-schema", f"--folder={folder}/schemas"], b""
    yield ["explore", "--print", f"--page={file}", file], b""
    yield ["annotate", "ModsConfigured", file], b""
    yield ["status"], REPORT
    yield ["status", "--json"], REPORT
    yield ["diff", "ModsConfigured", file, "-"], NODES
