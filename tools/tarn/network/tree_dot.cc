// The tree in the language of Graphviz.
#include "node_name.h"
#include "status_words.h"
#include "tree.h"

namespace tarn::tool {
namespace {

const char* DotColor(const Node& node) {
  if (node.error || !node.broken.empty()) return "red";
  switch (LookOf(node.status).condition) {
    case Condition::kFault:
      return "red";
    case Condition::kOdd:
      return "orange";
    case Condition::kWaiting:
      return "blue";
    case Condition::kGood:
      return "darkgreen";
    case Condition::kNone:
      break;
  }
  return "gray";
}

// A box of Graphviz; Line feeds separate the lines of `label`.
void WriteBox(int id, const std::string& label, const char* color,
              Output* output) {
  output->Write("  n");
  output->Number(id);
  output->Write(" [label=\"");
  for (const char c : label) {
    if (c == '"' || c == '\\') output->Write('\\');
    output->Write(c == '\n' ? std::string_view("\\n")
                            : std::string_view(&c, 1));
  }
  output->Write("\", color=");
  output->Write(color);
  output->Write("];\n");
}

void WriteBoxes(const std::vector<Branch>& branches, int parent, int* ids,
                Output* output) {
  for (const Branch& branch : branches) {
    const Node& node = *branch.node;
    const int id = ++*ids;
    std::string label = LabelOf(node.kind, node.message, kNameColumns);
    if (const std::string place = AddressInWords(node); !place.empty()) {
      label += '\n' + place;
    }
    if (node.has_status) label += '\n' + WordsAndName(node.status);
    if (node.error) label += "\nin error";
    if (!node.broken.empty()) label += '\n' + node.broken;
    WriteBox(id, label, DotColor(node), output);
    output->Write("  n");
    output->Number(parent);
    output->Write(" -> n");
    output->Number(id);
    output->Write(";\n");
    WriteBoxes(branch.branches, id, ids, output);
  }
}

}  // namespace

void PrintTreeDot(const Tree& tree, Output* output) {
  output->Write(
      "digraph tarn {\n  rankdir=LR;\n  node [shape=box, style=rounded];\n");
  WriteBox(0,
           RecordStart(tree.record) + tree.heading + '\n' +
               InWords(CountNodes(tree.nodes)) +
               (tree.broken.empty() ? "" : '\n' + tree.broken),
           "black", output);
  int ids = 0;
  WriteBoxes(tree.branches, 0, &ids, output);
  output->Write("}\n");
}

}  // namespace tarn::tool
