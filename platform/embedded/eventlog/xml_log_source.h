// XmlLogSource: an exported log (System.xml), or the machine's own (System-machine.xml), as a source of records.
#pragma once

#include <memory>
#include <string>

#include "formats/event_text_scanner.h"
#include "formats/result.h"
#include "platform/embedded/eventlog/log_source.h"
#include "platform/embedded/eventlog/log_text.h"

namespace varnel::embedded {

class XmlLogSource : public LogSource {
 public:
  /// `otherwise`: see LogText::Open. An Error when the file can't be read at all.
  static formats::Result<std::unique_ptr<LogSource>> Open(const std::string& path, const std::string& otherwise);

  const std::vector<LogBlock>& blocks() const override { return blocks_; }
  std::vector<LogKey> Keys(std::uint32_t block) override;
  void Load(std::span<const LogKey> keys, const LogFilter& filter,
            const std::function<void(LogRecord record)>& take) override;
  std::uint64_t HighestRecordId() override;
  LogCounts counts() const override { return counts_; }

 private:
  explicit XmlLogSource(std::unique_ptr<LogText> text) : text_(std::move(text)) {}
  void ReadBlocks();
  formats::ReadTextAt Reading() const;

  const std::unique_ptr<LogText> text_;
  std::vector<LogBlock> blocks_;  // place: where the first record begins; the block ends where the next one begins
  LogCounts counts_;
  LogRecordBuilder builder_;
};

}  // namespace varnel::embedded
