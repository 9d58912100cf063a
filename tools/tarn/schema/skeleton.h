// A message to fill in.
#ifndef TOOLS_TARN_SKELETON_H_
#define TOOLS_TARN_SKELETON_H_

#include <google/protobuf/descriptor.h>

#include "output.h"

namespace tarn::tool {

// Prints JSON with every field of a message, zero or empty. A list has one
// element, unless that would repeat a message that holds the list. A oneof has
// its first member, since JSON can hold only one.
void PrintSkeleton(const google::protobuf::Descriptor& message, Output* output);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_SKELETON_H_
