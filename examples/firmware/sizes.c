// A message of each type, for the script `sizes`; no program has this file.
#include "Network.pb.h"
#include "Tarn.pb.h"

#define TYPE(name) name ram_##name;
#include "types.inc"
