// ToolError: a failure of the command-line tool described for a person: what
// went wrong, why, and what to do about it, with the exit status it ends the
// program with.
//
// Every command returns a ToolError; a default-constructed one (code kOk) is
// success. Nothing here throws: the argument parser's exceptions are caught
// where it runs and turned into a kUsage error.
#ifndef KS_TOOLS_KESTRIN_SEARCH_TOOL_ERROR_H_
#define KS_TOOLS_KESTRIN_SEARCH_TOOL_ERROR_H_

#include <string>

namespace kestrin_tool {

// Exit statuses; they are listed in the tool's --help text.
enum ExitCode : int {
  kOk = 0,
  kEngineFailed = 1,     // the engine reported a failure not covered below
  kUsage = 2,            // bad or missing arguments
  kNoSuchFile = 3,       // the database file does not exist
  kNotADatabase = 4,     // wrong key, or the file is not an SQLite database
  kNoSuchTable = 5,      // no such table or column, or a bad --where
  kNotIndexed = 6,       // the root directory holds no index
  kUnknownIndex = 7,     // the root has no index of that name
  kInterrupted = 130,    // stopped by Ctrl-C (indexing resumes on the next run)
};

struct ToolError {
  ExitCode code = kOk;
  std::string message;  // what went wrong, with the names involved
  std::string hint;     // what to do about it; may be empty

  bool ok() const { return code == kOk; }
};

inline ToolError toolError(ExitCode code, std::string message, std::string hint = "") {
  return ToolError{code, std::move(message), std::move(hint)};
}

// Prints "kestrin_search: <message>" and, on the next line, the hint to
// standard error; nothing for success.
void printError(const ToolError& error);

// The --help epilogue that lists the exit statuses.
const char* exitCodeHelp();

}  // namespace kestrin_tool

#endif  // KS_TOOLS_KESTRIN_SEARCH_TOOL_ERROR_H_
