#include "foundation/ini_file.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "foundation/c_string.h"
#include "foundation/durable_file.h"
#include "foundation/utf8_util.h"

namespace mobile_search {

namespace {

const int kPathCapacity = 128;
const int kLineBytes = 1024;
// Shorter lines, newline included, are skipped before trimming.
const size_t kMinLineBytes = 4;

ini_section_t* section_at(const ini_ctx_t* ctx, unsigned int index) {
  if (ctx == nullptr || ctx->sections == nullptr || index >= ctx->sections->count) return nullptr;
  return slot_as<ini_section_t>(ctx->sections->items[index]);
}

bool same_text(const _str_buffer_t* buf, const char* s) {
  return buf != nullptr && buf->data != nullptr && strcmp(buf->data, s) == 0;
}

int find_section(const ini_ctx_t* ctx, const char* name) {
  for (unsigned int i = 0; i < darray_length(ctx->sections); ++i) {
    ini_section_t* section = section_at(ctx, i);
    if (section != nullptr && same_text(section->name, name)) return (int)i;
  }
  return -1;
}

// Appends a section to the document, freeing it when the array cannot grow.
void adopt_section(ini_ctx_t* ctx, ini_section_t* section) {
  if (darray_append(ctx->sections, static_cast<const void*>(section)) != RET_OK) {
    ini_section_free(section);
  }
}

// One trimmed "key=value" line inside a section; other lines are ignored.
void read_item_line(ini_section_t* section, char* line) {
  char* eq = strchr(line, '=');
  if (eq == nullptr) return;
  *eq = '\0';
  char* key = ac_str_right_trim(line);
  char* value = ac_str_left_trim(eq + 1);
  if (is_empty_str(key) || is_empty_str(value)) return;
  // Keys repeated in a file are kept; lookups see the first.
  ini_section_add_item(section, key, value);
}

bool append_buffer(_str_buffer_t* out, const _str_buffer_t* buf) {
  return buf->len == 0 || str_buffer_append(out, buf->data, buf->len) == 1;
}

// The text of one section: header line, then "key=value" lines.
bool append_section(_str_buffer_t* out, const ini_section_t* section) {
  bool ok = str_buffer_append(out, "[") == 1 && append_buffer(out, section->name) &&
            str_buffer_append(out, "]\n") == 1;
  for (unsigned int i = 0; ok && i < section->items->count; ++i) {
    const ini_item_t* item = slot_as<ini_item_t>(section->items->items[i]);
    if (item == nullptr || item->key == nullptr || item->value == nullptr) continue;
    ok = append_buffer(out, item->key) && str_buffer_append(out, "=") == 1 &&
         append_buffer(out, item->value) && str_buffer_append(out, "\n") == 1;
  }
  return ok;
}

}  // namespace

ini_item_t* ini_item_create(const char* key, const char* value) {
  if (is_empty_str(key) || is_empty_str(value)) return nullptr;
  ini_item_t* item = static_cast<ini_item_t*>(calloc(1, sizeof(ini_item_t)));
  if (item == nullptr) return nullptr;
  item->key = str_buffer_create(key);
  item->value = str_buffer_create(value);
  if (item->key == nullptr || item->value == nullptr) {
    ini_item_free(item);
    return nullptr;
  }
  return item;
}

void ini_item_free(ini_item_t* item) {
  if (item == nullptr) return;
  str_buffer_free(item->key);
  str_buffer_free(item->value);
  free(item);
}

void ini_item_free(void* item) { ini_item_free(static_cast<ini_item_t*>(item)); }

ini_section_t* ini_section_create(const char* name) {
  if (is_empty_str(name)) return nullptr;
  ini_section_t* section = static_cast<ini_section_t*>(calloc(1, sizeof(ini_section_t)));
  if (section == nullptr) return nullptr;
  section->name = str_buffer_create(name);
  section->items = darray_create(static_cast<darray_free_fn>(ini_item_free), true);
  if (section->name == nullptr || section->items == nullptr) {
    ini_section_free(section);
    return nullptr;
  }
  return section;
}

void ini_section_free(ini_section_t* section) {
  if (section == nullptr) return;
  str_buffer_free(section->name);
  darray_destroy(section->items);
  free(section);
}

void ini_section_free(void* section) { ini_section_free(static_cast<ini_section_t*>(section)); }

ini_ctx_t* ini_ctx_create() {
  ini_ctx_t* ctx = static_cast<ini_ctx_t*>(calloc(1, sizeof(ini_ctx_t)));
  if (ctx == nullptr) return nullptr;
  ctx->sections = darray_create(static_cast<darray_free_fn>(ini_section_free), true);
  ctx->path = str_buffer_create(kPathCapacity);
  if (ctx->sections == nullptr || ctx->path == nullptr) {
    ini_ctx_free(ctx);
    return nullptr;
  }
  return ctx;
}

void ini_ctx_free(ini_ctx_t* ctx) {
  if (ctx == nullptr) return;
  str_buffer_free(ctx->path);
  darray_destroy(ctx->sections);
  free(ctx);
}

ini_ctx_t* ini_load_from_file(const char* path) {
  if (is_empty_str(path)) return nullptr;
  ini_ctx_t* ctx = ini_ctx_create();
  if (ctx == nullptr) return nullptr;
  if (str_buffer_append(ctx->path, path) != 1) {
    ini_ctx_free(ctx);
    return nullptr;
  }
  // Read/update mode: a file we could not write back counts as missing.
  FILE* f = fopen(path, "r+");
  if (f == nullptr) return ctx;

  char line[kLineBytes];
  memset(line, 0, sizeof(line));
  ini_section_t* current = nullptr;
  while (fgets(line, sizeof(line), f) != nullptr) {
    // Measured before trimming: "a=b" without a newline at the end of the
    // file is dropped, with one it is read. Kept as the files rely on it.
    if (strlen(line) >= kMinLineBytes) {
      ac_str_trim(line);
      char* close = strchr(line, ']');
      if (line[0] == '[' && close != nullptr) {
        if (current != nullptr) adopt_section(ctx, current);
        current = nullptr;
        *close = '\0';
        const char* name = line + 1;
        // A repeated header has no current section: its lines are dropped.
        if (find_section(ctx, name) < 0) {
          current = ini_section_create(name);
          if (current == nullptr) {
            ini_ctx_free(ctx);
            fclose(f);
            return nullptr;
          }
        }
      } else if (current != nullptr) {
        read_item_line(current, line);
      }
    }
    memset(line, 0, sizeof(line));
  }
  if (current != nullptr) adopt_section(ctx, current);
  fclose(f);
  return ctx;
}

int ini_ctx_save(ini_ctx_t* ctx, bool force) { return ini_ctx_save_durable(ctx, force, false); }

int ini_ctx_save_durable(ini_ctx_t* ctx, bool force, bool durable) {
  if (ctx == nullptr || ctx->path == nullptr || ctx->path->data == nullptr ||
      ctx->path->len == 0) {
    return -1;
  }
  if (ctx->sections == nullptr) return 0;
  if (!force && ctx->modified == 0) return 0;
  _str_buffer_t* text = str_buffer_create(256);
  if (text == nullptr) return -1;
  bool ok = true;
  for (unsigned int i = 0; ok && i < ctx->sections->count; ++i) {
    const ini_section_t* section = section_at(ctx, i);
    if (section == nullptr || section->name == nullptr || section->items == nullptr) continue;
    ok = append_section(text, section);
  }
  // The whole text replaces the file in one rename: a crash or a full disk
  // leaves the previous text, never a truncated one. The flag stays set.
  if (ok) ok = write_file_replace(ctx->path->data, text->data, static_cast<size_t>(text->len), durable) == 0;
  str_buffer_free(text);
  return ok ? 0 : -1;
}

ini_section_t* ini_ctx_get_section(const ini_ctx_t* ctx, const char* name) {
  if (ctx == nullptr || ctx->sections == nullptr || is_empty_str(name)) return nullptr;
  int index = find_section(ctx, name);
  return index < 0 ? nullptr : section_at(ctx, (unsigned int)index);
}

ini_section_t* ini_ctx_get_section(const ini_ctx_t* ctx, int index) {
  if (index < 0) return nullptr;
  return section_at(ctx, (unsigned int)index);
}

ini_item_t* ini_section_get_item(const ini_section_t* section, const char* key) {
  if (section == nullptr || section->items == nullptr || is_empty_str(key)) return nullptr;
  for (unsigned int i = 0; i < section->items->count; ++i) {
    ini_item_t* item = slot_as<ini_item_t>(section->items->items[i]);
    if (item != nullptr && same_text(item->key, key)) return item;
  }
  return nullptr;
}

const char* ini_ctx_get_val_impl(const ini_ctx_t* ctx, const char* section, const char* key) {
  if (ctx == nullptr || is_empty_str(section) || is_empty_str(key)) return nullptr;
  ini_item_t* item = ini_section_get_item(ini_ctx_get_section(ctx, section), key);
  return (item == nullptr || item->value == nullptr) ? nullptr : item->value->data;
}

const char* ini_ctx_get_val(const ini_ctx_t* ctx, const char* section, const char* key) {
  if (ctx == nullptr || is_empty_str(section) || is_empty_str(key)) return nullptr;
  return ini_ctx_get_val_impl(ctx, section, key);
}

const char* ini_ctx_get_val(const ini_ctx_t* ctx, int index, const char* key) {
  // The index is taken as unsigned, so a negative one is out of range.
  ini_item_t* item = ini_section_get_item(section_at(ctx, (unsigned int)index), key);
  if (item == nullptr || item->value == nullptr) return nullptr;
  // Unlike the by-name lookup, an emptied value reads as absent here.
  return item->value->len == 0 ? nullptr : item->value->data;
}

int ini_ctx_section_num(const ini_ctx_t* ctx) {
  return ctx == nullptr ? 0 : (int)darray_length(ctx->sections);
}

const char* ini_ctx_section_name(const ini_ctx_t* ctx, int index) {
  ini_section_t* section = ini_ctx_get_section(ctx, index);
  return (section == nullptr || section->name == nullptr) ? nullptr : section->name->data;
}

int ini_ctx_add_section(ini_ctx_t* ctx, const char* name) {
  if (ctx == nullptr || ctx->sections == nullptr || is_empty_str(name)) return -1;
  if (find_section(ctx, name) >= 0) return 0;
  ini_section_t* section = ini_section_create(name);
  if (section == nullptr) return -1;
  if (darray_append(ctx->sections, static_cast<const void*>(section)) != RET_OK) {
    ini_section_free(section);
    return -1;
  }
  ctx->modified = 1;
  return 1;
}

int ini_section_add_item(const ini_section_t* section, const char* key, const char* value) {
  if (section == nullptr || section->items == nullptr || is_empty_str(key) || is_empty_str(value)) return -1;
  ini_item_t* item = ini_item_create(key, value);
  if (item == nullptr) return -1;
  if (darray_append(section->items, static_cast<const void*>(item)) != RET_OK) {
    ini_item_free(item);
    return -1;
  }
  return 0;
}

int ini_ctx_section_add_item(ini_ctx_t* ctx, const char* section, const char* key,
                             const char* value) {
  if (ctx == nullptr || ctx->sections == nullptr || is_empty_str(section) || is_empty_str(key) ||
      value == nullptr) {
    return -1;
  }
  ini_section_t* sec = ini_ctx_get_section(ctx, section);
  if (sec == nullptr) {
    if (ini_ctx_add_section(ctx, section) < 0) return -1;
    sec = ini_ctx_get_section(ctx, section);
    if (sec == nullptr) return -1;
  }
  ini_item_t* item = ini_section_get_item(sec, key);
  if (item != nullptr) {
    if (str_buffer_compare(item->value, value) == 0) return 0;
    str_buffer_reset(item->value);
    if (value[0] != '\0' && str_buffer_append(item->value, value) != 1) return -1;
  } else if (ini_section_add_item(sec, key, value) != 0) {
    return -1;
  }
  ctx->modified = 1;
  return 1;
}

int ini_ctx_section_add_item(ini_ctx_t* ctx, const char* section, const char* key, int value) {
  char text[12];
  memset(text, 0, sizeof(text));
  snprintf(text, sizeof(text), "%d", value);
  return ini_ctx_section_add_item(ctx, section, key, static_cast<const char*>(text));
}

int ini_ctx_section_add_item(ini_ctx_t* ctx, const char* section, const char* key,
                             long long value) {
  char text[32];
  memset(text, 0, sizeof(text));
  snprintf(text, sizeof(text), "%lld", value);
  return ini_ctx_section_add_item(ctx, section, key, static_cast<const char*>(text));
}

int ini_ctx_remove_section(ini_ctx_t* ctx, const char* name) {
  if (ctx == nullptr || ctx->sections == nullptr || is_empty_str(name)) return -1;
  int index = find_section(ctx, name);
  // The array frees the section. The modified flag is left alone on purpose:
  // callers that remove a section save with force.
  if (index >= 0) darray_delete(ctx->sections, (unsigned int)index);
  return 0;
}

}  // namespace mobile_search
