// What the program does for its build and for shells. These are no verbs: no
// help shows them, and nobody but this project's own files may rely on them.
#ifndef TOOLS_TARN_HIDDEN_H_
#define TOOLS_TARN_HIDDEN_H_

#include <vector>

#include "command.h"

namespace tarn::tool {

// Prints the section of the manual page on the verbs, as roff.
void PrintManual(const std::vector<Command>& commands);

// Prints what can stand in the place of the last of the words behind "tarn",
// which may be unfinished or empty: in each line a candidate, a tab and what it
// is. A line "files" without a tab: the name of a file can stand there as well.
void PrintCandidates(const std::vector<Command>& commands,
                     const Arguments& words);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_HIDDEN_H_
