// Walks over a message by the tables that nanopb has of its type, with a stack
// of its own: no nesting takes more of the program's stack.
#include "strict.h"

#include <pb_common.h>
#include <pb_decode.h>

enum {
  kMostLevels = 101,  // the message itself, and 100 inside of it
  kLongestTag = 5,
  kLongestLength = 5,
  kLongestNumber = 10
};

// A message that the walk is inside of; `rest` bytes of the input come after
// it.
typedef struct {
  const pb_msgdesc_t* type;
  size_t rest;
} Level;

// The size of a character's UTF-8; 0: it is none, or the zero byte.
static size_t CharacterSize(const pb_byte_t* p, size_t rest) {
  if (p[0] < 0x80) return p[0] != 0;
  const size_t size = p[0] < 0xE0 ? 2 : p[0] < 0xF0 ? 3 : 4;
  if (p[0] < 0xC2 || p[0] > 0xF4 || size > rest) return 0;
  for (size_t i = 1; i < size; ++i) {
    if ((p[i] & 0xC0) != 0x80) return 0;
  }
  // Longer than needed, half of a pair, or above the last character.
  if ((p[0] == 0xE0 && p[1] < 0xA0) || (p[0] == 0xED && p[1] > 0x9F) ||
      (p[0] == 0xF0 && p[1] < 0x90) || (p[0] == 0xF4 && p[1] > 0x8F)) {
    return 0;
  }
  return size;
}

static bool IsText(const pb_byte_t* bytes, size_t size) {
  while (size > 0) {
    const size_t character = CharacterSize(bytes, size);
    if (character == 0) return false;
    bytes += character;
    size -= character;
  }
  return true;
}

static bool FindField(const pb_msgdesc_t* type, uint32_t tag,
                      pb_field_iter_t* field) {
  return pb_field_iter_begin(field, type, NULL) &&
         pb_field_iter_find(field, tag);
}

// Skips a value whose wire type has no length. nanopb takes numbers of any
// length for one.
static bool SkipValue(pb_istream_t* input, pb_wire_type_t wire) {
  const size_t before = input->bytes_left;
  return pb_skip_field(input, wire) &&
         (wire != PB_WT_VARINT || before - input->bytes_left <= kLongestNumber);
}

// Reads a tag and, of what has one, the length.
static bool ReadHead(pb_istream_t* input, pb_wire_type_t* wire, uint32_t* tag,
                     uint32_t* length) {
  bool ends;
  size_t before = input->bytes_left;
  if (!pb_decode_tag(input, wire, tag, &ends) || *tag == 0 ||
      before - input->bytes_left > kLongestTag) {
    return false;
  }
  if (*wire != PB_WT_STRING) return true;
  before = input->bytes_left;
  return pb_decode_varint32(input, length) &&
         before - input->bytes_left <= kLongestLength;
}

static Verdict CheckTexts(const pb_msgdesc_t* type, const pb_byte_t* bytes,
                          size_t size) {
  Verdict verdict = kDecoded;
  pb_istream_t input = pb_istream_from_buffer(bytes, size);
  Level levels[kMostLevels] = {{type, 0}};
  for (Level* top = levels;;) {
    if (input.bytes_left < top->rest) return kMalformed;
    if (input.bytes_left == top->rest) {
      if (top == levels) return verdict;
      --top;
      continue;
    }
    pb_wire_type_t wire;
    uint32_t tag, length;
    if (!ReadHead(&input, &wire, &tag, &length)) return kMalformed;
    if (wire != PB_WT_STRING) {
      if (!SkipValue(&input, wire)) return kMalformed;
      continue;
    }
    if (input.bytes_left < top->rest || length > input.bytes_left - top->rest) {
      return kMalformed;
    }
    pb_field_iter_t field;
    if (!FindField(top->type, tag, &field)) {
      if (!pb_read(&input, NULL, length)) return kMalformed;
      continue;
    }
    if (PB_ATYPE(field.type) == PB_ATYPE_CALLBACK) verdict = kNodes;
    if (PB_LTYPE_IS_SUBMSG(PB_LTYPE(field.type))) {
      if (++top == levels + kMostLevels) return kMalformed;
      *top = (Level){field.submsg_desc, input.bytes_left - length};
      continue;
    }
    if (PB_LTYPE(field.type) == PB_LTYPE_STRING &&
        !IsText(bytes + (size - input.bytes_left), length)) {
      return kNotText;
    }
    if (!pb_read(&input, NULL, length)) return kMalformed;
  }
}

Verdict DecodeStrictly(const pb_msgdesc_t* type, const pb_byte_t* bytes,
                       size_t size, void* message) {
  const Verdict texts = CheckTexts(type, bytes, size);
  if (texts == kNotText || texts == kMalformed) return texts;
  pb_istream_t input = pb_istream_from_buffer(bytes, size);
  return pb_decode(&input, type, message) ? texts : kMalformed;
}
