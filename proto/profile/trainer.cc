// Does with messages of every type what programs do with them, so that the
// compiler learns which code of the library runs how often. The profile must
// be the same in every run, and with it the library that is built from it.
#include <google/protobuf/arena.h>
#include <sys/mman.h>
#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

#include <cstdlib>
#include <iostream>
#include <new>
#include <set>
#include <string>

#include "messages.h"

namespace {

using google::protobuf::Arena;
using google::protobuf::ArenaOptions;
using google::protobuf::Descriptor;
using google::protobuf::FileDescriptor;

[[noreturn]] void Fail(const std::string& what) {
  std::cerr << "schema_trainer: " << what << '\n';
  std::exit(1);
}

// A map mixes its own address into its hash function. So all messages and
// arenas lie here, at the same addresses in every run.
class Memory {
 public:
  static constexpr size_t kSlot = size_t{1} << 22;

  Memory() {
    void* const wanted = reinterpret_cast<void*>(0x20000000);
    void* const start = mmap(wanted, 4 * kSlot, PROT_READ | PROT_WRITE,
                             MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (start != wanted) Fail("the memory at 0x20000000 is taken");
    start_ = static_cast<char*>(start);
  }
  char* slot(int index) const { return start_ + index * kSlot; }

 private:
  char* start_;
};

// Of an arena whose first block is a slot of the memory.
ArenaOptions OptionsOf(const Memory& memory, int slot) {
  ArenaOptions options;
  options.initial_block = memory.slot(slot);
  options.initial_block_size = Memory::kSlot;
  return options;
}

// A message in a slot of the memory, its parts on the heap.
template <typename T>
class Placed {
 public:
  template <typename... Source>
  Placed(const Memory& memory, int slot, const Source&... source) {
    message_ = new (memory.slot(slot)) T(source...);
  }
  Placed(const Placed&) = delete;
  Placed& operator=(const Placed&) = delete;
  ~Placed() { message_->~T(); }
  T& operator*() const { return *message_; }
  T* operator->() const { return message_; }

 private:
  T* message_;
};

void DrawAll(Random& random, google::protobuf::Message& message) {
  Draw(random, message);
}

void DrawAll(Random& random, tarn::NetworkStatusReport& report) {
  Draw(random, report);
  for (uint32_t nodes = 5 + random.Below(60); nodes > 0; --nodes) {
    const std::string uuid = DrawUuid(random);
    (*report.mutable_status_packet())[uuid] =
        random.Chance(80) ? tarn::ok : tarn::comm_error;
    if (random.Chance(50)) {
      (*report.mutable_price_sync_status_packet())[uuid] =
          tarn::price_update_ok;
    }
  }
}

// Sends and receives one message in each of the usual ways.
template <typename T>
void Exercise(const Memory& memory, const T& sent) {
  const std::string bytes = sent.SerializeAsString();
  std::string array(sent.ByteSizeLong(), '\0');
  sent.SerializeWithCachedSizesToArray(reinterpret_cast<uint8_t*>(&array[0]));

  for (int i = 0; i < 3; ++i) {
    Placed<T> received(memory, 1);
    if (!received->ParseFromString(bytes)) Fail("a message did not parse");
  }
  for (int i = 0; i < 3; ++i) {
    Arena arena(OptionsOf(memory, 1));
    T* received = Arena::CreateMessage<T>(&arena);
    if (!received->ParseFromString(bytes)) Fail("a message did not parse");
    if (i == 0) Arena::CreateMessage<T>(&arena)->CopyFrom(*received);
  }
  Placed<T> copy(memory, 1, sent);
  copy->Clear();
  copy->ParseFromString(bytes);
  Placed<T> merged(memory, 2);
  merged->CopyFrom(*copy);
  merged->MergeFrom(sent);
  merged->Clear();
  swap(*merged, *copy);
}

// The training: which types there are, and how much of the traffic they are.
class Training {
 public:
  template <typename T>
  void Take(int messages) {
    for (int i = 0; i < messages; ++i) {
      Placed<T> message(memory_, 0);
      DrawAll(random_, *message);
      Exercise(memory_, *message);
    }
    taken_.insert(T::descriptor());
  }

  // Trains each type of the file that no Take() named, such as a new one.
  void TakeTheRestOf(const FileDescriptor* file, int messages) {
    for (int i = 0; i < file->message_type_count(); ++i) {
      const Descriptor* type = file->message_type(i);
      if (taken_.count(type) != 0) continue;
      for (int n = 0; n < messages; ++n) TakeOne(type);
    }
  }

