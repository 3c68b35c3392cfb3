// In-memory INI document: load from a path, look sections and values up by
// name or position, add / change / remove them, write back to the same path.
// It knows nothing of what the sections and keys mean.
//
// Syntax read: "[name]" headers and "key=value" lines, trimmed of space, CR,
// tab and LF. There is no comment syntax. Lines shorter than 4 bytes (newline
// included) are skipped, lines longer than 1023 bytes are read as several
// lines, text before the first header is dropped, and a repeated section header
// drops the lines that follow it up to the next header. Duplicate keys read
// from a file are kept; lookups see the first.
//
// Ownership: a document owns its sections, a section its items, an item its
// key and value buffers; each *_free releases everything below it. Returned
// pointers (sections, items, value texts) are borrowed from the document and
// live until the entry is removed or the document freed.
//
// Modified flag: set by every call that adds a section, adds an item or
// changes a value; never cleared (not even by saving). Removing a section does
// not set it: save with force = true afterwards.
//
// Failures: null or -1 as stated per function; partial objects are freed.
// Nothing logs. Threads: no locking inside; the owner serialises access.
#ifndef KS_FOUNDATION_INI_FILE_H_
#define KS_FOUNDATION_INI_FILE_H_

#include "foundation/dynamic_array.h"
#include "foundation/string_buffer.h"

namespace mobile_search {

struct ini_item_t {
  _str_buffer_t* key;    // never empty
  _str_buffer_t* value;  // non-empty when created; an update may empty it
};

struct ini_section_t {
  _str_buffer_t* name;  // never empty
  _DArray* items;       // ini_item_t*, insertion order; frees the items
};

struct ini_ctx_t {
  _DArray* sections;       // ini_section_t*, file / insertion order; frees them
  unsigned char modified;  // 0 after create and load, 1 after any change
  _str_buffer_t* path;     // file the document was loaded from / saves to
};

// ---- Creation and release ----
// Null for a null / empty key or value, or on allocation failure.
ini_item_t* ini_item_create(const char* key, const char* value);
void ini_item_free(ini_item_t* item);
void ini_item_free(void* item);  // _DArray release callback
// Null for a null / empty name, or on allocation failure.
ini_section_t* ini_section_create(const char* name);
void ini_section_free(ini_section_t* section);
void ini_section_free(void* section);  // _DArray release callback
// Empty document with an empty path; null on allocation failure.
ini_ctx_t* ini_ctx_create();
// Frees the document and everything in it; null is ignored.
void ini_ctx_free(ini_ctx_t* ctx);

// ---- Loading and saving ----
// Null for a null / empty path, on allocation failure or when a section cannot
// be created. A file that cannot be opened for reading and writing gives an
// empty document that remembers the path (a later save creates the file).
ini_ctx_t* ini_load_from_file(const char* path);
// Writes the document to its path when modified or when force is set. 0 when
// written or nothing needed writing; -1 for a null document, an empty path or
// when the text cannot be written (the file then keeps its previous text:
// the new text goes to "<path>.tmp" and is renamed over the file).
int ini_ctx_save(ini_ctx_t* ctx, bool force);
// ini_ctx_save that, with `durable`, also flushes the text to the device
// before the rename and the directory after it.
int ini_ctx_save_durable(ini_ctx_t* ctx, bool force, bool durable);

// ---- Lookup (first match, exact byte-wise names) ----
// Null when absent or for null / empty arguments.
ini_section_t* ini_ctx_get_section(const ini_ctx_t* ctx, const char* name);
// Null for a bad index.
ini_section_t* ini_ctx_get_section(const ini_ctx_t* ctx, int index);
ini_item_t* ini_section_get_item(const ini_section_t* section, const char* key);
// The value text, or null when the section or key is missing or an argument is
// null / empty. A value emptied by an update is returned as "".
const char* ini_ctx_get_val(const ini_ctx_t* ctx, const char* section, const char* key);
const char* ini_ctx_get_val_impl(const ini_ctx_t* ctx, const char* section, const char* key);
// By section position; unlike the by-name form, an empty value gives null.
const char* ini_ctx_get_val(const ini_ctx_t* ctx, int index, const char* key);
// Number of sections; 0 for a null document.
int ini_ctx_section_num(const ini_ctx_t* ctx);
// Section name, or null for a bad index.
const char* ini_ctx_section_name(const ini_ctx_t* ctx, int index);

// ---- Changing ----
// 1 when a new empty section was appended (sets the flag), 0 when it already
// exists, -1 for bad arguments or allocation failure.
int ini_ctx_add_section(ini_ctx_t* ctx, const char* name);
// Appends an item without looking for an existing key; does not touch any
// document flag. 0, or -1 for null / empty key or value or failure.
int ini_section_add_item(const ini_section_t* section, const char* key, const char* value);
// Sets section.key = value, creating the section when needed. 1 when something
// changed (sets the flag), 0 when the key already held that value, -1 for bad
// arguments, failure, or an empty value for a key that does not exist yet.
int ini_ctx_section_add_item(ini_ctx_t* ctx, const char* section, const char* key,
                             const char* value);
int ini_ctx_section_add_item(ini_ctx_t* ctx, const char* section, const char* key,
                             int value);        // "%d"
int ini_ctx_section_add_item(ini_ctx_t* ctx, const char* section, const char* key,
                             long long value);  // "%lld"
// Removes the first section of that name; 0 whether or not it existed, -1 for
// bad arguments. Does not set the modified flag.
int ini_ctx_remove_section(ini_ctx_t* ctx, const char* name);

}  // namespace mobile_search

#endif  // KS_FOUNDATION_INI_FILE_H_
