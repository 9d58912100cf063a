// What fuzz targets share. Each target defines fuzz::Try() and kOptions.
#ifndef FUZZ_TARGET_H_
#define FUZZ_TARGET_H_

#include <google/protobuf/message.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "output.h"
#include "schema.h"

namespace fuzz {

// Tries an input, which ends the program if it breaks what the target holds.
void Try(std::string_view input);

// How many bytes of an input come before a message: the first of them chooses
// its type, the others what is done with it.
extern const size_t kOptions;

tarn::tool::Schema* TheSchema();

// All message types, and the one that the first byte of an input chooses.
const std::vector<const tarn::tool::Type*>& Types();
const tarn::tool::Type& TypeOf(std::string_view input);

// Ends the program unless a promise holds; says what is broken.
void Expect(bool holds, const tarn::tool::Type& type, const char* promise);

// The message in the bytes; null if the runtime refuses them.
std::unique_ptr<google::protobuf::Message> Parsed(const tarn::tool::Type& type,
                                                  std::string_view bytes);

// Makes every NaN the same: text, JSON and rows do not keep its bits.
void PlainNans(google::protobuf::Message* message);

// What a function prints.
std::string Printed(const std::function<void(tarn::tool::Output*)>& print);

}  // namespace fuzz

#endif  // FUZZ_TARGET_H_
