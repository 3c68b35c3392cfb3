// Hit table: the human form of a search result. Each hit of the engine's
// result becomes one row of rank, table, key, weight and the matching
// field's text, read back from the database and cut to a highlighted
// abstract that fits the terminal:
//
//   3 hits for "zsf" in index contact
//     #  table    key  weight  text
//     1  contact  3    34      name: 张三丰
//
// Matches are shown in colour, or in [brackets] without colour. When the
// database cannot be read, the rows are listed without text and a note says
// why.
#ifndef KS_TOOLS_KESTRIN_SEARCH_HIT_TABLE_H_
#define KS_TOOLS_KESTRIN_SEARCH_HIT_TABLE_H_

#include <cstdio>
#include <string>
#include <vector>

#include "commands.h"
#include "index_root.h"
#include "search/search_result.h"
#include "terminal.h"

namespace kestrin_tool {

struct Hit {
  std::string db_name, table, key_field, field_list, key;
  int field_id = 0;
  int weight = 0;
  std::string field;  // name of the matching field, when known
  std::string text;   // the field's text, when it could be read
  bool has_text = false;
};

// The hits of `result` in the engine's order, with the rows' texts read from
// `given` (when its file is set) or from the databases noted in the root.
// `note` receives why texts are missing, or stays empty.
std::vector<Hit> collectHits(const IndexRoot& root, const mobile_search::SearchResult& result,
                             const DatabaseOptions& given, std::string* note);

// Prints the table; `width` is the line width to fit.
void printHits(std::FILE* out, const std::vector<Hit>& hits, const std::string& query,
               const Palette& palette, int width);

// The tagged abstract of `text` for `query`, at most `width` columns wide,
// with matches rendered by `palette` (or in brackets without colour).
std::string highlightToWidth(const std::string& text, const std::string& query, int width,
                             const Palette& palette);

}  // namespace kestrin_tool

#endif  // KS_TOOLS_KESTRIN_SEARCH_HIT_TABLE_H_
