// A status report: what is known of each part of the network, worst first.
#ifndef TOOLS_TARN_STATUS_REPORT_H_
#define TOOLS_TARN_STATUS_REPORT_H_

#include <tarn/Network.pb.h>

#include "json_writer.h"
#include "output.h"

namespace tarn::tool {

// Prints a table for people. Long keys are cut off.
void PrintReport(const tarn::NetworkStatusReport& report, Output* output);

// Writes the members "parts" and "priceLifecycle" of a JSON object.
void WriteReport(const tarn::NetworkStatusReport& report, JsonWriter* json);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_STATUS_REPORT_H_
