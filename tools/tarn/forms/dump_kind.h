// Dumps that cannot be read, by the programs that print them.
#ifndef TOOLS_TARN_DUMP_KIND_H_
#define TOOLS_TARN_DUMP_KIND_H_

#include <string>
#include <string_view>

namespace tarn::tool {

// What a dump shows instead of hexadecimal digits, and how to make a better
// one; empty if that is not known.
std::string WhyUnreadable(std::string_view dump);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_DUMP_KIND_H_
