// Fuzzes hex, base64, dumps, arrays and strings. Bytes that are written in one
// of these ways are read back, and any text is read or refused. The first byte
// of the input chooses the way; the rest is the bytes or the text.
#include <google/protobuf/stubs/strutil.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "dump.h"
#include "forms.h"
#include "known_format.h"
#include "target.h"

namespace fuzz {
namespace {

using Bytes = std::string_view;

constexpr size_t kMostBytes = 1 << 16;

__attribute__((format(printf, 2, 3))) void Append(std::string* text,
                                                  const char* format, ...) {
  char piece[32];
  va_list values;
  va_start(values, format);
  std::vsnprintf(piece, sizeof piece, format, values);
  va_end(values);
  *text += piece;
}

// Each byte as the format has it.
std::string Each(Bytes bytes, const char* format) {
  std::string text;
  for (const unsigned char byte : bytes) {
    char piece[16];
    std::snprintf(piece, sizeof piece, format, byte);
    text += piece;
  }
  return text;
}

std::string Base64(Bytes bytes) {
  std::string text;
  google::protobuf::Base64Escape(std::string(bytes), &text);
  return text;
}

std::string Base64Lines(Bytes bytes) {
  std::string text = Base64(bytes);
  for (size_t at = 76; at < text.size(); at += 77) text.insert(at, "\n");
  return text;
}

std::string Characters(Bytes bytes) {
  std::string text(bytes);
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c < ' ' || c > '~'; }, '.');
  return text;
}

// Lines of 16 bytes, each made by `write` of its offset and its bytes.
template <class Line>
std::string Lines(Bytes bytes, Line write) {
  std::string text;
  for (size_t at = 0; at < bytes.size(); at += 16) {
    write(at, bytes.substr(at, 16), &text);
    text += '\n';
  }
  return text;
}

std::string Xxd(Bytes bytes) {
  return Lines(bytes, [](size_t at, Bytes line, std::string* text) {
    Append(text, "%08zx: ", at);
    for (size_t i = 0; i < 16; ++i) {
      i < line.size()
          ? Append(text, "%02x", static_cast<unsigned char>(line[i]))
          : Append(text, "  ");
      if (i % 2 == 1) *text += ' ';
    }
    *text += ' ' + Characters(line);
  });
}

std::string Hexdump(Bytes bytes) {
  std::string text = Lines(bytes, [](size_t at, Bytes line, std::string* out) {
    Append(out, "%08zx ", at);
    for (size_t i = 0; i < 16; ++i) {
      if (i % 8 == 0) *out += ' ';
      i < line.size()
          ? Append(out, "%02x ", static_cast<unsigned char>(line[i]))
          : Append(out, "   ");
    }
    *out += " |" + Characters(line) + '|';
  });
  Append(&text, "%08zx\n", bytes.size());
  return text;
}

std::string Od(Bytes bytes) {
  std::string text = Lines(bytes, [](size_t at, Bytes line, std::string* out) {
    Append(out, "%07zo", at);
    *out += Each(line, " %02x");
  });
  Append(&text, "%07zo\n", bytes.size());
  return text;
}

struct Way {
  const char* form;
  std::string (*write)(Bytes bytes);
};
constexpr Way kWays[] = {
    {"hex", [](Bytes bytes) { return Each(bytes, "%02X"); }},
    {"hex", [](Bytes bytes) { return Each(bytes, "%02x "); }},
    {"hex", [](Bytes bytes) { return Each(bytes, "0x%02x, "); }},
    {"base64", Base64},
    {"base64", Base64Lines},
    {"hex", Xxd},
    {"hex", Hexdump},
    {"hex", Od},
    {"source",
     [](Bytes bytes) { return "b = {" + Each(bytes, "0x%02x, ") + "};"; }},
    {"source", [](Bytes bytes) { return '"' + Each(bytes, "\\x%02x") + '"'; }},
};

void ReadAnything(Bytes text) {
  using tarn::tool::DumpUnit;
  std::string bytes;
  for (const char* form : {"hex", "words", "octal", "source", "base64"}) {
    bytes.clear();
    if (!tarn::tool::FromForm(form, text, kMostBytes, &bytes)) {
      Expect(!tarn::tool::WhyNoForm(form, text).empty(), *Types()[0],
             "a refusal has a reason");
    }
  }
  for (const DumpUnit unit : {DumpUnit::kHexBytes, DumpUnit::kHexWords,
                              DumpUnit::kOctalBytes, DumpUnit::kOctalWords}) {
    tarn::tool::Dump dump;
    if (!tarn::tool::ReadDump(text, unit, kMostBytes, &dump)) {
      tarn::tool::WhyNoDump(dump);
    }
    Expect(dump.bytes.size() <= kMostBytes, *Types()[0],
           "a dump is not larger than it may be");
  }
  tarn::tool::LooksLikeDump(text);
  tarn::tool::WordsOf(tarn::tool::KnownFormatOf(text));
}

}  // namespace

const size_t kOptions = 1;

void Try(std::string_view input) {
  if (input.size() < 2) return;
  const size_t choice = static_cast<unsigned char>(input[0]);
  const Bytes rest = input.substr(kOptions);
  if (choice >= std::size(kWays)) return ReadAnything(rest);
  const Way& way = kWays[choice];
  const std::string text = way.write(rest);
  std::string bytes;
  const bool read = tarn::tool::FromForm(way.form, text, kMostBytes, &bytes);
  if (read && bytes == rest) return;
  std::fprintf(stderr, "%s\n", text.c_str());
  Expect(false, *Types()[0], "what was written is read");
}

}  // namespace fuzz
