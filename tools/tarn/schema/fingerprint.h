// A short checksum of the schema, which people can compare by telephone.
#ifndef TOOLS_TARN_FINGERPRINT_H_
#define TOOLS_TARN_FINGERPRINT_H_

#include <google/protobuf/descriptor.h>

#include <string>

#include "schema.h"

namespace tarn::tool {

// The text whose checksum is taken: one line for each message, enum, field and
// value, with names, numbers and types, sorted by name and number. Comments and
// the order of declarations do not count. `root` selects a message with all
// messages in it; null: the whole schema.
std::string CanonicalSchema(const Schema& schema,
                            const google::protobuf::Descriptor* root);

// The CRC-32 of the canonical schema, as "1a2b-3c4d".
std::string Fingerprint(const Schema& schema,
                        const google::protobuf::Descriptor* root);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_FINGERPRINT_H_
