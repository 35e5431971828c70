// Power failures while the copy is written: the disk below the writer keeps apart what a program sees and what would be
// left after a cut, and is cut behind each call.
#include <gtest/gtest.h>

#include <cerrno>
#include <map>
#include <set>

#include "copy_builder.h"
#include "platform/embedded/registry/registry_copy.h"

namespace varnel::embedded {
namespace {

// A file's bytes on the disk: what was synced, and what was written since and may or may not have arrived.
struct DiskFile {
  std::string written;
  std::string synced;
  bool ever_synced = false;
};

class CutDisk : public CopyIo {
 public:
  /// After that many calls every further one fails and changes nothing.
  explicit CutDisk(int calls_left) : calls_left_(calls_left) {}

  std::unique_ptr<CopyFile> Create(const std::string& path, int* error) override {
    if (!Step()) {
      *error = EIO;
      return nullptr;
    }
    names_[path] = std::make_shared<DiskFile>();
    // A new name of an unsynced folder may or may not be on the disk.
    pending_names_.push_back(names_);
    return std::make_unique<File>(this, names_[path]);
  }
  int Rename(const std::string& from, const std::string& to) override {
    if (!Step()) return EIO;
    names_[to] = names_[from];
    names_.erase(from);
    pending_names_.push_back(names_);
    return 0;
  }
  int SyncFolder(const std::string&) override {
    if (!Step()) return EIO;
    durable_names_ = names_;
    pending_names_.clear();
    return 0;
  }

  int calls_made() const { return calls_made_; }

  /// Puts a copy in place, whole and synced.
  void Preload(const std::string& bytes) {
    names_["f/copy"] = std::make_shared<DiskFile>(DiskFile{bytes, bytes, true});
    durable_names_ = names_;
  }

  /// Every content that "f/copy" may have after the cut; "" when it may be missing.
  std::set<std::string> Outcomes() const {
    std::set<std::string> outcomes;
    auto states = pending_names_;
    states.push_back(durable_names_);
    for (const auto& names : states) {
      const auto copy = names.find("f/copy");
      if (copy == names.end()) {
        outcomes.insert("");
        continue;
      }
      const DiskFile& file = *copy->second;
      outcomes.insert(file.synced);
      if (file.written == file.synced) continue;
      // What was not synced arrives in any mixture: a part of it, holes of zeros, all of it.
      outcomes.insert(file.written);
      for (std::size_t cut = 0; cut < file.written.size(); cut += 7) {
        outcomes.insert(file.written.substr(0, cut));
        outcomes.insert(std::string(cut, '\0') + file.written.substr(cut));
      }
    }
    return outcomes;
  }

 private:
  using Names = std::map<std::string, std::shared_ptr<DiskFile>>;

  struct File : CopyFile {
    File(CutDisk* disk, std::shared_ptr<DiskFile> file) : disk_(disk), file_(std::move(file)) {}
    int Write(std::span<const std::byte> bytes) override {
      if (!disk_->Step()) return EIO;
      file_->written.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
      return 0;
    }
    int Sync() override {
      if (!disk_->Step()) return EIO;
      file_->synced = file_->written;
      file_->ever_synced = true;
      return 0;
    }
    CutDisk* disk_;
    std::shared_ptr<DiskFile> file_;
  };

  bool Step() {
    if (calls_left_ == 0) return false;
    --calls_left_;
    ++calls_made_;
    return true;
  }

  int calls_left_;
  int calls_made_ = 0;
  Names names_;
  Names durable_names_;
  std::vector<Names> pending_names_;
};

// A copy large enough for several writes.
std::string LargeCopy() {
  CopyBuilder builder;
  builder.Header(2, 9).Roots(9).Record(CopyBuilder::Place(1, 'K', CopyBuilder::Hash(u"X")),
                                       CopyBuilder::Key(3, u"X", 3));
  std::map<std::string, std::string> values;
  for (const char16_t* name : {u"A", u"B", u"C"}) {
    values[CopyBuilder::Place(3, 'V', CopyBuilder::Hash(name))] =
        CopyBuilder::Value(0, 3, name, std::string(50'000, static_cast<char>(name[0])));
  }
  for (const auto& [place, value] : values) builder.Record(place, value);
  return builder.Build();
}

std::span<const std::byte> Bytes(const std::string& text) {
  return std::as_bytes(std::span(text.data(), text.size()));
}

// Writes `content` as a copy through the writer. @return the writer's result.
int WriteThrough(CutDisk* disk, const std::string& content) {
  const auto copy = RegistryCopy::Parse(Bytes(content), HashFoldedName);
  EXPECT_TRUE(copy.ok());
  CopyWriter writer(disk, "f");
  if (const int error = writer.Begin(copy.value().header); error != 0) return error;
  bool store_written = false;
  for (const CopyRecord& record : copy.value().records) {
    if (!store_written && record.place.parent != kNoKey) {
      writer.Add(StoreRecord::Place().Encode(), copy.value().store.Encode());
      store_written = true;
    }
    writer.Add(record.place.Encode(), record.bytes);
  }
  return writer.Finish();
}

TEST(CopyPower, ACutBehindAnyCallLeavesTheOldCopyOrTheNewOneWhole) {
  const std::string old_copy = SmallCopy();
  const std::string new_copy = LargeCopy();
  CutDisk uncut(1'000'000);
  uncut.Preload(old_copy);
  ASSERT_EQ(WriteThrough(&uncut, new_copy), 0);
  ASSERT_GT(uncut.calls_made(), 5);
  EXPECT_EQ(uncut.Outcomes(), std::set<std::string>{new_copy});
  std::set<std::string> seen;
  for (int calls = 0; calls < uncut.calls_made(); ++calls) {
    CutDisk disk(calls);
    disk.Preload(old_copy);
    EXPECT_NE(WriteThrough(&disk, new_copy), 0) << calls;
    for (const std::string& left : disk.Outcomes()) {
      EXPECT_TRUE(left == old_copy || left == new_copy) << "cut behind call " << calls << ", " << left.size();
      seen.insert(left);
    }
  }
  // The cuts before the move and those between the move and the folder's sync are both among them.
  EXPECT_EQ(seen.size(), 2u);
}

TEST(CopyPower, SuccessIsToldOnlyWhenTheNewCopySurvivesACut) {
  CutDisk disk(1'000'000);
  disk.Preload(SmallCopy());
  ASSERT_EQ(WriteThrough(&disk, LargeCopy()), 0);
  EXPECT_EQ(disk.Outcomes(), std::set<std::string>{LargeCopy()});
}

TEST(CopyPower, AFirstCopyThatWasCutIsMissingOrWhole) {
  CutDisk uncut(1'000'000);
  ASSERT_EQ(WriteThrough(&uncut, LargeCopy()), 0);
  for (int calls = 0; calls < uncut.calls_made(); ++calls) {
    CutDisk disk(calls);
    EXPECT_NE(WriteThrough(&disk, LargeCopy()), 0);
    for (const std::string& left : disk.Outcomes()) EXPECT_TRUE(left.empty() || left == LargeCopy()) << calls;
  }
}

}  // namespace
}  // namespace varnel::embedded
