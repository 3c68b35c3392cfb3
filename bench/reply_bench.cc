// The bridge's conversion of a reply (the JSON text of a search) to the
// UTF-16 units of a Java string, on replies of every hit of a frequent
// character: tens of thousands of keys, numbers and group names, mostly ASCII,
// with some Chinese.
//
//   BM_ReplyToUtf16/<hits>
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "bridge/utf16_conversion.h"

namespace ks_bench {
namespace {

// A reply of `hits` entries shaped like the engine's JSON.
std::string Reply(int hits) {
  std::string json = "{\"all_result\":[{\"table_name\":\"message\",\"db_name\":\"聊天.db\",\"key_field\":\"msgId\","
                     "\"docs_found\":" + std::to_string(hits) + ",\"pkey_arr\":[";
  for (int i = 0; i < hits; ++i) json += (i ? ",\"" : "\"") + std::to_string(900000 + i) + "\"";
  for (const char* name : {"offset_arr", "field_id_arr", "weight_arr"}) {
    json += std::string("],\"") + name + "\":[";
    for (int i = 0; i < hits; ++i) json += (i ? "," : "") + std::to_string((i * 7919) % 1000000);
  }
  json += "],\"group_arr\":[";
  for (int i = 0; i < hits; ++i) json += i ? ",\"message\"" : "\"message\"";
  return json + "]}]}";
}

void BM_ReplyToUtf16(benchmark::State& state) {
  const std::string reply = Reply(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    std::vector<unsigned short> units = kestrinSearch::utf8_to_utf16(reply.c_str());
    benchmark::DoNotOptimize(units.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(reply.size()));
}

BENCHMARK(BM_ReplyToUtf16)->Arg(20)->Arg(15800)->Arg(65535)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace ks_bench

BENCHMARK_MAIN();
