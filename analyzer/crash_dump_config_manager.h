// CrashDumpConfigManager reads and writes what the analyzer keeps on the machine: the system's crash-dump settings and
// their backup, the marker files that list the dumps already told, and the progress of the first run.
//
// Nothing is held between two calls but whether the settings could be opened when the object was made: each call opens
// and closes its own keys and files. Any thread may call; nothing orders two writers, so that callers do.
//
// Results are HRESULTs: 0, 1 (S_FALSE) where there was nothing to work on, below zero a failure. A system error N that
// fails a step comes back as 0x8007NNNN. E_OUTOFMEMORY can come from any call; what was written by then stays.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "analyzer/crash_dump_config.h"
#include "platform/platform.h"

namespace varnel {

class CrashDumpConfigManager {
 public:
  using TextList = std::vector<std::u16string>;

  CrashDumpConfigManager() noexcept;

  // The settings, and their backup under a key of the caller's choice.

  /// Whether the settings could be opened when the object was made. The calls up to RestoreConfig, but for
  /// SetCrashDumpEnabled and ReadBackupConfig, give E_FAIL without it.
  bool IsAvailable() const { return available_; }
  /// Missing settings are filled in as the system would take them. E_POINTER for a null output.
  std::int32_t GetCurrentConfig(CrashDumpConfig* config) const noexcept;
  /// Turns small dumps on, into `dir`, of which the newest `count` are kept. E_ACCESSDENIED in a process that is not
  /// elevated. Stops at the first failure; what is written stays.
  std::int32_t EnableMinidump(const std::u16string& dir, std::uint32_t count) noexcept;
  /// Anything but 0 is stored as 1. E_ACCESSDENIED in a process that is not elevated.
  std::int32_t SetAutoReboot(std::uint32_t enable) noexcept;
  std::int32_t SetLogEvent(std::uint32_t enable) noexcept;
  /// Writes the dump type and asks nothing before.
  std::int32_t SetCrashDumpEnabled(std::uint32_t value) noexcept;
  /// Stops at the first failure; a part of a backup can stay.
  std::int32_t BackupCurrentConfig(platform::HKEY root, const std::u16string& subKey) const noexcept;
  /// E_FAIL, with `valid` 0, when one of the values is missing without which it cannot be restored.
  std::int32_t ReadBackupConfig(platform::HKEY root, const std::u16string& subKey,
                                CrashDumpBackup* backup) const noexcept;
  /// Puts dumps off again if the backup says that they were, and the three switches; then deletes the backup. Dump
  /// type, paths and counts are never put back. On a failure the backup stays.
  std::int32_t RestoreConfig(platform::HKEY root, const std::u16string& subKey) noexcept;
  /// The backup's values, not its key. All are tried; the first failure is the result.
  std::int32_t DeleteBackupConfig(platform::HKEY root, const std::u16string& subKey) noexcept;

  // Marker files: the identities of the dumps that are told, one file for each kind of analysis.

  /// The folder of the marker files, without a backslash at its end; empty on failure.
  std::u16string GetAnalysisMarkerDirectory(const std::u16string& productGuid) const noexcept;
  std::u16string GetMarkerFilePath(const std::u16string& productGuid,
                                   const std::u16string& markerFileName) const noexcept;
  /// A file that is not there is an empty list.
  std::int32_t ReadMarkerFile(const std::u16string& productGuid, const std::u16string& markerFileName,
                              TextList* identities) const noexcept;
  /// Rewrites the file in its place: a process that ends meanwhile leaves the lines written so far.
  std::int32_t WriteMarkerFile(const std::u16string& productGuid, const std::u16string& markerFileName,
                               const TextList& identities) noexcept;
  /// Adds a dump's identity, unless it is there.
  std::int32_t AddAnalyzedDump(const std::u16string& dumpPath, const std::u16string& productGuid,
                               const std::u16string& markerFileName) noexcept;

  // The dumps of the machine.

