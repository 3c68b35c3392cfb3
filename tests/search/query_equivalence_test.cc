// Query results on a generated corpus: a few thousand chat messages and
// contacts (pinyin names, Chinese text with Latin words, names repeated in
// message texts so that one document holds a term in several fields), some
// rows changed or deleted, more than one postings file.
//
// Two guarantees. The JSON texts of every query class, with paging and field
// restrictions, are hashed; the hashes were taken before the query path was
// tuned, so any change in hits, their order, weights or counts shows up (a
// deliberate change of results needs new hashes: the failure message prints
// them). And the engine's evaluation gives byte for byte the JSON of the
// plain evaluation below (every posting of every term gathered, checked and
// walked with cursors, as the engine evaluated queries at first), before and
// after a compaction, with more changes on top.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "config/config_manager.h"
#include "foundation/shell_sort.h"
#include "search/group_searcher.h"
#include "search/search_index_config.h"
#include "searcher_fixture.h"
#include "storage/doc_id_manager.h"
#include "storage/index_manager.h"
#include "text/token_parser.h"
#include "text/token_rules.h"
#include "text/token_unit.h"

namespace mobile_search {
namespace {

// Name characters, surnames first, with their pinyin; every Chinese
// character here is three bytes long.
const std::string kNameHan = "张王李刘陈杨黄赵伟芳娜敏静强磊军洋勇杰涛明超华平";
const char* const kPinyin[] = {"zhang", "wang", "li",   "liu",  "chen", "yang",  "huang", "zhao",
                               "wei",   "fang", "na",   "min",  "jing", "qiang", "lei",   "jun",
                               "yang",  "yong", "jie",  "tao",  "ming", "chao",  "hua",   "ping"};
const int kSurnames = 8, kNameCharCount = 24;
const std::string kTextChars =
    "的一是不了人我在有他这中大来上个们到说时要就出会可也你对生能好天今吃饭没问题明见家走";
const int kTextCharCount = 42;
const char* const kWords[] = {"hello", "menu", "review", "meeting", "ok", "lunch",
                              "merge", "release", "help", "menus"};
const int kWordCount = 10;

// Fixed-seed xorshift generator whose outputs do not depend on the
// standard library.
struct Rng {
  uint32_t state;
  int below(int n) {
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    return static_cast<int>(state % static_cast<uint32_t>(n));
  }
  // Skewed towards small values, like word frequencies.
  int skewed(int n) { return below(n) * below(n) / n; }
};

struct Name {
  std::string han, full, initials;
};

Name MakeName(Rng& rng) {
  Name n;
  for (int i = 0, parts = 2 + rng.below(2); i < parts; ++i) {
    int c = i == 0 ? rng.below(kSurnames) : kSurnames + rng.below(kNameCharCount - kSurnames);
    n.han += kNameHan.substr(3 * c, 3);
    n.full += kPinyin[c];
    n.initials += kPinyin[c][0];
  }
  return n;
}

std::string MakeText(Rng& rng, const std::vector<Name>& names) {
  std::string text;
  for (int i = 0, len = 3 + rng.below(30); i < len; ++i) {
    int kind = rng.below(20);
    if (kind == 0) {
      text += std::string(" ") + kWords[rng.skewed(kWordCount)] + " ";
    } else if (kind == 1 && !names.empty()) {
      text += names[rng.below(static_cast<int>(names.size()))].han;
    } else {
      text += kTextChars.substr(3 * rng.skewed(kTextCharCount), 3);
    }
  }
  return text;
}

// Hash of every JSON text of each query class: single characters, 2, 3 and
// 4 characters, Latin prefixes, Chinese names, full pinyin, initials, pinyin
// prefixes, mixed.
const std::vector<std::string> kGolden = {
    "23ef03a742877e5b", "0b61956e0cc737a3", "e486c82c5761b2f8", "9550a145c95ac66a",
    "8d20d8c0d074593b", "b26cd752698e2002", "799db3b406e94510", "dfd608e638c67780",
    "4a6cf02f89e686e8", "85974f372c33135b",
};

// ---- The plain evaluation --------------------------------------------

doc_union_t Hit(doc_union_t p) {
  unsigned char w = p.weight();
  TokenRules::mathSortWeight(w, p.bits());
  return doc_union_t::make(p.docid(), p.field(), w, p.bits());
}

// One term: sorted postings, one hit per document from its preferred field.
// Several: each posting of the first term that every further term confirms.
void PlainAnd(const std::vector<IndexTerm*>& terms, _DArray* hits, _DArray* filter) {
  for (IndexTerm* t : terms) {
    if (t->getDocCount() == 0) return;
  }
  doc_union_t p{0}, pending{0};
  if (terms.size() == 1) {
    terms[0]->sort();
    while (terms[0]->next(p) != IndexTerm::kEnd) {
      if (pending.weight() != 0 && p.docid() == pending.docid()) {
        bool wins = p.field() <= pending.field();
        if (filter != nullptr) {
          wins = false;
          for (unsigned int i = 0; i < darray_length(filter); ++i) {
            const int id = static_cast<int>(static_cast<long long>(darray_get_by_index(filter, i)));
            if (id == p.field()) wins = true;
            if (id == p.field() || id == pending.field()) break;
          }
        }
        if (wins) pending = p;
        continue;
      }
      if (pending.weight() != 0) darray_append(hits, Hit(pending).value);
      pending = p;
    }
    if (pending.weight() != 0) darray_append(hits, Hit(pending).value);
    return;
  }
  while (terms[0]->next(p) != IndexTerm::kEnd) {
    bool all = true;
    for (size_t i = 1; i < terms.size() && all; ++i) {
      doc_union_t ignored{0};
      terms[i]->next(ignored);
      all = terms[i]->validDoc(p, filter) != 0;
    }
    if (all) darray_append(hits, Hit(p).value);
  }
}

// doSearchImpl without the postings directory and the dense document states.
void PlainSearch(GroupSearcher* group, ConfigManager* manager, SearchResult* result,
                 SearchIndexConfig* config, _DArray** lists, _str_buffer_t* groupName) {
  _DArray* tables = darray_create(search_table_info_destroy, true);
  _DArray* indexes = manager->getAllIndexInfo();
  for (unsigned int x = 0; x < darray_length(indexes); ++x) {
    index_info_t* index = slot_as<index_info_t>(darray_get_by_index(indexes, x));
    SearchIndexConfigItem* item = config->getConfigItem(0);
    if (strcmp(index->name->data, item->index_name) != 0) continue;
    item->counter = 0;
    for (unsigned int f = 0; f < darray_length(item->field_names); ++f) {
      const char* name = slot_as<const char>(darray_get_by_index(item->field_names, f));
      darray_append(item->field_ids,
                    static_cast<unsigned long long>(static_cast<long long>(manager->getFieldId(item->index_name, name))));
    }
    for (unsigned int t = 0; t < darray_length(index->tables); ++t) {
      darray_append(tables, static_cast<const void*>(search_table_info_create(
                                slot_as<table_info_t>(darray_get_by_index(index->tables, t)), item)));
    }
  }
  SearchIndexConfigItem* item = config->getConfigItem(0);
  const unsigned int ids = darray_length(item->field_ids);
  const int restriction = ids == 1 ? static_cast<int>(static_cast<long long>(darray_get_by_index(item->field_ids, 0))) : -1;
  _DArray* filter = item->match_each_field && ids > 1 ? item->field_ids : nullptr;
  DocIdManager* docs = group->getIndexMgr()->doc_mgr;
  std::vector<unsigned long long> merged;
  for (int k = 0; k < 2; ++k) {
    std::vector<IndexTerm*> terms;
    for (unsigned int i = 0; i < darray_length(lists[k]); ++i) {
      const unsigned long long token = darray_get_by_index(lists[k], i);
      terms.push_back(new IndexTerm(static_cast<unsigned int>(token), static_cast<unsigned char>(token >> 32),
                                    GroupSearcher::index_valify, docs, tables));
      group->getIndexMgr()->index_mgr->getTerm(static_cast<unsigned int>(token), terms.back(), restriction);
    }
    _DArray* hits = darray_create(nullptr, false);
    if (!terms.empty()) PlainAnd(terms, hits, filter);
    for (IndexTerm* t : terms) delete t;
    if (k == 0) {
      shell_sort(hits->items, hits->count, [](unsigned long long a, unsigned long long b) {
        return ((a >> 24) & 0xFF) < ((b >> 24) & 0xFF);
      });
      merged.assign(hits->items, hits->items + hits->count);
    } else {
      std::set<unsigned int> held;
      for (unsigned long long m : merged) held.insert(doc_union_t{m}.docid());
      for (int i = static_cast<int>(hits->count) - 1; i >= 0; --i) {
        const doc_union_t h{hits->items[i]};
        if (held.insert(h.docid()).second) merged.push_back(h.value);
      }
    }
    darray_destroy(hits);
  }
  // The ranked hits into per-table results, through the paging window.
  for (unsigned long long value : merged) {
    const doc_union_t hit{value};
    for (unsigned int t = 0; t < darray_length(tables); ++t) {
      search_table_info_t* e = slot_as<search_table_info_t>(darray_get_by_index(tables, t));
      if (e->table->table_id != docs->getTabMD5Id(static_cast<int>(hit.docid()))) continue;
      ++e->found;
      const int seen = ++e->item->counter;
      if (seen > e->item->start && seen <= e->item->start + e->item->num) {
        if (e->result == nullptr) {
          e->result = result->createTableResult();
          e->result->readTableInfo(e->table);
        }
        e->result->add(docs, hit, groupName);
      }
      break;
    }
  }
  result->sumDocsFound(static_cast<int>(merged.size()));
  for (unsigned int t = 0; t < darray_length(tables); ++t) {
    search_table_info_t* e = slot_as<search_table_info_t>(darray_get_by_index(tables, t));
    if (e->result != nullptr) e->result->sumDocFound(e->found);
  }
  darray_destroy(tables);
}

// ---- Corpus and queries ----------------------------------------------

class QueryEquivalenceTest : public SearcherFixture {
 protected:
  // Plain, paged, one-field and each-field forms of one query.
  std::string run(const std::string& q) {
    std::string out;
    const struct { const char* field; int start, num; } forms[] = {
        {nullptr, 0, 20}, {nullptr, 7, 5}, {"content", 0, 20}, {"name", 2, 30}};
    for (const auto& f : forms) out += Search(q, f.field, f.start, f.num) + "\n";
    return out + MoreFields({"content", "name"}, q, 40);
  }

