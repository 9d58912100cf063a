"""What is left of two descriptors once names, numbers, types and order are
compared: options, syntax, imports, services.
"""

from .verdict import Finding, Level

UNKNOWN = "differs in a way that no rule knows"


def without(proto, *fields):
    """A copy without these fields."""
    copy = type(proto)()
    copy.CopyFrom(proto)
    for field in fields:
        copy.ClearField(field)
    return copy


def said(options):
    """The options that say something else than if they were not there."""
    return {field.name: value for field, value in options.ListFields()
            if field.label == field.LABEL_REPEATED
            or value != field.default_value}


def of_options(name, old, new, judged=()):
    """Options that differ; judged are those that another rule compares."""
    before, after = said(old), said(new)
    findings = [Finding(Level.SOURCE, f"{name}: option {option} {UNKNOWN}")
                for option in sorted(before.keys() | after.keys())
                if option not in judged
                and before.get(option) != after.get(option)]
    if not findings and old != new:
        findings = [Finding(Level.IDENTICAL, f"{name}: an option says what "
                            "holds without it")]
    return findings


def of_rest(name, old, new):
    if old == new:
        return []
    return [Finding(Level.SOURCE, f"{name}: {UNKNOWN}")]


def of_field(name, old, new):
    compared = ("name", "number", "label", "type", "type_name", "json_name",
                "oneof_index", "proto3_optional", "options")
    return (of_options(name, old.options, new.options, {"packed"}) +
            of_rest(name, without(old, *compared), without(new, *compared)))


def of_message(name, old, new):
    compared = ("name", "field", "nested_type", "enum_type", "oneof_decl",
                "reserved_range", "reserved_name", "options")
    options = {o.name: o.options for o in new.oneof_decl}
    return (of_options(name, old.options, new.options, {"map_entry"}) +
            of_rest(name, without(old, *compared), without(new, *compared)) +
            [finding for o in old.oneof_decl if o.name in options
             for finding in of_rest(f"{name}.{o.name}", o.options,
                                    options[o.name])])


def of_enum(name, old, new):
    compared = ("name", "value", "reserved_range", "reserved_name", "options")
    values = {v.name: v.options for v in new.value}
    return (of_options(name, old.options, new.options, {"allow_alias"}) +
            of_rest(name, without(old, *compared), without(new, *compared)) +
            [finding for v in old.value if v.name in values
             for finding in of_options(f"{name}.{v.name}", v.options,
                                       values[v.name])])


def of_imports(name, old, new):
    return ([Finding(Level.SOURCE, f"{name}: no longer imports {file}")
             for file in old.dependency if file not in new.dependency] +
            [Finding(Level.ADDITION, f"{name}: imports {file}, so its header "
                     "includes another")
             for file in new.dependency if file not in old.dependency])


def of_services(name, old, new):
    services = {s.name: s for s in old.service}
    return ([Finding(Level.ADDITION, f"{name}: new service {s.name}; it makes "
                     "no code, and the descriptor lists it")
             for s in new.service if s.name not in services] +
            [Finding(Level.SOURCE, f"{name}: service {s.name} went or changed")
             for s in old.service if s not in new.service])


def of_file(name, old, new):
    findings = of_imports(name, old, new) + of_services(name, old, new)
    if old.syntax != new.syntax:
        findings.append(Finding(Level.WIRE, f"{name}: {old.syntax or 'proto2'} "
                                f"became {new.syntax or 'proto2'}: presence, "
                                "UTF-8 and unknown enum numbers differ"))
    if new.options.go_package and not old.options.go_package:
        findings.append(Finding(Level.ADDITION, f"{name}: go_package, which "
                                "nothing but the generator for Go reads"))
        old = without(old)
        old.options.go_package = new.options.go_package
    # Publicly imported files by name: their places move with the imports.
    if not {old.dependency[i] for i in old.public_dependency} <= {
            new.dependency[i] for i in new.public_dependency}:
        findings.append(Finding(Level.SOURCE, f"{name}: a public import went"))
    compared = ("syntax", "message_type", "enum_type", "dependency",
                "public_dependency", "service", "options")
    return (findings + of_options(name, old.options, new.options) +
            of_rest(name, without(old, *compared), without(new, *compared)))


def of_files(old, new):
    """Findings about what two sets say of whole files."""
    now = {file.name: file for file in new.file}
    findings = []
    for file in old.file:
        if file.name in now:
            findings += of_file(file.name, file, now.pop(file.name))
        else:
            findings.append(Finding(Level.SOURCE, f"{file.name}: was removed"))
    return findings + [Finding(Level.ADDITION, f"{name}: new file")
                       for name in now]
