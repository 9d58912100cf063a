"""Changes of the build and of what it installs, each with its verdict and parts
of the reason. Edits that go together share a build; what each of them must come
to is a part of its own."""

import subprocess

from edits import (CMAKE, NETWORK, NEW_MESSAGE, TARN, Edit, ProtectSymbols,
                   Remove, Run, append, edit_in, new_value)

INSTALL = "packaging/CMakeLists.txt"
AMD64, ARM64 = ["--processor", "amd64"], ["--processor", "arm64"]


def link_with(flag):
    return Edit(CMAKE, r"  LINKER:--as-needed\n", rf"\g<0>  {flag}\n")


def drop_flag(flag):
    return Edit(CMAKE, rf"\n  LINKER:{flag}\b", "")


def compile_with(flag):
    return Edit(CMAKE, r"-fno-semantic-interposition", rf"\g<0> {flag}")


def package_with(variable, flag):
    """A flag of the packages, which come after those of the project."""
    return Edit("debian/rules", r"^%:",
                rf"export DEB_{variable}_MAINT_APPEND = {flag}\n\n\g<0>")


def after_generation(sed_script, file):
    return Edit(CMAKE, r"--include_source_info \${schema_files}",
                rf"\g<0>\n  COMMAND sed -i {sed_script} "
                rf"${{generated_dir}}/tarn/{file}")


def hide(symbols):
    """A version script that takes symbols out of the interface."""
    return [append("packaging/hide.map", f"{{ local: {symbols}; }};\n"),
            link_with("LINKER:--version-script="
                      "${PROJECT_SOURCE_DIR}/packaging/hide.map")]


def flushes_denormals():
    """What -ffast-math links into a library, by compilers up to g++ 12."""
    return subprocess.run(["g++", "-print-file-name=crtfastmath.o"], check=True,
                          stdout=subprocess.PIPE,
                          encoding="utf-8").stdout.strip()


ELSEWHERE = Edit(CMAKE, r"LIBRARY_OUTPUT_DIRECTORY \${PROJECT_BINARY_DIR}",
                 r"\g<0>/elsewhere")

# In an install.
HEADER = "include/tarn/Tarn.pb.h"
LIBDIR = "lib/x86_64-linux-gnu"


def second_source(text):
    """Code beside the generated code, which is not compiled again."""
    return [append("proto/second.cc", text),
            Edit(CMAKE, r"SHARED schema\.cc", r"\g<0> second.cc")]


