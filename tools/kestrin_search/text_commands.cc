// kestrin_search abstract and pinyin: the engine's text functions on their
// own, for trying out how a hit would be highlighted and how a character
// reads.
#include <cstdio>
#include <cstdlib>

#include "commands.h"
#include "text/highlight.h"
#include "text/pinyin.h"

namespace kestrin_tool {

ToolError runAbstract(const AbstractOptions& options) {
  int hit = 0;
  char* text = mobile_search::highLight_Abstract(options.text.c_str(), options.query.c_str(),
                                                 options.limit, hit);
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
