// The demo's sample chat database: contacts and a few thousand messages of
// everyday Chinese and English (names with common and polyphone surnames,
// numbers, phone numbers, emoji, middle dots), generated from the word lists
// of sample/sample_chat.txt, which are compiled into the tool, with a fixed
// seed: every machine gets the same rows, and nothing is downloaded.
//
// Tables (the database is encrypted with the given key):
//   contact(id INTEGER PRIMARY KEY, name TEXT, remark TEXT, phone TEXT)
//   message(id INTEGER PRIMARY KEY, talker INTEGER, content TEXT, created INTEGER)
#ifndef KS_TOOLS_KESTRIN_SEARCH_SAMPLE_CHAT_H_
#define KS_TOOLS_KESTRIN_SEARCH_SAMPLE_CHAT_H_

#include <string>

#include "tool_error.h"

namespace kestrin_tool {

struct SampleChatSize {
  int contacts = 0;
  int messages = 0;
};

// Writes the database to `file` (replacing it), encrypted with `key`, with
// `messages` messages. kEngineFailed with SQLite's reason when it cannot.
ToolError createSampleChat(const std::string& file, const std::string& key, int messages,
                           SampleChatSize* size);

}  // namespace kestrin_tool

#endif  // KS_TOOLS_KESTRIN_SEARCH_SAMPLE_CHAT_H_
