// Where the bytes of a message can hold a pass phrase that commands would show.
#ifndef TOOLS_TARN_WHAT_SECRETS_H_
#define TOOLS_TARN_WHAT_SECRETS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "json_writer.h"
#include "output.h"
#include "what_message.h"

namespace tarn::tool {

// The message itself, or an unknown field of it, can be of a type with a pass
// phrase.
struct Secret {
  const Type* type;
  std::string path = {};  // of the unknown field; empty: the message itself
  uint64_t offset = 0;    // of the unknown field
};

// Commands for the type that has it do not show a pass phrase; others do.
std::vector<Secret> SecretsOf(const Answer& answer);

void PrintSecrets(const std::vector<Secret>& secrets, Output* output);
void WriteSecrets(const std::vector<Secret>& secrets, JsonWriter* json);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_WHAT_SECRETS_H_