# For script/check-compat as a whole, in a clean copy: name, edits, options,
# verdict, parts of what is said.
CHECKED = [
    ("comment_changed_and_assertions_on_and_built_in_another_folder",
     [Edit(TARN, r"// Price line that is set\.", "// Line of the price."),
      Edit(CMAKE, r":-DNDEBUG>", ":-UNDEBUG>"), ELSEWHERE], [],
     "identical"),
    ("new_message_and_new_enum_and_new_value_at_the_end",
     [append(TARN, NEW_MESSAGE),
      append(TARN, "\nenum More {\n  nothing = 0;\n}\n"),
      new_value("asleep", 12)], [], "compatible addition",
     "tarn.Extra: new message", "tarn.More: new enum",
     "asleep: new value 12", "amd64: new symbols", "arm64: new symbols"),
    ("golden_message_changed",
     [append("corpus/valid/Price/empty.binpb", "!")], [], "wire break",
     "empty.binpb was changed"),
    ("golden_message_removed", [Remove("corpus/rejected")], [], "wire break",
     "was removed"),
    ("other_flags_of_the_project_and_the_packages",
     [drop_flag("-z,nodelete"), ELSEWHERE, link_with("LINKER:-z,nodlopen"),
      drop_flag("-z,noexecstack"), link_with("LINKER:-z,execstack"),
      link_with("LINKER:-rpath,/opt/lib"), link_with(flushes_denormals()),
      Edit(CMAKE, r"SOVERSION \${PROJECT_VERSION_MAJOR}", "SOVERSION 1"),
      link_with("-static-libgcc"),
      link_with("LINKER:--no-as-needed,-lm,--as-needed"),
      compile_with("-mavx"),
      package_with("LDFLAGS", "-Wl,-z,lazy -Wl,-z,norelro"),
      package_with("CXXFLAGS", "-march=x86-64-v3")], AMD64, "binary break",
     *(f"binary break: amd64: {what}" for what in (
         "no longer: flags_1 DF_1_NODELETE", "new: flags_1 DF_1_NOOPEN",
         "new: executable stack", "new: runpath /opt/lib",
         "new: runs on loading: set_fast_math", "new: soname libschema.so.1",
         "no longer: needed libgcc_s.so.1", "new: needed libm.so.6",
         "new: compiled with -mavx",
         "no longer: flags_1 DF_1_NOW",
         "no longer: relocated data read-only",
         "new: compiled with -march=x86-64-v3"))),
    ("other_flags_and_a_class_hidden_on_arm64",
     [drop_flag("-z,nodelete"),
      Edit(CMAKE, r"-fno-stack-protector", "-fstack-protector-strong"),
      compile_with("-march=armv8.2-a"),
      link_with("LINKER:-z,max-page-size=4096"), *hide("_ZN4tarn5Price*")],
     ARM64, "binary break", *(f"binary break: arm64: {what}" for what in (
         "no longer: flags_1 DF_1_NODELETE",
         "new: needed ld-linux-aarch64.so.1",
         "new: compiled with -march=armv8.2-a",
         "no longer: loads where pages have 65536 bytes", "abidiff")),
     "[D] 'method tarn::Price::Price"),
]

