// The first step on a machine: its old dumps are split into a small batch and the rest, which is written off.
#include "analyzer/crash_dump_config_manager.h"
#include "analyzer/dump_folder.h"
#include "analyzer/dump_order.h"
#include "analyzer/marker_paths.h"
#include "analyzer/out_of_memory.h"
#include "base/log.h"

namespace varnel {
namespace {

constexpr std::size_t FirstRunBatchSize = 5;

void LogNoBasePath(bool isNoSymbol) {
  if (isNoSymbol) {
    WrapLogPrint(LOG_ERROR, u"[Error] Failed to get marker base path in MarkAllExistingDumpsAsAnalyzedNoSymbol\n");
  } else {
    WrapLogPrint(LOG_ERROR, u"[Error] Failed to get marker base path in MarkAllExistingDumpsAsAnalyzedWithSymbol\n");
  }
}

void LogNoConfig(bool isNoSymbol, std::int32_t result) {
  if (isNoSymbol) {
    WrapLogPrint(LOG_ERROR, u"[Error] Failed to get BSOD config in MarkAllExistingDumpsAsAnalyzedNoSymbol: 0x%08X\n",
                 result);
  } else {
    WrapLogPrint(LOG_ERROR, u"[Error] Failed to get BSOD config in MarkAllExistingDumpsAsAnalyzedWithSymbol: 0x%08X\n",
                 result);
  }
}

void LogDumpsDisabled(bool isNoSymbol) {
  if (isNoSymbol) {
    WrapLogPrint(LOG_DETAIL, u"[Info] BSOD dump is disabled, saving empty marker for NoSymbol\n");
  } else {
    WrapLogPrint(LOG_DETAIL, u"[Info] BSOD dump is disabled, saving empty marker for WithSymbol\n");
  }
}

}  // namespace

/// With more dumps than the batch holds, recording the old ones makes the marker; else an empty one is written. A batch
/// that cannot be saved is no failure of the step: its dumps are then told as new ones.
std::int32_t CrashDumpConfigManager::TakeBatch(bool isNoSymbol, const std::u16string& productGuid,
                                               const std::u16string& markerFileName, TextList* dumps,
                                               bool* firstRunStarted) {
  const bool has_more = dumps->size() > FirstRunBatchSize;
  if (has_more) {
    if (const std::int32_t result = SortDumpsNewestFirst(dumps); result < 0) return result;
    for (std::size_t i = FirstRunBatchSize; i < dumps->size(); ++i) {
      AddAnalyzedDump((*dumps)[i], productGuid, markerFileName);
    }
    dumps->resize(FirstRunBatchSize);
  }
  if (!dumps->empty()) {
    const bool saved = SaveFirstRunFileList(productGuid, isNoSymbol, *dumps) >= 0;
    if (firstRunStarted != nullptr) *firstRunStarted = saved;
  }
  return has_more ? kHresultOk : WriteMarkerFile(productGuid, markerFileName, {});
}

std::int32_t CrashDumpConfigManager::MarkAllExistingDumps(bool isNoSymbol, const std::u16string& productGuid,
                                                          const std::u16string& markerFileName,
                                                          bool* firstRunStarted) noexcept {
  if (firstRunStarted != nullptr) *firstRunStarted = false;
  return WithinMemory([&] {
    const std::u16string base = GetMarkerBasePath();
    if (base.empty()) {
      LogNoBasePath(isNoSymbol);
      return kHresultFail;
    }
    if (MarkerStandsBelow(base, productGuid, markerFileName)) return kHresultOk;
    CrashDumpConfig config;
    if (const std::int32_t result = GetCurrentConfig(&config); result < 0) {
      LogNoConfig(isNoSymbol, result);
      return result;
    }
    TextList dumps;
    if (config.enabled == 0) {
      LogDumpsDisabled(isNoSymbol);
    } else if (const std::u16string folder = DumpFolderOf(config); !folder.empty()) {
      FindDumpFiles(folder, &dumps);  // a folder that cannot be searched holds no dumps
    }
    return TakeBatch(isNoSymbol, productGuid, markerFileName, &dumps, firstRunStarted);
  });
}

std::int32_t CrashDumpConfigManager::MarkAllExistingDumpsAsAnalyzedNoSymbol(const std::u16string& productGuid,
                                                                            const std::u16string& markerFileName,
                                                                            bool* firstRunStarted) noexcept {
  return MarkAllExistingDumps(true, productGuid, markerFileName, firstRunStarted);
}

std::int32_t CrashDumpConfigManager::MarkAllExistingDumpsAsAnalyzedWithSymbol(const std::u16string& productGuid,
                                                                              const std::u16string& markerFileName,
                                                                              bool* firstRunStarted) noexcept {
  return MarkAllExistingDumps(false, productGuid, markerFileName, firstRunStarted);
}

}  // namespace varnel
