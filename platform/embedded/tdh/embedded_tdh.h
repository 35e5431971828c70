// The Trace Data Helper on the embedded platform: the schemas of the manifests that the process has loaded, and of
// events that describe themselves.
//
// Results: 0; 87 for a null argument, an index out of the array or a path of 260 characters or more; 122 with the size
// needed for a buffer that is null or too small (TdhGetProperty gives no size); 1168 for an event, a property or a
// member that nothing defines; 15005 for a property that the payload does not hold; 1465 for a file that is no
// manifest; 14 without memory; a file that can't be read answers what reading it answered (2, 3, 5 ...).
//
// Any thread may call. Asking takes no lock while nothing is loaded: each thread keeps a share of the table that it saw
// last and one number that tells whether a newer one is there.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "formats/payload_decoder.h"
#include "platform/embedded/tdh/schema_table.h"
#include "platform/tdh.h"

namespace varnel::embedded {

class EmbeddedTdh final : public platform::Tdh {
 public:
  /// Reads a whole file by its path on the machine. @return 0, or the platform's error.
  using ReadFile = std::function<std::uint32_t(const char16_t* path, std::vector<std::byte>* bytes)>;

  explicit EmbeddedTdh(ReadFile read_file);

  /// Loading a provider again replaces what was known of it.
  std::uint32_t TdhLoadManifest(const char16_t* path) override;
  /// The information names the descriptor of the record itself.
  std::uint32_t TdhGetEventInformation(const platform::EVENT_RECORD* event, platform::TRACE_EVENT_INFO* buffer,
                                       std::uint32_t* size) override;
  std::uint32_t TdhGetPropertySize(const platform::EVENT_RECORD* event, std::uint32_t descriptor_count,
                                   const platform::PROPERTY_DATA_DESCRIPTOR* descriptors, std::uint32_t* size) override;
  /// An array that is asked for whole gives its elements one behind the other; texts include their NUL where they have
  /// one.
  std::uint32_t TdhGetProperty(const platform::EVENT_RECORD* event, std::uint32_t descriptor_count,
                               const platform::PROPERTY_DATA_DESCRIPTOR* descriptors, std::uint32_t size,
                               std::uint8_t* buffer) override;

 private:
  struct ThreadView;

  static ThreadView& OwnView();
  ThreadView& View();
  const EventSchema* SchemaOf(const platform::EVENT_RECORD& event, ThreadView* view);
  const EventSchema* TraceLoggingSchemaOf(const TraceLoggingSchemas::Key& key, ThreadView* view);
  std::uint32_t FindProperty(const platform::EVENT_RECORD* event, std::uint32_t descriptor_count,
                             const platform::PROPERTY_DATA_DESCRIPTOR* descriptors, formats::PropertyPlace* place);

  const ReadFile read_file_;
  TraceLoggingSchemas trace_logging_;
  std::mutex mutex_;                          // around the two below, for writers and for threads that catch up
  std::shared_ptr<const SchemaTable> table_;  // never null
  std::atomic<std::uint64_t> version_;        // unique among all helpers of the process
};

}  // namespace varnel::embedded
