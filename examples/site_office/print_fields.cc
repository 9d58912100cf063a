// Any message, field by field: scalars line by line, lists as tables.
#include <google/protobuf/descriptor.h>
#include <google/protobuf/text_format.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "print.h"
#include "table.h"

namespace site_office {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;
using google::protobuf::TextFormat;

constexpr size_t kWidestValue = 60;

bool IsMessage(const FieldDescriptor& field) {
  return field.cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE;
}

std::vector<const FieldDescriptor*> Fields(const Descriptor& type) {
  std::vector<const FieldDescriptor*> fields;
  fields.reserve(type.field_count());
  for (int i = 0; i < type.field_count(); ++i) fields.push_back(type.field(i));
  return fields;
}

bool IsFlat(const Descriptor& type) {
  for (const FieldDescriptor* field : Fields(type)) {
    if (IsMessage(*field)) return false;
  }
  return true;
}

// Whether lines and tables can show all of a message.
bool IsSimple(const Descriptor& type) {
  for (const FieldDescriptor* field : Fields(type)) {
    if (IsMessage(*field) &&
        !(field->is_repeated() && IsFlat(*field->message_type()))) {
      return false;
    }
  }
  return true;
}

// One value of a field; `index` is -1 where the field is not repeated.
std::string OneValue(const Message& message, const FieldDescriptor& field,
                     int index) {
  std::string text;
  TextFormat::Printer printer;
  printer.SetUseUtf8StringEscaping(true);
  printer.PrintFieldValueToString(message, &field, index, &text);
  if (field.cpp_type() == FieldDescriptor::CPPTYPE_BOOL) {
    return text == "true" ? "yes" : "no";
  }
  // Without the quotation marks.
  if (field.cpp_type() == FieldDescriptor::CPPTYPE_STRING) {
    text = text.substr(1, text.size() - 2);
  }
  return Escape(text);
}

std::string Value(const Message& message, const FieldDescriptor& field) {
  if (!field.is_repeated()) return OneValue(message, field, -1);
  std::string joined;
  const int size = message.GetReflection()->FieldSize(message, &field);
  for (int i = 0; i < size; ++i) {
    joined += (i == 0 ? "" : ", ") + OneValue(message, field, i);
  }
  return joined;
}

void PrintList(const Message& message, const FieldDescriptor& field,
               bool colour, std::ostream& out) {
  const Reflection& reflection = *message.GetReflection();
  const auto fields = Fields(*field.message_type());
  std::vector<Column> columns;
  for (const FieldDescriptor* each : fields) {
    const bool number = each->cpp_type() != FieldDescriptor::CPPTYPE_STRING &&
                        each->cpp_type() != FieldDescriptor::CPPTYPE_ENUM &&
                        !each->is_repeated();
    columns.push_back({each->name(), kWidestValue, number});
  }
  std::vector<Row> rows;
  for (int i = 0; i < reflection.FieldSize(message, &field); ++i) {
    const Message& element = reflection.GetRepeatedMessage(message, &field, i);
    Row row;
    for (const FieldDescriptor* each : fields) {
      row.push_back({Value(element, *each)});
    }
    rows.push_back(row);
  }
  PrintTable(columns, rows, colour, out);
}

void PrintAsText(const Message& message, std::ostream& out) {
  TextFormat::Printer printer;
  printer.SetUseUtf8StringEscaping(true);
  std::string text;
  printer.PrintToString(message, &text);
  for (size_t begin = 0, end;
       (end = text.find('\n', begin)) != std::string::npos; begin = end + 1) {
    out << Escape(std::string_view(text).substr(begin, end - begin)) << '\n';
  }
}

}  // namespace

void PrintFields(const Message& message, bool colour, std::ostream& out) {
  // A pass phrase is never shown.
  tarn::Wifi masked;
  const auto* wifi = dynamic_cast<const tarn::Wifi*>(&message);
  if (wifi != nullptr && !wifi->pass().empty()) {
    masked.CopyFrom(*wifi);
    masked.set_pass("***");
  }
  const Message& shown = masked.pass().empty() ? message : masked;

  const Descriptor& type = *shown.GetDescriptor();
  if (!IsSimple(type)) {
    PrintAsText(shown, out);
    return;
  }
  const auto fields = Fields(type);
  size_t widest = 0;
  for (const FieldDescriptor* field : fields) {
    if (!IsMessage(*field)) widest = std::max(widest, field->name().size());
  }
  for (const FieldDescriptor* field : fields) {
    if (IsMessage(*field)) {
      if (field != fields.front()) out << '\n';
      PrintList(shown, *field, colour, out);
      continue;
    }
    out << Paint(field->name(), Tone::kFaint, colour)
        << std::string(widest - field->name().size() + 2, ' ')
        << Clip(Value(shown, *field), kWidestValue) << '\n';
  }
}

}  // namespace site_office
