// For the runtime's tokenizer and parser where their messages are not needed.
#ifndef TOOLS_TARN_IGNORE_ERRORS_H_
#define TOOLS_TARN_IGNORE_ERRORS_H_

#include <google/protobuf/io/tokenizer.h>

#include <string>

namespace tarn::tool {

class IgnoreErrors : public google::protobuf::io::ErrorCollector {
 public:
  void AddError(int, int, const std::string&) override {}
};

}  // namespace tarn::tool

#endif  // TOOLS_TARN_IGNORE_ERRORS_H_