  void addContacts(Rng& rng, int n) {
    for (int i = 0; i < n; ++i) {
      contacts_.push_back(MakeName(rng));
      ASSERT_EQ(0, Add("contact", "c" + std::to_string(i), contacts_.back().han,
                       i % 3 == 0 ? MakeText(rng, contacts_) : "", i % 5 == 0 ? "vip" : "", "x"));
    }
  }
  void addMessages(Rng& rng, int from, int to) {
    for (int i = from; i < to; ++i) {
      std::string sender = rng.below(4) == 0 ? contacts_[rng.below(800)].han : "";
      texts_.push_back(MakeText(rng, contacts_));
      ASSERT_EQ(0, Add("message", "m" + std::to_string(i), sender, texts_.back(), "", "x"));
      if (i % 50 == 49) searcher_.save();
    }
  }
  // Changed rows get new documents; deleted ones keep their postings.
  void changeAndDelete(Rng& rng, int step, int offset) {
    for (size_t i = 0; i < texts_.size(); i += static_cast<size_t>(step)) {
      texts_[i] = MakeText(rng, contacts_);
      ASSERT_EQ(0, Add("message", "m" + std::to_string(i), "", texts_[i], "", "x"));
    }
    for (size_t i = static_cast<size_t>(offset); i < texts_.size(); i += static_cast<size_t>(step + 4)) {
      searcher_.delDoc(kIndex, kDb, "message", ("m" + std::to_string(i)).c_str());
    }
    for (int i = 1; i < 800; i += 29) searcher_.delDoc(kIndex, kDb, "contact", ("c" + std::to_string(i)).c_str());
  }

