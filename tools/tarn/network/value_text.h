// Values of a message as text of one line. Different values never print alike.
#ifndef TOOLS_TARN_VALUE_TEXT_H_
#define TOOLS_TARN_VALUE_TEXT_H_

#include <google/protobuf/message.h>
#include <google/protobuf/unknown_field_set.h>

#include <functional>
#include <string>
#include <string_view>

namespace tarn::tool {

// Takes text piece by piece, so that no value is copied as a whole.
using TextSink = std::function<void(std::string_view piece)>;

// Text in quotes, safe to print.
void WriteQuoted(std::string_view text, const TextSink& write);

// A field, or with an index an element of a list.
void WriteValue(const google::protobuf::Message& message,
                const google::protobuf::FieldDescriptor& field, int index,
                const TextSink& write);

// All that a message holds: { line_num: 2 product_id: "soup" }
void WriteMessage(const google::protobuf::Message& message,
                  const TextSink& write);

// The bytes of unknown fields, in quotes.
void WriteUnknown(const google::protobuf::UnknownFieldSet& fields,
                  const TextSink& write);

// The beginning of a long text, with its size; a short one as it is.
std::string Shortened(std::string_view text);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_VALUE_TEXT_H_
