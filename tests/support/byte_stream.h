// A C stream over bytes in memory, for scripted files. Where the system's library has streams of one's own making, what
// is written stands in the bytes when it is flushed or closed; elsewhere it goes to a temporary file, a StreamCopy,
// from which it has to be brought back.
#pragma once

#include <cstdio>
#include <memory>
#include <mutex>
#include <string>

namespace varnel::testing {

class StreamCopy {
 public:
  virtual ~StreamCopy() = default;
  /// Puts into *bytes what was flushed since the last time, if anything was.
  virtual void BringBack(std::string* bytes) = 0;
};

/// What a stream works on. The stream keeps the owner alive and takes the mutex for each access.
struct StreamedBytes {
  std::shared_ptr<void> owner;
  std::string* bytes = nullptr;
  std::mutex* mutex = nullptr;
};

/// REQUIRES: the mutex is held. *copy is null where none is needed, else it must be kept as long as the bytes are
/// looked at. `mode` as fopen takes it; "w" has emptied the bytes already. Null when the stream can't be made.
std::FILE* OpenByteStream(const StreamedBytes& target, const char* mode, std::shared_ptr<StreamCopy>* copy);

}  // namespace varnel::testing