  // Single characters, 2, 3 and 4 characters, Latin prefixes, Chinese
  // names, full pinyin, initials, pinyin prefixes, mixed.
  std::vector<std::vector<std::string>> queries(Rng& rng) {
    std::vector<std::vector<std::string>> q(10);
    for (int i = 0; i < kTextCharCount; ++i) q[0].push_back(kTextChars.substr(3 * i, 3));
    for (int n = 2; n <= 4; ++n) {
      for (int i = 0; i < 30; ++i) {
        const std::string& t = texts_[rng.below(static_cast<int>(texts_.size()))];
        // Cut n whole characters (3 bytes each) where the text has them.
        size_t at = t.find_first_of("\xe4\xe5\xe6\xe7\xe8\xe9", rng.below(static_cast<int>(t.size())));
        q[n - 1].push_back(at == std::string::npos ? t.substr(0, 3 * n) : t.substr(at, 3 * n));
      }
    }
    for (const std::string w : kWords) {
      for (size_t len = 2; len <= w.size(); len += 2) q[4].push_back(w.substr(0, len));
    }
    for (int i = 0; i < 30; ++i) {
      const Name& n = contacts_[rng.below(800)];
      q[5].push_back(n.han);
      q[6].push_back(n.full);
      q[7].push_back(n.initials);
      q[8].push_back(n.full.substr(0, 2 + rng.below(static_cast<int>(n.full.size()) - 1)));
      q[9].push_back(n.han.substr(0, 3) + " " + kWords[rng.below(kWordCount)]);
    }
    q[9].push_back("zz qq");
    q[9].push_back("的的的");
    return q;
  }

