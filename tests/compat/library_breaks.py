"""Changes of the build, each with the options of check-compat to use, its
verdict and a part of the reason."""

import subprocess

from edits import (CMAKE, NEW_MESSAGE, TARN, Edit, Remove, append, edit_in,
                   new_value)

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

# Name, edits, options, verdict, parts of what is said. Edits that go together
# share a build; what each of them must come to is a part of its own.
CASES = [
    # What nobody is hurt by.
    ("nothing_changed", [], [], "identical"),
    ("comment_changed_and_assertions_on_and_built_in_another_folder",
     [Edit(TARN, r"// Price line that is set\.", "// Line of the price."),
      Edit(CMAKE, r":-DNDEBUG>", ":-UNDEBUG>"), ELSEWHERE], AMD64,
     "identical"),
    ("new_message_at_the_end", [append(TARN, NEW_MESSAGE)], [],
     "compatible addition", "tarn.Extra: new message"),
    ("new_enum_and_new_value_at_the_end",
     [append(TARN, "\nenum Extra {\n  nothing = 0;\n}\n"),
      new_value("asleep", 12)], AMD64, "compatible addition",
     "tarn.Extra: new enum", "asleep: new value 12"),

    # Other bytes, or other values for the same bytes.
    ("golden_message_changed",
     [append("corpus/valid/Price/empty.binpb", "!")], [], "wire break",
     "empty.binpb was changed"),
    ("golden_message_removed", [Remove("corpus/rejected")], [], "wire break",
     "was removed"),
    # The code after the generator: nothing but the golden messages can tell.
    ("library_writes_other_bytes",
     [after_generation(
         "s/WriteInt32ToArray.1,.this->_internal_line_num../&+1/",
         "Tarn.pb.cc")], AMD64, "wire break", "corpus/valid/Price"),

    # Programs no longer compile.
    ("field_renamed",
     [edit_in(TARN, "Price", r"set_price = 3", "new_price = 3")], AMD64,
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
           "schemaConfigVersion.cmake VERSION 0.9.9 COMPAT")], AMD64,
     "source break", *(f"source break: install: {what}" for what in (
         "no longer: cmake add_library(schema::schema",
         "no longer: cmake INTERFACE_LINK_LIBRARIES",
         "no longer: cmake INTERFACE_COMPILE_FEATURES",
         "no longer: file include/tarn/Network.pb.h",
         "no longer: file share/tarn/tarn.binpb",
         "no longer: file lib/pkgconfig/schema.pc",
         "cmake/schema/schemaConfigVersion.cmake says 0.9.9"))),
    ("install_says_something_else",
     [after_generation("s/kSetPriceFieldNumber/kNewPriceFieldNumber/g",
                       "Tarn.pb.h"),
      Edit(CMAKE, r"--include_source_info ", ""),
      Edit("packaging/schema.pc.in", r"@PROJECT_VERSION@", "9.9.9")], AMD64,
     "source break", *(f"source break: {what}" for what in (
         "Tarn.pb.h no longer names kSetPriceFieldNumber in Price",
         "install: tarn.binpb is not what the schema files say",
         "install: pkgconfig/schema.pc says 9.9.9"))),
    ("classes_marked_for_export",
     [Edit(CMAKE, r"--cpp_out=\$", "--cpp_out=dllexport_decl=TARN_API:$"),
      compile_with("-DTARN_API=")], AMD64, "source break",
     "programs no longer compile"),

    # Programs that are compiled already no longer run: by the classes.
    ("new_field",
     [edit_in(TARN, "RenameRadio", r"\n}", r"\n  int32 extra = 9;\n}")],
     AMD64, "binary break", "amd64: abidiff"),
    ("other_code_generation",
     [Edit(TARN, r"package tarn;",
           r"\g<0>\noption optimize_for = CODE_SIZE;")], AMD64,
     "binary break", "amd64: abidiff"),
    ("newer_dialect",
     [Edit(CMAKE, r"CXX_STANDARD 11", "CXX_STANDARD 17")], AMD64,
     "binary break", "amd64: abidiff"),
    ("tighter_layout", [compile_with("-fpack-struct=4")], AMD64,
     "binary break", "amd64: abidiff"),
    ("tighter_layout_without_debug_information",
     [compile_with("-fpack-struct=4"), compile_with("-g0")], AMD64, "error",
     "comparison is blind"),
    ("tighter_layout_with_line_numbers_alone",
     [compile_with("-fpack-struct=4"), compile_with("-g1")], AMD64, "error",
     "comparison is blind"),
    ("symbols_hidden_by_default",
     [Edit(CMAKE, r"VISIBILITY_PRESET default", "VISIBILITY_PRESET hidden")],
     AMD64, "binary break", "abidiff"),
    ("descriptor_table_hidden", hide("descriptor_table_Network_2eproto"),
     AMD64, "binary break", "descriptor_table_Network_2eproto"),
    ("default_instance_hidden",
     hide("_ZN4tarn24_Price_default_instance_E"), AMD64, "binary break",
     "_ZN4tarn24_Price_default_instance_E"),
    ("one_class_hidden_on_arm64", hide("_ZN4tarn5Price*"), ARM64,
     "binary break", "arm64: abidiff"),

    # By the file.
    ("other_link_and_compile_flags",
     [drop_flag("-z,nodelete"), ELSEWHERE, link_with("LINKER:-z,nodlopen"),
      drop_flag("-z,noexecstack"), link_with("LINKER:-z,execstack"),
      link_with("LINKER:-rpath,/opt/lib"), link_with(flushes_denormals()),
      Edit(CMAKE, r"SOVERSION \${PROJECT_VERSION_MAJOR}", "SOVERSION 1"),
      link_with("-static-libgcc"),
      link_with("LINKER:--no-as-needed,-lm,--as-needed"),
      compile_with("-march=x86-64-v3")], AMD64, "binary break",
     *(f"binary break: amd64: {what}" for what in (
         "no longer: flags_1 DF_1_NODELETE", "new: flags_1 DF_1_NOOPEN",
         "new: executable stack", "new: runpath /opt/lib",
         "new: runs on loading: set_fast_math", "new: soname libschema.so.1",
         "no longer: needed libgcc_s.so.1", "new: needed libm.so.6",
         "new: compiled with -march=x86-64-v3"))),
    ("other_flags_of_the_packages",
     [package_with("LDFLAGS", "-Wl,-z,lazy -Wl,-z,norelro"),
      package_with("CXXFLAGS", "-march=x86-64-v3")], AMD64, "binary break",
     *(f"binary break: amd64: {what}" for what in (
         "no longer: flags_1 DF_1_NOW",
         "no longer: relocated data read-only",
         "new: compiled with -march=x86-64-v3"))),
    ("other_flags_on_arm64",
     [drop_flag("-z,nodelete"),
      Edit(CMAKE, r"-fno-stack-protector", "-fstack-protector-strong"),
      compile_with("-march=armv8.2-a"),
      link_with("LINKER:-z,max-page-size=4096")], ARM64, "binary break",
     *(f"binary break: arm64: {what}" for what in (
         "no longer: flags_1 DF_1_NODELETE",
         "new: needed ld-linux-aarch64.so.1",
         "new: compiled with -march=armv8.2-a",
         "no longer: loads where pages have 65536 bytes"))),
    ("own_symbols_first",
     [Edit(CMAKE, r"--dynamic-list=\${preemptible}", "-Bsymbolic")], AMD64,
     "binary break", "binary break: amd64: new: flags DF_SYMBOLIC"),
    ("own_data_bound_within_and_another_name",
     [Edit("proto/preemptible.list", r"  _ZN4tarn\*_default_instance_E;\n",
           ""),
      Edit("proto/preemptible.list", r"descriptor_table_\*_2eproto", "none"),
      Edit(CMAKE, r"SKIP_BUILD_RPATH ON", r"\g<0> OUTPUT_NAME message")],
     AMD64, "binary break", *(f"binary break: amd64: {what}" for what in (
         "no longer: found by the loader: _ZN4tarn24_Price_default_instance_E",
         "no longer: found by the loader: descriptor_table_Tarn_2eproto",
         "new: soname libmessage.so.0"))),
    ("protected_symbols",
     [Edit(CMAKE, r"VISIBILITY_PRESET default",
           "VISIBILITY_PRESET protected")], AMD64, "binary break",
     "binary break: amd64: new: symbols of visibility protected"),

    # By running programs.
    ("old_programs_end_on_loading",
     [append("proto/schema.cc",
             "\n#include <cstdlib>\nstatic const int kEnd = (_Exit(3), 0);\n")],
     AMD64, "binary break", "linked against the last release, ends"),
    ("new_programs_need_the_new_library",
     [append("proto/schema.cc", "\nnamespace tarn { void Note() {} }\n"),
      after_generation('"/Price::set_line_num/s/{/{ extern void Note(); '
                       'Note();/"', "Tarn.pb.h")],
     AMD64, "binary break", "with the last release's library ends"),
]
