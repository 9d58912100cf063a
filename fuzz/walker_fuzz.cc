// Fuzzes the walker against the runtime: both must give the same verdict, and
// the part that is saved of a rejected message must parse. The first byte of
// the input chooses the message type; the rest is the message.
#include "printer.h"
#include "salvage.h"
#include "target.h"
#include "walker.h"

namespace fuzz {
namespace {

using tarn::tool::Type;

struct GoesOnAfterErrors : tarn::tool::WalkVisitor {
  bool Fail(const tarn::tool::Stack& stack, const tarn::tool::Error& error) {
    tarn::tool::ErrorPath(error, stack);
    return true;
  }
};

}  // namespace

const size_t kOptions = 1;

void Try(std::string_view input) {
  if (input.empty()) return;
  const Type& type = TypeOf(input);
  const std::string_view bytes = input.substr(kOptions);

  const bool accepted = Parsed(type, bytes) != nullptr;
  const tarn::tool::Survey survey = tarn::tool::SurveyMessage(type, bytes);
  Expect(survey.accepted == accepted, type, "one verdict");

  // A walk that goes on after errors must end, and give the same verdict.
  GoesOnAfterErrors visitor;
  Expect(tarn::tool::Walk(type, bytes, visitor) == accepted, type,
         "one verdict when going on");
  if (accepted) return;
  const tarn::tool::Damage damage = tarn::tool::FindDamage(type, bytes, 0);
  Expect(damage.offset <= bytes.size(), type, "damage is in the message");
  Expect(Parsed(type, damage.salvaged) != nullptr, type,
         "what is salvaged parses");
}

}  // namespace fuzz
