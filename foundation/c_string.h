// is_empty_str: the "missing or empty" test every entry point applies to the
// C-string arguments it receives from the host. No failure.
#ifndef KS_FOUNDATION_C_STRING_H_
#define KS_FOUNDATION_C_STRING_H_

namespace mobile_search {

// True for a null pointer or a string whose first byte is the terminator.
inline bool is_empty_str(const char* s) { return s == nullptr || s[0] == '\0'; }

}  // namespace mobile_search

#endif  // KS_FOUNDATION_C_STRING_H_
