// Query evaluation on hand-made input: intersection of posting cursors
// (GroupSearcher::doAnd) - field preference of one term, and the several-term
// path (absent terms included) against a straightforward reading of every
// cursor - and the result records: JSON edge cases and the merge of the
// results of several groups. Field filters, sort weights and ordinary JSON
// texts are checked end to end through Searcher.
#include <algorithm>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "config/config_records.h"
#include "search/group_searcher.h"
#include "search/search_result.h"
#include "search/table_result.h"
#include "storage/index_term.h"
#include "text/token_rules.h"

namespace mobile_search {
namespace {

struct Posting {
  unsigned int doc;
  unsigned char field, weight, bits;
};

using Terms = std::unique_ptr<_DArray, void (*)(_DArray*)>;

Terms MakeTerms(const std::vector<std::vector<Posting>>& terms) {
  Terms list(darray_create(GroupSearcher::term_free, true), darray_destroy);
  for (size_t t = 0; t < terms.size(); ++t) {
    IndexTerm* term = new IndexTerm(static_cast<unsigned int>(t + 1), 0, nullptr, nullptr, nullptr);
    for (const Posting& p : terms[t]) term->addDoc(p.doc, p.field, p.weight, p.bits, true);
    darray_append(list.get(), static_cast<const void*>(term));
  }
  return list;
}

// "doc/field/weight" per hit.
std::string Hits(_DArray* terms) {
  GroupSearcher searcher;
  Terms hits(darray_create(nullptr, false), darray_destroy);
  EXPECT_EQ(0, searcher.doAnd(terms, hits.get(), nullptr));
  std::string out;
  for (unsigned int i = 0; i < darray_length(hits.get()); ++i) {
    const doc_union_t h{darray_get_by_index(hits.get(), i)};
    out += (i ? " " : "") + std::to_string(h.docid()) + "/" + std::to_string(h.field()) + "/" +
           std::to_string(h.weight());
  }
  return out;
}

TEST(QueryEvaluation, OneTermGivesOneHitPerDocumentFromItsPreferredField) {
  // Bits 4 (pinyin) keep the sort weight equal to the base weight.
  Terms t = MakeTerms({{{5, 2, 9, 4}, {5, 1, 7, 4}, {5, 3, 20, 4},  // lower field wins
                        {8, 1, 3, 4}, {8, 1, 6, 4},                  // equal: the later
                        {2, 0, 11, 4}}});
  EXPECT_EQ("2/0/11 5/1/7 8/1/6", Hits(t.get()));

  Terms none = MakeTerms({});
  EXPECT_EQ("", Hits(none.get()));
}

// Every posting of the first term, in its order, that each further term
// holds for the same document and field, weighted by the first term.
std::string NaiveIntersection(const std::vector<std::vector<Posting>>& terms) {
  std::string out;
  int n = 0;
  for (const Posting& p : terms[0]) {
    bool all = true;
    for (size_t t = 1; t < terms.size(); ++t) {
      all &= std::any_of(terms[t].begin(), terms[t].end(),
                         [&p](const Posting& q) { return q.doc == p.doc && q.field == p.field; });
    }
    if (!all) continue;
    unsigned char weight = p.weight;
    TokenRules::mathSortWeight(weight, p.bits);
    out += (n++ ? " " : "") + std::to_string(p.doc) + "/" + std::to_string(p.field) + "/" +
           std::to_string(weight);
  }
  return out;
}

TEST(QueryEvaluation, SeveralTermsMatchAStraightforwardIntersection) {
  std::mt19937 rng(42);
  for (int round = 0; round < 200; ++round) {
    const int term_count = 2 + static_cast<int>(rng() % 3);
    std::vector<std::vector<Posting>> terms(term_count);
    for (auto& term : terms) {
      const int postings = static_cast<int>(rng() % 41);  // an absent term now and then
      for (int i = 0; i < postings; ++i) {
        term.push_back({static_cast<unsigned int>(rng() % 30),
                        static_cast<unsigned char>(rng() % 3),
                        static_cast<unsigned char>(1 + rng() % 20),
                        static_cast<unsigned char>(rng() % 32)});
      }
    }
    Terms list = MakeTerms(terms);
    ASSERT_EQ(NaiveIntersection(terms), Hits(list.get())) << "round " << round;
  }
}

using TableInfoPtr = std::unique_ptr<table_info_t, void (*)(table_info_t*)>;

TableInfoPtr MakeTable(const char* table, const char* fields, int field_num) {
  TableInfoPtr info(table_info_create("idx", "chat.db", table, "msg_id"), table_info_free);
  str_buffer_append(info->field_list, fields);
  info->field_num = field_num;
  return info;
}

struct Entry {
  const char* key;
  unsigned char weight, field, doc;
  const char* group;
};

// A new table result of `r` describing `info`, holding `entries`.
void AddTable(SearchResult* r, table_info_t* info, const std::vector<Entry>& entries, int found) {
  TableResult* t = r->createTableResult();
  t->readTableInfo(info);
  for (const Entry& e : entries) {
    _str_buffer_t* key = str_buffer_create(e.key);
    ASSERT_EQ(0, t->insert(t->getCount(), key, e.weight, e.field, e.doc, e.group));
    str_buffer_free(key);
  }
  t->sumDocFound(found);
}

// "key/field/weight/group" per entry, in order.
std::string Dump(const TableResult& t) {
  std::string out;
  for (int i = 0; i < t.getCount(); ++i) {
    out += (i ? " " : "") + std::string(t.getPkey(i)->data) + "/" +
           std::to_string(t.getFieldId(i)) + "/" + std::to_string(t.getWeight(i)) + "/" +
           t.getGroupName(i);
  }
  return out;
}

// No table at all, a table without returned documents, strings written raw,
// empty entries skipped.
TEST(SearchResultJson, EmptyResultsRawStringsAndEmptyEntries) {
  TableInfoPtr contact = MakeTable("contact", "nick", 1);
  TableInfoPtr odd = MakeTable("t", "f", 1);
  SearchResult result(true);
  EXPECT_EQ(nullptr, std::unique_ptr<StringBuffer>(result.serialize()).get());

  AddTable(&result, contact.get(), {}, 3);  // found, but none on this page
  // A last empty key or group leaves a trailing comma.
  AddTable(&result, odd.get(),
           {{"", 1, 0, 1, "default"}, {"a\"b", 2, 0, 2, "default"}, {"", 3, 0, 3, ""}}, 0);
  std::unique_ptr<StringBuffer> json(result.serialize());
  ASSERT_NE(nullptr, json);
  EXPECT_EQ(
      "{\"all_result\":["
      "{\"table_name\":\"contact\",\"db_name\":\"chat.db\",\"key_field\":\"msg_id\","
      "\"docs_found\":3,\"docs_return\":0,\"field_num\":1,\"field_list\":\"nick\"},"
      "{\"table_name\":\"t\",\"db_name\":\"chat.db\",\"key_field\":\"msg_id\","
      "\"docs_found\":0,\"docs_return\":3,\"field_num\":1,\"field_list\":\"f\","
      "\"pkey_arr\":[\"a\"b\",],\"offset_arr\":[1,2,3],\"field_id_arr\":[0,0,0],"
      "\"weight_arr\":[1,2,3],\"group_arr\":[\"default\",\"default\",]}"
      "]}",
      std::string(json->data, json->len));
}

// Keys of a result come from its slab, from the heap (longer than 32 bytes)
// or from a table listing; each is freed once, deleted or not, and the
// serialized text fits the bound the output is sized by.
TEST(SearchResultJson, KeysOfEveryOriginAreKeptAndFreedOnce) {
  TableInfoPtr info = MakeTable("t", "f", 1);
  SearchResult result(true);
  const std::string long_key(40, 'L');
  AddTable(&result, info.get(),
           {{"short", 9, 0, 1, "g"}, {long_key.c_str(), 8, 0, 2, "g"}, {"gone", 7, 0, 3, "g"},
            {(long_key + "x").c_str(), 6, 0, 4, "g"}},
           4);
  TableResult* t = result.getTableResult(0);
  t->getPkeyArray()->add(static_cast<const void*>(str_buffer_create("listed")));
  EXPECT_EQ(33, t->getPkey(0)->size);
  ASSERT_EQ(0, t->deleteDoc(2));
  ASSERT_EQ(0, t->deleteDoc(2));
  ASSERT_EQ(3, t->getCount());
  EXPECT_EQ(long_key, std::string(t->getPkey(1)->data));
  EXPECT_EQ(8, t->getWeight(1));
  result.sumDocsFound(1);
  std::unique_ptr<StringBuffer> json(result.serialize());
  ASSERT_NE(nullptr, json);
  EXPECT_LE(static_cast<size_t>(json->len), t->serializedBound() + 32);
  EXPECT_NE(nullptr, strstr(json->data, ("\"pkey_arr\":[\"short\",\"" + long_key + "\",\"listed\"]").c_str()));
}

// Number arrays hold 64-bit slots and are written as their low 32 bits read
// as a signed int, every digit count included.
TEST(SearchResultJson, NumberArraysAreSignedDecimalsOfTheLow32Bits) {
  ArrayList list;
  std::string expected = ",\"n\":[";
  const unsigned long long values[] = {0, 7, 10, 99, 100, 65535, 16777215, 123456789, 2147483647,
                                       0x80000000ULL, 0xFFFFFFFFULL, 0x1234500000001ULL};
  for (unsigned long long v : values) {
    list.add(v);
    expected += std::to_string(static_cast<int>(static_cast<uint32_t>(v))) + ",";
  }
  expected.back() = ']';
  StringBuffer out;
  TableResult::appendIntArray("n", &list, &out);
  EXPECT_EQ(expected, std::string(out.data, out.len));
}

// The described merge steps, one pair of keys and one insertion at a time:
// the reference for the one-pass forms large results take.
int ReferenceFilter(TableResult* mine, TableResult* other) {
  int removed = 0;
  for (int i = 0; i < other->getCount();) {
    int j = 0;
    while (j < mine->getCount() && str_buffer_compare(mine->getPkey(j), other->getPkey(i)) != 0) ++j;
    if (j == mine->getCount()) {
      ++i;
      continue;
    }
    ++removed;
    const bool other_wins = mine->getFieldId(j) != other->getFieldId(i)
                                ? other->getFieldId(i) < mine->getFieldId(j)
                                : other->getWeight(i) > mine->getWeight(j);
    if (other_wins) {
      mine->deleteDoc(j);
      ++i;
    } else {
      other->deleteDoc(i);
    }
  }
  return removed;
}

void ReferenceMerge(TableResult* mine, TableResult* other) {
  int j = 0;
  for (int i = 0; i < other->getCount(); ++i) {
    while (j < mine->getCount() && mine->getWeight(j) >= other->getWeight(i)) ++j;
    mine->insert(j++, other->getPkey(i), other->getWeight(i), other->getFieldId(i), other->getDocId(i),
                 other->getGroupName(i));
  }
}

// Random sides of a merge: keys drawn from a shared pool (so many are on
// both sides, and with `repeats` some twice on one side), few weights (ties),
// entries by weight, higher first, as a group returns them.
std::vector<Entry> RandomSide(std::mt19937* rng, int n, bool repeats, const char* group,
                              std::vector<std::string>* keys) {
  std::vector<Entry> side;
  std::vector<int> picks(600);
  for (int k = 0; k < 600; ++k) picks[k] = k;
  std::shuffle(picks.begin(), picks.end(), *rng);
  for (int e = 0; e < n; ++e) {
    const int k = repeats && e % 7 == 6 ? picks[e - 1] : picks[e];
    keys->push_back("key" + std::to_string(k));
    side.push_back({nullptr, static_cast<unsigned char>(10 * ((*rng)() % 4)), static_cast<unsigned char>((*rng)() % 3),
                    static_cast<unsigned char>(e), group});
  }
  std::stable_sort(side.begin(), side.end(), [](const Entry& a, const Entry& b) { return a.weight > b.weight; });
  return side;
}

TEST(SearchResultMerge, LargeResultsMergeAsThePairwiseStepsDo) {
  TableInfoPtr info = MakeTable("t", "f", 1);
  std::mt19937 rng(7);
  for (int round = 0; round < 6; ++round) {
    const bool repeats = round % 3 == 2;
    std::vector<std::string> keys_a, keys_b;
    std::vector<Entry> a = RandomSide(&rng, 250 + round * 30, repeats, "new", &keys_a);
    std::vector<Entry> b = RandomSide(&rng, 200 + round * 40, repeats && round > 3, "old", &keys_b);
    for (size_t e = 0; e < a.size(); ++e) a[e].key = keys_a[a[e].doc].c_str();
    for (size_t e = 0; e < b.size(); ++e) b[e].key = keys_b[b[e].doc].c_str();
    SearchResult fast(true), plain(true);
    for (SearchResult* r : {&fast, &plain}) {
      AddTable(r, info.get(), a, static_cast<int>(a.size()));
      AddTable(r, info.get(), b, static_cast<int>(b.size()));
    }
    TableResult* fm = fast.getTableResult(0);
    TableResult* fo = fast.getTableResult(1);
    TableResult* pm = plain.getTableResult(0);
    TableResult* po = plain.getTableResult(1);
    EXPECT_EQ(ReferenceFilter(pm, po), fm->filterSamePkeyInTableResult(fo)) << round;
    ReferenceMerge(pm, po);
    EXPECT_EQ(po->getCount(), fm->mergeAndSortTableResult(fo));
    EXPECT_EQ(Dump(*pm), Dump(*fm)) << round;
    EXPECT_EQ(Dump(*po), Dump(*fo)) << round;
    EXPECT_EQ(pm->getDocsFound(), fm->getDocsFound());
    EXPECT_EQ(po->getDocsFound(), fo->getDocsFound());
    for (int i = 0; i < pm->getCount(); ++i) ASSERT_EQ(pm->getDocId(i), fm->getDocId(i)) << i;
  }
}

// Merging the part of an older group into the running result: a key in both
// keeps the better hit (the lower field, then the higher weight, a full tie
// keeps the running one), equal weights keep the running entries first,
// tables the running result lacks move over.
TEST(SearchResultMerge, DuplicateKeysKeepTheBetterHitTablesMoveEmptyPartsAreIgnored) {
  TableInfoPtr a = MakeTable("a", "f", 1);
  TableInfoPtr b = MakeTable("b", "f", 1);
  SearchResult running(true);
  AddTable(&running, a.get(),
           {{"low_field", 50, 2, 1, "new"}, {"weight", 50, 1, 2, "new"}, {"tie", 70, 1, 3, "new"},
            {"only_mine", 40, 0, 4, "new"}}, 4);
  running.sumDocsFound(4);

  // A part whose total is 0 is not merged, whatever it holds.
  SearchResult empty(false);
  AddTable(&empty, b.get(), {{"x", 1, 0, 1, "default"}}, 1);
  running.mergeResult(&empty);
  EXPECT_EQ(1, running.getTableCount());

  auto part = std::make_unique<SearchResult>(false);
  AddTable(part.get(), a.get(),
           {{"weight", 90, 1, 6, "old"}, {"tie", 70, 1, 7, "old"}, {"only_theirs", 40, 3, 8, "old"},
            {"low_field", 10, 0, 5, "old"}}, 4);
  AddTable(part.get(), b.get(), {{"k9", 30, 0, 19, "default"}}, 1);
  part->sumDocsFound(5);
  running.mergeResult(part.get());
  part.reset();  // the moved table must survive its former owner

  ASSERT_EQ(2, running.getTableCount());
  EXPECT_EQ(6, running.getDocsFound());  // 4 + 5 - three duplicates
  EXPECT_EQ("weight/1/90/old tie/1/70/new only_mine/0/40/new only_theirs/3/40/old "
            "low_field/0/10/old",
            Dump(*running.getTableResult(0)));
  EXPECT_EQ(6, running.getTableResult(0)->getDocId(0));  // ids travel with their keys
  // 4 own + 4 returned by the part - 3 duplicates removed from each side.
  EXPECT_EQ(2, running.getTableResult(0)->getDocsFound());
  EXPECT_EQ("k9/0/30/default", Dump(*running.getTableResult(1)));

  // The scan for a matching table goes on from where the previous table of
  // the part was found: a part listing b before a gets a second table a.
  SearchResult reversed(false);
  AddTable(&reversed, b.get(), {{"k8", 20, 0, 18, "old"}}, 0);
  AddTable(&reversed, a.get(), {{"k7", 10, 0, 17, "old"}}, 0);
  reversed.sumDocsFound(2);
  running.mergeResult(&reversed);
  ASSERT_EQ(3, running.getTableCount());
  EXPECT_EQ("k9/0/30/default k8/0/20/old", Dump(*running.getTableResult(1)));
  EXPECT_EQ("k7/0/10/old", Dump(*running.getTableResult(2)));
}

}  // namespace
}  // namespace mobile_search
