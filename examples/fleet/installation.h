// What a site knows of its installation: messages from files, and the report on
// its network.
#ifndef EXAMPLES_FLEET_INSTALLATION_H_
#define EXAMPLES_FLEET_INSTALLATION_H_

#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

#include <map>
#include <set>
#include <string>

namespace fleet {

// Bytes of messages by type, such as "Prices".
using Messages = std::map<std::string, std::string>;

// Adds the message of a file in text form. A line in it says the type:
// "# proto-message: tarn.Prices". Throws a Failure.
void ReadFile(const std::string& path, Messages* messages);

// Reads the *.txtpb of a folder, one message of a type each.
Messages ReadInstallation(const std::string& folder);

// Changes whenever a file of the folder does.
std::string InstallationStamp(const std::string& folder);

// The condition of every node by its uuid, and of the update of every display
// that shows prices.
tarn::NetworkStatusReport Report(const tarn::ModsConfigured& network);

// The answer of each display that shows one of these prices: updated, or failed
// where it or one of its modules is out of reach. A display keeps a price that
// it once had: `shown` holds the uuids of those. `missed` receives the lines
// that some display does not show yet.
using Answers = std::map<std::string, tarn::StatusCodes>;
Answers Show(const tarn::Prices& prices, const tarn::ModsConfigured& network,
             std::set<std::string>* shown, std::set<int>* missed);

// Puts new prices in the place of those of the same lines, but for the lines
// that are `missed`.
void Merge(const tarn::Prices& news, const std::set<int>& missed,
           tarn::Prices* prices);

// The entries of `now` that differ from `before`. Merging them into `before`
// gives `now`, and keeps keys that have gone.
tarn::NetworkStatusReport Changes(const tarn::NetworkStatusReport& before,
                                  const tarn::NetworkStatusReport& now);

// Whether both reports speak of the same nodes.
bool SameNodes(const tarn::NetworkStatusReport& a,
               const tarn::NetworkStatusReport& b);

}  // namespace fleet

#endif  // EXAMPLES_FLEET_INSTALLATION_H_
