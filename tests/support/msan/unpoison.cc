// SPDX-License-Identifier: MIT
// What is no template in the C++ library, and is written there behind MemorySanitizer's back: the insides of
// streams and the links of trees, which GoogleTest uses and libsec does not. Test programs are linked
// with --wrap for each of these, so that they count as written.
#include <sanitizer/msan_interface.h>

#include <cstddef>
#include <ios>
#include <locale>
#include <map>

// The library's own object of this class takes its functions from here, as the linker finds them here first.
template class std::num_put<char>;

// NOLINTBEGIN(bugprone-reserved-identifier): the linker fixes these names.
extern "C" {
void __real__ZNSt8ios_baseC2Ev(std::ios_base *streams);
void __wrap__ZNSt8ios_baseC2Ev(std::ios_base *streams);
void __real__ZNSt8ios_base7_M_initEv(std::ios_base *streams);
void __wrap__ZNSt8ios_base7_M_initEv(std::ios_base *streams);
void __real__ZNSt6localeC1Ev(std::locale *locale);
void __wrap__ZNSt6localeC1Ev(std::locale *locale);
void __real__ZSt29_Rb_tree_insert_and_rebalancebPSt18_Rb_tree_node_baseS0_RS_(bool left, std::_Rb_tree_node_base *node,
                                                                              std::_Rb_tree_node_base *parent,
                                                                              std::_Rb_tree_node_base *header);
void __wrap__ZSt29_Rb_tree_insert_and_rebalancebPSt18_Rb_tree_node_baseS0_RS_(bool left, std::_Rb_tree_node_base *node,
                                                                              std::_Rb_tree_node_base *parent,
                                                                              std::_Rb_tree_node_base *header);
char *__real___cxa_demangle(const char *name, char *buffer, size_t *length, int *status);
char *__wrap___cxa_demangle(const char *name, char *buffer, size_t *length, int *status);
void __real__ZNKSt5ctypeIcE13_M_widen_initEv(const std::ctype<char> *characters);
void __wrap__ZNKSt5ctypeIcE13_M_widen_initEv(const std::ctype<char> *characters);
}

char *__wrap___cxa_demangle(const char *name, char *buffer, size_t *length, int *status) {
  char *const result = __real___cxa_demangle(name, buffer, length, status);
  __msan_unpoison(status, sizeof *status);
  if (result != nullptr) __msan_unpoison_string(result);
  return result;
}

// Compares two tables, one of them on the stack, where the shadow is that of earlier frames.
void __wrap__ZNKSt5ctypeIcE13_M_widen_initEv(const std::ctype<char> *characters) {
  __msan_scoped_disable_interceptor_checks();
  __real__ZNKSt5ctypeIcE13_M_widen_initEv(characters);
  __msan_scoped_enable_interceptor_checks();
}

void __wrap__ZNSt8ios_baseC2Ev(std::ios_base *streams) {
  __real__ZNSt8ios_baseC2Ev(streams);
  __msan_unpoison(streams, sizeof *streams);
}

void __wrap__ZNSt8ios_base7_M_initEv(std::ios_base *streams) {
  __real__ZNSt8ios_base7_M_initEv(streams);
  __msan_unpoison(streams, sizeof *streams);
}

void __wrap__ZNSt6localeC1Ev(std::locale *locale) {
  __real__ZNSt6localeC1Ev(locale);
  __msan_unpoison(locale, sizeof *locale);
}

void __wrap__ZSt29_Rb_tree_insert_and_rebalancebPSt18_Rb_tree_node_baseS0_RS_(bool left, std::_Rb_tree_node_base *node,
                                                                              std::_Rb_tree_node_base *parent,
                                                                              std::_Rb_tree_node_base *header) {
  __real__ZSt29_Rb_tree_insert_and_rebalancebPSt18_Rb_tree_node_baseS0_RS_(left, node, parent, header);
  __msan_unpoison(node, sizeof *node);
}
// NOLINTEND(bugprone-reserved-identifier)
