// The network as a drawn tree: a line for each node. Modules that work as they
// should are only counted, in the line of their display.
#include <algorithm>
#include <vector>

#include "print.h"
#include "status.h"
#include "table.h"

namespace site_office {
namespace {

using tarn::ChildTypes;

// What all kinds of node have in common. `name` and `details` are escaped.
struct Node {
  std::string name;
  std::string kind;
  int status = tarn::unused;
  bool error = false;
  std::string details;
  const std::string* uuid = nullptr;
  const Nodes* children = nullptr;
};

struct Counts {
  int servers = 0, clients = 0, direct = 0, displays = 0, modules = 0;
  int others = 0;
};

std::string Counted(int number, const std::string& noun) {
  return std::to_string(number) + " " + noun + (number == 1 ? "" : "s");
}

// Joins those parts that are not empty.
std::string Join(const std::vector<std::string>& parts) {
  std::string joined;
  for (const std::string& part : parts) {
    if (part.empty()) continue;
    joined += (joined.empty() ? "" : ", ") + part;
  }
  return joined;
}

std::string Labelled(const std::string& label, const std::string& text) {
  return text.empty() ? "" : label + " " + Escape(text);
}

// A module gets no line of its own while it works, or while it is dark together
// with its display. `display` is null if the parent is something else.
bool IsQuiet(const ChildTypes& child, const tarn::Display* display) {
  if (display == nullptr || !child.has_module()) return false;
  const tarn::Module& module = child.module();
  if (module.error() || module.backup_comms()) return false;
  return module.status() == tarn::ok ||
         (module.status() == tarn::command_blank &&
          display->status() == tarn::command_blank);
}

// "301 K" or "297–304 K", over all modules that report a temperature.
std::string Temperatures(const Nodes& nodes) {
  int lowest = 0;
  int highest = 0;
  for (const ChildTypes& child : nodes) {
    const int kelvin = child.module().extstatus().tempkelvin();
    if (kelvin == 0) continue;
    lowest = lowest == 0 ? kelvin : std::min(lowest, kelvin);
    highest = std::max(highest, kelvin);
  }
  if (lowest == highest) {
    return lowest == 0 ? "" : std::to_string(lowest) + " K";
  }
  return std::to_string(lowest) + "–" + std::to_string(highest) + " K";
}

std::string DisplayDetails(const tarn::Display& display) {
  const tarn::CabinetAssemblyConfiguration& cabinet = display.assyconfig();
  std::string panels;
  if (display.has_assyconfig()) {
    panels = std::to_string(cabinet.numpanelshigh()) + " × " +
             std::to_string(cabinet.numpanelswide()) + " " +
             Escape(cabinet.hwid());
  }
  int modules = 0;
  for (const ChildTypes& child : display.children()) {
    modules += child.has_module();
  }
  return Join({panels,
               display.frameselect().empty()
                   ? ""
                   : Counted(display.frameselect_size(), "frame"),
               Counted(modules, "module"), Temperatures(display.children()),
               display.displayblanked() ? "dark" : ""});
}

template <typename Radio>
Node RadioNode(const Radio& radio, const char* kind) {
  Node node;
  node.name = Escape(radio.name());
  node.kind = kind;
  node.status = radio.status();
  node.error = radio.error();
  node.uuid = &radio.uuid();
  node.children = &radio.children();
  return node;
}

Node ModuleNode(const tarn::Module& module) {
  Node node;
  node.name = "module " + std::to_string(module.assyaddr());
  node.kind = "module";
  node.status = module.status();
  node.error = module.error();
  node.uuid = &module.uuid();
  node.details =
      Join({Escape(module.hwid()), "node " + std::to_string(module.nodeaddr()),
            module.backup_comms() ? "on backup" : ""});
  return node;
}

Node Describe(const ChildTypes& child) {
  Node node;
  switch (child.types_case()) {
    case ChildTypes::kServer: {
      const tarn::Server& server = child.server();
      node = RadioNode(server, "server");
      node.details = Join({Labelled("port", server.port()),
                           "network " + std::to_string(server.networkid()),
                           "channel " + std::to_string(server.channel()),
                           Labelled("firmware", server.firmwareversion()),
                           server.kt2() ? "KT2" : ""});
      break;
    }
    case ChildTypes::kClient:
      node = RadioNode(child.client(), "client");
      node.details =
          Join({Labelled("firmware", child.client().firmwareversion()),
                Labelled("hardware", child.client().hardwareversion())});
      break;
    case ChildTypes::kDirect:
      node = RadioNode(child.direct(), "direct");
      node.details = Join({Labelled("port", child.direct().port()),
                           child.direct().kt2() ? "KT2" : ""});
      break;
    case ChildTypes::kDisplay:
      node = RadioNode(
          child.display(),
          child.display().subtype() == tarn::message ? "message" : "price");
      node.details = DisplayDetails(child.display());
      break;
    case ChildTypes::kModule:
      node = ModuleNode(child.module());
      break;
    case ChildTypes::kGetStatusModule:
      node.name = "record of " + Escape(child.getstatusmodule().hwid());
      node.kind = "record";
      node.details =
          "node " + std::to_string(child.getstatusmodule().nodeaddr());
      break;
    case ChildTypes::TYPES_NOT_SET:
      node.name = "(nothing)";
      node.kind = "none";
      break;
  }
  // The flag adds nothing if the status already tells of an error.
  if (node.error && StatusTone(node.status) != Tone::kBad) {
    node.details = Join({node.details, "in error"});
  }
  return node;
}

void Count(const ChildTypes& child, Counts* counts) {
  switch (child.types_case()) {
    case ChildTypes::kServer:
      ++counts->servers;
      break;
    case ChildTypes::kClient:
      ++counts->clients;
      break;
    case ChildTypes::kDirect:
      ++counts->direct;
      break;
    case ChildTypes::kDisplay:
      ++counts->displays;
      break;
    case ChildTypes::kModule:
      ++counts->modules;
      break;
    default:
      ++counts->others;
      break;
  }
}

// Adds a row for each node. The parser accepts no tree deeper than 50 levels,
// so this recursion goes no deeper either.
void AddRows(const Nodes& nodes, const std::string& indent, bool top,
             const tarn::Display* display, std::vector<Row>* rows,
             Counts* counts) {
  std::vector<const ChildTypes*> shown;
  for (const ChildTypes& child : nodes) {
    Count(child, counts);
    if (!IsQuiet(child, display)) shown.push_back(&child);
  }
  for (const ChildTypes* child : shown) {
    std::string branch;
    std::string below;
    if (!top) {
      const bool last = child == shown.back();
      branch = last ? "└─ " : "├─ ";
      below = last ? "   " : "│  ";
    }
    const Node node = Describe(*child);
    rows->push_back({{indent + branch + node.name},
                     {node.kind, Tone::kFaint},
                     {StatusWords(node.status), StatusTone(node.status)},
                     {node.details}});
    if (node.children == nullptr) continue;
    AddRows(*node.children, indent + below, false,
            child->has_display() ? &child->display() : nullptr, rows, counts);
  }
}

}  // namespace

void PrintTree(const Nodes& nodes, bool colour, std::ostream& out) {
  std::vector<Row> rows;
  Counts counts;
  AddRows(nodes, "", true, nullptr, &rows, &counts);
  PrintTable({{"node", 60}, {"kind", 8}, {"status", 18}, {"details", 100}},
             rows, colour, out);
  out << '\n'
      << Counted(counts.servers, "server") << ", "
      << Counted(counts.clients, "client") << ", "
      << Counted(counts.direct, "direct connection") << ", "
      << Counted(counts.displays, "display") << ", "
      << Counted(counts.modules, "module");
  if (counts.others > 0) out << ", " << Counted(counts.others, "other");
  out << '\n';
}

void CollectNames(const Nodes& nodes, NodeNames* names) {
  for (const ChildTypes& child : nodes) {
    const Node node = Describe(child);
    if (node.uuid != nullptr) (*names)[*node.uuid] = node.name;
    if (node.children == nullptr) continue;
    CollectNames(*node.children, names);
    // "module 2" is not clear without the name of its display.
    for (const ChildTypes& grandchild : *node.children) {
      if (!grandchild.has_module()) continue;
      std::string& name = (*names)[grandchild.module().uuid()];
      name.insert(0, node.name + ", ");
    }
  }
}

}  // namespace site_office
