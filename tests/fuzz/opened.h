// Private members of the product, so that one object serves many executions and starts each as it was made.
//
// An explicit instantiation may name private members: FUZZ_OPEN hands a member's address to a function that is found by
// its tag, and `object.*memberOf(Tag())` is the member.
#pragma once

#define FUZZ_OPEN(Tag, Class, Type, member)                      \
  struct Tag {                                                   \
    using Member = Type Class::*;                                \
    friend Member memberOf(Tag tag);                             \
  };                                                             \
  template <Tag::Member kMember>                                 \
  struct Tag##Opened {                                           \
    friend Tag::Member memberOf(Tag /*tag*/) { return kMember; } \
  };                                                             \
  template struct Tag##Opened<&Class::member>
