// The types that some bytes can be, as lines for people and as JSON.
#ifndef TOOLS_TARN_CANDIDATES_H_
#define TOOLS_TARN_CANDIDATES_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "json_writer.h"
#include "output.h"
#include "ranking.h"

namespace tarn::tool {

// "1 field", "2 fields".
std::string Count(uint64_t count, const std::string& what);

// A candidate that is shown. Candidates that the evidence cannot tell apart
// have the same rank.
struct RankedCandidate {
  size_t rank;
  const Candidate* candidate;
};

// The first `most` of the sorted candidates.
std::vector<RankedCandidate> FirstCandidates(
    const std::vector<Candidate>& candidates, size_t most);

// How many candidates nothing tells from the first, with it.
size_t CountLevel(const std::vector<Candidate>& candidates);

// Where the rest of a candidate's line goes on, if it is long.
inline constexpr size_t kCandidateIndent = 7;

// The columns of the longest name of the first `count`.
size_t WidthOf(const std::vector<Candidate>& candidates, size_t count);

// A line: "  1  Server  parses fully, 2 fields", with the name in `width`
// columns.
void PrintCandidate(const RankedCandidate& shown, std::string_view bytes,
                    size_t width, Output* output);
// The members "candidates" and "omitted" of an object. `offset` is that of the
// message in its file.
void WriteCandidates(const std::vector<RankedCandidate>& shown, size_t omitted,
                     std::string_view bytes, uint64_t offset, JsonWriter* json);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_CANDIDATES_H_
