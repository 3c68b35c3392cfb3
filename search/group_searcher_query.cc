// Query evaluation inside one group: posting cursors per query term,
// conjunctive intersection, ranking, paging and the per-table results.
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <vector>

#include "config/config_manager.h"
#include "foundation/fault_point.h"
#include "search/alternative_hits.h"
#include "search/group_searcher.h"
#include "search/list_evaluator.h"
#include "search/search_index_config.h"
#include "search/search_result.h"
#include "search/table_result.h"
#include "search/weight_order.h"
#include "storage/doc_id_manager.h"
#include "storage/doc_record_cursor.h"
#include "storage/index_manager.h"
#include "storage/index_term.h"
#include "text/token_rules.h"

namespace mobile_search {

namespace {

IndexTerm* TermAt(const _DArray* terms, unsigned int i) {
  return slot_as<IndexTerm>(darray_get_by_index(terms, i));
}

search_table_info_t* TableAt(const _DArray* tables, unsigned int i) {
  return slot_as<search_table_info_t>(darray_get_by_index(tables, i));
}

int FieldIdAt(const _DArray* ids, unsigned int i) {
  // Field ids are stored sign-extended (an unknown field is -1).
  return static_cast<int>(static_cast<long long>(darray_get_by_index(ids, i)));
}

// Whether a further posting of the pending hit's document replaces it.
bool PostingWins(doc_union_t posting, doc_union_t pending,
                 const _DArray* filter) {
  if (filter == nullptr) return posting.field() <= pending.field();
  const unsigned int n = darray_length(filter);
  for (unsigned int i = 0; i < n; ++i) {
    const int id = FieldIdAt(filter, i);
    if (id == posting.field()) return true;
    if (id == pending.field()) return false;
  }
  return false;
}

// A set of 24-bit doc ids, one bit each, grown to the largest id seen.
class DocBitmap {
 public:
  explicit DocBitmap(unsigned int docs_hint = 0) : bits_((docs_hint >> 6) + 1, 0) {}
  // True when `docid` was not in the set yet.
  bool insert(unsigned int docid) {
    const size_t word = docid >> 6;
    if (word >= bits_.size()) bits_.resize(word + 1 + bits_.size() / 2, 0);
    const unsigned long long mask = 1ull << (docid & 63);
    if ((bits_[word] & mask) != 0) return false;
    bits_[word] |= mask;
    return true;
  }
  bool contains(unsigned int docid) const {
    const size_t word = docid >> 6;
    return word < bits_.size() && (bits_[word] & (1ull << (docid & 63))) != 0;
  }

