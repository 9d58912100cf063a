// Gives access to private members. OPEN(Tag, Class::member) makes Opened(Tag())
// the pointer to that member: an explicit instantiation may name private
// members.
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
