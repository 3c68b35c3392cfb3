// kestrin_search: the engine's main job from the command line.
//
//   kestrin_search index  --root DIR --db FILE [--key KEY] [--db-name NAME]
//                         --table TABLE --pkey COLUMN --fields A,B,...
//                         [--pinyin A] [--profile C] [--notoken D]
//                         [--where CONDITION] [--index NAME] [--group NAME]
//                         [--option NAME=VALUE ...]
//       Registers an index over one table of a (possibly encrypted) SQLite
//       database and scans the table in batches of 50 rows until it is fully
//       indexed, then saves. Running it again resumes where the last run
//       stopped and picks up new rows.
//   kestrin_search search --root DIR --index NAME [--field F] [--start N]
//                         [--num N] [--option NAME=VALUE ...] QUERY
//       Prints the JSON result of a query (or "null" when nothing is found).
//   kestrin_search abstract [--limit N] [--option NAME=VALUE ...] TEXT QUERY
//       Prints the highlighted abstract of TEXT for QUERY.
//   --option sets an engine option (utf8=full, infix_digits=N,
//   fold=simplified; repeatable) on the root before anything else; the root
//   keeps it. An option that changes what is indexed fails on an index that
//   holds documents with another value.
//   kestrin_search pinyin CHARACTER
//       Prints the usual pinyin reading of one Han character.
//
// Exit status: 0 success, 1 the engine reported a failure, 2 bad usage.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "adapter/ks_search_data_adapter.h"
#include "config/engine_options.h"
#include "search/searcher.h"
#include "text/highlight.h"
#include "text/pinyin.h"

