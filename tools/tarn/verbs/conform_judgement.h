// What is wrong with a reader's answer, and whether data is lost by it.
#ifndef TOOLS_TARN_CONFORM_JUDGEMENT_H_
#define TOOLS_TARN_CONFORM_JUDGEMENT_H_

#include <string>

#include "conform_cases.h"
#include "conform_reader.h"
#include "difference.h"

namespace tarn::tool {

struct Judgement {
  // In the order of the report.
  enum Kind {
    kValue,          // changes a value
    kUnknownFields,  // drops or changes unknown fields, and nothing else
    kUnreadable,     // writes what cannot be read
    kRefused,        // refuses what must be read
    kAccepted,       // reads what must be refused
    kDied,           // these five as ReaderAnswer has them
    kHung,
    kFlooded,
    kWrongIdentifier,
    kGarbage,
    kForm,  // writes the same message in other bytes
    kUnsupported,
    kAgrees,
  };
  Kind kind = kAgrees;
  // What was asked, without the messages.
  std::string name;
  Operation operation = Operation::kParse;
  const Type* type = nullptr;
  // Not empty: every answer is right.
  std::string limit = {};
  // Of kValue: the first field that has changed, and its values in the text
  // format, as far as there are any. Of a node, its path, as `tree` has it.
  std::string node = {};
  Difference::Change change = Difference::kChanged;
  std::string field = {};
  std::string before = {};
  std::string after = {};
  // Why the message cannot be read, or must not be.
  std::string reason = {};
  // What the reader said, and the last line on its standard error; escaped.
  std::string said = {};
  std::string complaint = {};
  int status = -1;  // as ReaderAnswer has it
  size_t size = 0;  // of kForm, what was written and what is right
  size_t right_size = 0;
};

Judgement Judge(const Question& question, const ReaderAnswer& answer);

// Whether a program that uses the reader loses what the message holds.
bool LosesData(Judgement::Kind kind);
// Whether the reader gave no answer, so that it is started again.
bool IsFailure(Judgement::Kind kind);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_CONFORM_JUDGEMENT_H_
