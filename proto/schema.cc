// The library: both generated files in one translation unit, so that the
// compiler can inline calls from one file into the other. Only these lines are
// not generated, and they define nothing.
#include "tarn/Network.pb.h"
#include "tarn/Tarn.pb.cc"

// Both generated files have local variables of these names. Those of the second
// file get other names, which only a debugger shows.
#define schemas network_schemas
#define file_default_instances network_file_default_instances
#include "tarn/Network.pb.cc"
