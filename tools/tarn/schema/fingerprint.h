// A short checksum of the schema, to be compared over the phone.
#ifndef TOOLS_TARN_FINGERPRINT_H_
#define TOOLS_TARN_FINGERPRINT_H_

#include <google/protobuf/descriptor.h>

#include <string>

#include "schema.h"

namespace tarn::tool {

// What the checksum is taken of, one line for each message, enum, field and
// value: names, numbers and types, ordered by name and number. Comments and the
// order of declaration do not count. `root` selects that message with all it
// embeds; null: the whole schema.
std::string CanonicalSchema(const Schema& schema,
                            const google::protobuf::Descriptor* root);

// The CRC-32 of the canonical schema, as "1a2b-3c4d".
std::string Fingerprint(const Schema& schema,
                        const google::protobuf::Descriptor* root);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_FINGERPRINT_H_
