// A message to fill in.
#ifndef TOOLS_TARN_SKELETON_H_
#define TOOLS_TARN_SKELETON_H_

#include <google/protobuf/descriptor.h>

#include "output.h"

namespace tarn::tool {

// Prints JSON with every field of a message, zero or empty. Lists have one
// element, unless it would lead back to a message that is already open; of a
// oneof there is the first member, since JSON can carry no more than one.
void PrintSkeleton(const google::protobuf::Descriptor& message, Output* output);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_SKELETON_H_
