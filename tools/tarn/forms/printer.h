// Messages as text or JSON, written straight from their wire bytes.
#ifndef TOOLS_TARN_PRINTER_H_
#define TOOLS_TARN_PRINTER_H_

#include <string_view>

#include "output.h"
#include "schema.h"
#include "walker.h"

namespace tarn::tool {

struct PrintStyle {
  bool pretty = false;  // JSON over many lines; text always is
  bool show_secrets = false;
  bool unknown = true;  // whether unknown fields are shown
  // Masks all values, because a pass phrase may be anywhere in the message.
  bool mask_all = false;
};

// What a walk over a message finds before anything is printed.
struct Survey {
  bool accepted = false;
  // Whether fields are in order, no singular field comes twice and there are no
  // maps. Then printing the fields one by one gives the same as the runtime
  // prints for the parsed message.
  bool plain = true;
  bool unknown = false;     // fields that the schema does not have
  bool undeclared = false;  // enum numbers that the schema does not have
};

Survey SurveyMessage(const Type& type, std::string_view bytes);

// Prints a message that the runtime accepts. The content is the same as the
// runtime prints: a field that is set twice appears once, and zero does not
// appear. Text shows unknown fields and undeclared numbers as comments in their
// place. JSON lists them after the fields, in a member "@unknown". No field can
// have that name, and no other reader of such JSON accepts it. JSON ends in a
// line feed.
void PrintText(const Type& type, std::string_view bytes, const Survey& survey,
               const PrintStyle& style, Output* output);
void PrintJson(const Type& type, std::string_view bytes, const Survey& survey,
               const PrintStyle& style, Output* output);

// The value of an integer, bool or enum field; an enum by name where it has
// one.
void PrintNumber(const Field& field, uint64_t value, Output* output);

// The float whose bits a fixed 32-bit value holds.
float FloatOf(uint64_t bits);

// A float in JSON: a number, or "NaN", "Infinity" or "-Infinity".
void PrintJsonFloat(float value, Output* output);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_PRINTER_H_
