// Messages written by people, as text or JSON, turned into wire bytes.
#ifndef TOOLS_TARN_ENCODING_H_
#define TOOLS_TARN_ENCODING_H_

#include <google/protobuf/message.h>

#include <memory>
#include <string>
#include <string_view>

#include "failure.h"
#include "reasons.h"
#include "schema.h"

namespace tarn::tool {

// An empty message of the type.
std::unique_ptr<google::protobuf::Message> NewMessage(const Type& type);

// The wire bytes in their one canonical order: fields by number, maps by key.
std::string Canonical(const google::protobuf::Message& message);
// Canonical bytes of a message that the runtime accepts, with or without its
// unknown fields.
std::string Canonical(const Type& type, std::string_view bytes,
                      bool unknown = true);

// Why text or JSON is no message of a type.
class NotEncoded : public Failure {
 public:
  NotEncoded(const std::string& message, const Refusal& reason)
      : Failure(kMalformed, message), reason_(reason) {}

  const Refusal& reason() const { return reason_; }

 private:
  Refusal reason_;
};

// Canonical bytes of a message in the text format or in JSON. An error throws a
// NotEncoded that begins with `place` and names line and column. A misspelt
// name is an error, and so is nesting that a receiver does not accept. JSON may
// hold
// "@unknown", as tarn writes it: it is left out, with a note on stderr.
std::string EncodeText(const Type& type, std::string_view text,
                       const std::string& place);
std::string EncodeJson(const Type& type, std::string_view json,
                       const std::string& place);

// How much of a text or JSON that is no message of the type could be one: the
// bytes of what is left without names that the type does not have, or about as
// many if a value of JSON is none of its field.
size_t UnderstoodText(const Type& type, std::string_view text);
size_t UnderstoodJson(const Type& type, std::string_view json);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_ENCODING_H_
