// EventSchema: what the Trace Data Helper knows of one kind of event, made once: the TRACE_EVENT_INFO that is copied
// out to callers, the layout that measures payloads, and the names by which properties are asked for. Not changed after
// it was made; any thread may read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "formats/event_layout.h"
#include "formats/manifest.h"
#include "platform/tdh.h"

namespace varnel::embedded {

class EventSchema {
 public:
  /// Of a manifest's event. The provider owns the layout and must outlive the schema.
  EventSchema(const formats::ProviderManifest& provider, const formats::EventDefinition& event);

  /// Of an event that describes itself. `level` and `opcode` are those of its records.
  EventSchema(formats::EventLayout layout, const GUID& provider, std::string_view provider_name, std::uint8_t level,
              std::uint8_t opcode);

  EventSchema(EventSchema&&) = default;
  EventSchema& operator=(EventSchema&&) = default;

  /// A TRACE_EVENT_INFO with its texts behind it. The descriptor is that of the definition.
  const std::vector<std::byte>& info() const noexcept { return info_; }
  const formats::EventLayout& layout() const noexcept { return *layout_; }

  /// The first top-level property, or first member of a structure, of that name (case counts); -1 when there is none.
  /// `hint` is where to look first: properties are mostly asked for one after the other.
  int FindTopLevel(const char16_t* name, std::size_t hint) const;
  int FindMember(const formats::PropertyLayout& structure, const char16_t* name) const;

 private:
  void IndexNames();

  std::unique_ptr<const formats::EventLayout> own_layout_;
  const formats::EventLayout* layout_ = nullptr;
  std::vector<std::byte> info_;
  std::vector<std::u16string> names_;         // of all properties
  std::vector<std::uint16_t> first_of_name_;  // of each top-level property, the first one that bears its name
};

/// True when a property's own bytes decide where the properties behind it stand.
bool ShapesPayload(const formats::PropertyLayout& property);

}  // namespace varnel::embedded
