// Prints spans as JSON.
#ifndef TOOLS_TARN_SPAN_JSON_H_
#define TOOLS_TARN_SPAN_JSON_H_

#include <cstdint>

#include "input.h"
#include "json_writer.h"
#include "spans.h"

namespace tarn::tool {

// Prints spans as the elements of a JSON list.
class SpanJson {
 public:
  SpanJson(const Record& record, JsonWriter* json)
      : start_(record.bytes.data()), offset_(record.offset), json_(*json) {}

  void Draw(const Stack& stack, const Span& span);

 private:
  void Describe(const Stack& stack, const Span& span);
  void Value(const Span& span);
  void Notes(const Span& span);

  const char* start_;      // of the message
  const uint64_t offset_;  // of the message in its file
  JsonWriter& json_;
};

}  // namespace tarn::tool

#endif  // TOOLS_TARN_SPAN_JSON_H_
