// An engine over dumps in memory, by the interfaces that its users have.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>

#include "platform/embedded/debugger/dump_engine.h"
#include "small_dump.h"
#include "tests/support/dump_file.h"

namespace varnel::embedded {

class EngineFixture : public ::testing::Test {
 protected:
  static constexpr auto kE_FAIL = static_cast<std::int32_t>(0x80004005);
  static constexpr auto kE_NOTIMPL = static_cast<std::int32_t>(0x80004001);
  static constexpr auto kE_NOINTERFACE = static_cast<std::int32_t>(0x80004002);
  static constexpr auto kE_POINTER = static_cast<std::int32_t>(0x80004003);
  static constexpr auto kE_INVALIDARG = static_cast<std::int32_t>(0x80070057);
  static constexpr auto kE_UNEXPECTED = static_cast<std::int32_t>(0x8000FFFF);
  static constexpr auto kReadFault = static_cast<std::int32_t>(0x8007001E);
  static constexpr auto kFileMissing = static_cast<std::int32_t>(0x80070002);
  static constexpr auto kFileCorrupt = static_cast<std::int32_t>(0x80070570);

  EngineFixture() {
    engine_ = new DumpEngine([this](const char16_t* path, std::shared_ptr<const formats::DumpSource>* source) {
      const auto found = dumps_.find(path);
      if (found == dumps_.end()) return kFileMissing;
      *source = found->second;
      return 0;
    });
  }
  ~EngineFixture() override {
    const std::uint32_t left = engine_ == nullptr ? 0 : engine_->Release();
    EXPECT_EQ(left, 0u);
  }

  void Add(const std::u16string& path, const SmallDump& dump) {
    dumps_[path] = std::make_shared<support::DumpFileSource>(dump.Bytes());
  }
  void Open(const SmallDump& dump) {
    Add(u"C:\\a.dmp", dump);
    ASSERT_EQ(engine_->OpenDumpFileWide(u"C:\\a.dmp", 0), 0);
    ASSERT_EQ(engine_->WaitForEvent(0, 100), 0);
  }

  std::map<std::u16string, std::shared_ptr<const formats::DumpSource>> dumps_;
  DumpEngine* engine_ = nullptr;
};

}  // namespace varnel::embedded
