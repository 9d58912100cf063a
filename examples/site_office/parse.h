// Messages of the schema by the name of their type.
#ifndef SITE_OFFICE_PARSE_H_
#define SITE_OFFICE_PARSE_H_

#include <google/protobuf/message.h>

#include <memory>
#include <string>
#include <string_view>

namespace site_office {

// Hands out an empty message of a type such as "tarn.Prices", or null where
// the schema has no message of that name.
std::unique_ptr<google::protobuf::Message> NewMessage(std::string_view type);

// Parses `bytes` as a message of the named type. On failure returns null and
// says in `reason` why, with the full name of a field whose text is not UTF-8.
std::unique_ptr<google::protobuf::Message> ParseMessage(std::string_view type,
                                                        std::string_view bytes,
                                                        std::string* reason);

// The bytes of a message, the same for equal messages: map entries are sorted.
std::string DeterministicBytes(const google::protobuf::Message& message);

// Keeps what the runtime logs for `ParseMessage` instead of writing it to
// stderr. Call it once, before the first message is parsed.
void CatchRuntimeLog();

}  // namespace site_office

#endif  // SITE_OFFICE_PARSE_H_
