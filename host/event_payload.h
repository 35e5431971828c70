// The payloads of the three event templates that the module's manifests describe. Pure; any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/emit_plan.h"

namespace varnel::host {

struct PayloadFields {
  std::uint32_t counter = 0;
  std::uint32_t flags = 8;  // 8: the host shall see the event
  std::string function = "wardlet";
  std::uint32_t code_line = 0;
  std::uint32_t status = 0;
};

/// The event's id in its manifest: 1, 2, 3.
std::uint16_t EventId(EmitTemplate kind);

/// The whole payload. `text` is UTF-8; the wide template carries it as UTF-16, the binary one as its bytes.
std::vector<std::byte> MakePayload(EmitTemplate kind, const PayloadFields& fields, std::string_view text);

}  // namespace varnel::host
