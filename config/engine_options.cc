#include "config/engine_options.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "config/config_manager.h"
#include "foundation/file_util.h"
#include "foundation/ini_file.h"
#include "foundation/logging.h"
#include "text/pinyin_fuzzy.h"

namespace mobile_search {

namespace {

const char kOptionsFile[] = "/Options.cfg";
const char kSection[] = "options";
const char kOff[] = "off";
// Suffixes longer than the 20-character prefix limit of a digit run would
// never meet a query term.
const int kMinInfixDigits = 3;
const int kMaxInfixDigits = 20;

bool isOff(const char* text) { return strcmp(text, kOff) == 0; }

// An option that is either off or one named mode.
bool parseSwitch(const char* text, const char* on, bool* field) {
  if (isOff(text) || strcmp(text, on) == 0) {
    *field = !isOff(text);
    return true;
  }
  return false;
}

void formatSwitch(bool on, const char* name, char* out, size_t size) {
  snprintf(out, size, "%s", on ? name : kOff);
}

bool parseUtf8(const char* text, OptionValues* v) {
  return parseSwitch(text, "full", &v->text.utf8Full);
}
void formatUtf8(const OptionValues& v, char* out, size_t size) {
  formatSwitch(v.text.utf8Full, "full", out, size);
}

bool parseInfixDigits(const char* text, OptionValues* v) {
  if (isOff(text) || strcmp(text, "0") == 0) {
    v->text.infixDigits = 0;
    return true;
  }
  char* end = nullptr;
  const long n = strtol(text, &end, 10);
  if (end == text || *end != '\0' || text[0] < '0' || text[0] > '9' || n < kMinInfixDigits ||
      n > kMaxInfixDigits) {
    return false;
  }
  v->text.infixDigits = static_cast<int>(n);
  return true;
}
void formatInfixDigits(const OptionValues& v, char* out, size_t size) {
  if (v.text.infixDigits == 0) {
    snprintf(out, size, "%s", kOff);
  } else {
    snprintf(out, size, "%d", v.text.infixDigits);
  }
}

bool parseFold(const char* text, OptionValues* v) {
  return parseSwitch(text, "simplified", &v->text.foldSimplified);
}
void formatFold(const OptionValues& v, char* out, size_t size) {
  formatSwitch(v.text.foldSimplified, "simplified", out, size);
}

bool parseNameReadings(const char* text, OptionValues* v) {
  if (isOff(text)) {
    v->text.nameReadings = kNameReadingsOff;
  } else if (strcmp(text, "surname") == 0) {
    v->text.nameReadings = kNameReadingsSurname;
  } else if (strcmp(text, "all_common") == 0) {
    v->text.nameReadings = kNameReadingsAllCommon;
  } else {
    return false;
  }
  return true;
}
void formatNameReadings(const OptionValues& v, char* out, size_t size) {
  const int r = v.text.nameReadings;
  snprintf(out, size, "%s",
           r == kNameReadingsSurname ? "surname" : r == kNameReadingsAllCommon ? "all_common" : kOff);
}

bool parseSyllableMix(const char* text, OptionValues* v) {
  return parseSwitch(text, "on", &v->text.syllableMix);
}
void formatSyllableMix(const OptionValues& v, char* out, size_t size) {
  formatSwitch(v.text.syllableMix, "on", out, size);
}

bool parseFuzzy(const char* text, OptionValues* v) {
  if (isOff(text)) {
    v->text.fuzzy = 0;
    return true;
  }
  return parsePinyinFuzzy(text, &v->text.fuzzy);
}
void formatFuzzy(const OptionValues& v, char* out, size_t size) {
  if (v.text.fuzzy == 0) {
    snprintf(out, size, "%s", kOff);
  } else {
    formatPinyinFuzzy(v.text.fuzzy, out, size);
  }
}

bool parseSync(const char* text, OptionValues* v) { return parseSwitch(text, "on", &v->syncWrites); }
void formatSync(const OptionValues& v, char* out, size_t size) { formatSwitch(v.syncWrites, "on", out, size); }
void applySync(ConfigManager* manager, const OptionValues& v) {
  if (manager != nullptr) manager->setSyncWrites(v.syncWrites);
}

const EngineOptionSpec kOptions[] = {
    {"utf8", true, parseUtf8, formatUtf8, nullptr},
    {"infix_digits", true, parseInfixDigits, formatInfixDigits, nullptr},
    {"fold", true, parseFold, formatFold, nullptr},
    {"sync", false, parseSync, formatSync, applySync},
    {"name_readings", true, parseNameReadings, formatNameReadings, nullptr},
    {"syllable_mix", true, parseSyllableMix, formatSyllableMix, nullptr},
    {"fuzzy", false, parseFuzzy, formatFuzzy, nullptr},
};
const int kOptionCount = static_cast<int>(sizeof(kOptions) / sizeof(kOptions[0]));

int positionOf(const EngineOptionSpec* spec) { return static_cast<int>(spec - kOptions); }

}  // namespace

const EngineOptionSpec* findEngineOption(const char* name) {
  if (name == nullptr) return nullptr;
  for (const EngineOptionSpec& spec : kOptions) {
    if (strcmp(spec.name, name) == 0) return &spec;
  }
  return nullptr;
}

int parseEngineOption(const char* name, const char* value, OptionValues* values) {
  const EngineOptionSpec* spec = findEngineOption(name);
  if (spec == nullptr || value == nullptr || values == nullptr) return -1;
  return spec->parse(value, values) ? 0 : -1;
}

EngineOptions::EngineOptions(const char* root) : m_set(), m_path(str_buffer_create(root)) {
  static_assert(kMaxOptions >= static_cast<int>(sizeof(kOptions) / sizeof(kOptions[0])),
                "raise kMaxOptions");
  if (m_path != nullptr) str_buffer_append(m_path, kOptionsFile);
}

EngineOptions::~EngineOptions() { str_buffer_free(m_path); }

int EngineOptions::load(ConfigManager* manager) {
  if (m_path == nullptr) return -1;
  if (!file_exist(m_path->data)) return 0;
  ini_ctx_t* doc = ini_load_from_file(m_path->data);
  if (doc == nullptr) return -1;
  ini_section_t* section = ini_ctx_get_section(doc, kSection);
  OptionValues loaded;
  bool marked[kMaxOptions] = {};
  for (unsigned int i = 0; section != nullptr && i < darray_length(section->items); ++i) {
    const ini_item_t* item = slot_as<ini_item_t>(darray_get_by_index(section->items, i));
    const EngineOptionSpec* spec = findEngineOption(item->key->data);
    if (spec == nullptr || !spec->parse(item->value->data, &loaded)) {
      log_printf("option %s=%s in Options.cfg ignored \n", item->key->data, item->value->data);
      continue;
    }
    marked[positionOf(spec)] = true;
  }
  ini_ctx_free(doc);
  m_lock.lock();
  m_values = loaded;
  memcpy(m_set, marked, sizeof(m_set));
  m_lock.unlock();
  for (int i = 0; i < kOptionCount; ++i) {
    if (marked[i] && kOptions[i].apply != nullptr) kOptions[i].apply(manager, loaded);
  }
  return 0;
}

OptionValues EngineOptions::values() const {
  m_lock.lock();
  OptionValues v = m_values;
  m_lock.unlock();
  return v;
}

TextOptions EngineOptions::textOptions() const { return values().text; }

char* EngineOptions::get(const char* name) const {
  const EngineOptionSpec* spec = findEngineOption(name);
  if (spec == nullptr) return nullptr;
  char text[kOptionValueBytes] = {0};
  spec->format(values(), text, sizeof(text));
  return strdup(text);
}

bool EngineOptions::wouldChange(const EngineOptionSpec* spec, const char* value) const {
  OptionValues now = values();
  OptionValues next = now;
  if (spec == nullptr || value == nullptr || !spec->parse(value, &next)) return false;
  char before[kOptionValueBytes] = {0};
  char after[kOptionValueBytes] = {0};
  spec->format(now, before, sizeof(before));
  spec->format(next, after, sizeof(after));
  return strcmp(before, after) != 0;
}

int EngineOptions::set(const EngineOptionSpec* spec, const char* value, bool durable) {
  if (spec == nullptr || value == nullptr) return -1;
  m_lock.lock();
  OptionValues next = m_values;
  bool marked[kMaxOptions];
  memcpy(marked, m_set, sizeof(marked));
  marked[positionOf(spec)] = true;
  int ret = spec->parse(value, &next) ? save(next, marked, durable) : -1;
  if (ret == 0) {
    m_values = next;
    memcpy(m_set, marked, sizeof(m_set));
  }
  m_lock.unlock();
  return ret;
}

void EngineOptions::reset() {
  m_lock.lock();
  m_values = OptionValues();
  memset(m_set, 0, sizeof(m_set));
  m_lock.unlock();
}

int EngineOptions::save(const OptionValues& values, const bool* marked, bool durable) const {
  if (m_path == nullptr) return -1;
  ini_ctx_t* doc = ini_ctx_create();
  int ret = doc != nullptr && str_buffer_append(doc->path, m_path->data) ? 0 : -1;
  for (int i = 0; i < kOptionCount && ret == 0; ++i) {
    if (!marked[i]) continue;
    char text[kOptionValueBytes] = {0};
    kOptions[i].format(values, text, sizeof(text));
    if (ini_ctx_section_add_item(doc, kSection, kOptions[i].name, text) < 0) ret = -1;
  }
  if (ret == 0) ret = ini_ctx_save_durable(doc, true, durable);
  ini_ctx_free(doc);
  if (ret != 0) log_printf("options file %s not written \n", m_path->data);
  return ret;
}

}  // namespace mobile_search
