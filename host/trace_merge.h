// TraceMerge gives the events of several trace files in time order, as if they were one. Not synchronised.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "host/trace_file.h"

namespace varnel::host {

class TraceMerge {
 public:
  explicit TraceMerge(std::vector<std::unique_ptr<TraceFile>> files);

  struct Item {
    const formats::EtlEventView* event;  // null at the end; valid until the next call
    const TraceFile* file;
  };
  /// Of events with the same time, those of the file that was named first come first.
  Item Next();

  const std::vector<std::unique_ptr<TraceFile>>& files() const { return files_; }

 private:
  struct Head {
    const formats::EtlEventView* event;
    std::size_t file;
  };
  static bool IsLater(const Head& a, const Head& b);
  void Push(std::size_t file);

  std::vector<std::unique_ptr<TraceFile>> files_;
  std::vector<Head> heads_;  // a heap, the earliest on top
  bool given_ = false;       // the top was given out and has to move on first
};

}  // namespace varnel::host
