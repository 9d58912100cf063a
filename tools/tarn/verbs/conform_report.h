// What a reader does otherwise than the golden messages say.
#ifndef TOOLS_TARN_CONFORM_REPORT_H_
#define TOOLS_TARN_CONFORM_REPORT_H_

#include <cstddef>
#include <vector>

#include "conform_judgement.h"
#include "failure.h"
#include "output.h"

namespace tarn::tool {

class ConformReport {
 public:
  // `canonical`: other bytes for the same message count as a difference.
  ConformReport(size_t questions, bool canonical)
      : questions_(questions), canonical_(canonical) {}

  void Add(Judgement judgement);
  // How often the reader gave no answer.
  size_t failures() const { return failures_; }
  size_t not_asked() const { return questions_ - asked_; }
  // Then nothing is known of the reader.
  bool NothingSupported() const { return unsupported_ == questions_; }

  // For people: the differences under a heading for each kind, and counts.
  void Print(Output* output) const;
  // One JSON object.
  void Write(Output* output) const;
  ExitCode status() const;

 private:
  const size_t questions_;
  const bool canonical_;
  size_t asked_ = 0;
  size_t agree_ = 0;
  size_t differ_ = 0;
  size_t other_form_ = 0;
  size_t at_limits_ = 0;
  size_t unsupported_ = 0;
  size_t failures_ = 0;
  // All but those that agree or are unsupported.
  std::vector<Judgement> judgements_;
};

}  // namespace tarn::tool

#endif  // TOOLS_TARN_CONFORM_REPORT_H_
