#include "bridge/native_methods.h"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "adapter/ks_search_data_adapter.h"
#include "bridge/engine.h"
#include "bridge/host_log.h"
#include "bridge/jni_text.h"
#include "config/config_manager.h"
#include "foundation/hash.h"
#include "search/searcher.h"
#include "text/highlight.h"
#include "text/pinyin.h"

namespace kestrinSearch {

using mobile_search::KSSearchDataAdapter;
using mobile_search::Searcher;

namespace {

const char kSearchTag[] = "native_search";
const jint kBaseWeight = 20;

// A malloc'ed engine text handed to Java as a new string and freed.
jstring take_engine_text(JNIEnv* env, char* text) {
  jstring str = chars2String(env, text);
  free(text);
  return str;
}

// One element of native_modify_doc's Object[] as engine text: a string as it
// is, another object by its toString(), null (or a failed conversion) as "".
// Copied out, so that no reference outlives the element's turn.
std::string element_text(JNIEnv* env, jobject element, jclass string_class) {
  if (element == nullptr) return std::string();
  jstring str = nullptr;
  if (env->IsInstanceOf(element, string_class)) {
    str = static_cast<jstring>(env->NewLocalRef(element));
  } else {
    ScopedLocalRef<jclass> cls(env, env->GetObjectClass(element));
    jmethodID to_string = env->GetMethodID(cls.get(), "toString", "()Ljava/lang/String;");
    if (to_string != nullptr) str = static_cast<jstring>(env->CallObjectMethod(element, to_string));
    if (clear_exception(env) && str != nullptr) {
      env->DeleteLocalRef(str);
      str = nullptr;
    }
  }
  ScopedLocalRef<jstring> holder(env, str);
  ScopedUtfChars chars(env, str);
  return chars.get() != nullptr ? std::string(chars.get()) : std::string();
}

// The (index, db, table) triple most methods take, borrowed from Java.
struct TableNames {
  TableNames(JNIEnv* env, jstring index_name, jstring db_name, jstring table_name)
      : index(env, index_name), db(env, db_name), table(env, table_name) {}
  bool complete() const {
    return index.get() != nullptr && db.get() != nullptr && table.get() != nullptr;
  }
  ScopedUtfChars index;
  ScopedUtfChars db;
  ScopedUtfChars table;
};

}  // namespace

jint init_engine(JNIEnv* env, jclass, jstring root_path, jint mode) {
  ScopedUtfChars root(env, root_path);
  return init_engine_impl(root.get(), mode);
}

void release_engine(JNIEnv*, jclass) { release_engine_impl(); }

jstring search(JNIEnv* env, jclass, jstring index_name, jstring field_name, jstring query,
               jint start, jint num, jboolean flag) {
  EngineUse engine;
  Searcher* searcher = engine.searcher();
  if (searcher == nullptr || index_name == nullptr || query == nullptr || num < 1) {
    return nullptr;
  }
  ScopedUtfChars index(env, index_name);
  ScopedUtfChars field(env, field_name);
  ScopedUtfChars key(env, query);
  if (index.get() == nullptr || key.get() == nullptr) return nullptr;
  if (field.get() != nullptr) KS_HOST_LOG(kHostLogInfo, kSearchTag, "field_name:%s\n", field.get());
  KS_HOST_LOG(kHostLogInfo, kSearchTag, "idx_name:%s key:%s start:%d num:%d\n", index.get(),
              key.get(), start, num);
  char* json = searcher->doSearch(index.get(), field.get(), key.get(), start, num, flag != 0);
  KS_HOST_LOG(kHostLogInfo, kSearchTag, "result:%s\n", json != nullptr ? json : "(null)");
  return take_engine_text(env, json);
}

jint add_index_for_table(JNIEnv* env, jclass, jstring index_name, jstring db_name,
                         jstring table_name, jstring key_field, jstring index_fields,
                         jstring where_condition, jstring tab_pinyin_field, jstring profile_fields,
                         jstring notoken_fields, jstring group_name) {
  EngineUse engine;
  Searcher* searcher = engine.searcher();
  KSSearchDataAdapter* adapter = engine.adapter();
  if (searcher == nullptr || adapter == nullptr) return -1;
  TableNames names(env, index_name, db_name, table_name);
  ScopedUtfChars key(env, key_field);
  ScopedUtfChars fields(env, index_fields);
  ScopedUtfChars where(env, where_condition);
  ScopedUtfChars pinyin(env, tab_pinyin_field);
  ScopedUtfChars profile(env, profile_fields);
  ScopedUtfChars notoken(env, notoken_fields);
  ScopedUtfChars group(env, group_name);
  int result = searcher->addIndex(names.index.get(), names.db.get(), names.table.get(), key.get(),
                                  fields.get(), where.get(), pinyin.get(), profile.get(),
                                  notoken.get(), group.get());
  // The adapter learns the table even when the index was known already (or
  // refused): a restarted host re-adds its indexes and expects them watched.
  adapter->addTable(names.index.get(), names.db.get(), names.table.get(), key.get(), fields.get(),
                    where.get(), profile.get(), 0);
  return result;
}

jint add_db(JNIEnv* env, jclass, jstring name, jstring path, jstring password, jboolean wal) {
  EngineUse engine;
  KSSearchDataAdapter* adapter = engine.adapter();
  if (adapter == nullptr) return -1;
  ScopedUtfChars db(env, name);
  ScopedUtfChars file(env, path);
  ScopedUtfChars key(env, password);
  return adapter->addDB(db.get(), file.get(), key.get(), wal != 0);
}

jint hook_db(JNIEnv* env, jclass cls, jstring db_name, jint connection) {
  // A 32-bit int holds a pointer only on 32-bit targets; truncating a 64-bit
  // one would hand SQLite a wild handle.
  if (sizeof(void*) > sizeof(jint)) return -1;
  return hook_db_long(env, cls, db_name, static_cast<jlong>(static_cast<uint32_t>(connection)));
}

jint hook_db_long(JNIEnv* env, jclass, jstring db_name, jlong connection) {
  EngineUse engine;
  KSSearchDataAdapter* adapter = engine.adapter();
  if (adapter == nullptr) return -1;
  ScopedUtfChars db(env, db_name);
  sqlite3* conn = reinterpret_cast<sqlite3*>(static_cast<intptr_t>(connection));
  return adapter->startHook(db.get(), conn);
}

jint stop_hook_db(JNIEnv* env, jclass, jstring db_name) {
  EngineUse engine;
  KSSearchDataAdapter* adapter = engine.adapter();
  if (adapter == nullptr || db_name == nullptr) return -1;
  ScopedUtfChars db(env, db_name);
  return adapter->stopHook(db.get());
}

jint scan_table(JNIEnv* env, jclass, jstring db_name, jstring table_name, jstring index_name) {
  EngineUse engine;
  KSSearchDataAdapter* adapter = engine.adapter();
  if (adapter == nullptr) return -1;
  TableNames names(env, index_name, db_name, table_name);
  return adapter->scanTable(names.db.get(), names.table.get(), names.index.get());
}

jint modify_doc(JNIEnv* env, jclass, jstring index_name, jstring db_name, jstring table_name,
                jstring pkey, jobjectArray values) {
  EngineUse engine;
  Searcher* searcher = engine.searcher();
  if (searcher == nullptr || values == nullptr) return -1;
  ScopedLocalRef<jclass> string_class(env, env->FindClass("java/lang/String"));
  if (string_class.get() == nullptr) {
    clear_exception(env);
    return -1;
  }
  const jsize count = env->GetArrayLength(values);
  std::vector<std::string> texts;
  texts.reserve(static_cast<size_t>(count));
  for (jsize i = 0; i < count; ++i) {
    ScopedLocalRef<jobject> element(env, env->GetObjectArrayElement(values, i));
    texts.push_back(element_text(env, element.get(), string_class.get()));
  }
  // The searcher takes char** but only reads the texts.
  std::vector<char*> chars;
  chars.reserve(texts.size());
  for (std::string& text : texts) chars.push_back(&text[0]);
  TableNames names(env, index_name, db_name, table_name);
  ScopedUtfChars key(env, pkey);
  return searcher->modifyDoc(names.index.get(), names.db.get(), names.table.get(), key.get(), count,
                             chars.data());
}

jint del_doc(JNIEnv* env, jclass, jstring index_name, jstring db_name, jstring table_name,
             jstring pkey) {
  EngineUse engine;
  Searcher* searcher = engine.searcher();
  KSSearchDataAdapter* adapter = engine.adapter();
  if (searcher == nullptr || adapter == nullptr) return -1;
  TableNames names(env, index_name, db_name, table_name);
  ScopedUtfChars key(env, pkey);
  if (key.get() != nullptr && key.get()[0] != '\0') {
    return searcher->delDoc(names.index.get(), names.db.get(), names.table.get(), key.get());
  }
  return adapter->clearDoc(names.index.get(), names.db.get(), names.table.get());
}

jstring index_version(JNIEnv* env, jclass) {
  return chars2String(env, mobile_search::kIndexVersion);
}

void ellipse_index(JNIEnv* env, jclass, jstring group_name, jboolean force) {
  EngineUse engine;
  Searcher* searcher = engine.searcher();
  ScopedUtfChars group(env, group_name);
  if (searcher == nullptr || group.get() == nullptr) return;
  searcher->ellipse_index(group.get(), force != 0);
}

jint set_max_rawid(JNIEnv* env, jclass, jstring index_name, jstring db_name, jstring table_name,
                   jint rowid) {
  EngineUse engine;
  KSSearchDataAdapter* adapter = engine.adapter();
  if (adapter == nullptr) return -1;
  TableNames names(env, index_name, db_name, table_name);
  char group[KSSearchDataAdapter::kGroupNameBytes] = {0};
  // A table that no scan has recorded yet keeps scanning from its start.
  if (adapter->getScanMaxRowid(names.db.get(), names.table.get(), names.index.get(), group) <= 0)
    return 0;
  return adapter->setScanMaxRowid(names.db.get(), names.table.get(), names.index.get(), group,
                                  rowid);
}

jint get_del_num(JNIEnv* env, jclass, jstring group_name) {
  EngineUse engine;
  Searcher* searcher = engine.searcher();
  ScopedUtfChars group(env, group_name);
  if (searcher == nullptr || group.get() == nullptr) return -1;
  return searcher->getDelNum(group.get());
}

jint set_auto_save(JNIEnv* env, jclass, jstring index_name, jstring db_name, jstring table_name,
                   jboolean on) {
  EngineUse engine;
  Searcher* searcher = engine.searcher();
  KSSearchDataAdapter* adapter = engine.adapter();
  if (searcher == nullptr || adapter == nullptr) return -1;
  TableNames names(env, index_name, db_name, table_name);
  // Without a table there is no group to switch; the call still reports 0.
  if (!names.complete()) return 0;
  char group[KSSearchDataAdapter::kGroupNameBytes] = {0};
  adapter->getScanMaxRowid(names.db.get(), names.table.get(), names.index.get(), group);
  searcher->setAutoSave(group, on != 0);
  if (on) searcher->save(group);
  return 0;
}

jstring get_table_record(JNIEnv* env, jclass, jstring index_name, jstring db_name,
                         jstring table_name) {
  EngineUse engine;
  Searcher* searcher = engine.searcher();
  if (searcher == nullptr) return nullptr;
  TableNames names(env, index_name, db_name, table_name);
  if (!names.complete()) return nullptr;
  return take_engine_text(
      env, searcher->getTableRecord(names.index.get(), names.db.get(), names.table.get()));
}

jint sign_str_hash(JNIEnv* env, jclass, jobjectArray strings, jint seed) {
  if (strings == nullptr) return -1;
  unsigned int crc = static_cast<unsigned int>(seed);
  const jsize count = env->GetArrayLength(strings);
  for (jsize i = 0; i < count; ++i) {
    ScopedLocalRef<jstring> element(env,
                                    static_cast<jstring>(env->GetObjectArrayElement(strings, i)));
    ScopedUtfChars text(env, element.get());
    if (text.get() == nullptr) continue;
    // Exactly four bytes of every string, whatever its length. A shorter one
    // contributes its NUL and zeros instead of the bytes behind its end.
    char head[4] = {0, 0, 0, 0};
    for (size_t k = 0; k < sizeof(head) && text.get()[k] != '\0'; ++k) head[k] = text.get()[k];
    crc = mobile_search::crc32(head, sizeof(head), crc);
  }
  return static_cast<jint>(crc);
}

jint base_weight_value(JNIEnv*, jclass) { return kBaseWeight; }

jint set_option(JNIEnv* env, jclass, jstring name, jstring value) {
  EngineUse engine;
  mobile_search::Searcher* searcher = engine.searcher();
  ScopedUtfChars option(env, name);
  ScopedUtfChars text(env, value);
  if (searcher == nullptr || option.get() == nullptr || text.get() == nullptr) return -1;
  return searcher->setOption(option.get(), text.get());
}

jstring highlight_abstract(JNIEnv* env, jclass, jstring text, jstring query, jint length) {
  ScopedUtfChars source(env, text);
  ScopedUtfChars words(env, query);
  int hit = 0;
  EngineUse engine;
  mobile_search::Searcher* searcher = engine.searcher();
  const mobile_search::TextOptions options =
      searcher != nullptr ? searcher->textOptions() : mobile_search::TextOptions();
  char* abstract =
      mobile_search::highLight_Abstract(source.get(), words.get(), length, hit, options);
  if (hit != 1) {
    free(abstract);
    return nullptr;
  }
  return take_engine_text(env, abstract);
}

jstring convert_pinyin(JNIEnv* env, jclass, jstring text, jint len) {
  ScopedUtfChars hz(env, text);
  // The length comes from the host; never let it reach past the text.
  if (hz.get() == nullptr || len < 0 || strlen(hz.get()) < static_cast<size_t>(len)) {
    return nullptr;
  }
  return take_engine_text(env, mobile_search::hz2pyConvertSingle(hz.get(), len));
}

}  // namespace kestrinSearch
