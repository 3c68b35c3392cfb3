#include "text/name_terms.h"

#include <new>

#include "foundation/hash.h"
#include "text/base_tokenizer.h"
#include "text/name_spellings.h"

namespace mobile_search {

namespace {

struct Emit {
  NameTermBudget* budget;
  _DArray* out;
  bool record;  // only note the signs (the plain tokens are already out)
  int appended;
  bool failed;
};

bool emitTerm(const NameSpelling& sp, void* ctx) {
  Emit* e = static_cast<Emit*>(ctx);
  if (e->record) {
    e->budget->seen.insert(idx_sign32(sp.text, static_cast<unsigned int>(sp.len)));
    return true;
  }
  if (e->budget->left <= 0) return false;
  const unsigned int sign = idx_sign32(sp.text, static_cast<unsigned int>(sp.len));
  if (!e->budget->seen.insert(sign).second) return true;
  if (!BaseTokenizer::appendTerm(sp.text, sp.text + sp.len, sp.count, sp.bits, false, e->out)) {
    e->failed = true;
    return false;
  }
  --e->budget->left;
  ++e->appended;
  return true;
}

}  // namespace

int appendExtraNameTerms(const _str_buffer_t* run, bool isFirst, const TextOptions& options,
                         NameTermBudget* budget, _DArray* out) {
  if (run == nullptr || run->len <= 0 || budget == nullptr || out == nullptr) return 0;
  NameRun names;
  nameRunBuild(run->data, run->data + run->len, &names);
  NamePass passes[kMaxNamePasses];
  const int count = namePasses(names, run->data, run->len, isFirst, options.nameReadings, passes,
                               kMaxNamePasses);
  if (count == 0) return 0;
  Emit e = {budget, out, true, 0, false};
  try {
    forEachNameSpelling(passes[0], names.n, isFirst, true, false, emitTerm, &e);
    e.record = false;
    for (int p = 0; p < count && !e.failed && budget->left > 0; ++p) {
      forEachNameSpelling(passes[p], names.n, isFirst, p > 0, options.syllableMix, emitTerm, &e);
    }
  } catch (const std::bad_alloc&) {
    return -1;
  }
  return e.failed ? -1 : e.appended;
}

}  // namespace mobile_search
