#include "pipeline/event_decode.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "base/event_text.h"
#include "base/heap_block.h"
#include "base/log.h"
#include "base/text.h"
#include "pipeline/json_texts.h"
#include "pipeline/module_name.h"
#include "pipeline/number_text.h"
#include "pipeline/property_text.h"
#include "pipeline/wardlet_version.h"
#include "platform/platform.h"

namespace varnel {
namespace {

using platform::EVENT_PROPERTY_INFO;
using platform::EVENT_RECORD;
using platform::TRACE_EVENT_INFO;

constexpr std::size_t kNameCapacity = 256;
constexpr std::size_t kModuleNameCapacity = 100;

// What the properties of one event add up to.
struct Decoding {
  EVENT_RECORD* event;
  RawEvent* raw;
  JsonTexts* json;
  bool function_is_initialize = false;
  bool message_is_initialize = false;
};

void AddHeaderFields(const EVENT_RECORD& event, JsonTexts* json) {
  const platform::EVENT_HEADER& header = event.EventHeader;
  std::array<char, kNumberTextCapacity> text;
  json->AddConstant("WardletVersion", WardletVersionText());
  const auto time = static_cast<std::uint64_t>(header.TimeStamp);
  json->AddUnderConstantKey("TimeStamp", {text.data(), FormatHex(time, text)});
  FormatFileTimeText(time, text.data(), text.size());
  json->AddUnderConstantKey("TimeStampString", text.data());
  GuidToText(header.ProviderId, text.data());
  json->AddUnderConstantKey("ProviderGUID", text.data());
  GetModuleNameByKeyWord(header.EventDescriptor.Keyword, text.data(), kModuleNameCapacity);
  json->AddUnderConstantKey("Mod", text.data());
  std::size_t length = FormatSigned(static_cast<std::int32_t>(header.ProcessId), text);
  json->AddUnderConstantKey("ProcessId", {text.data(), length});
  length = FormatSigned(static_cast<std::int32_t>(header.ThreadId), text);
  json->AddUnderConstantKey("ThreadId", {text.data(), length});
  json->AddConstant("Level", EventLevelName(header.EventDescriptor.Level));
}

// Takes a whole number into a field of the record. Other types leave it as it is.
void StoreNumber(const PropertyValue& property, std::uint32_t* field) {
  if (property.in_type < kInTypeInt32 || property.in_type > kInTypeUint64) return;
  std::memcpy(field, property.data, sizeof(*field));  // of 64 bits the low half, which stands first
}

// Together these two announce that a provider's module has started anew.
void NoteInitializeMarks(const PropertyValue& property, Decoding* decoding) {
  if (property.in_type == kInTypeNarrowString && SameTextNoCase(property.name, "Function")) {
    if (SameTextNoCase(reinterpret_cast<const char*>(property.data), "EventToWardletInitialize")) {
      decoding->function_is_initialize = true;
    }
  } else if (property.in_type == kInTypeWideString && SameTextNoCase(property.name, "AdditionalMsg")) {
    if (CompareTextNoCase(reinterpret_cast<const char16_t*>(property.data), u"$EVENT_INIT$") == 0) {
      decoding->message_is_initialize = true;
    }
  }
}

void TakeProperty(const PropertyValue& property, std::uint32_t property_flags, Decoding* decoding) {
  if (SameTextNoCase(property.name, "Counter")) return StoreNumber(property, &decoding->raw->dwCounter);
  if (SameTextNoCase(property.name, "Flags")) return StoreNumber(property, &decoding->raw->dwFlags);
  NoteInitializeMarks(property, decoding);
  if ((property_flags & platform::kPropertyStruct) != 0) return;
  AddPropertyText(decoding->json, property);
}

// A property's name, cut to the room, in both encodings. The names that mean something here are ASCII, and a name's
// UTF-8 form is one of them exactly when the name itself is.
struct PropertyName {
  const char16_t* wide;  // the source where it need not be cut
  std::array<char16_t, kNameCapacity> cut;
  std::array<char, kNameCapacity> narrow;
  std::size_t narrow_length;
};

void ConvertName(PropertyName* name) {
  name->narrow.fill('\0');  // of a name that does not fit, nothing but what the conversion wrote is shown
  platform::SystemPort().WideCharToMultiByte(platform::kCpUtf8, 0, name->wide, -1, name->narrow.data(),
                                             static_cast<std::int32_t>(name->narrow.size()));
  name->narrow.back() = '\0';
  name->narrow_length = std::strlen(name->narrow.data());
}

void ReadName(const char16_t* source, PropertyName* name) {
  std::size_t length = 0;
  char16_t seen = 0;
  for (; length + 1 < kNameCapacity && source[length] != 0; ++length) {
    seen |= source[length];
    name->narrow[length] = static_cast<char>(source[length]);
  }
  name->wide = source;
  if (source[length] != 0) {
    std::copy_n(source, length, name->cut.data());
    name->cut[length] = 0;
    name->wide = name->cut.data();
  }
  name->narrow[length] = '\0';
  name->narrow_length = length;
  if (seen >= 0x80) ConvertName(name);  // below that, the same characters in UTF-8
}

void DecodeProperty(const TRACE_EVENT_INFO& schema, const EVENT_PROPERTY_INFO& info, Decoding* decoding) {
  PropertyName name;
  ReadName(reinterpret_cast<const char16_t*>(reinterpret_cast<const char*>(&schema) + info.NameOffset), &name);
  platform::Tdh& tdh = platform::TdhPort();
  const platform::PROPERTY_DATA_DESCRIPTOR descriptor{reinterpret_cast<std::uintptr_t>(name.wide), ~0u, 0};
  std::uint32_t size = 0;
  if (tdh.TdhGetPropertySize(decoding->event, 1, &descriptor, &size) != platform::kErrorSuccess || size == 0) return;
  const HeapBlock value(std::size_t{size} + kPropertyTail);
  auto* data = value.as<std::uint8_t>();
  if (data == nullptr) return;
  std::memset(data + size, 0, kPropertyTail);
  if (tdh.TdhGetProperty(decoding->event, 1, &descriptor, size, data) != platform::kErrorSuccess) return;
  TakeProperty({{name.narrow.data(), name.narrow_length}, info.InType, data, size}, info.Flags, decoding);
}

std::uint32_t DecodeProperties(Decoding* decoding) {
  platform::Tdh& tdh = platform::TdhPort();
  std::uint32_t size = 0;
  if (tdh.TdhGetEventInformation(decoding->event, nullptr, &size) != platform::kErrorInsufficientBuffer || size == 0) {
    // What the query answered is not kept: the line always tells the general failure.
    WrapLogPrint(LOG_ERROR,
                 u"ConvertEtwEventToRawEvent func first call TdhGetEventInformation failed(0x%X) bufferSize(0x%X).\r\n",
                 platform::kErrorGenFailure, size);
    return platform::kErrorGenFailure;
  }
  const HeapBlock buffer(size);
  auto* schema = buffer.as<TRACE_EVENT_INFO>();
  if (schema == nullptr) return platform::kErrorOutOfMemory;
  const std::uint32_t error = tdh.TdhGetEventInformation(decoding->event, schema, &size);
  if (error != platform::kErrorSuccess) {
    WrapLogPrint(
        LOG_ERROR,
        u"ConvertEtwEventToRawEvent func second call TdhGetEventInformation failed(0x%X) bufferSize(0x%X).\r\n", error,
        size);
    return error;
  }
  // The index has 16 bits, as the library's own tables do.
  for (std::uint16_t i = 0; i < schema->TopLevelPropertyCount; ++i) {  // NOLINT(bugprone-too-small-loop-variable)
    DecodeProperty(*schema, schema->EventPropertyInfoArray[i], decoding);
  }
  return platform::kErrorSuccess;
}

std::uint32_t FillRawEvent(EVENT_RECORD* event, RawEvent* raw) {
  raw->dwTimeStamp = static_cast<std::uint64_t>(event->EventHeader.TimeStamp);
  JsonTexts json;
  if (!json.ok()) return platform::kErrorOutOfMemory;
  AddHeaderFields(*event, &json);
  Decoding decoding{event, raw, &json};
  const std::uint32_t error = DecodeProperties(&decoding);
  if (error != platform::kErrorSuccess) return error;
  raw->bIsModuleInitEvent = decoding.function_is_initialize && decoding.message_is_initialize ? 1 : 0;
  raw->pszJsonText = json.Print();
  return raw->pszJsonText == nullptr ? platform::kErrorOutOfMemory : platform::kErrorSuccess;
}

}  // namespace

std::uint32_t ConvertEtwEventToRawEvent(EVENT_RECORD* event, RawEvent** rawEvent) {
  RawEvent* raw = AllocateRawEvent();
  if (raw == nullptr) return platform::kErrorOutOfMemory;
  const std::uint32_t error = FillRawEvent(event, raw);
  if (error != platform::kErrorSuccess) {
    FreeRawEvent(raw);
    *rawEvent = nullptr;
    return error;
  }
  *rawEvent = raw;
  return platform::kErrorSuccess;
}

}  // namespace varnel
