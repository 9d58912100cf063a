"""Compares the built library with the last release as a file: what the loader
and the processor read in it.
"""

import re

from elftools.elf.elffile import ELFFile
from elftools.elf.enums import ENUM_DT_FLAGS, ENUM_DT_FLAGS_1
from elftools.elf.relocation import RelocationSection

from .verdict import CannotTell, Finding, Level

# A new message adds more of the first; more of the second do no harm.
MAY_BE_ADDED = FOUND, PAGES = "found by the loader: ", "loads where pages have "

# Sizes of memory pages that systems choose from.
PAGE_SIZES = (4096, 16384, 65536)

# Options of the compiler that exclude no processor of the kind.
HARMLESS = re.compile("-m(tune|memcpy-strategy|memset-strategy|"
                      "branch-protection)=")

TEXT_TAGS = {"DT_NEEDED": "needed", "DT_SONAME": "soname",
             "DT_RPATH": "rpath", "DT_RUNPATH": "runpath"}


def flags(values, tag, names):
    return [f"{tag[3:].lower()} {name}" for name, bit in names.items()
            if isinstance(bit, int) and values.get(tag, 0) & bit]


def dynamic_facts(elf):
    tags = list(elf.get_section_by_name(".dynamic").iter_tags())
    values = {t.entry.d_tag: t.entry.d_val for t in tags}
    lines = [f"{TEXT_TAGS[t.entry.d_tag]} "
             f"{getattr(t, TEXT_TAGS[t.entry.d_tag])}"
             for t in tags if t.entry.d_tag in TEXT_TAGS]
    lines += flags(values, "DT_FLAGS", ENUM_DT_FLAGS)
    lines += flags(values, "DT_FLAGS_1", ENUM_DT_FLAGS_1)
    return lines + [tag[3:].lower() for tag in ("DT_TEXTREL", "DT_SYMBOLIC")
                    if tag in values]


def segment_facts(elf):
    kinds = {s.header.p_type: s.header for s in elf.iter_segments()}
    largest = min(s.header.p_align for s in elf.iter_segments()
                  if s.header.p_type == "PT_LOAD")
    lines = [f"{PAGES}{size} bytes" for size in PAGE_SIZES if size <= largest]
    if "PT_GNU_RELRO" in kinds:
        lines.append("relocated data read-only")
    if "PT_GNU_STACK" not in kinds or kinds["PT_GNU_STACK"].p_flags & 1:
        lines.append("executable stack")
    return lines


def relocations(elf):
    """Each with the symbol that it names, or None."""
    symbols = elf.get_section_by_name(".dynsym")
    for section in elf.iter_sections():
        if isinstance(section, RelocationSection):
            for entry in section.iter_relocations():
                number = entry["r_info_sym"]
                yield entry, symbols.get_symbol(number) if number else None


def target(elf, entry, section):
    """What a relocation puts into a section, which itself holds it if the
    relocation does not."""
    if entry.is_RELA():
        return entry["r_addend"]
    start = entry["r_offset"] - section.header.sh_addr
    return int.from_bytes(section.data()[start:start + elf.elfclass // 8],
                          "little" if elf.little_endian else "big")


def is_own_data(symbol):
    return (symbol is not None and symbol["st_shndx"] != "SHN_UNDEF"
            and symbol["st_info"]["type"] == "STT_OBJECT")


def symbol_facts(elf):
    lines = {FOUND + symbol.name for _, symbol in relocations(elf)
             if is_own_data(symbol)}
    kinds = {s["st_other"]["visibility"] for s in
             elf.get_section_by_name(".dynsym").iter_symbols()}
    return sorted(lines) + [f"symbols of visibility {kind[4:].lower()}"
                            for kind in sorted(kinds)]


def loading_facts(elf, debug):
    """The functions that run on loading."""
    array = elf.get_section_by_name(".init_array")
    names = {s["st_value"]: s.name for s in
             debug.get_section_by_name(".symtab").iter_symbols()
             if s["st_info"]["type"] == "STT_FUNC"}
    start, size = array.header.sh_addr, array.header.sh_size
    started = {names.get(target(elf, entry, array), "a function without a name")
               for entry, _ in relocations(elf)
               if 0 <= entry["r_offset"] - start < size}
    # How many there are for the library's own source depends on the compiler.
    return sorted({"runs on loading: " + re.sub("^_GLOBAL__sub_I.*",
                                                "the library's own", name)
                   for name in started})


def processor_facts(debug):
    """What the compiler was told about the processor, as it noted it down."""
    options = set()
    for unit in debug.get_dwarf_info().iter_CUs():
        producer = unit.get_top_DIE().attributes["DW_AT_producer"].value
        options |= {word for word in producer.decode().split()
                    if word.startswith("-m") and not HARMLESS.match(word)}
    return [f"compiled with {option}" for option in sorted(options)]


def facts(path):
    """The promises that hold for the file, one a line."""
    debug_path = path.with_name("libschema.debug")
    if not debug_path.exists():
        raise CannotTell(f"{path.name} has no debug information beside it")
    with open(path, "rb") as file, open(debug_path, "rb") as debug_file:
        elf, debug = ELFFile(file), ELFFile(debug_file)
        if not debug.has_dwarf_info():
            raise CannotTell("libschema.debug holds no debug information, "
                             "without which a comparison is blind")
        return sorted(dynamic_facts(elf) + segment_facts(elf) +
                      symbol_facts(elf) + loading_facts(elf, debug) +
                      processor_facts(debug))


def compare(processor, old, new):
    return ([Finding(Level.BINARY, f"{processor}: no longer: {fact}")
             for fact in old if fact not in new] +
            [Finding(Level.BINARY, f"{processor}: new: {fact}")
             for fact in new
             if fact not in old and not fact.startswith(MAY_BE_ADDED)])
