// Compares answers with the golden messages, by the bytes and by meaning.
#include "conform_judgement.h"

#include <google/protobuf/message.h>

#include <memory>

#include "encoding.h"
#include "failure.h"
#include "salvage.h"

namespace tarn::tool {
namespace {

using google::protobuf::Message;

// Null if the runtime does not read the bytes.
std::unique_ptr<Message> Parsed(const Type& type, const std::string& bytes) {
  std::unique_ptr<Message> message = NewMessage(type);
  const int size = static_cast<int>(bytes.size());
  return message->ParseFromArray(bytes.data(), size) ? std::move(message)
                                                     : nullptr;
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
