// The reader of flushed copies: first on the bytes as they are, then under a checksum that fits, so that what lies
// behind it is reached. A copy that is accepted must come out of the writer as the same bytes.
#include <cstdlib>
#include <string>

#include "platform/embedded/registry/registry_copy.h"

namespace {

using namespace varnel::embedded;

class MemoryIo : public CopyIo {
 public:
  std::unique_ptr<CopyFile> Create(const std::string&, int*) override { return std::make_unique<File>(&bytes); }
  int Rename(const std::string&, const std::string&) override { return 0; }
  int SyncFolder(const std::string&) override { return 0; }

  std::string bytes;

 private:
  struct File : CopyFile {
    explicit File(std::string* to) : bytes(to) {}
    int Write(std::span<const std::byte> more) override {
      bytes->append(reinterpret_cast<const char*>(more.data()), more.size());
      return 0;
    }
    int Sync() override { return 0; }
    std::string* bytes;
  };
};

std::span<const std::byte> Bytes(const std::string& text) {
  return std::as_bytes(std::span(text.data(), text.size()));
}

void WriteAgain(const RegistryCopy& copy, const std::string& expected) {
  MemoryIo io;
  CopyWriter writer(&io, "");
  writer.Begin(copy.header);
  bool store_written = false;
  const auto write_store = [&] {
    if (!store_written) writer.Add(StoreRecord::Place().Encode(), copy.store.Encode());
    store_written = true;
  };
  for (const CopyRecord& record : copy.records) {
    const auto place = record.place.Encode();
    const auto store = StoreRecord::Place().Encode();
    if (std::string_view(reinterpret_cast<const char*>(place.data()), place.size()) >
        std::string_view(reinterpret_cast<const char*>(store.data()), store.size())) {
      write_store();
    }
    writer.Add(place, record.bytes);
  }
  write_store();
  if (writer.Finish() != 0 || io.bytes != expected) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string bytes(reinterpret_cast<const char*>(data), size);
  (void)RegistryCopy::Parse(Bytes(bytes), HashFoldedName);
  (void)ParseCopyHeader(Bytes(bytes));
  if (bytes.size() < 8) return 0;
  Crc64 sum;
  sum.Add(Bytes(bytes).first(bytes.size() - 8));
  for (std::size_t i = 0; i < 8; ++i) bytes[bytes.size() - 8 + i] = static_cast<char>(sum.value() >> (8 * i));
  const auto copy = RegistryCopy::Parse(Bytes(bytes), HashFoldedName);
  if (copy.ok()) WriteAgain(copy.value(), bytes);
  return 0;
}
