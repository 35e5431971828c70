#include <cerrno>

#include "platform/embedded/registry/registry_copy.h"
#include "platform/embedded/registry/registry_copy_format.h"

namespace varnel::embedded {
namespace {

using namespace copy_format;

constexpr std::size_t kWriteSize = 64 * 1024;

template <typename T>
void Append(std::vector<std::byte>* out, T value) {
  for (std::size_t i = 0; i < sizeof(T); ++i) out->push_back(static_cast<std::byte>(value >> (8 * i)));
}

}  // namespace

int CopyWriter::Begin(const CopyHeader& header) {
  file_ = io_->Create(CopyPath(folder_) + ".new", &error_);
  if (!file_) return error_;
  std::vector<std::byte> bytes;
  bytes.reserve(kCopyHeaderSize);
  for (const unsigned char c : kMark) bytes.push_back(static_cast<std::byte>(c));
  Append(&bytes, kVersion);
  Append(&bytes, std::uint32_t{0});
  Append(&bytes, header.epoch);
  Append(&bytes, header.transaction);
  Append(&bytes, header.file_time);
  return Put(bytes);
}

int CopyWriter::Add(std::span<const std::byte> place, std::span<const std::byte> record) {
  std::vector<std::byte> sizes;
  Append(&sizes, static_cast<std::uint16_t>(place.size()));
  Append(&sizes, static_cast<std::uint32_t>(record.size()));
  ++count_;
  Put(sizes);
  Put(place);
  return Put(record);
}

int CopyWriter::Finish() {
  std::vector<std::byte> end;
  Append(&end, std::uint16_t{0});
  Append(&end, count_);
  Put(end);
  std::vector<std::byte> sum;
  Append(&sum, sum_.value());
  Put(sum);
  if (error_ == 0) error_ = Drain();
  // The name moves only when the bytes are on the disk, and the move itself is on the disk before anyone is told.
  if (error_ == 0) error_ = file_->Sync();
  file_.reset();
  if (error_ == 0) error_ = io_->Rename(CopyPath(folder_) + ".new", CopyPath(folder_));
  if (error_ == 0) error_ = io_->SyncFolder(folder_);
  return error_;
}

int CopyWriter::Put(std::span<const std::byte> bytes) {
  if (error_ != 0) return error_;
  sum_.Add(bytes);
  pending_.insert(pending_.end(), bytes.begin(), bytes.end());
  if (pending_.size() >= kWriteSize) error_ = Drain();
  return error_;
}

int CopyWriter::Drain() {
  const int error = pending_.empty() ? 0 : file_->Write(pending_);
  pending_.clear();
  return error;
}

}  // namespace varnel::embedded
