// The commands that go on from an answer of `tarn what`, as lines for a shell.
#ifndef TOOLS_TARN_WHAT_STEPS_H_
#define TOOLS_TARN_WHAT_STEPS_H_

#include <string>
#include <vector>

#include "json_writer.h"
#include "output.h"
#include "what_input.h"

namespace tarn::tool {

// Collects lines that read the same input again. A file is named; any other
// input has to be saved first, and the lines call it FILE. Bytes of the input
// are in no line: a pass phrase could be among them.
class Steps {
 public:
  explicit Steps(const Capture& capture);

  // `command`: what stands after "tarn", such as "decode Server".
  void Add(const std::string& command);
  // The one that draws messages of the type, if there is one.
  void AddDrawing(const Type& type, const std::string& options);
  // For a command that reads no input.
  void AddPlain(const std::string& command);
  // `tarn what` with another option; empty: with none.
  void AddAgain(const std::string& option);
  // `tarn what` for what another command makes of the input.
  void AddFiltered(const std::string& filter);
  // `tarn what` with each of the types.
  void AddTypes(const std::vector<const Type*>& types);

  void Print(Output* output) const;
  void Write(JsonWriter* json) const;

 private:
  std::string options_;  // of every command that reads the input
  std::string file_;     // after a blank
  bool named_ = false;   // whether the input is a file with a name
  bool reads_ = false;   // whether a line reads the input
  std::vector<std::string> lines_;
};

}  // namespace tarn::tool

#endif  // TOOLS_TARN_WHAT_STEPS_H_
