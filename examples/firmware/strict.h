// Decoding for a receiver that refuses rather than reads wrongly.
#ifndef STRICT_H_
#define STRICT_H_

#include <pb.h>

typedef enum {
  kDecoded,
  kNotText,    // a string that is not UTF-8, or holds a zero byte
  kMalformed,  // or larger than its bounds
  kNodes       // well-formed, with nodes that a callback would have to take
} Verdict;

// Decodes a message after a look at all its texts: nanopb takes any bytes for
// text, and ends a text at the first zero byte. What `message` holds counts
// only if all of it was decoded.
Verdict DecodeStrictly(const pb_msgdesc_t* type, const pb_byte_t* bytes,
                       size_t size, void* message);

#endif  // STRICT_H_
