#include "host/trace_cat.h"

#include <cstdint>
#include <memory>
#include <span>
#include <utility>

#include "formats/etl_event_input.h"
#include "formats/event_decoder.h"
#include "formats/guid_text.h"
#include "host/event_json.h"
#include "host/exit_code.h"
#include "host/trace_file.h"

namespace varnel::host {
namespace {

constexpr char kCommand[] = "trace cat";

struct Selection {
  std::optional<GUID> provider;
  bool Takes(const formats::EtlEventView& event) const { return !provider || *provider == event.provider; }
};

bool AddManifests(const std::vector<std::string>& paths, formats::EventDecoder* decoder, std::FILE* err) {
  for (const std::string& path : paths) {
    std::string bytes;
    if (!ReadWholeFile(path, kCommand, &bytes, err)) return false;
    const formats::Status added = decoder->AddManifest(std::as_bytes(std::span(bytes)), path);
    if (added.ok()) continue;
    TellTrace(err, kCommand, added.error().message);
    return false;
  }
  return true;
}

/// @return false when there was no memory for a line.
bool PrintEvents(TraceFile& file, const Selection& selection, const formats::EventDecoder& decoder, std::FILE* out) {
  while (const formats::EtlEventView* event = file.reader->Next()) {
    if (!selection.Takes(*event)) continue;
    std::string line = EventJson(*event, decoder.Decode(formats::ToEventInput(*event)));
    if (line.empty()) return false;
    line.push_back('\n');
    if (std::fwrite(line.data(), 1, line.size(), out) != line.size()) break;  // told when the output is finished
  }
  return true;
}

std::uint64_t CountEvents(TraceFile& file, const Selection& selection) {
  std::uint64_t count = 0;
  while (const formats::EtlEventView* event = file.reader->Next()) count += selection.Takes(*event) ? 1 : 0;
  return count;
}

int CatFiles(const TraceCatOptions& options, const Selection& selection, const formats::EventDecoder& decoder,
             std::FILE* out, std::FILE* err) {
  int result = kExitGood;
  std::uint64_t count = 0;
  for (const std::string& path : options.files) {
    const auto file = OpenTraceFile(path, kCommand, err);
    if (file == nullptr) {
      result = kExitFailed;
      continue;
    }
    if (options.count) {
      count += CountEvents(*file, selection);
    } else if (!PrintEvents(*file, selection, decoder, out)) {
      TellTrace(err, kCommand, path + ": no memory");
      result = kExitFailed;
    }
    TellDamage(*file, kCommand, err);
  }
  if (options.count) std::fprintf(out, "%llu\n", static_cast<unsigned long long>(count));
  return result;
}

}  // namespace

int TraceCat(const TraceCatOptions& options, std::FILE* out, std::FILE* err) {
  if (options.files.empty()) {
    TellTrace(err, kCommand, "no file was named");
    return kExitWrongUse;
  }
  Selection selection;
  if (options.provider) {
    selection.provider = formats::ParseGuid(*options.provider);
    if (!selection.provider) {
      TellTrace(err, kCommand, "\"" + *options.provider + "\" is no GUID");
      return kExitWrongUse;
    }
  }
  formats::EventDecoder decoder;
  if (!AddManifests(options.manifests, &decoder, err)) return kExitFailed;
  const int result = CatFiles(options, selection, decoder, out, err);
  return FinishOutput(out, kCommand, err) ? result : kExitFailed;
}

}  // namespace varnel::host