  // The engine's and the plain evaluation's JSON for every form of `q`; the
  // first mismatch is reported.
  // `pagingOnly` keeps the forms without field names other than "content"
  // (an index of one field pages; its other forms only ever find nothing).
  void expectPlainResults(const std::string& q, const char* index = kIndex, const char* groupText = "default",
                          bool pagingOnly = false) {
    GroupSearcher* group = searcher_.getGroupSearcher(groupText);
    _str_buffer_t* groupName = str_buffer_create(groupText);
    TokenParser parser;
    _DArray* lists[2] = {darray_create(nullptr, false), darray_create(nullptr, false)};
    parser.fillQueryArray(q.c_str(), lists[0]);
    parser.fillQueryTokenArray(q.c_str(), lists[1]);
    for (_DArray* l : lists) {
      darray_shell_sort(l, token_cmp);
      darray_uniq(l, token_cmp);
    }
    const struct { std::vector<const char*> fields; bool each; int start, num; } forms[] = {
        {{}, false, 0, 20},           {{}, false, 7, 5},         {{}, false, 0, 65535},
        {{"content"}, false, 0, 20},  {{"name"}, false, 2, 30},  {{"tag"}, false, 0, 20},
        {{"content", "name"}, true, 0, 40}, {{"name", "content"}, true, 3, 10},
        {{"content", "name"}, false, 0, 40}, {{}, false, 2500, 30}};
    // Each form also without short-word terms, as for an index without
    // pinyin fields: the token list's hits then make the result alone.
    _DArray* noShortWords = darray_create(nullptr, false);
    for (int variant = 0; variant < 2 * static_cast<int>(sizeof(forms) / sizeof(forms[0])); ++variant) {
      const auto& form = forms[variant / 2];
      if (pagingOnly && (form.fields.size() > 1 || (form.fields.size() == 1 && strcmp(form.fields[0], "content") != 0))) {
        continue;
      }
      _DArray* given[2] = {variant % 2 == 0 ? lists[0] : noShortWords, lists[1]};
      std::string json[2];
      for (int plain = 0; plain < 2; ++plain) {
        SearchIndexConfig config;
        _DArray* names = darray_create(nullptr, false);
        for (const char* f : form.fields) darray_append(names, static_cast<const void*>(f));
        config.createConfigItem(index, names, form.start, form.num, form.each);
        darray_destroy(names);
        SearchResult result(true);
        if (plain) {
          PlainSearch(group, searcher_.getConfigManager(), &result, &config, given, groupName);
        } else {
          group->doSearchIndex(&result, &config, given, 2);
        }
        std::unique_ptr<StringBuffer> text(result.serialize());
        json[plain] = text ? std::string(text->data) : "<null>";
      }
      ASSERT_EQ(json[1], json[0]) << "query " << q << ", " << form.fields.size() << " fields from "
                                  << form.start << (variant % 2 == 0 ? "" : ", no short words");
    }
    darray_destroy(noShortWords);
    for (_DArray* l : lists) darray_destroy(l);
    str_buffer_free(groupName);
  }

