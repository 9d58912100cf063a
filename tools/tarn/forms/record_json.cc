// Says which message of the input an object is about.
#include "record_json.h"

namespace tarn::tool {

void WriteRecord(const Record& record, JsonWriter* json) {
  if (record.number > 0) json->Key("record").Number(record.number);
  json->Key("offset").Number(record.offset);
  json->Key("size").Number(record.bytes.size());
}

}  // namespace tarn::tool
