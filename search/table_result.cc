#include "search/table_result.h"

#include <cstring>

#include "search/json_text.h"
#include "storage/doc_id_manager.h"

namespace mobile_search {

namespace {

constexpr int kKeyCapacity = 32;

ArrayList* NewList() { return new ArrayList(nullptr); }

template <typename T>
T* SlotPtr(const ArrayList* list, int i) {
  return static_cast<T*>(slot_to_ptr(list->get(static_cast<unsigned int>(i))));
}

bool InRange(const ArrayList* list, int i) {
  return list != nullptr && i >= 0 && static_cast<unsigned int>(i) < list->length();
}

// The low byte of entry `i`, or 0 when there is none.
unsigned char ByteAt(const ArrayList* list, int i) {
  return InRange(list, i) ? static_cast<unsigned char>(list->get(static_cast<unsigned int>(i)))
                          : 0;
}

// strlen of the group names of a result, measured again only when the
// pointer changes: one group's name fills entry after entry.
class NameLength {
 public:
  size_t of(const char* s) {
    if (s != last_) {
      last_ = s;
      len_ = s == nullptr ? 0 : strlen(s);
    }
    return len_;
  }

 private:
  const char* last_ = nullptr;
  size_t len_ = 0;
};

void AppendText(StringBuffer* out, const char* s) {
  if (s != nullptr && s[0] != '\0') out->append(s);
}

// Writes ,"name":[ ; false (nothing written) for an absent or empty list.
bool OpenArray(const char* name, const ArrayList* list, JsonText& text) {
  if (list == nullptr || list->length() == 0) return false;
  text.put(",\"");
  text.put(name);
  text.put("\":[");
  return true;
}

// Writes ,"name":[ then the quoted texts, then ]. `text(slot, &len)` gives an
// entry's text, or null (or len <= 0) for an entry that is skipped. A skipped
// entry takes its separator with it, so an empty last entry leaves a trailing
// ","; readers of this text have always seen that. The room for every entry
// is made at once and the entries are copied straight in.
template <typename Text>
void AppendQuotedArray(const char* name, const ArrayList* list, StringBuffer* out, Text text) {
  JsonText json(out);
  if (!OpenArray(name, list, json)) return;
  const unsigned int n = list->length();
  unsigned long long bytes = 1;  // the closing ]
  for (unsigned int i = 0; i < n; ++i) {
    int len = 0;
    if (text(list->get(i), &len) != nullptr && len > 0) bytes += static_cast<unsigned long long>(len) + 3;
  }
  char* at = bytes < (1ull << 30) ? json.reserve(static_cast<int>(bytes)) : nullptr;
  if (at == nullptr) return;
  for (unsigned int i = 0; i < n; ++i) {
    int len = 0;
    const char* s = text(list->get(i), &len);
    if (s == nullptr || len <= 0) continue;
    *at++ = '"';
    memcpy(at, s, static_cast<size_t>(len));
    at += len;
    *at++ = '"';
    if (i + 1 < n) *at++ = ',';
  }
  *at++ = ']';
  json.commit(at);
}

}  // namespace

TableResult::TableResult(bool owning)
    : pkey_arr_(NewList()),
      offset_arr_(NewList()),
      field_id_arr_(NewList()),
      weight_arr_(NewList()),
      group_arr_(NewList()),
      pkey_hash_array_(NewList()),
      keys_(kKeyCapacity),
      docs_found_(0),
      table_id_(0),
      index_name_(nullptr),
      db_name_(nullptr),
      table_name_(nullptr),
      key_field_(nullptr),
      field_list_(nullptr),
      field_num_(0),
      owning_(owning) {}

TableResult::~TableResult() {
  // Every key buffer in the list was made for this result (by add, insert or
  // a table listing), so it is freed whatever the owning flag says: freeing
  // only owned keys would leak those of the per-group results, which are
  // created non-owning and merged away. Keys in the slab go with it; the
  // list is walked only when it may hold others.
  const unsigned int n = pkey_arr_->length();
  if (heap_keys_) {
    for (unsigned int i = 0; i < n; ++i) freeKey(SlotPtr<_str_buffer_t>(pkey_arr_, static_cast<int>(i)));
  }
  delete pkey_arr_;
  delete offset_arr_;
  delete field_id_arr_;
  delete weight_arr_;
  delete group_arr_;
  delete pkey_hash_array_;
}

void TableResult::readTableInfo(const table_info_t* info) {
  if (info == nullptr) return;
  table_id_ = info->table_id;
  index_name_ = info->index_name->data;
  db_name_ = info->db_name->data;
  table_name_ = info->table_name->data;
  key_field_ = info->key_field->data;
  field_list_ = info->field_list->data;
  field_num_ = info->field_num;
}

bool TableResult::reserve(unsigned int n) {
  bool ok = keys_.reserve(n);
  for (ArrayList** list : entryLists()) ok = (*list)->reserve(n) == RET_OK && ok;
  return ok;
}

_str_buffer_t* TableResult::newKey(const char* text, int len) {
  // A key that fits the capacity goes into the slab; a longer one gets a
  // heap buffer grown to it, as a capacity-32 buffer always was.
  _str_buffer_t* key = keys_.create(text, len);
  if (key != nullptr) return key;
  key = str_buffer_create(kKeyCapacity);
  if (key != nullptr && len > 0) str_buffer_append(key, text, len);
  heap_keys_ = heap_keys_ || key != nullptr;
  return key;
}

void TableResult::freeKey(_str_buffer_t* key) {
  if (!keys_.owns(key)) str_buffer_free(key);
}

int TableResult::add(DocIdManager* ids, doc_union_t hit,
                     _str_buffer_t* group_name) {
  if (ids == nullptr) return -1;
  const char* text = nullptr;
  unsigned int len = 0;
  if (ids->getPKeyView(static_cast<int>(hit.docid()), &text, &len) != 0) text = nullptr;
  return add(text, text == nullptr ? 0 : static_cast<int>(len), hit, group_name);
}

int TableResult::add(const char* key_text, int key_len, doc_union_t hit, _str_buffer_t* group_name) {
  _str_buffer_t* key = newKey(key_text, key_text == nullptr ? 0 : key_len);
  if (key == nullptr) return -1;
  pkey_arr_->add(static_cast<const void*>(key));
  field_id_arr_->add(static_cast<unsigned long long>(hit.field()));
  weight_arr_->add(static_cast<unsigned long long>(hit.weight()));
  offset_arr_->add(static_cast<unsigned long long>(hit.docid()));
  group_arr_->add(static_cast<const void*>(group_name != nullptr ? group_name->data : nullptr));
  return 0;
}

int TableResult::insert(int position, _str_buffer_t* pkey,
                        unsigned char weight, unsigned char field_id,
                        unsigned char doc_id, const char* group) {
  _str_buffer_t* key = copyKey(pkey);
  if (key == nullptr) return -1;
  const unsigned int at = position < 0 ? 0u : static_cast<unsigned int>(position);
  pkey_arr_->insert(at, ptr_to_slot(key));
  weight_arr_->insert(at, static_cast<unsigned long long>(weight));
  field_id_arr_->insert(at, static_cast<unsigned long long>(field_id));
  offset_arr_->insert(at, static_cast<unsigned long long>(doc_id));
  group_arr_->insert(at, ptr_to_slot(group));
  return 0;
}

int TableResult::deleteDoc(int i) {
  if (!InRange(pkey_arr_, i)) return -1;
  const unsigned int at = static_cast<unsigned int>(i);
  freeKey(SlotPtr<_str_buffer_t>(pkey_arr_, i));
  pkey_arr_->remove(at);
  offset_arr_->remove(at);
  field_id_arr_->remove(at);
  weight_arr_->remove(at);
  group_arr_->remove(at);
  --docs_found_;
  return 0;
}

int TableResult::getCount() const {
  return pkey_arr_ == nullptr ? 0 : static_cast<int>(pkey_arr_->length());
}

_str_buffer_t* TableResult::getPkey(int i) const {
  return InRange(pkey_arr_, i) ? SlotPtr<_str_buffer_t>(pkey_arr_, i) : nullptr;
}

unsigned char TableResult::getWeight(int i) const { return ByteAt(weight_arr_, i); }

unsigned char TableResult::getFieldId(int i) const { return ByteAt(field_id_arr_, i); }

const char* TableResult::getGroupName(int i) const {
  return InRange(group_arr_, i) ? SlotPtr<const char>(group_arr_, i) : nullptr;
}

unsigned char TableResult::getDocId(int i) const { return ByteAt(offset_arr_, i); }

size_t TableResult::serializedBound() const {
  auto text = [](const char* s) { return s == nullptr ? size_t{0} : strlen(s); };
  // The fixed keys and punctuation, three numbers, the names.
  size_t bytes = 160 + 3 * 12 + text(table_name_) + text(db_name_) + text(key_field_) + text(field_list_);
  const ArrayList* numbers[] = {offset_arr_, field_id_arr_, weight_arr_, pkey_hash_array_};
  for (const ArrayList* list : numbers) bytes += 24 + list->length() * size_t{12};
  bytes += 24 + 24;
  for (unsigned int i = 0; i < pkey_arr_->length(); ++i) {
    const _str_buffer_t* key = SlotPtr<_str_buffer_t>(pkey_arr_, static_cast<int>(i));
    bytes += 3 + (key == nullptr || key->len < 0 ? 0 : static_cast<size_t>(key->len));
  }
  NameLength names;
  for (unsigned int i = 0; i < group_arr_->length(); ++i) {
    bytes += 3 + names.of(SlotPtr<const char>(group_arr_, static_cast<int>(i)));
  }
  return bytes;
}

void TableResult::serialize(StringBuffer* out) const {
  if (out == nullptr) return;
  out->append("{\"table_name\":\"");
  AppendText(out, table_name_);
  out->append("\",\"db_name\":\"");
  AppendText(out, db_name_);
  out->append("\",\"key_field\":\"");
  AppendText(out, key_field_);
  out->append("\",\"docs_found\":");
  out->append(static_cast<unsigned int>(docs_found_));
  out->append(",\"docs_return\":");
  out->append(getCount());
  out->append(",\"field_num\":");
  out->append(field_num_);
  out->append(",\"field_list\":\"");
  AppendText(out, field_list_);
  out->append('"');
  appendStrBufferArray("pkey_arr", pkey_arr_, out);
  appendIntArray("offset_arr", offset_arr_, out);
  appendIntArray("field_id_arr", field_id_arr_, out);
  appendIntArray("weight_arr", weight_arr_, out);
  appendStrArray("group_arr", group_arr_, out);
  appendIntArray("pkey_hash_array", pkey_hash_array_, out);
  out->append('}');
}

void TableResult::appendIntArray(const char* name, const ArrayList* list,
                                 StringBuffer* out) {
  JsonText text(out);
  if (!OpenArray(name, list, text)) return;
  // Every entry is written, so the room for all of them is made at once.
  const unsigned int n = list->length();
  char* at = n < (1u << 26) ? text.reserve(static_cast<int>(n) * (JsonText::kIntChars + 1) + 1) : nullptr;
  if (at == nullptr) return;
  for (unsigned int i = 0; i < n; ++i) {
    at = JsonText::writeInt(at, static_cast<int>(static_cast<uint32_t>(list->get(i))));
    *at++ = i + 1 < n ? ',' : ']';
  }
  text.commit(at);
}

void TableResult::appendStrArray(const char* name, const ArrayList* list,
                                 StringBuffer* out) {
  NameLength names;
  AppendQuotedArray(name, list, out, [&names](unsigned long long slot, int* len) {
    const char* s = static_cast<const char*>(slot_to_ptr(slot));
    *len = static_cast<int>(names.of(s));
    return s;
  });
}

void TableResult::appendStrBufferArray(const char* name, const ArrayList* list,
                                       StringBuffer* out) {
  AppendQuotedArray(name, list, out, [](unsigned long long slot, int* len) {
    const _str_buffer_t* s = static_cast<const _str_buffer_t*>(slot_to_ptr(slot));
    *len = s == nullptr ? 0 : s->len;
    return s == nullptr ? static_cast<const char*>(nullptr) : s->data;
  });
}

}  // namespace mobile_search
