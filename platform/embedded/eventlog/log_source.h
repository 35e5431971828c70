// LogSource: one file of an event log as the reader that puts several in order sees it. Its records stand in blocks of
// bounded size, whose numbers are known from a first pass; a block's records are listed, and taken apart, when their
// turn comes, so that memory does not grow with the log. One thread at a time.
#pragma once

#include <tinyxml2.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "formats/event_query.h"
#include "formats/event_xml_reader.h"
#include "formats/event_xml_writer.h"

namespace varnel::embedded {

/// Some records that stand together.
struct LogBlock {
  std::uint64_t least = 0;  // record numbers in it
  std::uint64_t most = 0;
  std::uint64_t newest = 0;  // time of its newest record, as 100 ns since 1601
  std::uint64_t place = 0;   // the source's own
  std::uint32_t records = 0;
};

/// One record of a block.
struct LogKey {
  std::uint64_t stored_id = 0;
  std::uint64_t place = 0;   // the source's own, ascending as the records stand in the file
  std::uint32_t detail = 0;  // the source's own
  std::uint32_t block = 0;   // index of its block
};

/// A record that was read.
struct LogRecord {
  std::uint64_t record_id = 0;  // EventRecordID
  std::uint64_t stored_id = 0;  // the number that the file keeps it under: another one in a log that was exported anew
  std::uint64_t time = 0;       // 0 when it has none
  std::string provider;
  std::string xml;  // UTF-8, in the platform's shape
};

/// What was read and what was not.
struct LogCounts {
  std::uint64_t records = 0;     // told to the reader's caller
  std::uint64_t duplicates = 0;  // of a record that another source (or the same one) had too
  std::uint64_t skipped = 0;     // could not be read
  std::uint64_t replaced = 0;    // characters that were not valid in the log's encoding
  std::uint64_t helper_deaths = 0;
};

/// Which records are wanted.
struct LogFilter {
  std::shared_ptr<const formats::EventQuery> query;  // null: all
  std::uint64_t now = 0;                             // for the query, 100 ns since 1601
};

class LogSource {
 public:
  virtual ~LogSource() = default;

  /// From the first pass, in the order of the file.
  virtual const std::vector<LogBlock>& blocks() const = 0;
  /// The records of a block, in the order of the file.
  virtual std::vector<LogKey> Keys(std::uint32_t block) = 0;
  /// Hands the records that the filter wants to `take`, in the order of the keys. What can't be read is counted and
  /// passed over.
  virtual void Load(std::span<const LogKey> keys, const LogFilter& filter,
                    const std::function<void(LogRecord record)>& take) = 0;
  /// The highest EventRecordID. REQUIRES: nobody is reading.
  virtual std::uint64_t HighestRecordId() = 0;
  /// Nothing can be read any more, for a reason that is no damage of the file.
  virtual bool failed() const { return false; }
  /// What this source knows of the counts so far.
  virtual LogCounts counts() const = 0;
};

/// Makes records of XML texts. It may be used again and again; one thread at a time.
class LogRecordBuilder {
 public:
  enum class Result { kGood, kNotWanted, kBad };

  /// kBad when the text is no event with a record number.
  Result Build(std::string_view xml, formats::ElementOrigin origin, const LogFilter& filter, LogRecord* record);

 private:
  formats::EventDocument document_;
};

}  // namespace varnel::embedded
