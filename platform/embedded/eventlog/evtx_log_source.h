// EvtxLogSource: a binary event log (.evtx) as a source of records. The file is a header and chunks of 64 KiB, each of
// which stands by itself; a chunk goes to the helper process when its records' turn comes. The file's header is not
// needed: a log that was copied while in use has an old one, and a damaged one costs nothing.
#pragma once

#include <memory>
#include <string>

#include "formats/result.h"
#include "platform/embedded/core/unique_fd.h"
#include "platform/embedded/eventlog/evtx_helper.h"
#include "platform/embedded/eventlog/log_source.h"

namespace varnel::embedded {

class EvtxLogSource : public LogSource {
 public:
  /// An Error when the file can't be read at all, or the helper can't be started.
  static formats::Result<std::unique_ptr<LogSource>> Open(const std::string& path, const EvtxHelperOptions& options);

  const std::vector<LogBlock>& blocks() const override { return blocks_; }
  std::vector<LogKey> Keys(std::uint32_t block) override;
  void Load(std::span<const LogKey> keys, const LogFilter& filter,
            const std::function<void(LogRecord record)>& take) override;
  std::uint64_t HighestRecordId() override;
  bool failed() const override { return helper_.cannot_start(); }
  LogCounts counts() const override;

 private:
  EvtxLogSource(UniqueFd fd, const EvtxHelperOptions& options) : fd_(std::move(fd)), helper_(options) {}
  std::string ReadChunk(std::uint64_t offset) const;
  void ReadBlocks(std::uint64_t size);
  void ReadBlock(std::uint64_t offset);
  std::vector<evtx::EvtxKey> KeysOfChunk(std::string_view chunk);
  bool Select(std::uint32_t block);
  void LoadOfBlock(std::span<const LogKey> keys, const LogFilter& filter,
                   const std::function<void(LogRecord record)>& take);

  static constexpr std::uint32_t kNoBlock = ~std::uint32_t{0};

  const UniqueFd fd_;
  EvtxHelper helper_;
  std::vector<LogBlock> blocks_;       // place: the chunk's offset in the file
  std::uint32_t selected_ = kNoBlock;  // which one the helper has
  std::uint64_t skipped_ = 0;
  LogRecordBuilder builder_;
};

}  // namespace varnel::embedded
