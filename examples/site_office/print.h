// What `office` prints of a message that arrived.
#ifndef SITE_OFFICE_PRINT_H_
#define SITE_OFFICE_PRINT_H_

#include <google/protobuf/message.h>
#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

#include <map>
#include <ostream>
#include <string>

namespace site_office {

// Names of the nodes in a tree, by uuid.
using NodeNames = std::map<std::string, std::string>;
using Products = google::protobuf::RepeatedPtrField<tarn::Product>;
using Nodes = google::protobuf::RepeatedPtrField<tarn::ChildTypes>;

// Prints a message in the form that suits its type: a network as a tree, lists
// as tables, everything else field by field. A network leaves the names of its
// nodes in `names`, where a later status report finds them.
void PrintMessage(const google::protobuf::Message& message, bool colour,
                  NodeNames* names, std::ostream& out);

// The forms, one by one.
void PrintTree(const Nodes& nodes, bool colour, std::ostream& out);
void PrintPrices(const tarn::Prices& prices, bool colour, std::ostream& out);
void PrintProducts(const Products& products, bool colour, std::ostream& out);
void PrintReport(const tarn::NetworkStatusReport& report,
                 const NodeNames& names, bool colour, std::ostream& out);
void PrintFields(const google::protobuf::Message& message, bool colour,
                 std::ostream& out);

// Adds the names of all nodes below, as PrintTree shows them.
void CollectNames(const Nodes& nodes, NodeNames* names);

}  // namespace site_office

#endif  // SITE_OFFICE_PRINT_H_
