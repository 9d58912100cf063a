// JSON for other programs, written piece by piece as it is found.
#ifndef TOOLS_TARN_JSON_WRITER_H_
#define TOOLS_TARN_JSON_WRITER_H_

#include <string_view>

#include "output.h"

namespace tarn::tool {

// Writes values one after another and puts the commas between them. It holds
// nothing of what is written: lists can be of any length.
//
//   json.BeginObject();
//   json.Key("name").String(name);
//   json.Key("size").Number(3);
//   json.EndObject();
//   json.EndLine();
class JsonWriter {
 public:
  // kIndented puts each member on a line of its own, for people to edit.
  enum Layout { kOneLine, kIndented };

  explicit JsonWriter(Output* output, Layout layout = kOneLine)
      : out_(*output), indented_(layout == kIndented) {}

  void BeginObject() {
    Begin('{');
    ++depth_;
  }
  void EndObject() {
    --depth_;
    if (indented_) BeginLine();
    End('}');
  }
  void BeginList() { Begin('['); }
  void EndList() { End(']'); }

  // The name of the next member: lowerCamelCase, or a name of the schema.
  // Neither has a character that needs an escape.
  JsonWriter& Key(std::string_view name) {
    if (indented_) return IndentedKey(name);
    char* p = out_.Reserve(name.size() + 4);
    if (separate_) *p++ = ',';
    *p++ = '"';
    p += name.copy(p, name.size());
    *p++ = '"';
    *p++ = ':';
    out_.Advance(p);
    separate_ = false;
    return *this;
  }

  // UTF-8, escaped as Output::JsonString() does.
  void String(std::string_view text);
  // A string without anything to escape, such as a code.
  void Word(std::string_view word) {
    char* p = Value().Reserve(word.size() + 2);
    *p++ = '"';
    p += word.copy(p, word.size());
    *p++ = '"';
    out_.Advance(p);
  }
  // A string in pieces: `write` is called with a function that takes them.
  template <class Write>
  void Text(const Write& write) {
    Output& out = Value();
    out.Write('"');
    write([&out](std::string_view piece) { out.JsonText(piece); });
    out.Write('"');
  }
  template <typename Integer>
  void Number(Integer number) {
    Value().Number(number);
  }
  void Bool(bool value);
  // Bytes that need not be text, as a string.
  void Base64(std::string_view bytes);

  // Separates one value, which the caller writes.
  Output& Value() {
    Separate();
    separate_ = true;
    return out_;
  }

  // Ends the line of an object that is complete.
  void EndLine();

 private:
  void Separate() {
    if (separate_) out_.Write(',');
  }
  void Begin(char bracket) {
    Separate();
    out_.Write(bracket);
    separate_ = false;
  }
  void End(char bracket) {
    out_.Write(bracket);
    separate_ = true;
  }

  void BeginLine();
  JsonWriter& IndentedKey(std::string_view name);

  Output& out_;
  const bool indented_;
  int depth_ = 0;          // of objects
  bool separate_ = false;  // whether a comma stands before what comes next
};

}  // namespace tarn::tool

#endif  // TOOLS_TARN_JSON_WRITER_H_
