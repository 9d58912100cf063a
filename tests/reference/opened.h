// Reaches what a class keeps private. OPEN(Tag, Class::member) makes
// Opened(Tag()) the pointer to that member: who names it in an explicit
// instantiation is not asked whether he may.
#ifndef TESTS_REFERENCE_OPENED_H_
#define TESTS_REFERENCE_OPENED_H_

#define OPEN(Tag, member)                                 \
  struct Tag {                                            \
    friend constexpr auto Opened(Tag);                    \
  };                                                      \
  template <auto kMember>                                 \
  struct Tag##Opener {                                    \
    friend constexpr auto Opened(Tag) { return kMember; } \
  };                                                      \
  template struct Tag##Opener<&member>;

#endif  // TESTS_REFERENCE_OPENED_H_
