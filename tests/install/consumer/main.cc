// A program outside the project, built against an installed library: indexes
// one contact, finds it by its pinyin initials, highlights the hit and reads a
// character's pinyin. It includes every installed header but the JNI bridge's.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "adapter/ks_search_data_adapter.h"
#include "search/searcher.h"
#include "text/highlight.h"
#include "text/pinyin.h"

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  mobile_search::Searcher searcher;
  if (searcher.open(argv[1], 0) != 0) return 1;
  searcher.addIndex("contacts", "app", "contact", "id", "name,note", nullptr, "name", nullptr,
                    nullptr, nullptr);
  char name[] = "张三丰", note[] = "met at the station";
  char* values[] = {name, note};
  searcher.modifyDoc("contacts", "app", "contact", "42", 2, values);
  char* json = searcher.doSearch("contacts", nullptr, "zsf", 0, 10, false);
  int hit = 0;
  char* abstract = mobile_search::highLight_Abstract("我和张三丰说", "zs", 10, hit);
  char* reading = mobile_search::hz2pyConvertSingle("张", 3);
  std::printf("%s\n%s\n%s\n", json ? json : "null", abstract ? abstract : "null",
              reading ? reading : "null");
  bool ok = json && std::strstr(json, "\"42\"") && abstract && std::strstr(abstract, "<red>") &&
            reading && std::strcmp(reading, "zhang") == 0;
  std::free(json);
  std::free(abstract);
  std::free(reading);
  searcher.close();
  return ok ? 0 : 1;
}
