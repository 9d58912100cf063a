// What the office can be asked for, besides storing what comes.
#ifndef EXAMPLES_FLEET_OFFICE_H_
#define EXAMPLES_FLEET_OFFICE_H_

#include <string>

#include "database.h"
#include "fleet.h"
#include "receive.h"

namespace fleet {

// Sends the prices in a file to a site, and waits for the answer of its signs,
// which it prints with the names that the database has; that can be null.
int SendPrices(const Server& server, const std::string& site,
               const std::string& path, int seconds, bool json,
               Database* database);

// Prints what the database has of a site: the network, prices and statuses for
// people, or the last message of each type as a line of JSON.
int Show(const std::string& site, bool json, const std::string& color,
         Database* database);

// Prints how many messages are stored and rejected.
void Count(bool json, Database* database);

// Compares each line of a site's ledger with what is stored.
int Compare(const std::string& path, bool json, Database* database);

}  // namespace fleet

#endif  // EXAMPLES_FLEET_OFFICE_H_
