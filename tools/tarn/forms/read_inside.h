// Messages that stand inside other text, or several in one text.
#ifndef TOOLS_TARN_READ_INSIDE_H_
#define TOOLS_TARN_READ_INSIDE_H_

#include <string>
#include <string_view>
#include <vector>

#include "forms.h"
#include "reading.h"
#include "schema.h"

namespace tarn::tool {

// The number of a line, from 1.
size_t LineAt(std::string_view input, size_t offset);

// Throws a NotRead for digits whose lines are messages of their own.
void RefuseLines(const std::string& name, const std::vector<const Type*>& types,
                 std::string_view input, const Form& form);

// Reads the only message, or else the only dump, inside other text. Returns
// false if there is none. Throws a NotRead if there are several, or a dump that
// cannot be read.
bool ReadInside(const std::string& name, const std::vector<const Type*>& types,
                std::string_view input, Reading* reading);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_READ_INSIDE_H_
