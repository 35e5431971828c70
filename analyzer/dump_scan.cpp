// Which dumps of the machine are not told yet.
#include <unordered_set>

#include "analyzer/crash_dump_config_manager.h"
#include "analyzer/dump_folder.h"
#include "analyzer/dump_identity.h"
#include "analyzer/dump_order.h"
#include "analyzer/out_of_memory.h"

namespace varnel {
namespace {

/// Leaves the paths whose identity can be told and is not among the known ones. A dump without a byte has an empty one,
/// which no marker holds.
void KeepUnknown(const std::vector<std::u16string>& dumps, const std::vector<std::u16string>& known,
                 std::vector<std::u16string>* paths) {
  const std::unordered_set<std::u16string> told(known.begin(), known.end());
  for (const std::u16string& dump : dumps) {
    std::u16string identity;
    if (CalcDumpIdentity(dump, &identity) >= 0 && !told.contains(identity)) paths->push_back(dump);
  }
}

}  // namespace

std::int32_t CrashDumpConfigManager::ListDumpFiles(const std::u16string& folder, TextList* paths) const noexcept {
  paths->clear();
  return WithinMemory([&] {
    TextList found;
    const std::uint32_t error = FindDumpFiles(folder, &found);
    if (error == platform::kErrorFileNotFound) return kHresultOk;
    if (error != platform::kErrorSuccess) return HresultOf(error);
    const std::int32_t result = SortDumpsNewestFirst(&found);
    if (result >= 0) *paths = std::move(found);
    return result;
  });
}

std::int32_t CrashDumpConfigManager::GetUnanalyzedDumps(const std::u16string& productGuid,
                                                        const std::u16string& markerFileName,
                                                        TextList* paths) const noexcept {
  paths->clear();
  return WithinMemory([&] {
    CrashDumpConfig config;
    std::int32_t result = GetCurrentConfig(&config);
    if (result < 0) return result;
    if (config.enabled == 0) return kHresultNothing;
    const std::u16string folder = DumpFolderOf(config);
    if (folder.empty()) return kHresultFail;
    TextList dumps;
    result = ListDumpFiles(folder, &dumps);
    if (result < 0 || dumps.empty()) return result;
    TextList known;
    result = ReadMarkerFile(productGuid, markerFileName, &known);
    if (result < 0) return result;
    KeepUnknown(dumps, known, paths);
    return kHresultOk;
  });
}

std::int32_t CrashDumpConfigManager::GetUnanalyzedDumpsNoSymbol(const std::u16string& productGuid,
                                                                const std::u16string& markerFileName,
                                                                TextList* paths) const noexcept {
  return GetUnanalyzedDumps(productGuid, markerFileName, paths);
}

std::int32_t CrashDumpConfigManager::GetUnanalyzedDumpsWithSymbol(const std::u16string& productGuid,
                                                                  const std::u16string& markerFileName,
                                                                  TextList* paths) const noexcept {
  return GetUnanalyzedDumps(productGuid, markerFileName, paths);
}

}  // namespace varnel
