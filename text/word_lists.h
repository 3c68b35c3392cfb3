// WordLists: the working lists into which a tokenizer splits a text, freed
// when the object goes out of scope. Internal to the text subsystem.
#ifndef KS_TEXT_WORD_LISTS_H_
#define KS_TEXT_WORD_LISTS_H_

#include "foundation/dynamic_array.h"
#include "foundation/string_buffer.h"

namespace mobile_search {

struct WordLists {
  WordLists()
      : cn(darray_create(str_buffer_free, true)),
        en(darray_create(str_buffer_free, true)),
        num(darray_create(str_buffer_free, true)),
        other(darray_create(str_buffer_free, true)),
        foreign(darray_create(str_buffer_free, true)) {}
  ~WordLists() {
    darray_destroy(cn);
    darray_destroy(en);
    darray_destroy(num);
    darray_destroy(other);
    darray_destroy(foreign);
  }
  WordLists(const WordLists&) = delete;
  WordLists& operator=(const WordLists&) = delete;

  bool valid() const { return cn && en && num && other && foreign; }
  static const _str_buffer_t* word(const _DArray* list, unsigned int i) {
    return slot_as<const _str_buffer_t>(darray_get_by_index(list, i));
  }

  _DArray* cn;
  _DArray* en;
  _DArray* num;
  _DArray* other;
  _DArray* foreign;
};

}  // namespace mobile_search

#endif  // KS_TEXT_WORD_LISTS_H_
