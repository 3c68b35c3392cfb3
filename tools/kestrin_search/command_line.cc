#include "command_line.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <functional>
#include <map>

#include "commands.h"
#include "tool_error.h"

namespace kestrin_tool {
namespace {

const std::map<std::string, ColorMode> kColorModes = {
    {"auto", ColorMode::kAuto}, {"always", ColorMode::kAlways}, {"never", ColorMode::kNever}};
const std::map<std::string, OutputFormat> kFormats = {
    {"auto", OutputFormat::kAuto}, {"human", OutputFormat::kHuman}, {"json", OutputFormat::kJson}};

void addRoot(CLI::App* command, std::string* root) {
  command->add_option("--root", *root, "index root directory")->required()->type_name("DIR");
}

// Engine options (--option NAME=VALUE, repeatable): utf8=full,
// infix_digits=N, fold=simplified, name_readings, syllable_mix, fuzzy; the
// root keeps them.
void addEngineOptions(CLI::App* command, std::vector<std::string>* options) {
  command->add_option("--option", *options,
                      "engine option (utf8=full, infix_digits=N, fold=simplified, name_readings=surname, "
                      "syllable_mix=on, fuzzy=z-zh,...)")
      ->type_name("NAME=VALUE");
}

void addDatabase(CLI::App* command, DatabaseOptions* db, bool required) {
  CLI::Option* file = command->add_option("--db", db->file, "SQLite or SQLCipher database file");
  if (required) file->required();
  file->type_name("FILE");
  command->add_option("--key", db->key, "key of an encrypted database")->type_name("KEY");
  command->add_option("--db-name", db->name, "the engine's name for it (default: file name)")
      ->type_name("NAME");
}

void addColor(CLI::App* command, ColorMode* color) {
  command->add_option("--color", *color, "colour the output: auto, always or never")
      ->transform(CLI::CheckedTransformer(kColorModes, CLI::ignore_case).description(""))
      ->type_name("WHEN");
}

// The command's notes, then the exit statuses.
void setFooter(CLI::App* command, const std::string& notes) {
  command->footer((notes.empty() ? "" : notes + "\n\n") + exitCodeHelp());
}

CLI::App* addIndex(CLI::App& app, IndexOptions* o) {
  CLI::App* c = app.add_subcommand("index", "index one table of a database, resuming where the "
                                            "last run stopped");
  addRoot(c, &o->root);
  addDatabase(c, &o->spec.db, true);
  c->add_option("--table", o->spec.table, "table to index")->required();
  c->add_option("--pkey", o->spec.pkey, "its primary-key column")->required()->type_name("COLUMN");
  c->add_option("--fields", o->spec.fields, "columns to index")->required()->type_name("A,B,...");
  c->add_option("--pinyin", o->spec.pinyin, "name columns also searchable by pinyin")
      ->type_name("A,...");
  c->add_option("--profile", o->spec.profile, "columns only stored")->type_name("A,...");
  c->add_option("--notoken", o->spec.notoken, "columns indexed whole")->type_name("A,...");
  c->add_option("--where", o->spec.where, "SQL condition on the rows to index");
  c->add_option("--index", o->spec.index, "index name (default: the table's name)");
  c->add_option("--group", o->spec.group, "index group (default: \"default\")");
  addEngineOptions(c, &o->engine_options);
  setFooter(c, "Shows a progress bar on a terminal, periodic lines otherwise. Ctrl-C stops after "
            "the running batch of 50 rows; the next run goes on from there.");
  return c;
}

CLI::App* addSearch(CLI::App& app, SearchOptions* o) {
  CLI::App* c = app.add_subcommand("search", "search an index");
  addRoot(c, &o->root);
  c->add_option("--index", o->index, "index to search")->required();
  c->add_option("query", o->query, "what a user would type: 张三, zhangsan, zs, hello, 138...")
      ->required();
  c->add_option("--field", o->field, "search this field only");
  c->add_option("-n,--limit,--num", o->limit, "hits to show")->check(CLI::Range(1, 100000).description(""))
      ->type_name("N");
  c->add_option("--start", o->start, "hits to skip")->check(CLI::NonNegativeNumber.description(""))->type_name("N");
  c->add_option("--format", o->format, "human, json, or auto: human on a terminal, json in a pipe")
      ->transform(CLI::CheckedTransformer(kFormats, CLI::ignore_case).description(""))
      ->type_name("FORMAT");
  c->add_flag_callback("--json", [o] { o->format = OutputFormat::kJson; },
                       "print the engine's JSON text unchanged");
  addColor(c, &o->color);
  addDatabase(c, &o->db, false);
  addEngineOptions(c, &o->engine_options);
  setFooter(c, "The rows' texts are read back from the database given with --db/--key, or else "
            "from the one the index run noted in the root.");
  return c;
}

CLI::App* addStats(CLI::App& app, StatsOptions* o) {
  CLI::App* c = app.add_subcommand("stats", "show the indexes, groups, documents and disk use");
  addRoot(c, &o->root);
  setFooter(c, "");
  return c;
}

CLI::App* addCompact(CLI::App& app, CompactOptions* o) {
  CLI::App* c = app.add_subcommand("compact", "purge deleted documents from the index groups");
  addRoot(c, &o->root);
  c->add_option("--group", o->group, "compact this group only");
  c->add_flag("--force", o->force, "compact even with fewer than 1,000 deleted documents");
  setFooter(c, "");
  return c;
}

CLI::App* addDelete(CLI::App& app, DeleteOptions* o) {
  CLI::App* c = app.add_subcommand("delete", "remove rows from an index by primary key, or a "
                                             "whole table");
  addRoot(c, &o->root);
  c->add_option("--index", o->index, "index to change")->required();
  c->add_option("--table", o->table, "table (needed when the index has several)");
  c->add_option("--db-name", o->db_name, "database name (needed when tables share a name)");
  c->add_option("keys", o->keys, "primary keys of the rows to remove")->type_name("KEY...");
  c->add_flag("--all", o->all, "remove every row of the table (the next index run rescans it)");
  setFooter(c, "");
  return c;
}

CLI::App* addWatch(CLI::App& app, WatchOptions* o) {
  CLI::App* c = app.add_subcommand("watch", "run SQL from standard input on a database and "
                                            "follow its changes into the index");
  addRoot(c, &o->root);
  addDatabase(c, &o->db, true);
  addEngineOptions(c, &o->engine_options);
  setFooter(c, "SQLite tells a hook only about changes made on its own connection, so watch runs "
            "the statements itself, e.g.\n  echo \"INSERT INTO contact(name) VALUES('张三');\" | "
            "kestrin_search watch --root idx --db chat.db --key secret");
  return c;
}

CLI::App* addAbstract(CLI::App& app, AbstractOptions* o) {
  CLI::App* c = app.add_subcommand("abstract", "print the highlighted abstract of a text");
  c->add_option("text", o->text, "the hit's text")->required();
  c->add_option("query", o->query, "the query")->required();
  c->add_option("--limit", o->limit, "characters of the abstract")->check(CLI::PositiveNumber.description(""))->type_name("N");
  addEngineOptions(c, &o->engine_options);
  return c;
}

CLI::App* addPinyin(CLI::App& app, PinyinOptions* o) {
  CLI::App* c = app.add_subcommand("pinyin", "print the usual reading of a Han character");
  c->add_option("character", o->character, "one character")->required();
  return c;
}

CLI::App* addDemo(CLI::App& app, DemoOptions* o) {
  CLI::App* c = app.add_subcommand("demo", "index a generated sample chat database and search it");
  c->add_option("--dir", o->dir, "where to put the sample database and its index")
      ->capture_default_str()
      ->type_name("DIR");
  addColor(c, &o->color);
  setFooter(c, "Makes DIR/sample-chat.db (once) and indexes it into DIR/index; run it again to "
               "repeat the tour.");
  return c;
}

}  // namespace

int runCommandLine(int argc, char** argv) {
  CLI::App app{"kestrin_search: the Kestrin search engine from the command line.\n"
               "Start with: kestrin_search demo",
               "kestrin_search"};
  app.require_subcommand(1, 1);
  app.footer(exitCodeHelp());
  IndexOptions index;
  SearchOptions search;
  StatsOptions stats;
  CompactOptions compact;
  DeleteOptions del;
  WatchOptions watch;
  AbstractOptions abstract;
  PinyinOptions pinyin;
  DemoOptions demo;
  const std::vector<std::pair<CLI::App*, std::function<ToolError()>>> commands = {
      {addDemo(app, &demo), [&] { return runDemo(demo); }},
      {addIndex(app, &index), [&] { return runIndex(index); }},
      {addSearch(app, &search), [&] { return runSearch(search); }},
      {addStats(app, &stats), [&] { return runStats(stats); }},
      {addCompact(app, &compact), [&] { return runCompact(compact); }},
      {addDelete(app, &del), [&] { return runDelete(del); }},
      {addWatch(app, &watch), [&] { return runWatch(watch); }},
      {addAbstract(app, &abstract), [&] { return runAbstract(abstract); }},
      {addPinyin(app, &pinyin), [&] { return runPinyin(pinyin); }},
  };
  if (argc < 2) {
    std::fputs(app.help().c_str(), stderr);
    return kUsage;
  }
  bool known = argv[1][0] == '-';
  for (const auto& command : commands) known = known || command.first->get_name() == argv[1];
  if (!known) {
    std::fprintf(stderr, "kestrin_search: unknown command %s\n  run kestrin_search --help for the "
                 "commands\n", argv[1]);
    return kUsage;
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    int status = app.exit(e);
    return status == 0 ? 0 : kUsage;
  }
  for (const auto& command : commands) {
    if (command.first->parsed()) {
      ToolError error = command.second();
      printError(error);
      return error.code;
    }
  }
  return kUsage;
}

}  // namespace kestrin_tool
