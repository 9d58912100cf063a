// Fuzzes the walker against the runtime: both must give the same verdict, and
// the part that is saved of a rejected message must parse. The first byte of
// the input chooses the message type; the rest is the message.
#include <google/protobuf/message.h>

#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "encoding.h"
#include "printer.h"
#include "salvage.h"
#include "walker.h"

namespace {

using tarn::tool::Schema;
using tarn::tool::Type;

[[noreturn]] void Fail(const Type& type, const char* what) {
  std::fprintf(stderr, "%s: %s\n", type.descriptor->full_name().c_str(), what);
  std::abort();
}

struct GoesOnAfterErrors : tarn::tool::WalkVisitor {
  bool Fail(const tarn::tool::Stack& stack, const tarn::tool::Error& error) {
    tarn::tool::ErrorPath(error, stack);
    return true;
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static Schema* schema = [] {
    google::protobuf::SetLogHandler(nullptr);
    return new Schema();
  }();
  static const auto& messages =
      *new std::vector<const google::protobuf::Descriptor*>(schema->Messages());
  if (size == 0) return 0;
  const Type& type = schema->Table(*messages[data[0] % messages.size()]);
  const std::string_view bytes(reinterpret_cast<const char*>(data) + 1,
                               size - 1);

  const auto message = tarn::tool::NewMessage(type);
  const bool accepted = message->ParseFromArray(bytes.data(), bytes.size());
  const tarn::tool::Survey survey = tarn::tool::SurveyMessage(type, bytes);
  if (survey.accepted != accepted) Fail(type, "another verdict");

  // A walk that goes on after errors must end, and give the same verdict.
  GoesOnAfterErrors visitor;
  if (tarn::tool::Walk(type, bytes, visitor) != accepted) {
    Fail(type, "another verdict when going on");
  }
  if (accepted) return 0;
  const tarn::tool::Damage damage = tarn::tool::FindDamage(type, bytes, 0);
  if (!message->ParseFromString(damage.salvaged)) {
    Fail(type, "what is salvaged does not parse");
  }
  return 0;
}
