// Several hosts at once on one machine that has crash dumps, each with a folder of its own.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "host/dump_machine.h"
#include "host/text_field.h"
#include "platform/embedded/crypto/md5.h"
#include "platform/embedded/embedded_platform.h"
#include "tests/host/small_dump.h"
#include "tests/scenario/scenario_machine.h"
#include "tests/support/text_archive.h"

namespace varnel::scenario {
namespace {

namespace fs = std::filesystem;
constexpr char kWithoutSymbols[] = "BsodDumpCallBackNoSymbol";
constexpr char kWithSymbols[] = "BsodDumpCallBackWithSymbol";
constexpr char kMarkers[] = "ProgramData/KelvoVarnels/GlobalCfg/{4A234956-2B7D-4221-BADF-12593BD342A8}/";
constexpr char kNoSymbolMarker[] = "analyzed_dumps_nosym.dat";
constexpr char kSymbolMarker[] = "analyzed_dumps_sym.dat";
constexpr int kDumps = 12;
constexpr int kHosts = 4;

using Names = std::set<std::string>;

/// The dumps of which an output has a report of a pass.
Names ReportedIn(const std::string& texts, const char* pass) {
  Names names;
  std::istringstream in(texts);
  for (std::string line; std::getline(in, line);) {
    const auto dump = host::TextField(line, "dump_file");
    if (dump && host::TextField(line, "Function") == pass) names.insert(dump->substr(dump->rfind('\\') + 1));
  }
  return names;
}

/// The texts of a pass that have no report.
int EmptyReportsIn(const std::string& texts, const char* pass) {
  int count = 0;
  std::istringstream in(texts);
  for (std::string line; std::getline(in, line);) {
    if (host::TextField(line, "Function") == pass && !host::TextField(line, "dump_file")) ++count;
  }
  return count;
}

class DumpHosts : public ::testing::Test {
 protected:
  DumpHosts() {
    std::string pattern = testing::TempDir() + "hosts.XXXXXX";
    folder_ = ::mkdtemp(pattern.data());
    EXPECT_TRUE(host::MakeDumpMachine(root(), {}).ok());
    // With its session registered and running, no host has to start one: only one of them could.
    EXPECT_EQ(Wardlet({"install"}), 0);
    EXPECT_EQ(Wardlet({"machine", "boot"}), 0);
    for (int i = 0; i < kDumps; ++i) {
      host::DumpBytes bytes = host::SmallDump();
      host::PutAt<std::uint64_t>(&bytes, 0x40, 0x100 + static_cast<std::uint64_t>(i));
      std::ofstream out(DumpPath(NameOf(i)), std::ios::binary);
      out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }
  }
  ~DumpHosts() override {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
  }

  static std::string NameOf(int dump) { return "d" + std::to_string(dump) + ".dmp"; }
  static Names AllNames() {
    Names names;
    for (int i = 0; i < kDumps; ++i) names.insert(NameOf(i));
    return names;
  }

  std::string root() const { return folder_ + "/machine"; }
  fs::path Drive() const { return fs::path(root()) / "C"; }
  fs::path DumpPath(const std::string& name) const { return Drive() / "Windows/Minidump" / name; }
  fs::path Marker(const char* name) const { return Drive() / kMarkers / name; }
  static std::string MarkerPath(const std::string& name) {
    std::string path = "C:/" + std::string(kMarkers) + name;
    std::replace(path.begin(), path.end(), '/', '\\');
    return path;
  }
  std::string TextsOf(int host) const { return folder_ + "/texts" + std::to_string(host); }

  int Wardlet(std::vector<std::string> words) const {
    words.insert(words.begin(), VARNEL_WARDLET);
    words.insert(words.end(), {"--machine", root()});
    auto child = host::ChildProcess::Start(words, host::ChildProcess::Output::kDropped);
    return child.ok() ? child.value().Wait() : -1;
  }
  /// Starts a host whose program stands in a folder of its own.
  host::ChildProcess StartHost(int host, const std::string& flags) const {
    const std::string name = "Host" + std::to_string(host);
    fs::create_directories(Drive() / "Program Files/Varnel" / name);
    std::ofstream(Drive() / "Program Files/Varnel" / name / "wardlet.exe") << "a host's program\n";
    ::setenv("VARNEL_HOST_IMAGE", ("C:\\Program Files\\Varnel\\" + name + "\\wardlet.exe").c_str(), 1);
    auto child = host::ChildProcess::Start(
        {VARNEL_WARDLET, "run", "-q", "--machine", root(), "--flags", flags, "--idle-exit", "3", "-o", TextsOf(host)},
        host::ChildProcess::Output::kInherited);
    ::unsetenv("VARNEL_HOST_IMAGE");
    EXPECT_TRUE(child.ok());
    return std::move(child).value();
  }
  std::string RunHost(int host, const std::string& flags) const {
    EXPECT_EQ(StartHost(host, flags).Wait(), 0);
    return Kept(ReadAll(TextsOf(host)));
  }
  /// All at once, to their ends; what all of them printed.
  std::string RunHosts() const {
    std::vector<host::ChildProcess> hosts;
    for (int i = 0; i < kHosts; ++i) hosts.push_back(StartHost(i, "3"));
    std::string texts;
    for (int i = 0; i < kHosts; ++i) {
      EXPECT_EQ(hosts[static_cast<std::size_t>(i)].Wait(), 0) << "host " << i;
      texts += Kept(ReadAll(TextsOf(i)));
    }
    return texts;
  }

