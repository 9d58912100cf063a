// Finds the form of an input by trying how well the types fit each reading.
#ifndef TOOLS_TARN_READING_H_
#define TOOLS_TARN_READING_H_

#include <string>
#include <string_view>
#include <vector>

#include "failure.h"
#include "input_options.h"
#include "schema.h"

namespace tarn::tool {

// A message in the text format or in JSON. It gives different bytes for each
// type that accepts it.
struct Written {
  const Type* type;
  std::string bytes;
};

struct Reading {
  std::string form = "binary";  // as --from names it
  std::string layout;           // what is around the message, for people
  std::string note;             // a sentence for stderr; may be empty
  bool cut = false;             // the text says that its end is left out
  std::string bytes;  // not of binary; of text and JSON, for the first
                      // type that takes it
  std::vector<Written> written;  // of text and JSON; elsewhere empty

  bool binary() const { return form == "binary"; }
};

// Why an input cannot be read.
class NotRead : public Failure {
 public:
  NotRead(ExitCode code, const std::string& message,
          const std::vector<std::string>& forms, const Type* type = nullptr,
          const std::string& filter = "")
      : Failure(code, message), forms_(forms), type_(type), filter_(filter) {}

  // The forms that it can have: several if tarn must be told which it is.
  const std::vector<std::string>& forms() const { return forms_; }
  // Of text and JSON: the type that it is most like. Else null.
  const Type* type() const { return type_; }
  // A command that makes a message of the input, such as "sed -n 3p" for one of
  // several; empty if there is none.
  const std::string& filter() const { return filter_; }

 private:
  std::vector<std::string> forms_;
  const Type* type_;
  std::string filter_;
};

// Reads an input in the form that --from names. For auto, reads it in the one
// form in which it is a message of one of the types. Bytes that are such a
// message are binary, unless the layout of another form is unmistakable. If two
// forms fit, throws a NotRead that asks for --from. If none fits, returns the
// likeliest form, whose errors are then reported. `name` is the name of the
// input, for error messages.
Reading Read(const InputOptions& options, const std::string& name,
             const std::vector<const Type*>& types, std::string_view input);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_READING_H_
