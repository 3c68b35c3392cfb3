// kestrin_search abstract and pinyin: the engine's text functions on their
// own, for trying out how a hit would be highlighted and how a character
// reads.
#include <cstdio>
#include <cstdlib>

#include "commands.h"
#include "config/engine_options.h"
#include "text/highlight.h"
#include "text/pinyin.h"

namespace kestrin_tool {

ToolError runAbstract(const AbstractOptions& options) {
  mobile_search::OptionValues values;
  for (const std::string& option : options.engine_options) {
    size_t eq = option.find('=');
    if (eq == std::string::npos ||
        mobile_search::parseEngineOption(option.substr(0, eq).c_str(), option.substr(eq + 1).c_str(), &values) != 0) {
      return toolError(kUsage, "engine option " + option + " refused", "see --help for the options");
    }
  }
  int hit = 0;
  char* text = mobile_search::highLight_Abstract(options.text.c_str(), options.query.c_str(),
                                                 options.limit, hit, values.text);
  if (text == nullptr) return toolError(kUsage, "the text and the query must not be empty");
  std::printf("%s\n", text);
  std::free(text);
  return ToolError();
}

ToolError runPinyin(const PinyinOptions& options) {
  const std::string& hz = options.character;
  char* py = mobile_search::hz2pyConvertSingle(hz.c_str(), static_cast<int>(hz.size()));
  if (py == nullptr) return toolError(kEngineFailed, "no pinyin reading for \"" + hz + "\"");
  std::printf("%s\n", py);
  std::free(py);
  return ToolError();
}

}  // namespace kestrin_tool
