// Prints spans as lines.
#ifndef TOOLS_TARN_SPAN_TABLE_H_
#define TOOLS_TARN_SPAN_TABLE_H_

#include <cstdint>

#include "input.h"
#include "output.h"
#include "spans.h"

namespace tarn::tool {

// Prints spans as lines: offset, bytes, tag and meaning.
class SpanTable {
 public:
  SpanTable(const Record& record, Output* output);

  void Draw(const Stack& stack, const Span& span);

 private:
  // Writes offset and bytes of one line; returns the first byte of the next.
  const char* Row(const Span& span, const char* p);
  // Removes the blanks after a row that is not full.
  void TrimRow(int bytes);
  void Characters(const char* p, const char* end);
  // Oddities and the error, after the value.
  void Remarks(const Span& span);
  // Number, wire type and length; then the name at its depth, and the value.
  void Describe(const Stack& stack, const Span& span);
  void Value(const Span& span);

  const char* start_;      // of the message
  const uint64_t offset_;  // of the message in its file
  Output& out_;
  const int row_;  // bytes a line
};

}  // namespace tarn::tool

#endif  // TOOLS_TARN_SPAN_TABLE_H_