  // 800 contacts and enough messages to fill the first postings file (so
  // that queries gather from a sorted full file and from the active one),
  // then changes and deletions, saved.
  void buildCorpus(Rng& rng, int step, int offset) {
    searcher_.setAutoSave("default", false);
    addContacts(rng, 800);
    addMessages(rng, 0, 5200);
    changeAndDelete(rng, step, offset);
    searcher_.save();
  }

  // The dense document states equal the records.
  void expectDocStatesMatchRecords() {
    DocIdManager* docs = searcher_.getGroupSearcher("default")->getIndexMgr()->doc_mgr;
    for (unsigned int d = 0; d < docs->getDocNumber(); ++d) {
      const unsigned char s = docs->docState().state(d);
      ASSERT_NE(DocStateTable::kUncovered, s) << d;
      ASSERT_EQ(docs->isDocidDel(d) != 0, (s & DocStateTable::kDeletedBit) != 0) << d;
      ASSERT_EQ(docs->getTabMD5Id(static_cast<int>(d)), docs->docState().tableOf(s & 0x7F)) << d;
    }
  }

  std::vector<Name> contacts_;
  std::vector<std::string> texts_;
};

TEST_F(QueryEquivalenceTest, EveryQueryClassGivesThePinnedResults) {
  Rng rng{20261122u * 2654435761u + 1};
  buildCorpus(rng, 13, 5);
  GroupSearcher* group = searcher_.getGroupSearcher("default");
  ASSERT_NE(nullptr, group);
  ASSERT_GE(group->getIndexMgr()->index_mgr->getStore()->blockNumber(), 2);

  std::vector<std::string> got;
  for (const auto& list : queries(rng)) {
    uint64_t h = 14695981039346656037ull;  // FNV-1a over the texts, each closed by 0xFF
    for (const auto& q : list) {
      for (unsigned char c : run(q)) h = (h ^ c) * 1099511628211ull;
      h = (h ^ 0xFF) * 1099511628211ull;
    }
    char hex[17];
    snprintf(hex, sizeof hex, "%016llx", static_cast<unsigned long long>(h));
    got.push_back(hex);
  }
  EXPECT_EQ(kGolden, got);
}

TEST_F(QueryEquivalenceTest, EveryQueryClassMatchesThePlainEvaluationAcrossCompaction) {
  Rng rng{7u};
  buildCorpus(rng, 11, 3);
  GroupSearcher* group = searcher_.getGroupSearcher("default");
  ASSERT_NE(nullptr, group->getIndexMgr()->index_mgr->directory());
  expectDocStatesMatchRecords();
  // Every third query of each class keeps the test quick under sanitizers.
  for (const auto& list : queries(rng)) {
    for (size_t i = 0; i < list.size(); i += 3) ASSERT_NO_FATAL_FAILURE(expectPlainResults(list[i]));
  }

  // Compaction renumbers the survivors and reopens the stores; then more
  // rows, changes, deletions and a revival (a deleted row re-added with its
  // old content gets its old document back and retires the newer one).
  ASSERT_EQ(GroupSearcher::kEllipseDone, group->ellipseIndex("default", true));
  const std::string revived = texts_[40];
  ASSERT_EQ(0, Add("message", "m40", "", "改了的内容 review", "", "x"));
  addMessages(rng, 5200, 7000);
  changeAndDelete(rng, 17, 8);
  ASSERT_EQ(0, Add("message", "m40", "", revived, "", "x"));
  searcher_.save();
  ASSERT_NE(nullptr, group->getIndexMgr()->index_mgr->directory());
  expectDocStatesMatchRecords();
  for (const auto& list : queries(rng)) {
    for (size_t i = 1; i < list.size(); i += 3) ASSERT_NO_FATAL_FAILURE(expectPlainResults(list[i]));
  }
}

// An index of one text field fills postings files that hold each document
// once per term and one field only: a single-term query then counts the
// documents of whole runs or blocks of ids at once, except where deletions
// mix them (here in the first file only).
TEST_F(QueryEquivalenceTest, OneFieldIndexMatchesThePlainEvaluation) {
  ASSERT_EQ(0, searcher_.addIndex("notes", kDb, "note", "id", "content", "", "", "", "", "notes"));
  searcher_.setAutoSave("notes", false);
  Rng rng{99u};
  std::vector<std::string> rows;
  for (int i = 0; i < 30000; ++i) {
    std::string text;
    for (int c = 0, len = 8 + rng.below(16); c < len; ++c) text += kTextChars.substr(3 * rng.skewed(kTextCharCount), 3);
    rows.push_back(text);
    const std::string key = std::to_string(i);
    const char* values[] = {text.c_str()};
    ASSERT_EQ(0, searcher_.addDoc("notes", kDb, "note", key.c_str(), 1, const_cast<char**>(values)));
    // Deletions in a few stretches of ids only, so that most blocks stay whole.
    if (i == 1500 || i == 4500) {
      for (int d = i - 40; d < i; d += 3) searcher_.delDoc("notes", kDb, "note", std::to_string(d).c_str());
    }
  }
  searcher_.save();
  IndexManager* index = searcher_.getGroupSearcher("notes")->getIndexMgr()->index_mgr;
  ASSERT_NE(nullptr, index->directory());
  ASSERT_GE(index->directory()->sealedCount(), 3);
  ASSERT_GE(index->directory()->plainField(0), 0);
  for (int i = 0; i < kTextCharCount; i += 4) {
    ASSERT_NO_FATAL_FAILURE(expectPlainResults(kTextChars.substr(3 * i, 3), "notes", "notes", true));
  }
  // Pairs: the window from the newest files (more of them for rarer
  // characters), the older files only counted.
  ASSERT_NO_FATAL_FAILURE(expectPlainResults(rows[4321].substr(0, 6), "notes", "notes", true));
  for (int i = 32; i + 1 < kTextCharCount; i += 8) {
    ASSERT_NO_FATAL_FAILURE(expectPlainResults(kTextChars.substr(3 * i, 6), "notes", "notes", true));
  }
  // Two characters apart: the rarest one's documents in the newest files
  // hold the other only in part, so the window takes more files on a
  // second try.
  for (int i = 1; i + 20 < kTextCharCount; i += 10) {
    const std::string q = kTextChars.substr(3 * i, 3) + " " + kTextChars.substr(3 * (i + 20), 3);
    ASSERT_NO_FATAL_FAILURE(expectPlainResults(q, "notes", "notes", true));
  }
  // The document whose postings a file boundary splits (ids follow rows),
  // by a pair from the end of its text.
  const std::string& split = rows[index->directory()->minDoc(1)];
  ASSERT_NO_FATAL_FAILURE(expectPlainResults(split.substr(split.size() - 6), "notes", "notes", true));
}

}  // namespace
}  // namespace mobile_search
