// Commands for the build and for shells. They are not verbs: no help shows
// them, and only files of this project may rely on them.
#ifndef TOOLS_TARN_HIDDEN_H_
#define TOOLS_TARN_HIDDEN_H_

#include <vector>

#include "command.h"

namespace tarn::tool {

// Prints the section of the manual page on the verbs, as roff.
void PrintManual(const std::vector<Command>& commands);

// Prints the candidates for the last of the words after "tarn", which may be
// unfinished or empty. Each line holds a candidate, a tab and a description. A
// line "files" without a tab says that the name of a file is possible, too.
void PrintCandidates(const std::vector<Command>& commands,
                     const Arguments& words);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_HIDDEN_H_
