// The native methods of the host classes (registered by JNI_OnLoad, see
// jni_onload.cc):
//   com/orvenco/android/vantrel/search/NativeHandler  engine lifecycle,
//       databases and indexes, scans and hooks, searching, documents,
//       compaction (twenty methods, plus the 64-bit form of native_hook_db
//       and native_set_option for the engine options);
//   com/orvenco/android/vantrel/search/Utils  highlighted abstracts and
//       pinyin conversion.
// The two methods installing host callbacks are in host_callbacks.h.
//
// Every method works on the process-wide engine of engine.h and reports
// failure by its return value alone: -1 (or a null string) when the engine
// is not running or a required argument is null. Nothing is thrown into Java.
// Texts from Java are borrowed through the VM and given back before return.
//
// Threads: no lock of the bridge's own; see engine.h.
#ifndef KS_BRIDGE_NATIVE_METHODS_H_
#define KS_BRIDGE_NATIVE_METHODS_H_

#include <jni.h>

namespace kestrinSearch {

// ---- NativeHandler, in registration order ----

// (Ljava/lang/String;I)I: -1 for a null or empty root, else 0.
jint init_engine(JNIEnv* env, jclass, jstring root_path, jint mode);
// ()V
void release_engine(JNIEnv* env, jclass);
// (String index, String field, String query, int start, int num, boolean)
// -> JSON result text; null without engine, for a null index or query, num
// below 1 or when nothing was found.
jstring search(JNIEnv* env, jclass, jstring index_name, jstring field_name, jstring query,
               jint start, jint num, jboolean flag);
// Ten strings -> the index registration's result (the table is handed to the
// adapter whatever that was); -1 without engine.
jint add_index_for_table(JNIEnv* env, jclass, jstring index_name, jstring db_name,
                         jstring table_name, jstring key_field, jstring index_fields,
                         jstring where_condition, jstring tab_pinyin_field, jstring profile_fields,
                         jstring notoken_fields, jstring group_name);
// (name, file path, key, WAL) -> the adapter's result; -1 without engine.
jint add_db(JNIEnv* env, jclass, jstring name, jstring path, jstring password, jboolean wal);
// (db name, connection as int). The int can carry a pointer only where
// pointers are 32 bits; elsewhere -1 (use the long form).
jint hook_db(JNIEnv* env, jclass, jstring db_name, jint connection);
// (db name, connection as long): the sqlite3* of the host's own connection.
jint hook_db_long(JNIEnv* env, jclass, jstring db_name, jlong connection);
jint stop_hook_db(JNIEnv* env, jclass, jstring db_name);
// (db, table, index) -> rows indexed by this batch, 0 when the table is done,
// negative on failure.
jint scan_table(JNIEnv* env, jclass, jstring db_name, jstring table_name, jstring index_name);
// (index, db, table, pkey, Object[] values): each element as text (null
// gives "", other objects their toString()); the engine's result.
jint modify_doc(JNIEnv* env, jclass, jstring index_name, jstring db_name, jstring table_name,
                jstring pkey, jobjectArray values);
// A non-empty pkey deletes that document; a null or empty one clears the
// table (or, with empty names, every table) instead.
jint del_doc(JNIEnv* env, jclass, jstring index_name, jstring db_name, jstring table_name,
             jstring pkey);
// "0.1.0", engine running or not.
jstring index_version(JNIEnv* env, jclass);
// Compacts the group (force: whatever its share of deleted documents).
void ellipse_index(JNIEnv* env, jclass, jstring group_name, jboolean force);
// Moves a table's recorded scan position, but only once a scan recorded one:
// the setter's result, or 0 when nothing is recorded yet.
jint set_max_rawid(JNIEnv* env, jclass, jstring index_name, jstring db_name, jstring table_name,
                   jint rowid);
// Deleted documents of the group; -1 without engine or for an unknown group.
jint get_del_num(JNIEnv* env, jclass, jstring group_name);
// Sets the auto-save flag of the table's current group, saving it at once
// when switched on. 0 (also for a null name, changing nothing); -1 without
// engine.
jint set_auto_save(JNIEnv* env, jclass, jstring index_name, jstring db_name, jstring table_name,
                   jboolean on);
// JSON listing of the table's live primary keys, or null.
jstring get_table_record(JNIEnv* env, jclass, jstring index_name, jstring db_name,
                         jstring table_name);
// CRC-32 chain from `seed` over the first 4 bytes of each string; -1 for a
// null array.
jint sign_str_hash(JNIEnv* env, jclass, jobjectArray strings, jint seed);
// 20.
jint base_weight_value(JNIEnv* env, jclass);
// (String name, String value) -> Searcher::setOption's result: 0, or -1
// without engine, for a null argument or a refused option. Registered on its
// own (beside the table above), so a host class without it loses nothing.
jint set_option(JNIEnv* env, jclass, jstring name, jstring value);

// ---- Utils ----

// The highlighted abstract of at most `length` characters, or null when the
// query matched nothing (or an argument is null). Follows the running
// engine's text options (none without engine).
jstring highlight_abstract(JNIEnv* env, jclass, jstring text, jstring query, jint length);
// The pinyin of the one Han character of `text`, whose byte length is `len`;
// null when it has none.
jstring convert_pinyin(JNIEnv* env, jclass, jstring text, jint len);

}  // namespace kestrinSearch

#endif  // KS_BRIDGE_NATIVE_METHODS_H_
