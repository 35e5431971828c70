// Lays out a TRACE_EVENT_INFO: the fixed part, an EVENT_PROPERTY_INFO for each property, and the texts behind them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "formats/event_layout.h"
#include "platform/tdh.h"

namespace varnel::embedded {

class EventInfoBuilder {
 public:
  /// Begins with all that the layout tells; names of maps included.
  explicit EventInfoBuilder(const formats::EventLayout& layout);

  platform::TRACE_EVENT_INFO& info() noexcept { return info_; }

  /// Adds a text and gives its offset; 0 for an empty one, which the platform tells from an absent one nowhere.
  std::uint32_t AddText(std::string_view utf8);
  /// Adds a list of texts that an empty one ends; 0 for no texts.
  std::uint32_t AddTextList(std::span<const std::string> texts);

  std::vector<std::byte> Build() const;

 private:
  void AddProperty(const formats::PropertyLayout& property);
  std::uint32_t AppendText(std::string_view utf8);

  platform::TRACE_EVENT_INFO info_{};
  std::vector<platform::EVENT_PROPERTY_INFO> properties_;
  std::size_t text_start_;
  std::u16string texts_;
};

}  // namespace varnel::embedded
