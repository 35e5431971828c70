#include "tests/analyzer/analyzer_run.h"

#include <cjson/cJSON.h>

#include <memory>

#include "analyzer/bsod_analyzer.h"
#include "formats/text_encoding.h"
#include "tests/support/dump_bytes.h"

namespace varnel::testing {
namespace {

struct Teller {
  AnalyzerRun* run;
  const std::function<void(const ToldDump&)>* on_told;
};

std::string TextOf(const cJSON* object, const char* key) {
  const cJSON* const item = cJSON_GetObjectItemCaseSensitive(object, key);
  return cJSON_IsString(item) ? item->valuestring : "";
}

ToldDump FromReport(const std::string& report) {
  const std::unique_ptr<cJSON, void (*)(cJSON*)> root(cJSON_Parse(report.c_str()), &cJSON_Delete);
  const cJSON* const info = cJSON_GetObjectItemCaseSensitive(root.get(), "analysis_info");
  ToldDump told;
  told.kind = TextOf(info, "symbol_mode") == "full" ? DumpKind::kWithSymbol : DumpKind::kNoSymbol;
  told.path = formats::Utf8ToUtf16(TextOf(info, "dump_file"));
  told.important = TextOf(info, "importance") == "TRUE";
  return told;
}

void Tell(std::uint8_t success, const std::string& report, const std::string& error, void* context) {
  const Teller& teller = *static_cast<Teller*>(context);
  if (success == 0) {
    teller.run->failures.push_back(error);
    return;
  }
  teller.run->told.push_back(FromReport(report));
  if (*teller.on_told) (*teller.on_told)(teller.run->told.back());
}

}  // namespace

AnalyzerRun RunTheAnalyzer(const std::u16string& product, const std::function<void(const ToldDump&)>& on_told) {
  AnalyzerRun run;
  Teller teller{&run, &on_told};
  run.initialized = InitBsodAnalyzer(product.c_str());
  if (run.initialized < 0) return run;
  run.started = StartBsodAnalyzer(&Tell, &teller, &Tell, &teller);
  run.taken_down = UninitBsodAnalyzer();
  return run;
}

std::string ToldLine(const ToldDump& told) {
  return std::string(told.kind == DumpKind::kNoSymbol ? "N" : "S") + (told.important ? "!" : ".") +
         formats::Utf16ToUtf8(told.path) + '\n';
}

ToldDump FromToldLine(const std::string& line) {
  if (line.size() < 3) return {};
  return {line[0] == 'N' ? DumpKind::kNoSymbol : DumpKind::kWithSymbol, formats::Utf8ToUtf16(line.substr(2)),
          line[1] == '!'};
}

std::string HeaderOnlyDump(std::uint32_t number) {
  support::GrowingBytes header = support::MakeDumpHeader(3);
  for (std::size_t i = 0; i < 4; ++i) header.Put<std::uint64_t>(0x40 + i * 8, number);
  header.Put<std::uint64_t>(0xFA8, 133'000'000'000'000'000);
  header.Put<std::uint64_t>(0x1030, 600'000'000);
  return support::AsText(header);
}

}  // namespace varnel::testing
