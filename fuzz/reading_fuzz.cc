// Fuzzes the detection of forms: it ends with a form or a sentence, never takes
// what is not there, and what it takes for a form is read alike when the form
// is named. The first byte of the input chooses the message type, the second
// whether all types are tried; the rest is the input.
#include "encoding.h"
#include "forms.h"
#include "reading.h"
#include "target.h"

namespace fuzz {
namespace {

using tarn::tool::Form;
using tarn::tool::InputOptions;
using tarn::tool::NotRead;
using tarn::tool::Reading;
using tarn::tool::Type;
using TypeList = std::vector<const Type*>;

constexpr size_t kMostBytes = 1 << 16;

void CheckInside(const Type& type, std::string_view input) {
  for (const Form& form : tarn::tool::FormsInside(input)) {
    Expect(form.embedded_at + form.embedded_size <= input.size() &&
               form.embedded_size > 0,
           type, "a form inside of a text is at its place");
  }
}

// An input that was taken for a form is read alike when the form is named.
void CheckNamed(const Reading& reading, const TypeList& types,
                std::string_view input) {
  InputOptions named;
  named.max_size = kMostBytes;
  named.from = reading.form;
  try {
    const Reading again = tarn::tool::Read(named, "", types, input);
    Expect(again.form == reading.form, *types[0], "the form that was named");
    Expect(again.bytes == reading.bytes, *types[0], "the same bytes");
  } catch (const NotRead& refused) {
    Expect(false, *types[0], refused.what());
  }
}

}  // namespace

const size_t kOptions = 2;

void Try(std::string_view input) {
  if (input.size() < kOptions) return;
  const Type& type = TypeOf(input);
  // Tables of all types take long: few inputs need them.
  const TypeList types =
      input[1] == '\xFF' ? Types() : TypeList{&type, Types().front()};
  const std::string_view rest = input.substr(kOptions);
  CheckInside(type, rest);
  InputOptions options;
  options.max_size = kMostBytes;
  try {
    const Reading reading = tarn::tool::Read(options, "", types, rest);
    if (reading.binary()) return;
    for (const tarn::tool::Written& written : reading.written) {
      Expect(Parsed(*written.type, written.bytes) != nullptr, *written.type,
             "what was written becomes a message");
    }
    // The numbers of lines can also be digits, as they are where that is said;
    // a mark that the rest is left out is none of a form that is named.
    const auto is = [&](const char* layout) {
      return reading.layout.find(layout) != std::string::npos;
    };
    if (!is("inside other text") && !is("numbered") && !reading.cut) {
      CheckNamed(reading, types, rest);
    }
  } catch (const NotRead& refused) {
    Expect(*refused.what() != '\0', type, "a refusal has a reason");
  }
}

}  // namespace fuzz
