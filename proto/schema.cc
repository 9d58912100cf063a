// The library: both generated files as one translation unit, so that what the
// messages of one call in the messages of the other can be inlined. These
// lines are all of it that is not generated, and they define nothing.
#include "tarn/Network.pb.h"
#include "tarn/Tarn.pb.cc"

// Local to each generated file, under the same names in both: the second file's
// get other names, which only a debugger shows.
#define schemas network_schemas
#define file_default_instances network_file_default_instances
#include "tarn/Network.pb.cc"
