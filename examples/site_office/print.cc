// What `office` prints of a message that arrived: the form for each type.
#include "print.h"

namespace site_office {
namespace {

// The message as one of type `T`, or null when it is of another type.
template <typename T>
const T* As(const google::protobuf::Message& message) {
  return dynamic_cast<const T*>(&message);
}

void PrintAddressing(const tarn::AddressingStatus& addressing, bool colour,
                     std::ostream& out) {
  out << "outcome " << addressing.status_code() << ", "
      << addressing.linear_address_assignments() << " places in a chain, "
      << addressing.assembly_address_assignments()
      << " places in an assembly\n";
  for (const tarn::ModsAvailable& found : addressing.mod_list()) {
    out << '\n';
    PrintTree(found.modsavailable(), colour, out);
  }
}

}  // namespace

void PrintMessage(const google::protobuf::Message& message, bool colour,
                  NodeNames* names, std::ostream& out) {
  if (const auto* in_use = As<tarn::ModsConfigured>(message)) {
    names->clear();
    CollectNames(in_use->modsconfigured(), names);
    PrintTree(in_use->modsconfigured(), colour, out);
  } else if (const auto* found = As<tarn::ModsAvailable>(message)) {
    PrintTree(found->modsavailable(), colour, out);
  } else if (const auto* pending = As<tarn::PendingModConfiguration>(message)) {
    PrintTree(pending->pendingmodconfiguration(), colour, out);
  } else if (const auto* addressing = As<tarn::AddressingStatus>(message)) {
    PrintAddressing(*addressing, colour, out);
  } else if (const auto* report = As<tarn::NetworkStatusReport>(message)) {
    PrintReport(*report, *names, colour, out);
  } else if (const auto* prices = As<tarn::Prices>(message)) {
    PrintPrices(*prices, colour, out);
  } else if (const auto* kt2 = As<tarn::ProductMappingKT2>(message)) {
    PrintProducts(kt2->products(), colour, out);
  } else if (const auto* kt4 = As<tarn::KT4Products>(message)) {
    PrintProducts(kt4->products(), colour, out);
    out << "\nschema version " << kt4->schema_version() << '\n';
  } else {
    PrintFields(message, colour, out);
  }
}

}  // namespace site_office
