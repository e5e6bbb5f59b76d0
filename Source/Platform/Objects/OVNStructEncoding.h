#pragma once
// Structures travel through key-value coding as boxed bytes with their type encoding. A
// model header declares a structure's encoding next to the structure, without pulling in
// the property machinery.

//! Specialise (with OVN_STRUCT_ENCODING) to give a trivially copyable structure its
//! encoding, e.g. "{CGPoint=dd}"; such properties travel as boxed bytes.
template <class T>
struct OVNStructEncoding;

#define OVN_STRUCT_ENCODING(Type, encodingText)        \
  template <>                                          \
  struct OVNStructEncoding<Type> {                     \
    static constexpr const char* value = encodingText; \
  }