  /// The dumps whose identities a marker has.
  Names RecordedIn(const char* marker) const {
    std::string text;
    for (const char c : ReadAll(Marker(marker))) {
      if (c > 0) text += c;
    }
    Names names;
    for (const std::string& name : AllNames()) {
      if (text.find(IdentityOf(name)) != std::string::npos) names.insert(name);
    }
    return names;
  }

 private:
  static std::string Kept(std::string texts) {
    ArchiveTexts(texts);
    return texts;
  }
  /// By size, time of the last write, and the first bytes; the dumps here are small.
  std::string IdentityOf(const std::string& name) const {
    const auto platform = embedded::EmbeddedPlatform::Open(root());
    const std::string path = "C:\\Windows\\Minidump\\" + name;
    platform::WIN32_FILE_ATTRIBUTE_DATA data{};
    EXPECT_TRUE(
        platform.value()->files().GetFileAttributesExW(std::u16string(path.begin(), path.end()).c_str(), &data));
    const std::string bytes = ReadAll(DumpPath(name));
    const std::uint64_t size = bytes.size();
    embedded::Md5 md5;
    const auto add = [&md5](const void* from, std::size_t count) {
      md5.Update(std::span(static_cast<const std::uint8_t*>(from), count));
    };
    add(&size, sizeof(size));
    add(&data.ftLastWriteTime, sizeof(data.ftLastWriteTime));
    add(bytes.data(), bytes.size());
    std::string text;
    for (const unsigned byte : md5.Value()) {
      char digits[3];
      std::snprintf(digits, sizeof(digits), "%02X", byte);
      text += digits;
    }
    return text;
  }

  std::string folder_;
};

/// A file that another process of the machine has open.
class HeldFile {
 public:
  HeldFile(const std::string& root, const std::string& windows_path, std::uint32_t share_mode)
      : platform_(embedded::EmbeddedPlatform::Open(root)) {
    file_ = platform_.value()->files().CreateFileW(std::u16string(windows_path.begin(), windows_path.end()).c_str(),
                                                   platform::kGenericRead, share_mode, platform::kOpenExisting, 0);
    EXPECT_NE(file_, platform::kInvalidHandleValue) << windows_path;
  }
  ~HeldFile() { platform_.value()->system().CloseHandle(file_); }
  HeldFile(const HeldFile&) = delete;
  HeldFile& operator=(const HeldFile&) = delete;

 private:
  formats::Result<std::unique_ptr<embedded::EmbeddedPlatform>> platform_;
  platform::HANDLE file_;
};

Names Union(const Names& a, const Names& b) {
  Names both = a;
  both.insert(b.begin(), b.end());
  return both;
}

TEST_F(DumpHosts, FourAtOnceEndAndLeaveNoDumpUntold) {
  const std::string texts = RunHosts();
  EXPECT_EQ(ReportedIn(texts, kWithoutSymbols), AllNames());
  EXPECT_EQ(ReportedIn(texts, kWithSymbols), AllNames());
  EXPECT_FALSE(RecordedIn(kNoSymbolMarker).empty());
}

TEST_F(DumpHosts, FourAtOnceOnAFirstRunLeaveNoDumpNeitherToldNorWrittenOff) {
  fs::remove(Marker(kNoSymbolMarker));
  fs::remove(Marker(kSymbolMarker));
  const std::string texts = RunHosts() + RunHost(kHosts, "3");
  EXPECT_EQ(Union(ReportedIn(texts, kWithoutSymbols), RecordedIn(kNoSymbolMarker)), AllNames());
  EXPECT_EQ(Union(ReportedIn(texts, kWithSymbols), RecordedIn(kSymbolMarker)), AllNames());
}

TEST_F(DumpHosts, AMarkerThatAnotherHoldsForItselfEndsItsPassAndTheOtherPassGoesOn) {
  std::string texts;
  {
    const HeldFile held(root(), MarkerPath(kNoSymbolMarker), 0);
    texts = RunHost(0, "3");
  }
  EXPECT_EQ(ReportedIn(texts, kWithoutSymbols), Names());
  EXPECT_EQ(EmptyReportsIn(texts, kWithoutSymbols), 1) << "the pass was asked for, and the boot was not handled yet";
  EXPECT_EQ(ReportedIn(texts, kWithSymbols), AllNames());
  EXPECT_EQ(RecordedIn(kNoSymbolMarker), Names());
  EXPECT_EQ(ReportedIn(RunHost(1, "1"), kWithoutSymbols), AllNames());
}

TEST_F(DumpHosts, ADumpThatAnotherHoldsForItselfIsLeftToTheNextRun) {
  Names others = AllNames();
  others.erase(NameOf(3));
  {
    const HeldFile held(root(), "C:\\Windows\\Minidump\\" + NameOf(3), 0);
    EXPECT_EQ(ReportedIn(RunHost(0, "1"), kWithoutSymbols), others);
  }
  EXPECT_EQ(RecordedIn(kNoSymbolMarker), others);
  EXPECT_EQ(ReportedIn(RunHost(1, "1"), kWithoutSymbols), Names{NameOf(3)});
}

TEST_F(DumpHosts, WhatIsToldWhileTheMarkerCantBeWrittenIsToldAgain) {
  {
    const HeldFile held(root(), MarkerPath(kNoSymbolMarker), platform::kFileShareRead);
    EXPECT_EQ(ReportedIn(RunHost(0, "1"), kWithoutSymbols), AllNames());
  }
  EXPECT_EQ(RecordedIn(kNoSymbolMarker), Names());
  EXPECT_EQ(ReportedIn(RunHost(1, "1"), kWithoutSymbols), AllNames());
  EXPECT_EQ(ReportedIn(RunHost(2, "1"), kWithoutSymbols), Names());
}

}  // namespace
}  // namespace varnel::scenario
