#include "platform/embedded/eventlog/xml_log_source.h"

#include <algorithm>

#include "formats/text_encoding.h"
#include "formats/xml_encoding.h"

namespace varnel::embedded {
namespace {

constexpr std::uint32_t kRecordsInBlock = 512;
constexpr std::uint64_t kBytesInBlock = 1u << 20;

bool IsAscii(std::string_view text) {
  return std::none_of(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0x80) != 0; });
}

}  // namespace

formats::Result<std::unique_ptr<LogSource>> XmlLogSource::Open(const std::string& path, const std::string& otherwise) {
  auto text = LogText::Open(path, otherwise);
  if (!text.ok()) return text.error();
  std::unique_ptr<XmlLogSource> source(new XmlLogSource(std::move(text).value()));
  source->ReadBlocks();
  return std::unique_ptr<LogSource>(std::move(source));
}

formats::ReadTextAt XmlLogSource::Reading() const {
  return [this](std::uint64_t offset, std::span<char> into) { return text_->ReadAt(offset, into); };
}

void XmlLogSource::ReadBlocks() {
  formats::EventTextScanner scanner(Reading(), 0, text_->size());
  formats::EventTextScanner::Found found;
  counts_.replaced = text_->replaced();
  while (scanner.Next(&found)) {
    std::uint64_t number = 0;
    if (!formats::RecordIdOfText(found.text, &number)) {
      ++counts_.skipped;
      continue;
    }
    if (!IsAscii(found.text)) counts_.replaced += formats::CountInvalidUtf8(found.text);
    if (blocks_.empty() || blocks_.back().records == kRecordsInBlock ||
        found.offset - blocks_.back().place >= kBytesInBlock) {
      blocks_.push_back({number, number, 0, found.offset, 0});
    }
    LogBlock& block = blocks_.back();
    block.least = std::min(block.least, number);
    block.most = std::max(block.most, number);
    block.newest = std::max(block.newest, formats::TimeOfText(found.text));
    ++block.records;
  }
  counts_.skipped += scanner.skipped();
}

std::uint64_t XmlLogSource::HighestRecordId() {
  std::uint64_t highest = 0;
  for (const LogBlock& block : blocks_) highest = std::max(highest, block.most);
  return highest;
}

std::vector<LogKey> XmlLogSource::Keys(std::uint32_t block) {
  const std::uint64_t end = block + 1 < blocks_.size() ? blocks_[block + 1].place : text_->size();
  formats::EventTextScanner scanner(Reading(), blocks_[block].place, end);
  formats::EventTextScanner::Found found;
  std::vector<LogKey> keys;
  keys.reserve(blocks_[block].records);
  while (scanner.Next(&found)) {
    std::uint64_t number = 0;
    if (!formats::RecordIdOfText(found.text, &number)) continue;
    keys.push_back({number, found.offset, static_cast<std::uint32_t>(found.text.size()), block});
  }
  return keys;
}

void XmlLogSource::Load(std::span<const LogKey> keys, const LogFilter& filter,
                        const std::function<void(LogRecord record)>& take) {
  std::string text;
  for (const LogKey& key : keys) {
    text.resize(key.detail);
    text.resize(text_->ReadAt(key.place, text));
    if (!IsAscii(text)) text = formats::ToValidUtf8(text);
    LogRecord record;
    const auto result = builder_.Build(text, formats::ElementOrigin::kPlatform, filter, &record);
    if (result == LogRecordBuilder::Result::kBad) ++counts_.skipped;
    record.stored_id = key.stored_id;
    if (result == LogRecordBuilder::Result::kGood) take(std::move(record));
  }
}

}  // namespace varnel::embedded
