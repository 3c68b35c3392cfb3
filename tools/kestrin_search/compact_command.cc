// kestrin_search compact: rewrites index groups without their deleted
// documents and says, per group, what came of it.
#include <strings.h>

#include <cstdio>

#include "commands.h"
#include "database.h"
#include "index_root.h"
#include "progress.h"

namespace kestrin_tool {
namespace {

using mobile_search::GroupSearcher;

// What one compaction result means; `failed` is set for the failures.
std::string describe(int result, bool* failed) {
  *failed = false;
  switch (result) {
    case GroupSearcher::kEllipseDone: return "compacted";
    case GroupSearcher::kEllipseRunning: return "skipped: a compaction is running";
    case GroupSearcher::kEllipseNothing: return "nothing to compact: the group is empty";
    case GroupSearcher::kEllipseTooFew:
      return "skipped: fewer than 1,000 deleted documents (--force compacts anyway)";
    default: break;
  }
  *failed = true;
  return "failed with code " + std::to_string(result);
}

}  // namespace

ToolError runCompact(const CompactOptions& options) {
  IndexRoot root;
  ToolError error = root.openExisting(options.root);
  if (!error.ok()) return error;
  std::vector<GroupStats> before = groupStats(root);
  std::vector<std::string> names;
  bool known = options.group.empty();
  for (const GroupStats& group : before) {
    names.push_back(group.name);
    known = known || strcasecmp(group.name.c_str(), options.group.c_str()) == 0;
  }
  if (!known) {
    return toolError(kUsage, "no group " + options.group + " in " + options.root,
                     "its groups: " + joinNames(names));
  }
  bool any_failed = false;
  for (const GroupStats& group : before) {
    if (!options.group.empty() && strcasecmp(group.name.c_str(), options.group.c_str()) != 0) {
      continue;
    }
    bool failed = false;
    int result = root.searcher().ellipse_index(group.name.c_str(), options.force);
    std::string outcome = describe(result, &failed);
    any_failed = any_failed || failed;
    std::printf("group %s: %s", group.name.c_str(), outcome.c_str());
    if (result == GroupSearcher::kEllipseDone) {
      for (const GroupStats& after : groupStats(root)) {
        if (after.name != group.name) continue;
        std::printf(" (%s documents, %s deleted, %s -> %s)", withCommas(after.documents).c_str(),
                    withCommas(group.deleted).c_str(), humanBytes(group.bytes).c_str(),
                    humanBytes(after.bytes).c_str());
      }
    }
    std::printf("\n");
  }
  if (any_failed) return toolError(kEngineFailed, "compaction failed in at least one group");
  return ToolError();
}

}  // namespace kestrin_tool