 private:
  void TakeOne(const Descriptor* type) {
    const auto& empty =
        *google::protobuf::MessageFactory::generated_factory()->GetPrototype(
            type);
    Arena arena(OptionsOf(memory_, 0));
    auto* sent = empty.New(&arena);
    Draw(random_, *sent);
    const std::string bytes = sent->SerializeAsString();
    for (int i = 0; i < 3; ++i) {
      Arena arena_of_received(OptionsOf(memory_, 1));
      auto* received = empty.New(&arena_of_received);
      if (!received->ParseFromString(bytes)) Fail("a message did not parse");
      // Not MergeFrom(), which runs GetClassData() where the type is unknown:
      // code that no Take() runs.
      if (!received->MergeFromString(bytes)) Fail("a message did not merge");
      received->Clear();
    }
  }

  Memory memory_;
  Random random_;
  std::set<const Descriptor*> taken_;
};

}  // namespace

int main() {
  Training training;
  const FileDescriptor* const files[] = {tarn::Price::descriptor()->file(),
                                         tarn::Server::descriptor()->file()};

  // The bulk: trees and what modules and networks report.
  training.Take<tarn::ModsConfigured>(20);
  training.Take<tarn::ModsAvailable>(20);
  training.Take<tarn::PendingModConfiguration>(5);
  training.Take<tarn::ChildTypes>(20);
  training.Take<tarn::AddressingStatus>(5);
  training.Take<tarn::NetworkStatusReport>(100);
  training.Take<tarn::GetStatusModule>(200);
  // Lists that are sent whenever one entry changes.
  training.Take<tarn::Prices>(300);
  training.Take<tarn::KT4Products>(100);
  training.Take<tarn::ProductMappingKT2>(50);
  training.Take<tarn::CashCreditMsg>(50);
  training.Take<tarn::HwIdGroups>(50);
  training.Take<tarn::CabinetAssemblyConfigurations>(50);
  training.Take<tarn::ERTDConfiguration>(20);
  training.Take<tarn::Frames>(50);
  training.Take<tarn::DisplayMsg>(50);
  training.Take<tarn::FileMessage>(20);
  // Small commands, replies and settings.
  training.Take<tarn::BaseMsg>(200);
  training.Take<tarn::AppStates>(200);
  training.Take<tarn::AppSettings>(20);
  training.Take<tarn::POS>(20);
  training.Take<tarn::POSDataMsg>(100);
  training.Take<tarn::Wifi>(20);
  training.Take<tarn::Dimming>(50);
  training.Take<tarn::Format>(20);
  training.Take<tarn::Err>(50);
  training.Take<tarn::Font>(20);
  training.Take<tarn::TestMessage>(20);
  training.Take<tarn::TestUpdateMsg>(20);
  training.Take<tarn::ModCalMsg>(20);
  training.Take<tarn::ClientStatusMsg>(100);
  training.Take<tarn::ClientRadioConfigMsg>(20);
  training.Take<tarn::DisplayTPat>(20);
  training.Take<tarn::RenameRadio>(20);
  training.Take<tarn::ModifyChildTypeMsg>(50);
  training.Take<tarn::DisplayConfigMsg>(20);
  // Parts of the above, sent alone.
  training.Take<tarn::Price>(50);
  training.Take<tarn::Product>(50);
  training.Take<tarn::ERTDConnection>(20);
  training.Take<tarn::Frame>(50);
  training.Take<tarn::Direct>(2);
  training.Take<tarn::Server>(2);
  training.Take<tarn::Client>(5);
  training.Take<tarn::Display>(20);
  training.Take<tarn::Module>(50);
  training.Take<tarn::FrameContent>(20);
  training.Take<tarn::FrameData>(20);
  training.Take<tarn::DimmingValues>(20);
  training.Take<tarn::CCMsgDefinitions>(20);
  training.Take<tarn::HwIdRowInfo>(20);
  training.Take<tarn::HwIdColInfo>(20);
  training.Take<tarn::DisplaySizeRef>(20);
  training.Take<tarn::CabinetAssemblyConfiguration>(20);
  // Types that are not named above.
  for (const FileDescriptor* file : files) training.TakeTheRestOf(file, 20);
}
