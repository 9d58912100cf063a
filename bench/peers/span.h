// A range over an array of which a C struct knows the length.
#ifndef SCHEMA_BENCH_PEERS_SPAN_H_
#define SCHEMA_BENCH_PEERS_SPAN_H_

#include <cstddef>

template <typename T>
class Span {
 public:
  Span(T* begin, size_t size) : begin_(begin), end_(begin + size) {}
  T* begin() const { return begin_; }
  T* end() const { return end_; }

 private:
  T* begin_;
  T* end_;
};

#endif  // SCHEMA_BENCH_PEERS_SPAN_H_