namespace {

using mobile_search::KSSearchDataAdapter;
using mobile_search::Searcher;

const int kUsage = 2;
const int kFailed = 1;

struct Args {
  std::map<std::string, std::string> options;  // "--name value" pairs
  std::vector<std::string> engine_options;     // every "--option name=value"
  std::vector<std::string> positional;
};

int usage() {
  std::fputs(
      "usage:\n"
      "  kestrin_search index  --root DIR --db FILE [--key KEY] [--db-name NAME]\n"
      "                        --table TABLE --pkey COLUMN --fields A,B,...\n"
      "                        [--pinyin A] [--profile C] [--notoken D]\n"
      "                        [--where CONDITION] [--index NAME] [--group NAME]\n"
      "                        [--option NAME=VALUE ...]\n"
      "  kestrin_search search --root DIR --index NAME [--field F] [--start N]\n"
      "                        [--num N] [--option NAME=VALUE ...] QUERY\n"
      "  kestrin_search abstract [--limit N] [--option NAME=VALUE ...] TEXT QUERY\n"
      "  kestrin_search pinyin CHARACTER\n",
      stderr);
  return kUsage;
}

// Every "--name" takes the next argument as its value; anything else is
// positional. Returns false when an option lacks its value.
bool parseArgs(int argc, char** argv, Args* args) {
  for (int i = 0; i < argc; ++i) {
    if (std::strncmp(argv[i], "--", 2) == 0) {
      if (i + 1 >= argc) return false;
      if (std::strcmp(argv[i], "--option") == 0) {
        args->engine_options.push_back(argv[i + 1]);
      } else {
        args->options[argv[i] + 2] = argv[i + 1];
      }
      ++i;
    } else {
      args->positional.push_back(argv[i]);
    }
  }
  return true;
}

// The option's value, or null when it was not given (so that the engine's
// own defaults for missing values apply).
const char* opt(const Args& args, const char* name) {
  auto it = args.options.find(name);
  return it == args.options.end() ? nullptr : it->second.c_str();
}

int intOpt(const Args& args, const char* name, int fallback) {
  const char* value = opt(args, name);
  return value ? std::atoi(value) : fallback;
}

std::string baseName(const std::string& path) {
  size_t slash = path.find_last_of('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

// Calls set(name, value) for every --option; false, with a message, at the
// first that is malformed or refused.
template <typename Set>
bool applyEngineOptions(const Args& args, Set set) {
  for (const std::string& option : args.engine_options) {
    const size_t eq = option.find('=');
    if (eq == std::string::npos || set(option.substr(0, eq), option.substr(eq + 1)) != 0) {
      std::fprintf(stderr, "option %s refused\n", option.c_str());
      return false;
    }
  }
  return true;
}

bool openSearcher(Searcher* searcher, const char* root, const Args& args) {
  if (searcher->open(root, 0) != 0) {
    std::fprintf(stderr, "cannot open the index root %s\n", root);
    return false;
  }
  return applyEngineOptions(args, [searcher](const std::string& name, const std::string& value) {
    return searcher->setOption(name.c_str(), value.c_str());
  });
}

// Scans until a batch reports no progress; returns the number of batches
// that indexed rows, or -1 with the adapter's code printed.
int scanToEnd(KSSearchDataAdapter* adapter, const char* db, const char* table,
              const char* index) {
  int batches = 0;
  for (;;) {
    int rows = adapter->scanTable(db, table, index);
    if (rows < 0) {
      std::fprintf(stderr, "scan failed with code %d\n", rows);
      return -1;
    }
    if (rows == 0) return batches;
    ++batches;
  }
}

int runIndex(const Args& args) {
  const char* root = opt(args, "root");
  const char* db_file = opt(args, "db");
  const char* table = opt(args, "table");
  const char* pkey = opt(args, "pkey");
  const char* fields = opt(args, "fields");
  if (!root || !db_file || !table || !pkey || !fields) return usage();
  const std::string db_name = opt(args, "db-name") ? opt(args, "db-name") : baseName(db_file);
  const char* index = opt(args, "index") ? opt(args, "index") : table;

  Searcher searcher;
  if (!openSearcher(&searcher, root, args)) return kFailed;
  if (searcher.addIndex(index, db_name.c_str(), table, pkey, fields, opt(args, "where"),
                        opt(args, "pinyin"), opt(args, "profile"), opt(args, "notoken"),
                        opt(args, "group")) < 0) {
    std::fprintf(stderr, "cannot register index %s on table %s\n", index, table);
    return kFailed;
  }
  int batches = -1;
  {
    KSSearchDataAdapter adapter(root);
    if (adapter.setSearcher(&searcher) == 0 &&
        adapter.addDB(db_name.c_str(), db_file, opt(args, "key"), false) == 0 &&
        adapter.addTable(index, db_name.c_str(), table, pkey, fields, opt(args, "where"),
                         opt(args, "profile"), 0) == 0) {
      batches = scanToEnd(&adapter, db_name.c_str(), table, index);
    } else {
      std::fprintf(stderr, "cannot register database %s\n", db_file);
    }
  }
  searcher.save();
  searcher.close();
  if (batches < 0) return kFailed;
  std::printf("indexed %s.%s as %s: %d batch(es)\n", db_name.c_str(), table, index, batches);
  return 0;
}

int runSearch(const Args& args) {
  const char* root = opt(args, "root");
  const char* index = opt(args, "index");
  if (!root || !index || args.positional.size() != 1) return usage();
  Searcher searcher;
  if (!openSearcher(&searcher, root, args)) return kFailed;
  char* json = searcher.doSearch(index, opt(args, "field"), args.positional[0].c_str(),
                                 intOpt(args, "start", 0), intOpt(args, "num", 10), false);
  std::printf("%s\n", json ? json : "null");
  std::free(json);
  searcher.close();
  return 0;
}

int runAbstract(const Args& args) {
  if (args.positional.size() != 2) return usage();
  mobile_search::OptionValues values;
  if (!applyEngineOptions(args, [&values](const std::string& name, const std::string& value) {
        return mobile_search::parseEngineOption(name.c_str(), value.c_str(), &values);
      })) {
    return kFailed;
  }
  int hit = 0;
  char* text = mobile_search::highLight_Abstract(args.positional[0].c_str(),
                                                 args.positional[1].c_str(),
                                                 intOpt(args, "limit", 30), hit, values.text);
  if (text == nullptr) return kFailed;
  std::printf("%s\n", text);
  std::free(text);
  return 0;
}

int runPinyin(const Args& args) {
  if (args.positional.size() != 1) return usage();
  const std::string& hz = args.positional[0];
  char* py = mobile_search::hz2pyConvertSingle(hz.c_str(), static_cast<int>(hz.size()));
  if (py == nullptr) return kFailed;
  std::printf("%s\n", py);
  std::free(py);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return usage();
  Args args;
  if (!parseArgs(argc - 2, argv + 2, &args)) return usage();
  const std::string command = argv[1];
  if (command == "index") return runIndex(args);
  if (command == "search") return runSearch(args);
  if (command == "abstract") return runAbstract(args);
  if (command == "pinyin") return runPinyin(args);
  return usage();
}
