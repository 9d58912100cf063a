// Sorts the entries of both sides by key and compares them in that order.
#include "entry_match.h"

#include <tarn/Tarn.pb.h>

#include <algorithm>
#include <numeric>

#include "output.h"
#include "value_text.h"

namespace tarn::tool {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

// A longer list is not sorted: its indices alone would take much memory.
constexpr int kMostKeys = 1000000;

// The field by which entries of a list are matched; null: by position.
const FieldDescriptor* KeyFieldOf(const Descriptor& entry) {
  const std::pair<const Descriptor*, int> kKeys[] = {
      {tarn::Product::descriptor(), tarn::Product::kIdFieldNumber},
      {tarn::Price::descriptor(), tarn::Price::kLineNumFieldNumber},
      {tarn::ERTDConnection::descriptor(),
       tarn::ERTDConnection::kNameFieldNumber},
      {tarn::Frame::descriptor(), tarn::Frame::kNumberFieldNumber},
      {tarn::FrameContent::descriptor(), tarn::FrameContent::kFrameFieldNumber},
      {tarn::HwIdRowInfo::descriptor(), tarn::HwIdRowInfo::kHwIdFieldNumber},
      {tarn::HwIdColInfo::descriptor(), tarn::HwIdColInfo::kHwIdFieldNumber},
      {tarn::DisplaySizeRef::descriptor(),
       tarn::DisplaySizeRef::kAssyIdFieldNumber},
  };
  for (const auto& [type, number] : kKeys) {
    if (type == &entry) return entry.FindFieldByNumber(number);
  }
  return nullptr;
}

// Whether a text needs no quotes inside brackets.
bool IsPlain(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
           (c >= '0' && c <= '9') ||
           std::string_view("-_.:").find(c) != std::string_view::npos;
  });
}

std::string InQuotesIfNeeded(std::string_view text) {
  std::string clipped = Shortened(text);
  if (IsPlain(clipped)) return clipped;
  std::string quoted;
  WriteQuoted(clipped, [&](std::string_view piece) { quoted += piece; });
  return quoted;
}

}  // namespace

EntryMatch::EntryMatch(const Message& before, const Message& after,
                       const FieldDescriptor& list)
    : list_(list),
      key_(KeyFieldOf(*list.message_type())),
      before_{before, before.GetReflection()->FieldSize(before, &list), {}, {}},
      after_{after, after.GetReflection()->FieldSize(after, &list), {}, {}} {
  if (std::max(before_.size, after_.size) > kMostKeys) key_ = nullptr;
  if (key_ == nullptr) return;
  Sort(&before_);
  Sort(&after_);
  Match();
}

EntryMatch::Key EntryMatch::KeyOf(const Entries& entries, int i) const {
  const Message& entry = entries.message.GetReflection()->GetRepeatedMessage(
      entries.message, &list_, i);
  const auto& reflection = *entry.GetReflection();
  Key key;
  if (key_->cpp_type() == FieldDescriptor::CPPTYPE_STRING) {
    std::string scratch;
    key.text = reflection.GetStringReference(entry, key_, &scratch);
  } else {
    key.number = reflection.GetInt32(entry, key_);
  }
  return key;
}

void EntryMatch::Sort(Entries* entries) const {
  entries->by_key.resize(entries->size);
  std::iota(entries->by_key.begin(), entries->by_key.end(), 0);
  std::sort(entries->by_key.begin(), entries->by_key.end(),
            [&](uint32_t x, uint32_t y) {
              const Key key_x = KeyOf(*entries, x);
              const Key key_y = KeyOf(*entries, y);
              return key_x == key_y ? x < y : key_x < key_y;
            });
  entries->times.resize(entries->size);
  for (int i = 0; i < entries->size; ++i) {
    const uint32_t at = entries->by_key[i];
    const bool again =
        i > 0 && KeyOf(*entries, at) == KeyOf(*entries, entries->by_key[i - 1]);
    entries->times[at] = again ? entries->times[entries->by_key[i - 1]] + 1 : 1;
  }
}

void EntryMatch::Match() {
  partners_.assign(before_.size, -1);
  matched_after_.assign(after_.size, false);
  size_t j = 0;
  for (const uint32_t i : before_.by_key) {
    const Key key = KeyOf(before_, i);
    while (j < after_.by_key.size() && KeyOf(after_, after_.by_key[j]) < key) {
      ++j;
    }
    if (j == after_.by_key.size()) break;
    if (!(KeyOf(after_, after_.by_key[j]) == key)) continue;
    partners_[i] = after_.by_key[j++];
    matched_after_[partners_[i]] = true;
  }
  int32_t last = -1;
  for (const int32_t partner : partners_) {
    if (partner < 0) continue;
    in_order_ &= partner > last;
    last = partner;
  }
}

int EntryMatch::PartnerOfBefore(int i) const {
  if (key_ != nullptr) return partners_[i];
  return i < after_.size ? i : -1;
}

bool EntryMatch::IsMatchedAfter(int i) const {
  return key_ != nullptr ? matched_after_[i] : i < before_.size;
}

std::string EntryMatch::StepTo(const Entries& entries, int i) const {
  if (key_ == nullptr) return "[" + std::to_string(i) + "]";
  const Key key = KeyOf(entries, i);
  std::string name;
  if (key_->cpp_type() == FieldDescriptor::CPPTYPE_STRING) {
    name = InQuotesIfNeeded(key.text);
  } else {
    name = key_->name() + " " + std::to_string(key.number);
  }
  if (entries.times[i] > 1) {
    name += " again, " + std::to_string(entries.times[i]);
  }
  return "[" + name + "]";
}

const NumberMap& MapOf(const Message& message, const FieldDescriptor& field) {
  GOOGLE_CHECK(message.GetDescriptor() ==
               tarn::NetworkStatusReport::descriptor())
      << field.full_name();
  const auto& report = static_cast<const tarn::NetworkStatusReport&>(message);
  return field.number() == tarn::NetworkStatusReport::kStatusPacketFieldNumber
             ? report.status_packet()
             : report.price_sync_status_packet();
}

std::vector<const NumberMap::value_type*> EntriesNotIn(const NumberMap& other,
                                                       const NumberMap& map) {
  std::vector<const NumberMap::value_type*> entries;
  for (const auto& entry : map) {
    const auto found = other.find(entry.first);
    if (found == other.end() || found->second != entry.second) {
      entries.push_back(&entry);
    }
  }
  std::sort(entries.begin(), entries.end(),
            [](const auto* x, const auto* y) { return x->first < y->first; });
  return entries;
}

std::string NameOfKey(std::string_view key) {
  return "[" + InQuotesIfNeeded(key) + "]";
}

}  // namespace tarn::tool