  /// Full paths of the *.dmp files that stand directly in a folder, the newest first. A folder that is not there gives
  /// its error.
  std::int32_t ListDumpFiles(const std::u16string& folder, TextList* paths) const noexcept;
  /// The dumps that the marker does not list, the newest first. 1 when the machine writes no dumps; E_FAIL when its
  /// settings tell of no folder. A dump that cannot be read is left out.
  std::int32_t GetUnanalyzedDumpsNoSymbol(const std::u16string& productGuid, const std::u16string& markerFileName,
                                          TextList* paths) const noexcept;
  std::int32_t GetUnanalyzedDumpsWithSymbol(const std::u16string& productGuid, const std::u16string& markerFileName,
                                            TextList* paths) const noexcept;
  /// The first step on a machine, done once for each kind, until its marker exists: the five newest dumps become the
  /// first run's batch, older ones are recorded at once and never told. `firstRunStarted`, which may be null: a batch
  /// was saved.
  std::int32_t MarkAllExistingDumpsAsAnalyzedNoSymbol(const std::u16string& productGuid,
                                                      const std::u16string& markerFileName,
                                                      bool* firstRunStarted) noexcept;
  std::int32_t MarkAllExistingDumpsAsAnalyzedWithSymbol(const std::u16string& productGuid,
                                                        const std::u16string& markerFileName,
                                                        bool* firstRunStarted) noexcept;

  // The first run's batch, in the registry; one record for each kind of analysis. 1: no record.

  std::u16string GetFirstRunRegistryPath(const std::u16string& productGuid) const;
  /// E_FAIL, with nothing written, when no dump can be read. 1 for an empty list.
  std::int32_t SaveFirstRunFileList(const std::u16string& productGuid, bool isNoSymbol,
                                    const TextList& dumpPaths) noexcept;
  /// 1 also when the dump is recorded as done already.
  std::int32_t MarkFirstRunDumpCompleted(const std::u16string& productGuid, bool isNoSymbol,
                                         const std::u16string& dumpPath) noexcept;
  /// With a dump: `status` 1 when it is one of the batch and still to be done. Without one (null): 1 when the batch is
  /// finished. 0 else, and with every other result than 0.
  std::int32_t QueryFirstRunStatus(const std::u16string& productGuid, bool isNoSymbol, const std::u16string* dumpPath,
                                   std::uint32_t* status) const noexcept;
  /// Leaves nothing of the record but that it is finished.
  std::int32_t CompleteFirstRun(const std::u16string& productGuid, bool isNoSymbol) noexcept;

 private:
  // The settings' values. No other code touches that key.
  std::int32_t ReadDwordValue(const char16_t* name, std::uint32_t* value) const;
  std::int32_t ReadStringValue(const char16_t* name, std::u16string* text) const;
  std::int32_t WriteDwordValue(const char16_t* name, std::uint32_t value);
  std::int32_t WriteExpandStringValue(const char16_t* name, const std::u16string& text);

  void ReadDumpPlace(CrashDumpConfig* config) const;
  std::int32_t MayWrite() const;
  std::int32_t WriteSwitch(const char16_t* name, std::uint32_t enable) noexcept;

  std::int32_t GetUnanalyzedDumps(const std::u16string& productGuid, const std::u16string& markerFileName,
                                  TextList* paths) const noexcept;
  std::int32_t MarkAllExistingDumps(bool isNoSymbol, const std::u16string& productGuid,
                                    const std::u16string& markerFileName, bool* firstRunStarted) noexcept;
  std::int32_t TakeBatch(bool isNoSymbol, const std::u16string& productGuid, const std::u16string& markerFileName,
                         TextList* dumps, bool* firstRunStarted);

  static std::int32_t ReadMultiString(platform::HKEY key, const char16_t* valueName, TextList* list);
  static std::int32_t WriteMultiString(platform::HKEY key, const char16_t* valueName, const TextList& list);
  static std::int32_t QueryBatchStatus(platform::HKEY key, bool isNoSymbol, std::uint32_t* status);
  static std::int32_t QueryDumpStatus(platform::HKEY key, bool isNoSymbol, const std::u16string& dumpPath,
                                      std::uint32_t* status);

  bool available_ = false;
};

}  // namespace varnel
