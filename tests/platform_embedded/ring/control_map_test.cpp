#include "platform/embedded/ring/control_map.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>

#include "tests/support/trace_fixture.h"

namespace {

using namespace varnel::embedded::ring;
using varnel::testing::TraceMachine;

class ControlMapTest : public ::testing::Test {
 protected:
  ControlMapTest() : session_(machine_.Start(machine_.Parameters("s"))), path_(session_->folder() + "/control") {}

  /// Overwrites bytes of the constants, as no writer of ours would.
  template <typename T>
  void Spoil(std::size_t offset, T value) {
    std::fstream file(path_, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(static_cast<std::streamoff>(offset));
    file.write(reinterpret_cast<const char*>(&value), sizeof value);
  }

  TraceMachine machine_;
  std::shared_ptr<Session> session_;
  std::string path_;
};

TEST_F(ControlMapTest, AFreshControlFileOpensWithItsFirstBufferOpen) {
  const auto map = ControlMap::Open(path_);
  ASSERT_TRUE(map.ok());
  EXPECT_EQ(map.value()->constants().buffer_count, 8u);
  EXPECT_EQ(map.value()->buffer_size(), 4096u);
  EXPECT_EQ(map.value()->open(), (OpenBuffer{1, 0}));
  EXPECT_EQ(map.value()->state(), SessionState::kRunning);
  EXPECT_EQ(std::filesystem::file_size(path_), map.value()->constants().total_size);
}

TEST_F(ControlMapTest, EachConstantThatMakesNoSenseIsRefusedByName) {
  const struct {
    const char* what;
    std::size_t offset;
    std::uint32_t value;
  } rows[] = {{"magic", offsetof(SessionConstants, magic), 1},
              {"version", offsetof(SessionConstants, version), 2},
              {"header size", offsetof(SessionConstants, header_size), 0},
              {"participant count", offsetof(SessionConstants, participant_count), 0xFFFFFFFF},
              {"buffer count", offsetof(SessionConstants, buffer_count), 1},
              {"buffer count", offsetof(SessionConstants, buffer_count), 0x7FFFFFFF},
              {"buffer size", offsetof(SessionConstants, buffer_size), 0},
              {"buffer size", offsetof(SessionConstants, buffer_size), 4097},
              {"buffer size", offsetof(SessionConstants, buffer_size), 0xFFFFFC00},
              {"total size", offsetof(SessionConstants, buffer_size), 8192},
              {"total size", offsetof(SessionConstants, total_size), 4096},
              {"id", offsetof(SessionConstants, id), 0},
              {"id", offsetof(SessionConstants, logger_id), 0xFFFF},
              {"clock frequency", offsetof(SessionConstants, clock_frequency), 0},
              {"name", offsetof(SessionConstants, name_length), 0},
              {"name", offsetof(SessionConstants, name_length), 0xFFFFFFFF}};
  std::ifstream in(path_, std::ios::binary);
  const std::string good((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  for (const auto& row : rows) {
    Spoil(row.offset, row.value);
    const auto map = ControlMap::Open(path_);
    ASSERT_FALSE(map.ok()) << row.what;
    EXPECT_NE(map.error().message.find(row.what), std::string::npos) << map.error().message;
    EXPECT_FALSE(GlanceAt(path_).ok());
    std::ofstream(path_, std::ios::binary) << good;
  }
  EXPECT_TRUE(ControlMap::Open(path_).ok());
}

TEST_F(ControlMapTest, AFileThatIsTooShortOrMissingIsRefused) {
  const auto size = std::filesystem::file_size(path_);
  for (const std::uintmax_t shorter : {std::uintmax_t{0}, std::uintmax_t{100}, size - 4096, size - 1}) {
    std::filesystem::resize_file(path_, shorter);
    EXPECT_FALSE(ControlMap::Open(path_).ok()) << shorter;
  }
  std::filesystem::remove(path_);
  EXPECT_FALSE(ControlMap::Open(path_).ok());
  EXPECT_FALSE(GlanceAt(path_).ok());
}

TEST_F(ControlMapTest, ALateChangeOfTheConstantsIsNotSeen) {
  const auto map = ControlMap::Open(path_);
  ASSERT_TRUE(map.ok());
  Spoil(offsetof(SessionConstants, buffer_size), std::uint32_t{1 << 30});
  EXPECT_EQ(map.value()->buffer_size(), 4096u);
  EXPECT_EQ(map.value()->descriptors().size(), 8u);
}

TEST_F(ControlMapTest, AGlanceTellsNameStateAndFile) {
  const auto glance = GlanceAt(path_);
  ASSERT_TRUE(glance.ok());
  EXPECT_EQ(glance.value().name(), u"s");
  EXPECT_EQ(glance.value().state, SessionState::kRunning);
  EXPECT_EQ(glance.value().inode, session_->map()->file_names().inode);
  EXPECT_EQ(glance.value().device, session_->map()->file_names().device);
}

}  // namespace
