// A helper over manifests held in memory, and records to ask it about.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "formats/guid_text.h"
#include "manifest_text.h"
#include "payload_builder.h"
#include "platform/embedded/tdh/embedded_tdh.h"

namespace varnel::embedded {

using platform::EVENT_RECORD;
using platform::PROPERTY_DATA_DESCRIPTOR;
using platform::TRACE_EVENT_INFO;

inline const GUID kSampleProvider = *formats::ParseGuid("{D8909C24-5BE9-4502-98CA-AB7BDC24899D}");
inline const GUID kTestProvider = *formats::ParseGuid("{11111111-2222-3333-4444-555555555555}");

/// A record that owns its payload and its extended items.
class TestRecord {
 public:
  TestRecord(const GUID& provider, std::uint16_t id, std::vector<std::byte> payload) : payload_(std::move(payload)) {
    record_.EventHeader.ProviderId = provider;
    record_.EventHeader.EventDescriptor.Id = id;
    record_.EventHeader.Flags = platform::kEventHeaderFlag64BitHeader;
    Attach();
  }
  TestRecord(const TestRecord&) = delete;
  TestRecord& operator=(const TestRecord&) = delete;

  EVENT_RECORD* operator->() { return &record_; }
  operator const EVENT_RECORD*() const { return &record_; }  // NOLINT: it stands for its record

  void SetPayload(std::vector<std::byte> payload) {
    payload_ = std::move(payload);
    Attach();
  }
  std::vector<std::byte>& payload() { return payload_; }
  void AddItem(std::uint16_t type, std::vector<std::byte> data) {
    data_.push_back(std::move(data));
    items_.push_back({0, type, 0, static_cast<std::uint16_t>(data_.back().size()),
                      reinterpret_cast<std::uintptr_t>(data_.back().data())});
    record_.ExtendedData = items_.data();
    record_.ExtendedDataCount = static_cast<std::uint16_t>(items_.size());
  }

 private:
  void Attach() {
    record_.UserData = payload_.data();
    record_.UserDataLength = static_cast<std::uint16_t>(payload_.size());
  }

  EVENT_RECORD record_{};
  std::vector<std::byte> payload_;
  std::vector<std::vector<std::byte>> data_;
  std::vector<platform::EVENT_HEADER_EXTENDED_DATA_ITEM> items_;
};

class TdhTest : public ::testing::Test {
 protected:
  TdhTest()
      : tdh_([this](const char16_t* path, std::vector<std::byte>* bytes) -> std::uint32_t {
          const auto at = files_.find(path);
          if (at == files_.end()) return platform::kErrorFileNotFound;
          *bytes = at->second;
          return platform::kErrorSuccess;
        }) {}

  std::uint32_t Load(std::string_view manifest, const std::u16string& path = u"C:\\m.xml") {
    files_[path] = testing::ToBytes(manifest);
    return tdh_.TdhLoadManifest(path.c_str());
  }

  /// The information in a buffer of its size; empty when the helper gives none, with `result_` telling why.
  std::vector<std::byte> Info(const EVENT_RECORD* event) {
    std::uint32_t size = 0;
    result_ = tdh_.TdhGetEventInformation(event, nullptr, &size);
    if (result_ != platform::kErrorInsufficientBuffer) return {};
    std::vector<std::byte> buffer(size);
    result_ = tdh_.TdhGetEventInformation(event, reinterpret_cast<TRACE_EVENT_INFO*>(buffer.data()), &size);
    EXPECT_EQ(size, buffer.size());
    return buffer;
  }

  static const TRACE_EVENT_INFO& AsInfo(const std::vector<std::byte>& bytes) {
    return *reinterpret_cast<const TRACE_EVENT_INFO*>(bytes.data());
  }

  static const platform::EVENT_PROPERTY_INFO& PropertyAt(const std::vector<std::byte>& bytes, std::size_t index) {
    return reinterpret_cast<const platform::EVENT_PROPERTY_INFO*>(bytes.data() + 112)[index];
  }

  static std::u16string TextAt(const std::vector<std::byte>& bytes, std::uint32_t offset) {
    EXPECT_LT(offset, bytes.size());
    return reinterpret_cast<const char16_t*>(bytes.data() + offset);
  }

  static PROPERTY_DATA_DESCRIPTOR Asking(const char16_t* name, std::uint32_t index = 0xFFFFFFFF) {
    return {reinterpret_cast<std::uintptr_t>(name), index, 0};
  }

  /// A property's bytes as text of two digits each; "error N" when there are none.
  std::string Bytes(const EVENT_RECORD* event, const std::vector<PROPERTY_DATA_DESCRIPTOR>& descriptors) {
    std::uint32_t size = 0;
    const auto count = static_cast<std::uint32_t>(descriptors.size());
    std::uint32_t error = tdh_.TdhGetPropertySize(event, count, descriptors.data(), &size);
    if (error != platform::kErrorSuccess) return "error " + std::to_string(error);
    std::vector<std::uint8_t> buffer(size);
    error = tdh_.TdhGetProperty(event, count, descriptors.data(), size, buffer.data());
    if (error != platform::kErrorSuccess) return "error " + std::to_string(error);
    std::string text;
    for (const std::uint8_t byte : buffer) {
      text.push_back("0123456789ABCDEF"[byte >> 4]);
      text.push_back("0123456789ABCDEF"[byte & 15]);
    }
    return text;
  }

  std::string Bytes(const EVENT_RECORD* event, const char16_t* name, std::uint32_t index = 0xFFFFFFFF) {
    return Bytes(event, {Asking(name, index)});
  }

  std::map<std::u16string, std::vector<std::byte>> files_;
  std::uint32_t result_ = 0;
  EmbeddedTdh tdh_;
};

}  // namespace varnel::embedded
