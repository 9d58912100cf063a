// How hostile messages are made: each kind from the rules of the wire format.
#include "hostile.h"

namespace fleet {
namespace {

// A field whose value is text or a message: its tag, its length, its bytes.
std::string Field(int number, const std::string& value) {
  std::string field(1, static_cast<char>(number << 3 | 2));
  size_t length = value.size();
  for (; length >= 0x80; length >>= 7) {
    field += static_cast<char>(0x80 | (length & 0x7f));
  }
  return field + static_cast<char>(length) + value;
}

std::string RandomBytes(int size, Chance* chance) {
  std::string bytes;
  while (bytes.size() < static_cast<size_t>(size)) {
    bytes += static_cast<char>(chance->Next());
  }
  return bytes;
}

// A tree of one server radio in another, `levels` of them.
std::string Nested(int levels) {
  std::string node;
  for (int i = 0; i < levels; ++i) node = Field(1, Field(1, Field(7, node)));
  return node;
}

// A tree of one server radio with this name.
std::string Named(const std::string& name) {
  return Field(1, Field(1, Field(1, name)));
}

std::string Repeated(const std::string& part, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += part;
  return all;
}

}  // namespace

HostileMessage MakeHostile(int number, const std::string& site,
                           size_t too_large, Chance* chance) {
  const std::string of_site = "tarn.v0." + site + ".";
  const std::string tree = of_site + "ModsConfigured";
  const std::string whole = Named("Roof radio");
  switch (number % 12) {
    case 0:
      return {tree, RandomBytes(1 + chance->Below(2000), chance),
              Fate::kEither};
    case 1:  // cut off
      return {tree, whole.substr(0, whole.size() - 1), Fate::kRejected};
    case 2:  // not UTF-8
      return {tree, Named("\xc3\x28"), Fate::kRejected};
    case 3:  // deeper than the runtime reads
      return {tree, Nested(200), Fate::kRejected};
    case 4:
      return {of_site + "Nonsense", whole, Fate::kRejected};
    case 5:
      return {tree, "", Fate::kEither};
    case 6:  // a long name that tries to change the terminal
      return {tree, Named(Repeated("\x1b[2J\xe2\x80\xae\n", 2000)),
              Fate::kStored};
    case 7:  // many nodes in few bytes
      return {tree, Repeated(std::string("\x0a\0", 2), 50000), Fate::kEither};
    case 8:  // field number 0
      return {tree, std::string(100000, '\0'), Fate::kRejected};
    case 9:
      return {tree, std::string(too_large, '\0'), Fate::kRejected};
    case 10:  // something else in front
      return {tree, RandomBytes(8, chance) + whole, Fate::kEither};
    default:  // no site can have this name
      return {"tarn.v0.%" + site + ".ModsConfigured", whole, Fate::kRejected};
  }
}

}  // namespace fleet
