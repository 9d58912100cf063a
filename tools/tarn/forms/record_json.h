// The members that the JSON of every message has.
#ifndef TOOLS_TARN_RECORD_JSON_H_
#define TOOLS_TARN_RECORD_JSON_H_

#include "input.h"
#include "json_writer.h"

namespace tarn::tool {

// Writes "record" for a message of a stream, "offset" and "size".
void WriteRecord(const Record& record, JsonWriter* json);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_RECORD_JSON_H_
