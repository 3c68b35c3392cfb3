// Engine options: features beyond the engine's usual behaviour, each off
// until set, kept per index root.
//
// Registry: every known option is one EngineOptionSpec row of the table in
// engine_options.cc: its name, whether it changes what is indexed, how a
// value text is checked and stored into OptionValues and written back as
// text, and an optional hook run once a value is in force. Adding an option
// is adding a row (plus, when text analysis reads it, a TextOptions field).
// An option that only steers the engine, such as a durability switch, has
// changesIndex false, a field of its own in OptionValues and an apply hook
// (which could call ConfigManager::setSyncWrites, for instance).
//
//   name           values                changes what is indexed
//   utf8           full | off            yes
//   infix_digits   3..20 | off (or 0)    yes
//   fold           simplified | off      yes
//   sync           on | off              no (synchronous writes, see
//                                        Searcher::setSyncWrites)
//   name_readings  surname | all_common  yes
//                  | off
//   syllable_mix   on | off              yes
//   fuzzy          z-zh,c-ch,s-sh,n-l,   no (query side only)
//                  l-r,f-h,an-ang,
//                  en-eng,in-ing (any
//                  subset) | off
//
// File: "/Options.cfg" under the root, section [options], one name=value line
// per option that was ever set on this root, in registry order. It is written
// whole on every accepted change and does not exist until an option is set,
// so a root without options holds exactly the files it always held. It is
// read when the ConfigManager is made; unknown names and values it cannot
// take are skipped with a log line. Wiping the root (ConfigManager::clean)
// takes every option back to off.
//
// Threads: values are handed out as copies taken under a mutex, so readers
// never see half a change. The index gate orders indexing against option
// changes: document updates hold it shared while they tokenize, and a change
// of an option that changes what is indexed holds it exclusively while it
// checks that the index is empty and records the value (see
// Searcher::setOption). Lock order: index gate, then any group lock.
//
// Failures: -1 / null / false results and log lines on the plain channel;
// nothing throws.
#ifndef KS_CONFIG_ENGINE_OPTIONS_H_
#define KS_CONFIG_ENGINE_OPTIONS_H_

#include <stddef.h>

#include "foundation/string_buffer.h"
#include "foundation/thread_lock.h"
#include "text/text_options.h"

namespace mobile_search {

class ConfigManager;

// The value of every option of a root; default-constructed = nothing set.
struct OptionValues {
  TextOptions text;
  bool syncWrites = false;
};

// Room for an option's value text, terminator included.
constexpr size_t kOptionValueBytes = 64;

struct EngineOptionSpec {
  const char* name;
  // True when the option decides which terms a document gets: it then cannot
  // change while the index holds live documents.
  bool changesIndex;
  // Stores the option's value given as text into `values`; false (values
  // untouched) for a text the option does not take.
  bool (*parse)(const char* text, OptionValues* values);
  // The option's value in `values` as text, at most kOptionValueBytes with
  // its terminator; the text of an unset option is its off value.
  void (*format)(const OptionValues& values, char* out, size_t size);
  // Run once a value is in force: after an accepted setOption and after the
  // file was read at start. Null for options read only by text analysis.
  void (*apply)(ConfigManager* manager, const OptionValues& values);
};

// The row of `name`, or null for an unknown or null name.
const EngineOptionSpec* findEngineOption(const char* name);
// Parses one option into `values` without any root (command-line tools use
// it for text analysis alone). 0, or -1 for an unknown name or a value the
// option does not take.
int parseEngineOption(const char* name, const char* value, OptionValues* values);

class EngineOptions {
 public:
  // Options of the root `root` (nothing set; call load to read the file).
  explicit EngineOptions(const char* root);
  ~EngineOptions();
  EngineOptions(const EngineOptions&) = delete;
  EngineOptions& operator=(const EngineOptions&) = delete;

  // Reads "/Options.cfg" when it exists and runs the apply hook of every
  // option read. 0; -1 when the file exists but cannot be read.
  int load(ConfigManager* manager);

  OptionValues values() const;
  TextOptions textOptions() const;
  // The option's value text (its off value while unset) as a malloc'd
  // string the caller frees; null for an unknown name.
  char* get(const char* name) const;
  // True when setting `value` would give the option another value than it
  // has now (a value the option does not take changes nothing).
  bool wouldChange(const EngineOptionSpec* spec, const char* value) const;
  // Checks the value, writes the file with it (flushed to the device when
  // `durable`) and then makes it current. 0; -1 for a value the option does
  // not take or a file that cannot be written (the option keeps its value).
  int set(const EngineOptionSpec* spec, const char* value, bool durable);
  // Every option back to off; the file is left to the caller (clean wipes it).
  void reset();

  ReadWriteLock* indexGate() { return &m_gate; }

 private:
  static constexpr int kMaxOptions = 32;

  // Writes the options marked in `marked` with their values in `values`.
  int save(const OptionValues& values, const bool* marked, bool durable) const;

  mutable ThreadMutex m_lock;  // guards m_values and m_set
  ReadWriteLock m_gate;
  OptionValues m_values;
  bool m_set[kMaxOptions];  // set on this root, by registry position
  _str_buffer_t* m_path;    // root + "/Options.cfg"
};

}  // namespace mobile_search

#endif  // KS_CONFIG_ENGINE_OPTIONS_H_
