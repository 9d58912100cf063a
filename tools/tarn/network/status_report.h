// A status report: what is known of each part of the network, worst first.
#ifndef TOOLS_TARN_STATUS_REPORT_H_
#define TOOLS_TARN_STATUS_REPORT_H_

#include <tarn/Network.pb.h>

#include "json_writer.h"
#include "output.h"

namespace tarn::tool {

// Both leave out the parts that are well if only `errors` are to be shown.

// Prints a table for people. A terminal cuts long keys off. `record`: number of
// the report in a stream; 0: the only one.
void PrintReport(const tarn::NetworkStatusReport& report, bool errors,
                 uint64_t record, Output* output);

// Writes the members "parts" and "priceLifecycle" of a JSON object.
void WriteReport(const tarn::NetworkStatusReport& report, bool errors,
                 JsonWriter* json);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_STATUS_REPORT_H_
