// What the trace port needs of its surroundings.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "formats/etl_reader.h"
#include "platform/embedded/core/machine.h"

namespace varnel::embedded {

enum class PathUse { kRead, kWrite };

/// From a Windows path to the host's: 0 and the host path (the last name need not exist), or a Win32 error, 5 for what
/// can't be written. Any thread may call.
using TracePathResolver =
    std::function<std::uint32_t(std::u16string_view windows_path, PathUse use, std::string* host_path)>;

struct TraceOptions {
  std::shared_ptr<Machine> machine;
  TracePathResolver resolve;
  formats::EtlUnpack unpack;  // none: packed buffers of trace files are skipped
};

}  // namespace varnel::embedded
