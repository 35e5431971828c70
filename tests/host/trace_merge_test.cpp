#include "host/trace_merge.h"

#include <gtest/gtest.h>

#include "tests/host/trace_command.h"
#include "tests/support/etl_bytes.h"

namespace varnel::host {
namespace {

struct Stamped {
  std::int64_t after_start;
  std::uint16_t id;
};
support::Blob FileOf(const std::vector<Stamped>& stamped, std::int64_t start_shift = 0) {
  support::LogHeaderSpec header;
  header.start_time += start_shift;
  std::vector<support::Blob> events;
  for (const Stamped& s : stamped) {
    support::EventSpec event;
    event.stamp = header.origin_stamp + s.after_start - start_shift;
    event.id = s.id;
    events.push_back(support::Event(event));
  }
  support::Blob file = support::HeaderBuffer(header);
  support::Append(&file, support::Buffer({}, events));
  return file;
}

std::vector<std::uint16_t> Merge(const std::vector<support::Blob>& contents) {
  TemporaryFolder folder;
  std::vector<std::unique_ptr<TraceFile>> files;
  for (std::size_t i = 0; i < contents.size(); ++i) {
    files.push_back(OpenTraceFile(folder.Put(std::to_string(i), contents[i]), "trace x", stderr));
    EXPECT_NE(files.back(), nullptr);
  }
  TraceMerge merge(std::move(files));
  std::vector<std::uint16_t> ids;
  for (auto item = merge.Next(); item.event != nullptr; item = merge.Next()) {
    if (item.event->kind == formats::EtlEventKind::kEvent) ids.push_back(item.event->id);
  }
  EXPECT_EQ(merge.Next().event, nullptr);
  return ids;
}

using Ids = std::vector<std::uint16_t>;

TEST(TraceMerge, GivesTheEventsOfAllFilesByFileTimeWhateverTheirClocks) {
  EXPECT_EQ(Merge({FileOf({{20, 2}, {40, 4}}), FileOf({{10, 1}, {30, 3}, {50, 5}}, -1000)}), (Ids{1, 2, 3, 4, 5}));
}

TEST(TraceMerge, EqualTimesComeInTheOrderOfNaming) {
  EXPECT_EQ(Merge({FileOf({{10, 1}, {10, 2}}), FileOf({{10, 3}})}), (Ids{1, 2, 3}));
}

TEST(TraceMerge, WithoutFilesThereIsNothing) {
  EXPECT_EQ(Merge({}), Ids{});
}

}  // namespace
}  // namespace varnel::host
