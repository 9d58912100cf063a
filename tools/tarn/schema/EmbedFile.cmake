# Writes OUTPUT, a source file that holds the bytes of INPUT and the function
# DescriptorSetBytes() that hands them out.
file(READ ${INPUT} digits HEX)
string(REGEX REPLACE "(................................)" "\\1\n" digits "${digits}")
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${digits}")
file(
  WRITE ${OUTPUT}
  "// The descriptor set of the schema files, as it was when the tool was built.
#include \"schema.h\"

namespace tarn::tool {
namespace {
const unsigned char kBytes[] = {
${bytes}
};
}  // namespace

std::string_view DescriptorSetBytes() {
  return {reinterpret_cast<const char*>(kBytes), sizeof kBytes};
}

}  // namespace tarn::tool
")
