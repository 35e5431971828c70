#include "platform/embedded/eventlog/evtx_log_source.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/embedded/eventlog/evtx_chunk.h"

namespace varnel::embedded {
namespace {

using evtx::kChunkBytes;
using evtx::kFileHeaderBytes;

/// What libevtx writes into its texts as it stands in the log and an XML reader would take for layout or an end.
std::string Adapted(std::string_view xml) {
  std::string text;
  text.reserve(xml.size());
  for (const char c : xml) {
    if (c == '\r') {
      text += "&#xD;";
    } else if (c != '\0') {
      text += c;
    }
  }
  return text;
}

}  // namespace

formats::Result<std::unique_ptr<LogSource>> EvtxLogSource::Open(const std::string& path,
                                                                const EvtxHelperOptions& options) {
  UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat info {};
  if (!fd.valid() || ::fstat(fd.get(), &info) != 0) return formats::Error{path + ": " + std::strerror(errno)};
  if (!S_ISREG(info.st_mode)) return formats::Error{path + ": is no file"};
  std::unique_ptr<EvtxLogSource> source(new EvtxLogSource(std::move(fd), options));
  source->ReadBlocks(static_cast<std::uint64_t>(info.st_size));
  // Sound chunks need no helper yet: without one now, every record would count as damaged later.
  const bool startable = source->blocks_.empty() || source->helper_.EnsureStarted();
  if (!startable || source->helper_.cannot_start())
    return formats::Error{path + ": the program that reads it can't be started"};
  return std::unique_ptr<LogSource>(std::move(source));
}

/// A chunk that the file's end cuts is filled up with zeros.
std::string EvtxLogSource::ReadChunk(std::uint64_t offset) const {
  std::string chunk(kChunkBytes, '\0');
  for (std::size_t got = 0; got < chunk.size();) {
    const ssize_t part = ::pread(fd_.get(), chunk.data() + got, chunk.size() - got, static_cast<off_t>(offset + got));
    if (part < 0 && errno == EINTR) continue;
    if (part <= 0) break;
    got += static_cast<std::size_t>(part);
  }
  return chunk;
}

void EvtxLogSource::ReadBlocks(std::uint64_t size) {
  for (std::uint64_t offset = kFileHeaderBytes; offset < size; offset += kChunkBytes) {
    ReadBlock(offset);
    if (helper_.cannot_start()) return;
  }
}

void EvtxLogSource::ReadBlock(std::uint64_t offset) {
  const std::string chunk = ReadChunk(offset);
  if (!evtx::IsChunk(chunk)) {
    // Room that the log has not used yet is empty; anything else was a chunk once.
    if (chunk.find_first_not_of('\0') != std::string::npos) ++skipped_;
    return;
  }
  const std::uint64_t claimed = evtx::ClaimedRecords(chunk);
  const std::vector<evtx::EvtxKey> keys = KeysOfChunk(chunk);
  skipped_ += claimed > keys.size() ? claimed - keys.size() : 0;
  if (keys.empty()) {
    if (claimed == 0 && !evtx::IsEmptyChunk(chunk)) ++skipped_;
    return;
  }
  LogBlock block{~std::uint64_t{0}, 0, 0, offset, static_cast<std::uint32_t>(keys.size())};
  for (const evtx::EvtxKey& key : keys) {
    block.least = std::min(block.least, key.record_id);
    block.most = std::max(block.most, key.record_id);
    block.newest = std::max(block.newest, key.written_time);
  }
  blocks_.push_back(block);
}

/// What a sound chunk has in it can be seen from outside. Of another one the helper tells what it finds: the last chunk
/// of a log that is in use is none, since its checksums are not up to date.
std::vector<evtx::EvtxKey> EvtxLogSource::KeysOfChunk(std::string_view chunk) {
  std::vector<evtx::EvtxKey> keys = evtx::KeysOfSoundChunk(chunk);
  if (!keys.empty()) return keys;
  selected_ = kNoBlock;
  if (!helper_.LoadChunk(chunk) || !helper_.ListRecords(&keys)) keys.clear();
  return keys;
}

std::uint64_t EvtxLogSource::HighestRecordId() {
  const auto top = std::max_element(blocks_.begin(), blocks_.end(),
                                    [](const LogBlock& a, const LogBlock& b) { return a.most < b.most; });
  if (top == blocks_.end()) return 0;
  std::uint64_t highest = top->most;
  const std::uint64_t skipped = skipped_;
  std::vector<LogKey> keys = Keys(static_cast<std::uint32_t>(top - blocks_.begin()));
  // An export keeps records under numbers of its own; the events still bear those of the log that they come from.
  if (!keys.empty()) {
    Load(std::span(keys).last(1), {}, [&](const LogRecord& record) { highest = std::max(highest, record.record_id); });
  }
  skipped_ = skipped;  // they are read once more
  return highest;
}

/// Gives the block's chunk to the helper. @return false when it can't read it.
bool EvtxLogSource::Select(std::uint32_t block) {
  if (selected_ == block && helper_.pid() >= 0) return true;
  selected_ = kNoBlock;
  if (!helper_.LoadChunk(ReadChunk(blocks_[block].place))) return false;
  selected_ = block;
  return true;
}

std::vector<LogKey> EvtxLogSource::Keys(std::uint32_t block) {
  const LogBlock& of = blocks_[block];
  std::vector<LogKey> keys;
  keys.reserve(of.records);
  for (const evtx::EvtxKey& key : KeysOfChunk(ReadChunk(of.place))) {
    // What has come to lie outside its block's numbers would come out of order.
    if (key.record_id < of.least || key.record_id > of.most) continue;
    keys.push_back({key.record_id, of.place + key.index, key.index, block});
  }
  skipped_ += of.records > keys.size() ? of.records - keys.size() : 0;
  return keys;
}

void EvtxLogSource::Load(std::span<const LogKey> keys, const LogFilter& filter,
                         const std::function<void(LogRecord record)>& take) {
  while (!keys.empty()) {
    const auto other =
        std::find_if(keys.begin(), keys.end(), [&](const LogKey& key) { return key.block != keys[0].block; });
    const auto count = static_cast<std::size_t>(other - keys.begin());
    LoadOfBlock(keys.first(count), filter, take);
    keys = keys.subspan(count);
  }
}

void EvtxLogSource::LoadOfBlock(std::span<const LogKey> keys, const LogFilter& filter,
                                const std::function<void(LogRecord record)>& take) {
  std::vector<std::uint32_t> indexes;
  for (const LogKey& key : keys) indexes.push_back(key.detail);
  std::size_t done = 0;
  const EvtxHelper::Take receive = [&](EvtxHelper::Outcome outcome, std::uint64_t stored_id, std::string_view xml) {
    LogRecord record;
    record.stored_id = keys[done++].stored_id;
    const auto result = outcome == EvtxHelper::Outcome::kGood && stored_id == record.stored_id
                            ? builder_.Build(Adapted(xml), formats::ElementOrigin::kLibevtx, filter, &record)
                            : LogRecordBuilder::Result::kBad;
    if (result == LogRecordBuilder::Result::kBad) ++skipped_;
    if (result == LogRecordBuilder::Result::kGood) take(std::move(record));
  };
  while (done < indexes.size()) {
    if (!Select(keys.front().block)) {
      skipped_ += indexes.size() - done;
      return;
    }
    helper_.GetRecords(std::span<const std::uint32_t>(indexes).subspan(done), receive);
  }
}

LogCounts EvtxLogSource::counts() const {
  LogCounts counts;
  counts.skipped = skipped_;
  counts.helper_deaths = helper_.deaths();
  return counts;
}

}  // namespace varnel::embedded
