#include "hit_table.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>

#include "database.h"
#include "text/highlight.h"

namespace kestrin_tool {
namespace {

using mobile_search::SearchResult;
using mobile_search::TableResult;

const std::string kOpenTag = "<red>";
const std::string kCloseTag = "</red>";

// Line breaks and tabs would break the table's rows.
std::string oneLine(std::string text) {
  for (char& c : text) {
    if (c == '\n' || c == '\r' || c == '\t') c = ' ';
  }
  return text;
}

// Replaces the engine's tags by the palette's colours or by brackets.
std::string renderTags(const std::string& tagged, const Palette& palette) {
  std::string open = palette.on ? palette.hit() : "[";
  std::string close = palette.on ? palette.reset() : "]";
  std::string out;
  for (size_t i = 0; i < tagged.size();) {
    if (tagged.compare(i, kOpenTag.size(), kOpenTag) == 0) {
      out += open;
      i += kOpenTag.size();
    } else if (tagged.compare(i, kCloseTag.size(), kCloseTag) == 0) {
      out += close;
      i += kCloseTag.size();
    } else {
      out += tagged[i++];
    }
  }
  return out;
}

// Fills the texts of the hits of one database.
void readTexts(const Database& db, std::vector<Hit*>& hits) {
  for (Hit* hit : hits) {
    std::vector<std::string> values;
    if (!db.readRow(hit->table, hit->key_field, hit->field_list, hit->key, &values)) continue;
    std::vector<std::string> names = splitNames(hit->field_list);
    if (hit->field_id >= 0 && hit->field_id < static_cast<int>(values.size())) {
      hit->text = values[hit->field_id];
      if (names.size() > 1 && hit->field_id < static_cast<int>(names.size())) {
        hit->field = names[hit->field_id];
      }
    } else {
      for (const std::string& value : values) hit->text += (hit->text.empty() ? "" : " ") + value;
    }
    hit->text = oneLine(hit->text);
    hit->has_text = true;
  }
}

}  // namespace

std::vector<Hit> collectHits(const IndexRoot& root, const SearchResult& result,
                             const DatabaseOptions& given, std::string* note) {
  std::vector<Hit> hits;
  for (int t = 0; t < result.getTableCount(); ++t) {
    const TableResult* table = result.getTableResult(t);
    const mobile_search::table_info_t* info =
        table ? root.config()->get_table_info_by_tab_md5(table->getTableMD5()) : nullptr;
    if (info == nullptr) continue;
    for (int i = 0; i < table->getCount(); ++i) {
      Hit hit;
      hit.db_name = info->db_name->data;
      hit.table = info->table_name->data;
      hit.key_field = info->key_field->data;
      hit.field_list = info->field_list->data;
      hit.key = table->getPkey(i) ? table->getPkey(i)->data : "";
      hit.field_id = table->getFieldId(i);
      hit.weight = table->getWeight(i);
      hits.push_back(hit);
    }
  }
  std::map<std::string, std::vector<Hit*>> by_db;
  for (Hit& hit : hits) by_db[hit.db_name].push_back(&hit);
  for (auto& entry : by_db) {
    DatabaseOptions db = given;
    if (db.file.empty() && !root.recallDatabase(entry.first, &db)) {
      *note = "texts not shown: give the database of " + entry.first + " with --db and --key";
      continue;
    }
    Database database;
    ToolError error = database.open(db, false);
    if (!error.ok()) {
      *note = "texts not shown: " + error.message;
      continue;
    }
    readTexts(database, entry.second);
  }
  return hits;
}

std::string highlightToWidth(const std::string& text, const std::string& query, int width,
                             const Palette& palette) {
  Palette plain(false);
  std::string best;
  // Ask for fewer characters until the abstract (brackets included) fits.
  for (int chars = std::max(width, 1); chars > 0;) {
    int hit = 0;
    char* abstract = mobile_search::highLight_Abstract(text.c_str(), query.c_str(), chars, hit);
    if (abstract == nullptr) return fitWidth(text, width, false);
    std::string tagged = abstract;
    std::free(abstract);
    int overflow = displayWidth(renderTags(tagged, plain)) - width;
    if (overflow <= 0) return renderTags(tagged, palette);
    chars -= std::max(1, overflow / 2);
  }
  return fitWidth(text, width, false);
}

void printHits(std::FILE* out, const std::vector<Hit>& hits, const std::string& query,
               const Palette& palette, int width) {
  size_t table_width = 5, key_width = 3;
  for (const Hit& hit : hits) {
    table_width = std::max<size_t>(table_width, displayWidth(hit.table));
    key_width = std::max<size_t>(key_width, displayWidth(hit.key));
  }
  table_width = std::min<size_t>(table_width, 16);
  key_width = std::min<size_t>(key_width, 14);
  int text_width = std::max(20, width - 2 - 4 - static_cast<int>(table_width + key_width) - 4 - 8);
  std::fprintf(out, "  %s%3s  %s  %s  %-6s  text%s\n", palette.dim(), "#",
               fitWidth("table", table_width, true).c_str(),
               fitWidth("key", key_width, true).c_str(), "weight", palette.reset());
  int rank = 0;
  for (const Hit& hit : hits) {
    std::string text;
    if (hit.has_text) {
      std::string label = hit.field.empty() ? "" : hit.field + ": ";
      if (!label.empty()) text = std::string(palette.dim()) + label + palette.reset();
      text += highlightToWidth(hit.text, query, text_width - displayWidth(label), palette);
    }
    std::fprintf(out, "  %3d  %s  %s  %-6d  %s\n", ++rank,
                 fitWidth(hit.table, table_width, true).c_str(),
                 fitWidth(hit.key, key_width, true).c_str(), hit.weight, text.c_str());
  }
}

}  // namespace kestrin_tool
