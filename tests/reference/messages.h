// Helpers of the tests: bytes to messages and back, and a visit to every
// message type.
#ifndef TESTS_REFERENCE_MESSAGES_H_
#define TESTS_REFERENCE_MESSAGES_H_

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/message.h>
#include <gtest/gtest.h>
#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "reference/fill.h"
#include "reference/wire.h"

namespace tests {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

// The encoding of a message, the entries of maps in the order of their keys.
inline std::string BytesOf(const Message& message) {
  std::string bytes;
  {
    google::protobuf::io::StringOutputStream stream(&bytes);
    google::protobuf::io::CodedOutputStream out(&stream);
    out.SetSerializationDeterministic(true);
    EXPECT_TRUE(message.SerializeToCodedStream(&out));
  }
  return bytes;
}

inline std::string HexOf(const Message& message) {
  return wire::ToHex(BytesOf(message));
}

template <class M>
M FromBytes(const std::string& bytes) {
  M message;
  EXPECT_TRUE(message.ParseFromString(bytes)) << wire::ToHex(bytes);
  return message;
}

inline std::unique_ptr<Message> FromBytes(const Message& prototype,
                                          const std::string& bytes) {
  std::unique_ptr<Message> message(prototype.New());
  EXPECT_TRUE(message->ParseFromString(bytes))
      << prototype.GetTypeName() << ": " << wire::ToHex(bytes);
  return message;
}

template <class M>
M FromHex(std::string_view digits) {
  return FromBytes<M>(wire::Hex(digits));
}

// The result of parsing and serializing an encoding.
template <class M>
std::string Rewritten(std::string_view digits) {
  return HexOf(FromHex<M>(digits));
}

inline std::string Rewritten(const Message& prototype,
                             const wire::Writer& bytes) {
  return HexOf(*FromBytes(prototype, bytes.bytes()));
}

inline std::string HexOf(const wire::Writer& writer) {
  return wire::ToHex(writer.bytes());
}

template <class M>
bool Parses(std::string_view digits) {
  return M().ParseFromString(wire::Hex(digits));
}

// The operations of a class that are not in the interface of all messages, so
// that a test can go through all classes without being compiled for each.
struct Class {
  const Message& default_instance;
  Message* (*create)(google::protobuf::Arena*);
  Message* (*copy)(const Message&);
  Message* (*move)(Message*);
  void (*assign)(Message*, const Message&);
  void (*move_assign)(Message*, Message*);
  void (*merge_from)(Message*, const Message&);
  void (*copy_from)(Message*, const Message&);
  void (*swap_member)(Message*, Message*);
  void (*swap_function)(Message*, Message*);
};

template <class M>
M* As(Message* message) {
  return static_cast<M*>(message);
}

template <class M>
const M& As(const Message& message) {
  return static_cast<const M&>(message);
}

template <class M>
Class ClassOf() {
  return {
      M::default_instance(),
      [](google::protobuf::Arena* arena) -> Message* {
        return google::protobuf::Arena::CreateMessage<M>(arena);
      },
      [](const Message& from) -> Message* { return new M(As<M>(from)); },
      [](Message* from) -> Message* { return new M(std::move(*As<M>(from))); },
      [](Message* to, const Message& from) { *As<M>(to) = As<M>(from); },
      [](Message* to, Message* from) { *As<M>(to) = std::move(*As<M>(from)); },
      [](Message* to, const Message& from) {
        As<M>(to)->MergeFrom(As<M>(from));
      },
      [](Message* to, const Message& from) {
        As<M>(to)->CopyFrom(As<M>(from));
      },
      [](Message* one, Message* two) { As<M>(one)->Swap(As<M>(two)); },
      [](Message* one, Message* two) { swap(*As<M>(one), *As<M>(two)); }};
}

// Calls visit(class) for each of the message classes.
template <class Visitor>
void ForEachClass(Visitor visit) {
  const std::vector<Class> classes = {
#define SCHEMA_MESSAGE(file, index, name) ClassOf<tarn::name>(),
#include "reference/schema_table.inc"
  };
  for (const Class& each : classes) {
    SCOPED_TRACE(each.default_instance.GetTypeName());
    visit(each);
  }
}

// Calls visit(default instance) for each of the messages.
template <class Visitor>
void ForEachMessage(Visitor visit) {
  const std::vector<const Message*> messages = {
#define SCHEMA_MESSAGE(file, index, name) &tarn::name::default_instance(),
#include "reference/schema_table.inc"
  };
  for (const Message* message : messages) {
    SCOPED_TRACE(message->GetTypeName());
    visit(*message);
  }
}

// Calls visit(default instance of the message, field) for every field.
template <class Visitor>
void ForEachField(Visitor visit) {
  ForEachMessage([&](const Message& message) {
    for (int i = 0; i < message.GetDescriptor()->field_count(); ++i) {
      const FieldDescriptor* field = message.GetDescriptor()->field(i);
      SCOPED_TRACE(field->full_name());
      visit(message, field);
    }
  });
}

}  // namespace tests

#endif  // TESTS_REFERENCE_MESSAGES_H_
