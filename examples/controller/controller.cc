// Keeps the tree of a sign network in memory, finds its nodes by uuid, and
// updates them by messages. Any number of threads can use it at once.
#include <google/protobuf/descriptor.h>
#include <tarn/Network.pb.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <map>
#include <mutex>
#include <shared_mutex>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

// The Server, Client or other node in a ChildTypes; null where there is none.
Message* NodeIn(tarn::ChildTypes* child) {
  const auto& reflection = *child->GetReflection();
  const FieldDescriptor* kind = reflection.GetOneofFieldDescriptor(
      *child, child->GetDescriptor()->FindOneofByName("types"));
  return kind == nullptr ? nullptr : reflection.MutableMessage(child, kind);
}

const FieldDescriptor* Find(const Message& node, const std::string& field) {
  return node.GetDescriptor()->FindFieldByName(field);
}

class Controller {
 public:
  // Replaces the tree. A tree with a uuid that occurs twice throws, and the
  // old one stays.
  void Take(tarn::ModsConfigured tree) {
    Index index;
    for (tarn::ChildTypes& child : *tree.mutable_modsconfigured()) {
      Add(&child, &index);
    }
    const std::unique_lock lock(mutex_);
    // Swapping moves no node, so that the index stays right.
    tree_.Swap(&tree);
    index_.swap(index);
  }

  // Sets the status of the nodes that are named, and returns how many there
  // are. Those that are not in the tree are left out: a report can be older.
  int Take(const tarn::NetworkStatusReport& report) {
    int taken = 0;
    const std::unique_lock lock(mutex_);
    for (const auto& [uuid, status] : report.status_packet()) {
      const auto node = index_.find(uuid);
      if (node == index_.end()) continue;
      // A number that the schema does not know is kept.
      node->second->GetReflection()->SetEnumValue(
          node->second, Find(*node->second, "status"), status);
      ++taken;
    }
    return taken;
  }

  // Gives a parameter of a node another value. Parameters are as agreed; here
  // they are the fields that hold text, but for the key. False: no such node or
  // parameter.
  bool Take(const tarn::ModifyChildTypeMsg& change) {
    const std::unique_lock lock(mutex_);
    const auto node = index_.find(change.child_uuid());
    if (node == index_.end()) return false;
    const FieldDescriptor* field = Find(*node->second, change.parameter_name());
    if (field == nullptr || field->name() == "uuid" ||
        field->type() != FieldDescriptor::TYPE_STRING) {
      return false;
    }
    node->second->GetReflection()->SetString(node->second, field,
                                             change.parameter_value());
    return true;
  }

  // A copy of the tree: another thread could change what a reference refers to.
  tarn::ModsConfigured Tree() const {
    const std::shared_lock lock(mutex_);
    return tree_;
  }

  // The status of a node; `unused` where there is no such node.
  tarn::StatusCodes Status(const std::string& uuid) const {
    const std::shared_lock lock(mutex_);
    const auto node = index_.find(uuid);
    if (node == index_.end()) return tarn::unused;
    const Message& message = *node->second;
    return static_cast<tarn::StatusCodes>(message.GetReflection()->GetEnumValue(
        message, Find(message, "status")));
  }

 private:
  using Index = std::map<std::string, Message*>;

  // Adds a node and those below it that have a uuid. Parsed trees have at most
  // 50 levels.
  static void Add(tarn::ChildTypes* child, Index* index) {
    Message* node = NodeIn(child);
    if (node == nullptr) return;
    const auto& reflection = *node->GetReflection();
    const FieldDescriptor* uuid = Find(*node, "uuid");
    const std::string key =
        uuid == nullptr ? "" : reflection.GetString(*node, uuid);
    if (!key.empty() && !index->emplace(key, node).second) {
      throw std::runtime_error("two nodes have the uuid " + key);
    }
    const FieldDescriptor* children = Find(*node, "children");
    if (children == nullptr) return;
    for (int i = 0; i < reflection.FieldSize(*node, children); ++i) {
      Add(static_cast<tarn::ChildTypes*>(
              reflection.MutableRepeatedMessage(node, children, i)),
          index);
    }
  }

  mutable std::shared_mutex mutex_;
  tarn::ModsConfigured tree_;
  Index index_;  // into tree_
};

tarn::ModsConfigured Network() {
  tarn::ModsConfigured network;
  tarn::Server* server = network.add_modsconfigured()->mutable_server();
  server->set_uuid("s");
  server->set_name("Roof radio");
  for (const char* uuid : {"c1", "c2"}) {
    tarn::Client* client = server->add_children()->mutable_client();
    client->set_uuid(uuid);
    client->set_status(tarn::ok);
  }
  return network;
}

tarn::NetworkStatusReport Report(const char* uuid, tarn::StatusCodes status) {
  tarn::NetworkStatusReport report;
  (*report.mutable_status_packet())[uuid] = status;
  return report;
}

tarn::ModifyChildTypeMsg Change(const char* name, const char* value) {
  tarn::ModifyChildTypeMsg change;
  change.set_child_uuid("c2");
  change.set_parameter_name(name);
  change.set_parameter_value(value);
  return change;
}

}  // namespace

int main() {
  // Where memory or threads run out, nothing is destroyed any more: a message
  // that ran out of memory may not even bear that.
  std::set_terminate([] {
    std::fputs("controller: out of memory or threads\n", stderr);
    std::_Exit(5);
  });
  constexpr int kRounds = 1000;
  Controller controller;
  controller.Take(Network());
  // Each thread is like a connection on which messages of one kind come in.
  std::thread trees([&] {
    for (int i = 0; i < kRounds; ++i) controller.Take(Network());
  });
  std::thread reports([&] {
    const auto report = Report("c1", tarn::comm_error);
    for (int i = 0; i < kRounds; ++i) controller.Take(report);
  });
  std::thread changes([&] {
    const auto change = Change("name", "North sign");
    for (int i = 0; i < kRounds; ++i) controller.Take(change);
  });
  int whole = 0;
  for (int i = 0; i < kRounds; ++i) {
    const tarn::StatusCodes status = controller.Status("c1");
    const tarn::ModsConfigured tree = controller.Tree();
    whole += tree.modsconfigured(0).server().children_size() == 2 &&
             (status == tarn::ok || status == tarn::comm_error);
  }
  for (std::thread* thread : {&trees, &reports, &changes}) thread->join();
  std::printf("%d of %d readings were of a whole tree\n", whole, kRounds);

  std::printf("a report reaches %d node, one on an unknown node %d\n",
              controller.Take(Report("c2", tarn::power_outage)),
              controller.Take(Report("c3", tarn::ok)));
  std::printf("c2 can get another name: %d, another uuid: %d\n",
              controller.Take(Change("name", "South sign")),
              controller.Take(Change("uuid", "c1")));
  tarn::ModsConfigured twice = controller.Tree();
  twice.MergeFrom(controller.Tree());
  try {
    controller.Take(twice);
  } catch (const std::runtime_error& error) {
    std::printf("refused: %s\n", error.what());
  }
  const tarn::ModsConfigured tree = controller.Tree();
  const tarn::Client& client =
      tree.modsconfigured(0).server().children(1).client();
  std::printf("%s: %s\n", client.name().c_str(),
              tarn::StatusCodes_Name(client.status()).c_str());
  return std::fflush(stdout) == 0 ? 0 : 5;
}
