// Fuzzes the INI reader and the document operations.
//
// Input: the bytes of an INI file, then a few operations (set a value, add or
// remove a section). Checked:
//   - a loaded document is well formed: non-empty, unique section names
//     without "]"; non-empty, trimmed keys and values, keys without "=";
//   - saved and loaded again, it is the same document;
//   - every operation returns what a plain model of the document predicts,
//     and leaves the document (lookups by name and by position, the modified
//     flag) as the model says;
//   - saved and loaded again after the operations, it is the model without
//     the items whose value was emptied (the loader drops "key=").
#include <fuzzer/FuzzedDataProvider.h>

#include <cstring>
#include <string>
#include <vector>

#include "foundation/ini_file.h"
#include "fuzz_check.h"
#include "test_util.h"

using namespace mobile_search;

namespace {

struct Item {
  std::string key, value;
  bool operator==(const Item& o) const { return key == o.key && value == o.value; }
};
struct Section {
  std::string name;
  std::vector<Item> items;
  bool operator==(const Section& o) const { return name == o.name && items == o.items; }
};
typedef std::vector<Section> Model;

// Names the operations use: round-trip safe (no blanks, "=", "[" or "]").
const char* const kNames[] = {"a", "b", "k", "0", "_x", "中", "long_name_9"};

const ks_test::TempDir& Dir() {
  static ks_test::TempDir dir;
  return dir;
}

bool IsTrimSpace(char c) { return c == ' ' || c == '\r' || c == '\t' || c == '\n'; }

bool IsTrimmed(const std::string& s) {
  return !s.empty() && !IsTrimSpace(s.front()) && !IsTrimSpace(s.back());
}

Model Snapshot(const ini_ctx_t* ctx) {
  Model m;
  for (int i = 0; i < ini_ctx_section_num(ctx); ++i) {
    const ini_section_t* sec = ini_ctx_get_section(ctx, i);
    Section s;
    s.name = sec->name->data;
    for (unsigned int j = 0; j < darray_length(sec->items); ++j) {
      const ini_item_t* item = slot_as<ini_item_t>(darray_get_by_index(sec->items, j));
      s.items.push_back({item->key->data, item->value->data});
    }
    m.push_back(s);
  }
  return m;
}

std::string Describe(const Model& m) {
  std::string out;
  for (const Section& s : m) {
    out += "[" + ks_fuzz::Escaped(s.name) + "]";
    for (const Item& it : s.items) out += " " + ks_fuzz::Escaped(it.key) + "=" + ks_fuzz::Escaped(it.value);
    out += "\n  ";
  }
  return out;
}

void CheckWellFormed(const Model& m) {
  for (size_t i = 0; i < m.size(); ++i) {
    const std::string& name = m[i].name;
    FUZZ_CHECK(!name.empty() && name.find(']') == std::string::npos &&
                   name.find('\n') == std::string::npos,
               "section name \"%s\"", ks_fuzz::Escaped(name).c_str());
    for (size_t j = 0; j < i; ++j) {
      FUZZ_CHECK(m[j].name != name, "section \"%s\" loaded twice", ks_fuzz::Escaped(name).c_str());
    }
    for (const Item& it : m[i].items) {
      FUZZ_CHECK(IsTrimmed(it.key) && IsTrimmed(it.value) && it.key.find('=') == std::string::npos &&
                     it.value.find('\n') == std::string::npos,
                 "item \"%s\"=\"%s\"", ks_fuzz::Escaped(it.key).c_str(),
                 ks_fuzz::Escaped(it.value).c_str());
    }
  }
}

Section* FindSection(Model& m, const std::string& name) {
  for (Section& s : m) {
    if (s.name == name) return &s;
  }
  return nullptr;
}

// The document must hold exactly the model, and answer lookups as it does.
void CheckAgainst(const ini_ctx_t* ctx, const Model& model) {
  const Model got = Snapshot(ctx);
  FUZZ_CHECK(got == model, "model:\n  %sdocument:\n  %s", Describe(model).c_str(),
             Describe(got).c_str());
  for (size_t i = 0; i < model.size(); ++i) {
    const Section& want = model[i];
    // Section names are unique in the document and so in the model.
    FUZZ_CHECK(ini_ctx_get_section(ctx, want.name.c_str()) == ini_ctx_get_section(ctx, (int)i),
               "section %zu not found by its name", i);
    for (const Item& it : want.items) {
      const Item* first = nullptr;
      for (const Item& other : want.items) {
        if (other.key == it.key) {
          first = &other;
          break;
        }
      }
      const char* by_index = ini_ctx_get_val(ctx, (int)i, it.key.c_str());
      FUZZ_CHECK(first->value.empty() ? by_index == nullptr
                                      : by_index != nullptr && first->value == by_index,
                 "value of %s by position", ks_fuzz::Escaped(it.key).c_str());
      const char* by_name = ini_ctx_get_val(ctx, want.name.c_str(), it.key.c_str());
      FUZZ_CHECK(by_name != nullptr && first->value == by_name, "value of %s by name",
                 ks_fuzz::Escaped(it.key).c_str());
    }
  }
  FUZZ_CHECK(ini_ctx_get_section(ctx, (int)model.size()) == nullptr &&
                 ini_ctx_get_section(ctx, -1) == nullptr,
             "section beyond the end");
}

// Saves with force and loads the file again.
ini_ctx_t* SaveAndReload(ini_ctx_t* ctx, const std::string& path) {
  FUZZ_CHECK(ini_ctx_save(ctx, true) == 0, "save failed");
  ini_ctx_t* again = ini_load_from_file(path.c_str());
  FUZZ_CHECK(again != nullptr, "a saved document does not load");
  return again;
}

// A name for an operation: one the document has, or one of kNames.
std::string PickName(FuzzedDataProvider& in, const Model& model, bool section, const Section* sec) {
  const int choice = in.ConsumeIntegralInRange<int>(0, 9);
  if (choice < 4) {
    if (section && !model.empty()) return model[(size_t)choice % model.size()].name;
    if (!section && sec != nullptr && !sec->items.empty()) {
      return sec->items[(size_t)choice % sec->items.size()].key;
    }
  }
  if (choice == 9) return "";
  return kNames[(size_t)choice % (sizeof(kNames) / sizeof(kNames[0]))];
}

// One set / add / remove operation, on the document and on the model.
void Operate(FuzzedDataProvider& in, ini_ctx_t* ctx, Model& model, bool* modified) {
  const int op = in.ConsumeIntegralInRange<int>(0, 5);
  const std::string name = PickName(in, model, true, nullptr);
  Section* sec = FindSection(model, name);
  if (op == 0) {
    const int rc = ini_ctx_add_section(ctx, name.c_str());
    const int want = name.empty() ? -1 : (sec != nullptr ? 0 : 1);
    FUZZ_CHECK(rc == want, "add_section(%s) = %d, want %d", name.c_str(), rc, want);
    if (want == 1) model.push_back({name, {}});
    *modified = *modified || want == 1;
    return;
  }
  if (op == 1) {
    const int rc = ini_ctx_remove_section(ctx, name.c_str());
    FUZZ_CHECK(rc == (name.empty() ? -1 : 0), "remove_section(%s) = %d", name.c_str(), rc);
    for (size_t i = 0; i < model.size(); ++i) {
      if (model[i].name == name) {
        model.erase(model.begin() + (long)i);
        break;
      }
    }
    return;
  }
  const std::string key = PickName(in, model, false, sec);
  std::string value;
  int rc;
  if (op == 3) {
    const int number = in.ConsumeIntegral<int>();
    value = std::to_string(number);
    rc = ini_ctx_section_add_item(ctx, name.c_str(), key.c_str(), number);
  } else if (op == 4) {
    const long long number = in.ConsumeIntegral<long long>();
    value = std::to_string(number);
    rc = ini_ctx_section_add_item(ctx, name.c_str(), key.c_str(), number);
  } else {
    if (op == 5) value = PickName(in, model, false, sec) + PickName(in, model, true, nullptr);
    rc = ini_ctx_section_add_item(ctx, name.c_str(), key.c_str(), value.c_str());
  }
  int want;
  if (name.empty() || key.empty()) {
    want = -1;
  } else {
    if (sec == nullptr) {
      model.push_back({name, {}});
      sec = &model.back();
      *modified = true;
    }
    Item* item = nullptr;
    for (Item& it : sec->items) {
      if (it.key == key) {
        item = &it;
        break;
      }
    }
    if (item != nullptr) {
      want = item->value == value ? 0 : 1;
      item->value = value;
    } else if (value.empty()) {
      want = -1;
    } else {
      sec->items.push_back({key, value});
      want = 1;
    }
  }
  FUZZ_CHECK(rc == want, "set [%s] %s=%s gave %d, want %d", name.c_str(), key.c_str(), value.c_str(),
             rc, want);
  *modified = *modified || want == 1;
}

// Whether the loader reads the saved lines of `m` back as they are: every
// line fits the reader's 1023-byte buffer, keys and values are trimmed and
// hold no line feed, keys hold no "=", and no item line reads as a header.
// Items with an empty value are left out: the loader drops them.
bool RoundTrips(const Model& m) {
  for (const Section& s : m) {
    if (s.name.size() + 2 > 1023) return false;
    for (const Item& it : s.items) {
      if (it.value.empty()) continue;
      const std::string line = it.key + "=" + it.value;
      if (line.size() > 1023 || !IsTrimmed(it.key) || !IsTrimmed(it.value) ||
          it.key.find('=') != std::string::npos || line.find('\n') != std::string::npos ||
          (line[0] == '[' && line.find(']') != std::string::npos)) {
        return false;
      }
    }
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  const std::string file = in.ConsumeRandomLengthString(8192);
  const std::string path = Dir().file("fuzz.ini");
  FUZZ_CHECK(ks_test::WriteFile(path, file), "cannot write %s", path.c_str());

  ini_ctx_t* ctx = ini_load_from_file(path.c_str());
  if (ctx == nullptr) {
    // Only a header with an empty name ("[]") makes loading fail.
    FUZZ_CHECK(file.find("[]") != std::string::npos, "load failed");
    return 0;
  }
  FUZZ_CHECK(ctx->modified == 0, "a loaded document is modified");
  Model model = Snapshot(ctx);
  CheckWellFormed(model);

  ini_ctx_t* again = SaveAndReload(ctx, path);
  CheckAgainst(again, model);
  ini_ctx_free(again);

  bool modified = false;
  for (int ops = 0; ops < 16 && in.remaining_bytes() > 0; ++ops) {
    Operate(in, ctx, model, &modified);
    CheckAgainst(ctx, model);
    FUZZ_CHECK((ctx->modified != 0) == modified, "modified flag %d", ctx->modified);
  }

  if (RoundTrips(model)) {
    again = SaveAndReload(ctx, path);
    for (Section& s : model) {
      std::vector<Item> kept;
      for (const Item& it : s.items) {
        if (!it.value.empty()) kept.push_back(it);
      }
      s.items = kept;
    }
    CheckAgainst(again, model);
    ini_ctx_free(again);
  }
  ini_ctx_free(ctx);
  return 0;
}
