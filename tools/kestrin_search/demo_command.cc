// kestrin_search demo: the engine at work without any data of one's own. It
// makes the sample chat database (once), indexes its contacts and messages
// with progress bars, then searches it the ways a user types into a search
// box and shows each result with highlighted abstracts.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "commands.h"
#include "hit_table.h"
#include "index_root.h"
#include "progress.h"
#include "sample_chat.h"
#include "search/search_result.h"
#include "table_indexer.h"

namespace kestrin_tool {
namespace {

const char kDemoKey[] = "kestrin-demo";
const int kDemoMessages = 3000;

struct TourStop {
  const char* what;
  const char* index;
  const char* query;
};

const TourStop kTour[] = {
    {"one Han character", "contact", "张"},
    {"a whole name", "contact", "单田芳"},
    {"Han words in messages", "message", "火锅"},
    {"full pinyin", "contact", "zhangsan"},
    {"pinyin initials", "contact", "zsf"},
    {"a pinyin prefix (the engine reads the surname 曾 as ceng)", "contact", "cengx"},
    {"Han and pinyin mixed", "contact", "张san"},
    {"a Latin word", "message", "meeting"},
    {"a phone number", "message", "13812345678"},
};

TableSpec demoTable(const std::string& db_file, const char* table, const char* fields,
                    const char* pinyin) {
  TableSpec spec;
  spec.db = DatabaseOptions{db_file, kDemoKey, "sample-chat.db"};
  spec.table = spec.index = table;
  spec.pkey = "id";
  spec.fields = fields;
  spec.pinyin = pinyin;
  return spec;
}

ToolError makeSampleDatabase(const std::string& dir, const std::string& db_file) {
  if (mkdir(dir.c_str(), 0755) != 0 && errno != EEXIST) {
    return toolError(kUsage, "cannot create the directory " + dir, "give another one with --dir");
  }
  if (access(db_file.c_str(), F_OK) == 0) {
    std::printf("Using the sample chat database made before: %s\n", db_file.c_str());
    return ToolError();
  }
  // Written under another name first, so that an interrupted run leaves no
  // half-made database to be taken for a finished one.
  const std::string part_file = db_file + ".part";
  SampleChatSize size;
  ToolError error = createSampleChat(part_file, kDemoKey, kDemoMessages, &size);
  if (error.ok() && std::rename(part_file.c_str(), db_file.c_str()) != 0) {
    error = toolError(kEngineFailed, "cannot rename " + part_file + " to " + db_file);
  }
  if (!error.ok()) return error;
  std::printf("Made a sample chat database: %s\n  %d contacts and %s messages, encrypted with the key "
              "\"%s\"\n",
              db_file.c_str(), size.contacts, withCommas(size.messages).c_str(), kDemoKey);
  return ToolError();
}

void showStop(IndexRoot& root, const TourStop& stop, const Palette& palette) {
  mobile_search::SearchResult result(true);
  root.searcher().doSearch(stop.index, nullptr, stop.query, 0, 5, &result, false);
  std::string note;
  std::vector<Hit> hits = collectHits(root, result, DatabaseOptions(), &note);
  std::printf("\n%s%s%s: %s  %s(index %s, %d found)%s\n", palette.bold(), stop.query,
              palette.reset(), stop.what, palette.dim(), stop.index, result.getDocsFound(),
              palette.reset());
  if (!hits.empty()) printHits(stdout, hits, stop.query, palette, terminalWidth(stdout));
  if (!note.empty()) std::printf("  (%s)\n", note.c_str());
}

}  // namespace

ToolError runDemo(const DemoOptions& options) {
  const std::string db_file = options.dir + "/sample-chat.db";
  const std::string index_dir = options.dir + "/index";
  ToolError error = makeSampleDatabase(options.dir, db_file);
  IndexRoot root;
  if (error.ok()) error = root.openForIndexing(index_dir);
  if (!error.ok()) return error;
  std::fflush(stdout);
  const TableSpec tables[] = {demoTable(db_file, "contact", "name,remark,phone", "name"),
                              demoTable(db_file, "message", "content", "")};
  for (const TableSpec& spec : tables) {
    IndexSummary summary;
    error = indexTable(root, spec, stderr, &summary);
    if (!error.ok()) return error;
  }
  Palette palette(useColor(options.color, stdout));
  std::printf("Indexed into %s. A tour of queries:\n", index_dir.c_str());
  for (const TourStop& stop : kTour) showStop(root, stop, palette);
  std::printf("\nTry your own:\n  kestrin_search search --root %s --index message QUERY\n"
              "  kestrin_search search --root %s --index contact QUERY\n",
              index_dir.c_str(), index_dir.c_str());
  return ToolError();
}

}  // namespace kestrin_tool
