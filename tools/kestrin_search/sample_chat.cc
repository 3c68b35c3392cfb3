#include "sample_chat.h"

#include <cstdint>
#include <map>
#include <vector>

#include "database.h"

namespace kestrin_tool {

// The text of sample/sample_chat.txt, compiled in by the build.
extern const char kSampleChatText[];

namespace {

struct Contact {
  std::string name, remark, phone;
};

// The word lists: "[section]" followed by its entries.
using WordLists = std::map<std::string, std::vector<std::string>>;

WordLists parseWordLists(const std::string& text) {
  WordLists lists;
  std::string section;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    std::string line = text.substr(start, end - start);
    start = end + 1;
    if (line.empty() || line[0] == '#') continue;
    if (line[0] == '[' && line.back() == ']') {
      section = line.substr(1, line.size() - 2);
    } else {
      lists[section].push_back(line);
    }
  }
  return lists;
}

Contact parseContact(const std::string& line) {
  Contact contact;
  std::string* fields[] = {&contact.name, &contact.remark, &contact.phone};
  size_t start = 0;
  for (std::string* field : fields) {
    size_t bar = line.find(" | ", start);
    *field = line.substr(start, bar == std::string::npos ? std::string::npos : bar - start);
    if (bar == std::string::npos) break;
    start = bar + 3;
  }
  return contact;
}

// splitmix64: a tiny generator whose sequence is the same everywhere (the
// standard distributions are not).
class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed) {}
  uint64_t next() {
    uint64_t z = (state_ += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
  }
  int below(int n) { return static_cast<int>(next() % static_cast<uint64_t>(n)); }
  const std::string& pick(const std::vector<std::string>& list) { return list[below(list.size())]; }

 private:
  uint64_t state_;
};

class MessageWriter {
 public:
  MessageWriter(const WordLists& lists, const std::vector<Contact>& contacts)
      : lists_(lists), contacts_(contacts), random_(20240611) {}

  // One message from contact number `talker` (0-based): a Chinese template
  // two times in three, else an English one.
  std::string next(int talker) {
    current_ = talker;
    const std::vector<std::string>& templates = lists_.at(random_.below(3) < 2 ? "zh" : "en");
    return fill(random_.pick(templates));
  }
  int talker() { return random_.below(static_cast<int>(contacts_.size())); }

 private:
  std::string fill(const std::string& pattern) {
    std::string out;
    size_t i = 0;
    while (i < pattern.size()) {
      size_t open = pattern.find('{', i);
      size_t close = open == std::string::npos ? open : pattern.find('}', open);
      if (close == std::string::npos) {
        out += pattern.substr(i);
        break;
      }
      out += pattern.substr(i, open - i);
      out += slot(pattern.substr(open + 1, close - open - 1));
      i = close + 1;
    }
    return out;
  }

  std::string slot(const std::string& name) {
    // A phone number is the talker's own, or that of the person just named.
    if (name == "name") return contacts_[current_ = random_.below(contacts_.size())].name;
    if (name == "phone") return contacts_[current_].phone;
    if (name == "amount") return std::to_string(10 + random_.below(9990));
    if (name == "flight") return std::to_string(1000 + random_.below(9000));
    if (name == "room") return std::to_string(100 + random_.below(900));
    auto list = lists_.find(name);
    return list == lists_.end() ? "{" + name + "}" : random_.pick(list->second);
  }

  const WordLists& lists_;
  const std::vector<Contact>& contacts_;
  Random random_;
  int current_ = 0;
};

// Inserts rows through one prepared statement; all values are bound as text
// or integers in the order given.
class RowInserter {
 public:
  RowInserter(sqlite3* db, const char* sql) { sqlite3_prepare_v2(db, sql, -1, &stmt_, nullptr); }
  ~RowInserter() { sqlite3_finalize(stmt_); }
  bool insert(long long id, const std::vector<std::string>& texts, long long number) {
    if (stmt_ == nullptr) return false;
    sqlite3_reset(stmt_);
    sqlite3_bind_int64(stmt_, 1, id);
    int column = 2;
    for (const std::string& text : texts) {
      sqlite3_bind_text(stmt_, column++, text.c_str(), -1, SQLITE_TRANSIENT);
    }
    if (number >= 0) sqlite3_bind_int64(stmt_, column, number);
    return sqlite3_step(stmt_) == SQLITE_DONE;
  }

 private:
  sqlite3_stmt* stmt_ = nullptr;
};

}  // namespace

ToolError createSampleChat(const std::string& file, const std::string& key, int messages,
                           SampleChatSize* size) {
  WordLists lists = parseWordLists(kSampleChatText);
  std::vector<Contact> contacts;
  for (const std::string& line : lists["contact"]) contacts.push_back(parseContact(line));

  Database db;
  ToolError error = db.create(file, key);
  if (!error.ok()) return error;
  std::string why = db.exec(
      "CREATE TABLE contact(id INTEGER PRIMARY KEY, name TEXT, remark TEXT, phone TEXT);"
      "CREATE TABLE message(id INTEGER PRIMARY KEY, talker INTEGER, content TEXT,"
      " created INTEGER);"
      "BEGIN;");
  bool written = why.empty();
  {
    RowInserter contact_rows(db.handle(), "INSERT INTO contact VALUES(?, ?, ?, ?)");
    RowInserter message_rows(db.handle(), "INSERT INTO message VALUES(?, ?, ?, ?)");
    for (size_t i = 0; written && i < contacts.size(); ++i) {
      const Contact& c = contacts[i];
      written = contact_rows.insert(i + 1, {c.name, c.remark, c.phone}, -1);
    }
    MessageWriter writer(lists, contacts);
    const long long kFirstTime = 1717200000;  // June 2024, one message every ~10 minutes
    for (int i = 0; written && i < messages; ++i) {
      int talker = writer.talker();
      written = message_rows.insert(i + 1, {std::to_string(talker + 1), writer.next(talker)},
                                    kFirstTime + 600LL * i);
    }
  }
  if (written) why = db.exec("COMMIT;");
  if (!written || !why.empty()) {
    if (why.empty()) why = sqlite3_errmsg(db.handle());
    return toolError(kEngineFailed, "cannot write the sample database " + file + ": " + why);
  }
  size->contacts = static_cast<int>(contacts.size());
  size->messages = messages;
  return ToolError();
}

}  // namespace kestrin_tool
