// Inputs with which targets begin, made of the golden messages.
#ifndef FUZZ_SEEDS_H_
#define FUZZ_SEEDS_H_

#include <functional>
#include <string>

namespace fuzz {

// Calls `visit` for each seed of a target, such as walker_fuzz, with its name.
void ForEachSeed(const std::string& target, const std::string& corpus,
                 const std::function<void(const std::string& name,
                                          const std::string& input)>& visit);

}  // namespace fuzz

#endif  // FUZZ_SEEDS_H_
