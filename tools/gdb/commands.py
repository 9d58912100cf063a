"""What gdb offers: the printing of values, a command, a setting.

`print` shows a message where gdb knows its class, which takes the debug
information of the library. `tarn-print` needs none: it finds the class of a
message by its address. Both read memory and call nothing, so that core files do.
Absent fields, and zero and empty ones, are left out, as in the text format.
"""
from memory import Foreign, Unreadable, unpack
from printer import Printer
from schema import schema

import gdb
import gdb.printing


def address_of(value):
    kind = value.type.strip_typedefs().code
    if kind in (gdb.TYPE_CODE_PTR, gdb.TYPE_CODE_INT):
        return int(value)
    if value.address is None:
        raise gdb.GdbError("This value is not in memory.")
    return int(value.address)


def dynamic(known, address):
    """The class of the message at an address; None if there is none."""
    return known.by_vtable.get(unpack("Q", address)[0])


class Shown:
    """A message in a value that gdb prints."""

    def __init__(self, known, address, message, named):
        self.known, self.address, self.expected, self.named = known, address, message, named

    def to_string(self):
        # In a list of frames, as other values of more than one part.
        if gdb.print_options().get("summary"):
            return "..."
        printer = Printer(self.known)
        text = printer.tried(printer.message, self.address, self.expected)
        return f"{self.expected.name} {text}" if self.named else text


class Lookup(gdb.printing.PrettyPrinter):
    """Finds how to print a value of a class of messages, or of their base."""

    def __call__(self, value):
        kind = value.type.strip_typedefs()
        # gdb prints the value that a reference is to, where it knows the class.
        if kind.code in (gdb.TYPE_CODE_REF, gdb.TYPE_CODE_RVALUE_REF):
            kind = kind.target().strip_typedefs()
            if kind.code != gdb.TYPE_CODE_STRUCT or kind.fields():
                return None
            value = value.referenced_value()
        name = kind.tag or ""
        base = name in ("google::protobuf::Message", "google::protobuf::MessageLite")
        if not (base or name.startswith("tarn::")) or value.address is None:
            return None
        try:
            known, address = schema(), int(value.address)
            message = (dynamic(known, address) if base else
                       known.messages.get("." + name.replace("::", ".")))
        except Unreadable:
            return None
        return message and Shown(known, address, message, base)


class PrintCommand(gdb.Command):
    """Print a message that is at an address, whatever is known of its class.
Usage: tarn-print EXPRESSION
EXPRESSION is a message, a reference or a pointer to one, or an address. The
settings of `print`, such as `set print elements`, hold here, too."""

    def __init__(self):
        super().__init__("tarn-print", gdb.COMMAND_DATA, gdb.COMPLETE_EXPRESSION)

    def invoke(self, argument, _):
        try:
            address = address_of(gdb.parse_and_eval(argument))
        except gdb.error as error:
            raise gdb.GdbError(str(error)) from error
        try:
            known = schema()
        except Foreign as error:
            raise gdb.GdbError("Messages are shown on amd64 and 64-bit Arm alone.") from error
        except Unreadable as error:
            raise gdb.GdbError("The program has not loaded libschema.") from error
        try:
            message = dynamic(known, address)
        except Unreadable as error:
            raise gdb.GdbError(f"Cannot read memory at {address:#x}.") from error
        if message is None:
            raise gdb.GdbError(f"There is no message at {address:#x}.")
        gdb.write(Shown(known, address, message, True).to_string() + "\n")


class ShowSecrets(gdb.Parameter):
    """Whether messages are shown with their pass phrases."""

    set_doc = "Show pass phrases in messages, in place of ***."
    show_doc = "Whether pass phrases in messages are shown."

    def __init__(self):
        super().__init__("tarn-show-secrets", gdb.COMMAND_DATA, gdb.PARAM_BOOLEAN)
        self.value = False

    def get_show_string(self, value):
        return f"Pass phrases in messages are shown: {value}."


# gdb loads this file again whenever it starts the program again.
try:
    gdb.parameter("tarn-show-secrets")
except RuntimeError:
    ShowSecrets()
PrintCommand()
gdb.printing.register_pretty_printer(gdb.current_objfile(), Lookup("libschema"), replace=True)
