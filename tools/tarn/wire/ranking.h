// Which type some bytes have: how well each type explains them, and the ranking
// that all commands use.
#ifndef TOOLS_TARN_RANKING_H_
#define TOOLS_TARN_RANKING_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "schema.h"

namespace tarn::tool {

// What speaks for and against a type.
struct Evidence {
  bool accepted = false;
  uint64_t size = 0;         // of the bytes that were looked at
  uint64_t explained = 0;    // bytes up to the first error, if there is one
  uint64_t unexplained = 0;  // bytes after an error, and of what is unknown,
                             // undeclared or strange
  int fields = 0;            // with a name
  int unknown = 0;
  int misplaced = 0;  // of these, known fields with another wire type
  int undeclared = 0;
  int strange_texts = 0;  // with control characters
  int uuids = 0;          // where a uuid belongs
  int no_uuids = 0;       // another text where a uuid belongs
  int disorder = 0;       // fields out of the usual order
  bool bad_utf8 = false;  // is the first error
};

struct Candidate {
  const Type* type;
  Evidence evidence;
};

// `cut`: the bytes are only the beginning of a message, so an early end is no
// error.
Evidence Weigh(const Type& type, std::string_view bytes, bool cut = false);

// Whether the type accounts for every byte, and nothing is odd about it.
bool IsClean(const Evidence& evidence);

// Types, the likeliest first. Types that the evidence cannot tell apart keep
// the order in which they were given.
std::vector<Candidate> Rank(const std::vector<const Type*>& types,
                            std::string_view bytes, bool cut = false);

void Sort(std::vector<Candidate>* candidates);

// Whether the evidence cannot tell two candidates apart.
bool EquallyLikely(const Candidate& a, const Candidate& b);

// The most likely of ranked candidates: several if nothing tells them apart,
// none if no type explains the bytes well.
std::vector<const Type*> Verdict(const std::vector<Candidate>& ranked);

// Every message type of the schema.
std::vector<const Type*> AllTypes(Schema* schema);

// "Server", "Server or Client", "Server, Client or Display".
std::string NamesOf(const std::vector<const Type*>& types);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_RANKING_H_
