// Values that are read wrongly where a reader is wrong, and messages of them.
#ifndef TESTS_CONFORMANCE_VALUES_H_
#define TESTS_CONFORMANCE_VALUES_H_

#include <string>
#include <vector>

#include "reference/reference.h"
#include "reference/wire.h"

namespace conformance {

using reference::Field;
using reference::Kind;
using reference::Label;
using reference::Type;
using wire::Writer;

// The bytes of a message with every field set, or with one.
std::string SampleBytes(const Type& type, int depth);
std::string SampleBytes(const Type& type, const Field& field, int depth = 1);

std::string Join(const std::vector<std::string>& parts);

// One record for each field, members of a oneof included.
std::vector<std::string> FieldRecords(const Type& type);

// Canonical messages of a type, small and large.
std::vector<std::string> CanonicalCases(const Type& type);

// Varints that mean something else in 32 bits, in 64, as a boolean, or when
// read in the wrong number of bytes.
std::vector<std::string> Varints();

// Fixed values of four bytes, and some that are cut off.
std::vector<std::string> Fixed32s();

const std::vector<std::string>& BadTexts();
const std::vector<std::string>& GoodTexts();

// Every record that a newer schema may have under one number.
std::vector<std::string> UnknownRecords(int number);

}  // namespace conformance

#endif  // TESTS_CONFORMANCE_VALUES_H_
