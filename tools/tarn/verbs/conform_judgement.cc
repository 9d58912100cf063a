// Compares answers with the golden messages, by the bytes and by meaning.
#include "conform_judgement.h"

#include <google/protobuf/message.h>
#include <google/protobuf/unknown_field_set.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "encoding.h"
#include "failure.h"
#include "salvage.h"

namespace tarn::tool {
namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::UnknownField;
using google::protobuf::UnknownFieldSet;

// Null if the runtime does not read the bytes.
std::unique_ptr<Message> Parsed(const Type& type, const std::string& bytes) {
  std::unique_ptr<Message> message = NewMessage(type);
  const int size = static_cast<int>(bytes.size());
  return message->ParseFromArray(bytes.data(), size) ? std::move(message)
                                                     : nullptr;
}

// Sorts unknown fields by their numbers, since only the order of those with the
// same number has a meaning.
void SortUnknown(UnknownFieldSet* fields) {
  std::vector<const UnknownField*> order;
  for (int i = 0; i < fields->field_count(); ++i) {
    UnknownField* field = fields->mutable_field(i);
    if (field->type() == UnknownField::TYPE_GROUP) {
      SortUnknown(field->mutable_group());
    }
    order.push_back(field);
  }
  std::stable_sort(order.begin(), order.end(),
                   [](const UnknownField* a, const UnknownField* b) {
                     return a->number() < b->number();
                   });
  UnknownFieldSet sorted;
  for (const UnknownField* field : order) sorted.AddField(*field);
  fields->Swap(&sorted);
}

// The same in a message and all that it holds. Entries of maps have none.
void SortAllUnknown(Message* message) {
  const auto* reflection = message->GetReflection();
  SortUnknown(reflection->MutableUnknownFields(message));
  std::vector<const FieldDescriptor*> fields;
  reflection->ListFields(*message, &fields);
  for (const FieldDescriptor* field : fields) {
    if (field->message_type() == nullptr || field->is_map()) continue;
    if (!field->is_repeated()) {
      SortAllUnknown(reflection->MutableMessage(message, field));
      continue;
    }
    for (int i = 0; i < reflection->FieldSize(*message, field); ++i) {
      SortAllUnknown(reflection->MutableRepeatedMessage(message, field, i));
    }
  }
}

// A value that is safe to print, the beginning of a long one.
std::string TextOf(const Difference::Text& value) {
  constexpr size_t kColumns = 60;
  std::string text;
  if (value) value([&](std::string_view piece) { text += piece; });
  return Escaped(text, "", kColumns);
}

void FindFirst(const Message& right, const Message& written,
               Judgement* judgement) {
  bool first = true;
  Compare(right, written, false, [&](const Difference& difference) {
    if (!first) return;
    first = false;
    judgement->node = difference.node_path;
    judgement->change = difference.change;
    judgement->field = difference.path;
    judgement->before = TextOf(difference.before);
    judgement->after = TextOf(difference.after);
  });
}

// Judges bytes that are not those expected.
void CompareMessages(const Question& question, const std::string& bytes,
                     Judgement* judgement) {
  const Type& type = *question.type;
  const auto right = Parsed(type, question.expected);
  if (right == nullptr) {
    throw Failure(kMalformed, question.name + ": what a reader must write " +
                                  "is not a message of " +
                                  type.descriptor->full_name());
  }
  const auto written = Parsed(type, bytes);
  if (written == nullptr) {
    judgement->kind = Judgement::kUnreadable;
    const Damage damage = FindDamage(type, bytes, 0);
    judgement->reason = damage.path.empty()
                            ? damage.reason
                            : damage.path + ": " + damage.reason;
    return;
  }
  SortAllUnknown(right.get());
  SortAllUnknown(written.get());
  if (Canonical(*written) == Canonical(*right)) {
    judgement->kind = Judgement::kForm;
    judgement->size = bytes.size();
    judgement->right_size = question.expected.size();
    return;
  }
  right->DiscardUnknownFields();
  written->DiscardUnknownFields();
  if (Canonical(*written) == Canonical(*right)) {
    judgement->kind = Judgement::kUnknownFields;
    return;
  }
  judgement->kind = Judgement::kValue;
  FindFirst(*right, *written, judgement);
}

void JudgeBytes(const Question& question, const std::string& text,
                Judgement* judgement) {
  if (question.must_reject) {
    judgement->kind = Judgement::kAccepted;
    judgement->reason = question.reason;
    return;
  }
  std::string bytes = text;
  if (question.operation == Operation::kToJson) {
    try {
      bytes = EncodeJson(*question.type, text, "");
    } catch (const Failure& failure) {
      judgement->kind = Judgement::kUnreadable;
      judgement->reason = failure.what();
      return;
    }
  }
  if (bytes != question.expected) CompareMessages(question, bytes, judgement);
}

}  // namespace

Judgement Judge(const Question& question, const ReaderAnswer& answer) {
  Judgement judgement;
  judgement.name = question.name;
  judgement.operation = question.operation;
  judgement.type = question.type;
  judgement.complaint = answer.complaint;
  judgement.status = answer.status;
  if (answer.kind != ReaderAnswer::kOk) judgement.said = answer.text;
  switch (answer.kind) {
    case ReaderAnswer::kOk:
      JudgeBytes(question, answer.text, &judgement);
      break;
    case ReaderAnswer::kRejected:
      if (!question.must_reject) judgement.kind = Judgement::kRefused;
      break;
    case ReaderAnswer::kUnsupported:
      judgement.kind = Judgement::kUnsupported;
      break;
    case ReaderAnswer::kDied:
      judgement.kind = Judgement::kDied;
      break;
    case ReaderAnswer::kHung:
      judgement.kind = Judgement::kHung;
      break;
    case ReaderAnswer::kFlooded:
      judgement.kind = Judgement::kFlooded;
      break;
    case ReaderAnswer::kWrongIdentifier:
      judgement.kind = Judgement::kWrongIdentifier;
      break;
    case ReaderAnswer::kGarbage:
      judgement.kind = Judgement::kGarbage;
      break;
  }
  if (!IsFailure(judgement.kind)) judgement.limit = question.limit;
  return judgement;
}

bool LosesData(Judgement::Kind kind) { return kind <= Judgement::kRefused; }

bool IsFailure(Judgement::Kind kind) {
  return kind >= Judgement::kDied && kind <= Judgement::kGarbage;
}

}  // namespace tarn::tool
