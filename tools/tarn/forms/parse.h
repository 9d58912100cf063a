// Message objects, for commands that need the whole message at once.
#ifndef TOOLS_TARN_PARSE_H_
#define TOOLS_TARN_PARSE_H_

#include <google/protobuf/arena.h>
#include <google/protobuf/message.h>

#include <memory>

#include "input.h"
#include "schema.h"

namespace tarn::tool {

// The message of a record. Null if the runtime rejects it; stderr then says
// where and why.
std::unique_ptr<google::protobuf::Message> ParseRecord(
    const InputOptions& options, const Type& type, const Record& record);

// The same on an arena, which is faster and frees the message.
const google::protobuf::Message* ParseRecord(const InputOptions& options,
                                             const Type& type,
                                             const Record& record,
                                             google::protobuf::Arena* arena);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_PARSE_H_