# For a build of this processor that is there already: name, edits of its
# sources, edits of what it installs, verdict, parts of what is said.
REBUILT = [
    # The code after the generator: nothing but the golden messages can tell.
    ("library_writes_other_bytes",
     [after_generation(
         "s/WriteInt32ToArray.1,.this->_internal_line_num../&+1/",
         "Tarn.pb.cc")], [], "wire break", "corpus/valid/Price"),

    # Programs no longer compile.
    ("field_renamed",
     [edit_in(TARN, "Price", r"set_price = 3", "new_price = 3")], [],
     "source break", "set_price: renamed"),
    ("install_lacks_what_programs_use",
     [Edit(INSTALL, r"NAMESPACE schema::", "NAMESPACE tarn::"),
      Edit(CMAKE, r"schema PUBLIC protobuf", "schema PRIVATE protobuf"),
      Edit(CMAKE, r"INTERFACE cxx_std_11", "INTERFACE cxx_std_20"),
      Edit(CMAKE, r"FILES \${headers}",
           "FILES ${generated_dir}/tarn/Tarn.pb.h"),
      Edit(INSTALL, r"\n *\${PROJECT_BINARY_DIR}/generated/tarn/tarn.binpb",
           ""),
      Edit(INSTALL, r"schema\.pc (DESTINATION \${pkgconfig_dir})",
           r"schema.pc \g<1> RENAME libschema.pc"),
      Edit(INSTALL, r"schemaConfigVersion.cmake COMPAT",
           "schemaConfigVersion.cmake VERSION 0.9.9 COMPAT")], [],
     "source break", *(f"source break: install: {what}" for what in (
         "no longer: cmake add_library(schema::schema",
         "no longer: cmake INTERFACE_LINK_LIBRARIES",
         "no longer: cmake INTERFACE_COMPILE_FEATURES",
         "no longer: file include/tarn/Network.pb.h",
         "no longer: file share/tarn/tarn.binpb",
         "no longer: file lib/pkgconfig/schema.pc",
         "cmake/schema/schemaConfigVersion.cmake says 0.9.9"))),
    ("install_says_something_else", [],
     [Edit(HEADER, r"kSetPriceFieldNumber", "kNewPriceFieldNumber", 0),
      Run("protoc", "-Ishare/tarn", "-oshare/tarn/tarn.binpb", "Tarn.proto",
          "Network.proto"),
      Edit(f"{LIBDIR}/pkgconfig/schema.pc", r"^Version: .*?$",
           "Version: 9.9.9")],
     "source break", *(f"source break: {what}" for what in (
         "Tarn.pb.h no longer names kSetPriceFieldNumber in Price",
         "install: tarn.binpb is not what the schema files say",
         "install: pkgconfig/schema.pc says 9.9.9"))),
    ("classes_marked_for_export", [],
     [Edit(HEADER, r"^class (\w+) final", r"class TARN_API \g<1> final", 0)],
     "source break", "programs no longer compile"),

    # Programs that are compiled already no longer run: by the classes.
    ("new_field_and_smaller_code_and_newer_dialect",
     [edit_in(TARN, "RenameRadio", r"\n}", r"\n  int32 extra = 9;\n}"),
      Edit(NETWORK, r"package tarn;",
           r"\g<0>\noption optimize_for = CODE_SIZE;"),
      Edit(CMAKE, r"CXX_STANDARD 11", "CXX_STANDARD 17")], [],
     "binary break", "amd64: abidiff", "'class tarn::RenameRadio' changed",
     "[D] 'method virtual void tarn::AddressingStatus::Clear()'",
     "[D] _ZN4tarn4Font4BoldE"),
    ("tighter_layout", [compile_with("-fpack-struct=4")], [],
     "binary break", "amd64: abidiff"),
    ("tighter_layout_with_line_numbers_alone",
     [compile_with("-fpack-struct=4"), compile_with("-g1")], [], "error",
     "comparison is blind"),
    ("no_debug_information", [],
     [Run("strip", "--strip-debug", f"{LIBDIR}/libschema.debug")], "error",
     "comparison is blind"),
    ("all_symbols_hidden", hide("*"), [], "binary break", "amd64: abidiff"),
    ("descriptor_table_and_default_instance_hidden",
     hide("descriptor_table_Network_2eproto; "
          "_ZN4tarn24_Price_default_instance_E"), [], "binary break",
     "amd64: abidiff",
     "no longer: found by the loader: descriptor_table_Network_2eproto",
     "no longer: found by the loader: _ZN4tarn24_Price_default_instance_E"),

    # By the file.
    ("own_symbols_first",
     [Edit(CMAKE, r"--dynamic-list=\${preemptible}", "-Bsymbolic")], [],
     "binary break", "binary break: amd64: new: flags DF_SYMBOLIC"),
    ("own_data_bound_within_and_another_name",
     [Edit("proto/preemptible.list", r"  _ZN4tarn\*_default_instance_E;\n",
           ""),
      Edit("proto/preemptible.list", r"descriptor_table_\*_2eproto", "none"),
      Edit(CMAKE, r"SKIP_BUILD_RPATH ON", r"\g<0> OUTPUT_NAME message")], [],
     "binary break", *(f"binary break: amd64: {what}" for what in (
         "no longer: found by the loader: _ZN4tarn24_Price_default_instance_E",
         "no longer: found by the loader: descriptor_table_Tarn_2eproto",
         "new: soname libmessage.so.0"))),
    ("protected_symbols", [], [ProtectSymbols(f"{LIBDIR}/libschema.so.0")],
     "binary break",
     "binary break: amd64: new: symbols of visibility protected"),

    # By running programs.
    ("old_programs_end_on_loading",
     second_source("#include <cstdlib>\n"
                   "static const int kEnd = (_Exit(3), 0);\n"), [],
     "binary break", "linked against the last release, ends"),
    ("new_programs_need_the_new_library",
     second_source("namespace tarn { void Note() {} }\n"),
     [Edit(HEADER, r"inline void Price::set_line_num\([^)]*\) {",
           r"\g<0> extern void Note(); Note();")],
     "binary break", "with the last release's library ends"),
]
