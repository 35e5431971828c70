// The machine's table of links that lead out of a drive: "<machine>/links". Each line tells one link, in UTF-8 and with
// a tab between the fields:
//
//   creation time (100 ns since 1601, decimal)  place in the machine folder ("C/Windows/x.dmp")  target on the host
//
// The link itself is a symbolic link of the host in the drive's folder. It counts only while its place and its target
// are those of a line here, so that a link that somebody else put there leads nowhere. Only the tools write the table
// (tools/machine_link.h); the last line about a place counts, and one without its end is no line. A LinkTable is the
// table as it was when it was read; it is immutable, any thread may call.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/embedded/core/machine.h"

namespace varnel::embedded {

class LinkTable {
 public:
  struct Link {
    std::uint64_t creation = 0;  // 100 ns since 1601
    std::string place;           // relative to the machine folder
    std::string target;          // absolute
  };

  /// A machine without a table has no links.
  static LinkTable Read(const Machine& machine);

  /// The link that stands at a host path as the table has it. Null when the table knows none there, or when what stands
  /// there is none or leads elsewhere. Valid as long as the table.
  const Link* Find(const std::string& host_path) const;

  /// A link as the table's file has it, with the line's end.
  static std::string LineOf(const Link& link);

 private:
  std::string root_;
  std::vector<Link> links_;  // by place
};

}  // namespace varnel::embedded