 private:
  std::vector<unsigned long long> bits_;
};

// One term: one hit per document, from its best field posting.
void SingleTermHits(IndexTerm* term, _DArray* hits, const _DArray* filter) {
  term->sort();
  doc_union_t pending{0};
  doc_union_t posting{0};
  while (term->next(posting) != IndexTerm::kEnd) {
    if (pending.weight() == 0) {
      pending = posting;
    } else if (posting.docid() == pending.docid()) {
      if (PostingWins(posting, pending, filter)) pending = posting;
    } else {
      EmitRankedHit(pending, hits);
      pending = posting;
    }
  }
  if (pending.weight() != 0) EmitRankedHit(pending, hits);
}

// Several terms: every posting of the first term that all further terms
// confirm for the same document and field. The hit carries the first term's
// weight only.
void IntersectTerms(_DArray* terms, _DArray* hits, _DArray* filter) {
  IndexTerm* first = TermAt(terms, 0);
  const unsigned int n = darray_length(terms);
  // validDoc answers from all postings of a term whatever its cursor, so the
  // further terms are sorted (a sorted term answers by binary search) and
  // their cursors are not stepped. The first term keeps its file order: the
  // order of the hits depends on it.
  for (unsigned int i = 1; i < n; ++i) TermAt(terms, i)->sort();
  doc_union_t posting{0};
  while (first->next(posting) != IndexTerm::kEnd) {
    bool confirmed = true;
    for (unsigned int i = 1; i < n && confirmed; ++i) {
      confirmed = TermAt(terms, i)->validDoc(posting, filter) != 0;
    }
    if (confirmed) EmitRankedHit(posting, hits);
  }
}

// One cursor per token of `list`, holding the postings of its term that the
// validity callback keeps. Stops at a cursor that cannot be allocated; null
// when the list cannot be.
_DArray* GatherTerms(IndexManager* index, const _DArray* list, DocIdManager* docs,
                     _DArray* tables, int restriction) {
  _DArray* terms = darray_create(GroupSearcher::term_free, true);
  if (terms == nullptr) return nullptr;
  const unsigned int n = darray_length(list);
  for (unsigned int i = 0; i < n; ++i) {
    const unsigned long long token = darray_get_by_index(list, i);
    const unsigned int sign = static_cast<unsigned int>(token);
    const unsigned char tag = static_cast<unsigned char>(token >> 32);
    IndexTerm* term = new (std::nothrow) IndexTerm(sign, tag, GroupSearcher::index_valify, docs, tables);
    if (term == nullptr) break;
    index->getTerm(sign, term, restriction);
    darray_append(terms, static_cast<const void*>(term));
  }
  return terms;
}

bool SameTerms(const _DArray* a, const _DArray* b) {
  const unsigned int n = darray_length(a);
  if (n != darray_length(b)) return false;
  for (unsigned int i = 0; i < n; ++i) {
    if (darray_get_by_index(a, i) != darray_get_by_index(b, i)) return false;
  }
  return true;
}

// Appends the hits of `more`, last to first, whose documents `merged` does
// not hold yet. They are not re-sorted: a short-word hit (names, pinyin,
// initials) always ranks before a document found only through text terms.
void AppendNewDocuments(const _DArray* more, _DArray* merged) {
  DocBitmap seen;
  const unsigned int held = darray_length(merged);
  for (unsigned int i = 0; i < held; ++i) {
    seen.insert(doc_union_t{darray_get_by_index(merged, i)}.docid());
  }
  for (int i = static_cast<int>(darray_length(more)) - 1; i >= 0; --i) {
    const doc_union_t hit{darray_get_by_index(more, static_cast<unsigned int>(i))};
    if (seen.insert(hit.docid())) darray_append(merged, hit.value);
  }
}

// getTabMD5Id, from the dense document states where they cover the id.
unsigned int TableIdOf(DocIdManager* docs, unsigned int docid) {
  const unsigned char s = docs->docState().state(docid);
  if (s == DocStateTable::kUncovered) return docs->getTabMD5Id(static_cast<int>(docid));
  return docs->docState().tableOf(s & 0x7F);
}

// The position of the first table entry of `table_id`, or -1.
int EntryIndexOf(const _DArray* tables, unsigned int table_id) {
  const unsigned int n = darray_length(tables);
  for (unsigned int t = 0; t < n; ++t) {
    if (TableAt(tables, t)->table->table_id == table_id) return static_cast<int>(t);
  }
  return -1;
}

// The first table entry of `table_id`, or null.
search_table_info_t* EntryOf(const _DArray* tables, unsigned int table_id) {
  const int t = EntryIndexOf(tables, table_id);
  return t < 0 ? nullptr : TableAt(tables, static_cast<unsigned int>(t));
}

// How many hits ahead result building asks for document records: reading
// the keys of many hits waits on memory otherwise.
constexpr size_t kPrefetchAhead = 16;

// TableResult::add, with the key read through `records`.
void AddHit(TableResult* result, DocRecordCursor* records, doc_union_t hit, _str_buffer_t* group_name) {
  const char* key = nullptr;
  unsigned int len = 0;
  if (records->keyView(hit.docid(), &key, &len) != 0) key = nullptr;
  result->add(key, static_cast<int>(len), hit, group_name);
}

// The window's hits into the results of `tables`, each table's result sized
// to its share of them first (with one table: every hit, no counting pass).
void FillWindowHits(SearchResult* result, const _DArray* tables, DocIdManager* docs,
                    const std::vector<unsigned long long>& hits, _str_buffer_t* group_name) {
  const size_t n = hits.size();
  const unsigned int count = darray_length(tables);
  std::vector<unsigned int> shares(count, count == 1 ? static_cast<unsigned int>(n) : 0u);
  for (size_t h = 0; h < n && count > 1; ++h) {
    const int t = EntryIndexOf(tables, TableIdOf(docs, doc_union_t{hits[h]}.docid()));
    if (t >= 0) ++shares[static_cast<size_t>(t)];
  }
  DocRecordCursor ahead(docs), records(docs);
  unsigned int last_id = 0;  // hits come in runs of one table: its entry is kept
  int last = -1;
  for (size_t h = 0; h < n; ++h) {
    if (h + kPrefetchAhead < n) ahead.prefetch(doc_union_t{hits[h + kPrefetchAhead]}.docid());
    const doc_union_t hit{hits[h]};
    const unsigned int table_id = TableIdOf(docs, hit.docid());
    const int t = last >= 0 && table_id == last_id ? last : EntryIndexOf(tables, table_id);
    last_id = table_id;
    last = t;
    if (t < 0) continue;
    search_table_info_t* entry = TableAt(tables, static_cast<unsigned int>(t));
    if (entry->result == nullptr) {
      entry->result = result->createTableResult();
      if (entry->result == nullptr) continue;
      entry->result->readTableInfo(entry->table);
      entry->result->reserve(shares[static_cast<size_t>(t)]);
    }
    AddHit(entry->result, &records, hit, group_name);
  }
}

// fillTableResult for merged hits known only through a window of them: the
// whole count, the documents per table and the hits of the paging window
// (the positions [start, start + num) of the single item all tables share).
void FillWindow(SearchResult* result, const _DArray* tables, DocIdManager* docs, const ReversedWindow& window,
                SearchIndexConfigItem* item, _str_buffer_t* group_name) {
  for (const auto& count : window.tables) {
    search_table_info_t* entry = EntryOf(tables, count.first);
    if (entry != nullptr) entry->found += static_cast<int>(count.second);
  }
  // Every hit of the window is returned.
  FillWindowHits(result, tables, docs, window.hits, group_name);
  item->counter += static_cast<int>(window.docs);
  result->sumDocsFound(static_cast<int>(window.docs));
  for (unsigned int t = 0; t < darray_length(tables); ++t) {
    search_table_info_t* entry = TableAt(tables, t);
    if (entry->result != nullptr) entry->result->sumDocFound(entry->found);
  }
}

// Whether every table entry pages through `item` (then a hit's position in
// the merged hits is its position in the item's paging).
bool AllEntriesOf(const _DArray* tables, const SearchIndexConfigItem* item) {
  for (unsigned int t = 0; t < darray_length(tables); ++t) {
    if (TableAt(tables, t)->item != item) return false;
  }
  return true;
}

// The first item of `config` that searches `index_name`, or null.
SearchIndexConfigItem* ItemForIndex(SearchIndexConfig* config,
                                    const char* index_name) {
  for (int i = 0; i < config->length(); ++i) {
    SearchIndexConfigItem* item = config->getConfigItem(i);
    if (item != nullptr && item->index_name != nullptr &&
        strcmp(item->index_name, index_name) == 0) {
      return item;
    }
  }
  return nullptr;
}

}  // namespace

int GroupSearcher::doSearchIndex(SearchResult* result,
                                 SearchIndexConfig* config, _DArray** lists,
                                 int list_count) {
  try {
    ReadLock shared(m_indexLock);
    ks_fault_point("group.search");
    return doSearchImpl(result, config, lists, list_count);
  } catch (const std::exception&) {
    return -1;  // out of memory: the shared lock is released on the way out
  }
}

int GroupSearcher::doSearchImpl(SearchResult* result,
                                SearchIndexConfig* config, _DArray** lists,
                                int list_count) {
  if (lists == nullptr || result == nullptr || m_configMgr == nullptr ||
      config == nullptr) {
    return -1;
  }
  if (m_indexMgr == nullptr || m_indexMgr->doc_mgr == nullptr ||
      m_indexMgr->index_mgr == nullptr) {
    return -1;
  }
  _DArray* tables = darray_create(search_table_info_destroy, true);
  if (tables == nullptr) return -1;

  _DArray* indexes = m_configMgr->getAllIndexInfo();
  for (unsigned int x = 0; x < darray_length(indexes); ++x) {
    index_info_t* index = slot_as<index_info_t>(darray_get_by_index(indexes, x));
    if (index == nullptr || !checkGroup(index)) continue;
    SearchIndexConfigItem* item = ItemForIndex(config, index->name->data);
    if (item == nullptr) continue;
    item->counter = 0;
    for (unsigned int f = 0; f < darray_length(item->field_names); ++f) {
      const char* name = slot_as<const char>(darray_get_by_index(item->field_names, f));
      const int id = m_configMgr->getFieldId(item->index_name, name);
      darray_append(item->field_ids, static_cast<unsigned long long>(static_cast<long long>(id)));
    }
    for (unsigned int t = 0; t < darray_length(index->tables); ++t) {
      table_info_t* table = slot_as<table_info_t>(darray_get_by_index(index->tables, t));
      if (table == nullptr) continue;
      search_table_info_t* entry = search_table_info_create(table, item);
      if (entry != nullptr) darray_append(tables, static_cast<const void*>(entry));
    }
  }
  if (darray_length(tables) == 0) {
    darray_destroy(tables);
    return 0;
  }

  // One field id of a single item restricts the posting lookup itself; a
  // list of them, with match_each_field, filters the intersection.
  int restriction = -1;
  _DArray* filter = nullptr;
  if (config->length() == 1) {
    SearchIndexConfigItem* item = config->getConfigItem(0);
    const unsigned int ids = darray_length(item->field_ids);
    if (ids == 1) restriction = FieldIdAt(item->field_ids, 0);
    if (item->match_each_field && ids > 1) filter = item->field_ids;
  }

  DocIdManager* docs = m_indexMgr->doc_mgr;
  _DArray* merged = darray_create(nullptr, false);
  for (int k = 0; k < list_count && merged != nullptr; ++k) {
    // A later list with exactly the terms of the first finds exactly its
    // documents, all of which are merged already (Latin words, pinyin and
    // single characters give both lists the same terms).
    if (k > 0 && SameTerms(lists[k], lists[0])) continue;
    // The last list, when the earlier ones found nothing, makes the merged
    // hits on its own (last to first): only the paging window of them is
    // built, beside their counts. Not for an alternative list, whose hits
    // are re-ranked first.
    if (k > 0 && k == list_count - 1 && k > config->alternativeLists() && darray_length(merged) == 0 &&
        config->length() == 1 && AllEntriesOf(tables, config->getConfigItem(0))) {
      SearchIndexConfigItem* item = config->getConfigItem(0);
      ReversedWindow window;
      window.lo = item->start > 0 ? item->start : 0;
      window.hi = static_cast<long long>(item->start) + item->num;
      if (EvaluateListReversed(m_indexMgr->index_mgr, docs, lists[k], restriction, filter, tables, &window)) {
        FillWindow(result, tables, docs, window, item, m_groupName);
        darray_destroy(tables);
        darray_destroy(merged);
        return 0;
      }
    }
    // The postings directory answers most lists; the plain evaluation, every
    // posting of every term gathered and checked, runs where it cannot.
    _DArray* hits = k == 0 ? merged : darray_create(nullptr, false);
    if (hits == nullptr ||
        !EvaluateList(m_indexMgr->index_mgr, docs, lists[k], restriction, filter, tables, hits)) {
      _DArray* terms = GatherTerms(m_indexMgr->index_mgr, lists[k], docs, tables, restriction);
      if (terms == nullptr) {
        if (hits != merged) darray_destroy(hits);
        break;
      }
      doAnd(terms, hits, filter);
      darray_destroy(terms);
    }
    if (k == 0) {
      // The shell sort by weight (higher first, equal weights compare
      // equal), reproduced for the hits a paging window can reach: with one
      // item paging through every table, the order past start + num is
      // never seen (later lists only ask which documents the merged hits
      // hold, and counts do not depend on order).
      unsigned int want = merged->count;
      if (config->length() == 1 && AllEntriesOf(tables, config->getConfigItem(0))) {
        const SearchIndexConfigItem* item = config->getConfigItem(0);
        const long long end = static_cast<long long>(item->start) + item->num;
        if (end < static_cast<long long>(want)) want = end > 0 ? static_cast<unsigned int>(end) : 0;
      }
      WeightOrderPrefix(merged->items, merged->count, want);
    } else {
      if (k <= config->alternativeLists()) RankAlternativeHits(hits);
      AppendNewDocuments(hits, merged);
      darray_destroy(hits);
    }
  }

  if (merged != nullptr) fillTableResult(result, tables, merged);
  darray_destroy(tables);
  darray_destroy(merged);
  return 0;
}

int GroupSearcher::doAnd(_DArray* terms, _DArray* hits, _DArray* field_filter) {
  const unsigned int n = darray_length(terms);
  if (hits == nullptr || n == 0) return 0;
  // One absent term empties the whole conjunction.
  for (unsigned int i = 0; i < n; ++i) {
    IndexTerm* term = TermAt(terms, i);
    if (term == nullptr || term->getDocCount() == 0) return 0;
  }
  if (n == 1) {
    SingleTermHits(TermAt(terms, 0), hits, field_filter);
  } else {
    IntersectTerms(terms, hits, field_filter);
  }
  return 0;
}

int GroupSearcher::fillTableResult(SearchResult* result, _DArray* tables,
                                   _DArray* hits) {
  if (result == nullptr || m_indexMgr == nullptr) return 0;
  DocIdManager* docs = m_indexMgr->doc_mgr;
  const unsigned int n = darray_length(hits);
  const unsigned int table_count = darray_length(tables);
  bool returning = true;
  DocRecordCursor ahead(docs), records(docs);
  for (unsigned int h = 0; h < n; ++h) {
    const doc_union_t hit{darray_get_by_index(hits, h)};
    // Inside a stretch of returned hits, the records of the next ones are
    // wanted soon (hits past the window are only counted).
    if (returning && h + kPrefetchAhead < n) ahead.prefetch(doc_union_t{darray_get_by_index(hits, h + kPrefetchAhead)}.docid());
    returning = false;
    search_table_info_t* entry = EntryOf(tables, TableIdOf(docs, hit.docid()));
    if (entry == nullptr) continue;
    ++entry->found;
    // The paging window runs over the ranked hits of the whole item, across
    // its tables; hits outside it still count as found.
    SearchIndexConfigItem* item = entry->item;
    if (item != nullptr) {
      ++item->counter;
      const long long seen = item->counter;
      if (seen <= item->start ||
          seen > static_cast<long long>(item->start) + item->num) {
        continue;
      }
    }
    if (entry->result == nullptr) {
      entry->result = result->createTableResult();
      if (entry->result == nullptr) continue;
      entry->result->readTableInfo(entry->table);
    }
    AddHit(entry->result, &records, hit, m_groupName);
    returning = true;
  }
  result->sumDocsFound(static_cast<int>(n));
  for (unsigned int t = 0; t < table_count; ++t) {
    search_table_info_t* entry = TableAt(tables, t);
    if (entry->result != nullptr) entry->result->sumDocFound(entry->found);
  }
  return 0;
}

bool GroupSearcher::index_valify(void* doc_id_manager, unsigned int doc_id,
                                 int field_id, void* tables) {
  DocIdManager* docs = static_cast<DocIdManager*>(doc_id_manager);
  if (docs == nullptr) return false;
  // One record lookup answers both questions, as isDocidDel and getTabMD5Id
  // would (neither finds a record for an id above 2^31 - 1).
  const pkey_docid_t* rec =
      doc_id > 0x7FFFFFFFu ? nullptr : docs->getDocInfoById(static_cast<int>(doc_id));
  if (rec != nullptr && rec->deleted() != 0) return true;
  return tableDrops(tables, rec == nullptr ? 0 : rec->tableId(), field_id);
}

bool GroupSearcher::tableDrops(const void* tables, unsigned int table_id,
                               int field_id) {
  if (tables == nullptr) return false;
  const _DArray* list = static_cast<const _DArray*>(tables);
  const unsigned int n = darray_length(list);
  for (unsigned int t = 0; t < n; ++t) {
    const search_table_info_t* entry = TableAt(list, t);
    if (entry == nullptr || entry->table->table_id != table_id) continue;
    if (field_id == -1) return false;
    const SearchIndexConfigItem* item = entry->item;
    if (item == nullptr || darray_length(item->field_names) == 0) return false;
    for (unsigned int i = 0; i < darray_length(item->field_ids); ++i) {
      if ((FieldIdAt(item->field_ids, i) & 0xFF) == field_id) return false;
    }
  }
  // Documents of tables that are not searched are dropped too.
  return true;
}

void GroupSearcher::term_free(void* term) { delete static_cast<IndexTerm*>(term); }

void GroupSearcher::print_nid(doc_union_t hit) {
  printf("doc_id:%d  weight:%d\n", static_cast<int>(hit.docid()),
         static_cast<int>(hit.weight()));
}

}  // namespace mobile_search
