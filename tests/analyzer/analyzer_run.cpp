#include "tests/analyzer/analyzer_run.h"

#include <cjson/cJSON.h>

#include <cstring>
#include <memory>

#include "analyzer/bsod_analyzer.h"
#include "formats/text_encoding.h"

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

void Put(std::string* bytes, std::size_t offset, std::uint64_t value, std::size_t size) {
  std::memcpy(bytes->data() + offset, &value, size);
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
  std::string bytes;
  while (bytes.size() < 0x2000) bytes += "PAGE";
  bytes.replace(4, 4, "DU64");
  Put(&bytes, 0x08, 15, 4);
  Put(&bytes, 0x0C, 19041, 4);
  Put(&bytes, 0x30, 0x8664, 4);
  Put(&bytes, 0x34, 1, 4);
  Put(&bytes, 0x38, 0xE2, 4);
  for (std::size_t i = 0; i < 4; ++i) Put(&bytes, 0x40 + i * 8, number, 8);
  Put(&bytes, 0xF98, 3, 4);
  Put(&bytes, 0xFA8, 133'000'000'000'000'000, 8);
  Put(&bytes, 0x1030, 600'000'000, 8);
  return bytes;
}

}  // namespace varnel::testing
