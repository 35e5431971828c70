// Feeds payloads to layouts. The first byte chooses: bit 0 pointers of 4 bytes, the rest the layout, of which 0 is the
// TraceLogging description (with its size in front) that the input brings along before the payload, and the others are
// events of the manifest below. Whatever is asked in whatever way has to agree.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <vector>

#include "formats/event_decoder.h"
#include "formats/payload_decoder.h"
#include "formats/tracelogging.h"
#include "platform/embedded/tdh/embedded_tdh.h"

namespace {

using namespace varnel;
using platform::EVENT_RECORD;
using platform::PROPERTY_DATA_DESCRIPTOR;

constexpr char kManifest[] = R"x(<instrumentationManifest><instrumentation><events>
<provider name="P" guid="{11111111-2222-3333-4444-555555555555}">
<maps><valueMap name="V"><map value="1" message="One"/></valueMap>
<bitMap name="B"><map value="1" message="Low"/><map value="0x80" message="High"/></bitMap></maps>
<templates>
<template tid="1"><data name="Counter" inType="win:UInt32"/><data name="Flags" inType="win:UInt32"/>
<data name="Function" inType="win:AnsiString"/><data name="BinaryCount" inType="win:UInt32"/>
<data name="AdditionalBinary" inType="win:UInt8" count="BinaryCount"/></template>
<template tid="2"><data name="a" inType="win:Int8"/><data name="b" inType="win:Int16"/><data name="c" inType="win:Int32"/>
<data name="d" inType="win:Int64"/><data name="e" inType="win:Float"/><data name="f" inType="win:Double"/>
<data name="g" inType="win:Boolean"/><data name="h" inType="win:GUID"/><data name="i" inType="win:Pointer"/>
<data name="j" inType="win:FILETIME"/><data name="k" inType="win:SYSTEMTIME"/><data name="l" inType="win:HexInt32"/>
<data name="m" inType="win:HexInt64"/><data name="n" inType="win:UInt32" map="V"/>
<data name="o" inType="win:UInt32" map="B"/><data name="p" inType="win:UInt16" outType="win:Port"/></template>
<template tid="3"><data name="s" inType="win:SID"/><data name="t" inType="win:UnicodeString"/>
<data name="u" inType="win:CountedUnicodeString"/><data name="v" inType="win:CountedAnsiString"/>
<data name="w" inType="win:CountedBinary"/><data name="x" inType="win:310"/><data name="y" inType="win:309"/>
<data name="z" inType="win:302"/><data name="r" inType="win:304"/></template>
<template tid="4"><data name="N" inType="win:UInt16"/><struct name="S" count="N"><data name="L" inType="win:UInt8"/>
<data name="T" inType="win:UnicodeString" length="L"/><data name="A" inType="win:AnsiString" count="L"/></struct>
<data name="W" inType="win:AnsiString" count="N"/><data name="B" inType="win:Binary" length="N" count="2"/></template>
<template tid="5"><data name="A" inType="win:Binary" length="24" outType="win:SocketAddress"/>
<data name="B" inType="win:Binary" outType="win:IPv6"/><data name="C" inType="win:UInt8" count="3" outType="xs:string"/>
<data name="D" inType="win:28"/></template>
</templates><events><event value="1" template="1"/><event value="2" template="2"/><event value="3" template="3"/>
<event value="4" template="4"/><event value="5" template="5"/></events>
</provider></events></instrumentation></instrumentationManifest>)x";

void Require(bool good) {
  if (!good) std::abort();
}

struct Input {
  EVENT_RECORD record{};
  platform::EVENT_HEADER_EXTENDED_DATA_ITEM item{};
  formats::EventInput event;
};

/// @return false for an input that is too short.
bool Divide(std::span<const std::byte> bytes, Input* input) {
  if (bytes.empty()) return false;
  const auto choice = std::to_integer<std::uint8_t>(bytes[0]);
  bytes = bytes.subspan(1);
  const std::uint16_t id = (choice >> 1) % 6;
  if (id == 0) {
    if (bytes.size() < 2) return false;
    const std::size_t size = std::to_integer<std::size_t>(bytes[0]) | (std::to_integer<std::size_t>(bytes[1]) << 8);
    input->event.schema = bytes.first(std::min(size, bytes.size()));
    if (input->event.schema.empty()) return false;
    bytes = bytes.subspan(input->event.schema.size());
  }
  bytes = bytes.first(std::min<std::size_t>(bytes.size(), 0xFFFF));
  input->event.provider = {0x11111111, 0x2222, 0x3333, {0x44, 0x44, 0x55, 0x55, 0x55, 0x55, 0x55, 0x55}};
  input->event.id = id;
  input->event.flags = (choice & 1) != 0 ? formats::kEventFlag32BitHeader : formats::kEventFlag64BitHeader;
  input->event.payload = bytes;
  EVENT_RECORD& record = input->record;
  record.EventHeader.ProviderId = input->event.provider;
  record.EventHeader.EventDescriptor.Id = id;
  record.EventHeader.Flags = input->event.flags;
  record.UserData = const_cast<std::byte*>(bytes.data());
  record.UserDataLength = static_cast<std::uint16_t>(bytes.size());
  if (id == 0) {
    const auto schema = input->event.schema;
    input->item = {0, platform::kExtTypeEventSchemaTl, 0, static_cast<std::uint16_t>(schema.size()),
                   reinterpret_cast<std::uintptr_t>(schema.data())};
    record.ExtendedData = &input->item;
    record.ExtendedDataCount = 1;
  }
  return true;
}

embedded::EmbeddedTdh& Helper() {
  static embedded::EmbeddedTdh* const helper = [] {
    auto* made = new embedded::EmbeddedTdh([](const char16_t*, std::vector<std::byte>* bytes) {
      const auto text = std::as_bytes(std::span(kManifest, sizeof kManifest - 1));
      bytes->assign(text.begin(), text.end());
      return platform::kErrorSuccess;
    });
    Require(made->TdhLoadManifest(u"C:\\m.xml") == 0);
    return made;
  }();
  return *helper;
}

const formats::EventDecoder& Decoder() {
  static const formats::EventDecoder* const decoder = [] {
    auto* made = new formats::EventDecoder;
    Require(made->AddManifest(std::as_bytes(std::span(kManifest, sizeof kManifest - 1)), "m").ok());
    return made;
  }();
  return *decoder;
}

/// Asks for one property; the size must be that of the value and stay within the payload.
bool AskFor(const EVENT_RECORD& record, std::vector<PROPERTY_DATA_DESCRIPTOR> descriptors, std::uint32_t* size) {
  const auto count = static_cast<std::uint32_t>(descriptors.size());
  if (Helper().TdhGetPropertySize(&record, count, descriptors.data(), size) != 0) return false;
  Require(*size <= record.UserDataLength);
  std::vector<std::uint8_t> value(*size);
  Require(Helper().TdhGetProperty(&record, count, descriptors.data(), *size, value.data()) == 0);
  if (*size != 0) {
    Require(Helper().TdhGetProperty(&record, count, descriptors.data(), *size - 1, value.data()) ==
            platform::kErrorInsufficientBuffer);
  }
  return true;
}

/// All properties, the elements of arrays and the members of structures, of both ends of an array.
std::size_t AskForAll(const EVENT_RECORD& record, const platform::TRACE_EVENT_INFO& info) {
  const auto name = [&](std::uint32_t i) {
    return reinterpret_cast<std::uintptr_t>(&info) + info.EventPropertyInfoArray[i].NameOffset;
  };
  std::size_t present = 0;
  for (std::uint32_t i = 0; i < info.TopLevelPropertyCount; ++i) {
    const auto& property = info.EventPropertyInfoArray[i];
    std::uint32_t size = 0;
    present += AskFor(record, {{name(i), 0xFFFFFFFF, 0}}, &size);
    for (const std::uint32_t element : {0u, 1u, 65534u}) AskFor(record, {{name(i), element, 0}}, &size);
    if ((property.Flags & platform::kPropertyStruct) == 0) continue;
    const std::uint32_t members = std::min<std::uint32_t>(property.OutType, 8);
    for (std::uint32_t m = property.InType; m < std::uint32_t{property.InType} + members; ++m) {
      AskFor(record, {{name(i), 0, 0}, {name(m), 0xFFFFFFFF, 0}}, &size);
      AskFor(record, {{name(i), 1, 0}, {name(m), 0, 0}}, &size);
    }
  }
  return present;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input;
  if (!Divide(std::as_bytes(std::span(data, size)), &input)) return 0;
  const formats::DecodedEvent decoded = Decoder().Decode(input.event);
  std::string json;
  formats::AppendJsonObject(decoded.properties, &json);
  Require(json.size() >= 2 && json.front() == '{' && json.back() == '}');
  std::uint32_t needed = 0;
  const std::uint32_t result = Helper().TdhGetEventInformation(&input.record, nullptr, &needed);
  if (result == platform::kErrorNotFound) {
    Require(decoded.source == formats::DecodingSource::kNone);
    return 0;
  }
  Require(result == platform::kErrorInsufficientBuffer);
  std::vector<std::uint64_t> buffer(needed / 8 + 1);
  auto* info = reinterpret_cast<platform::TRACE_EVENT_INFO*>(buffer.data());
  Require(Helper().TdhGetEventInformation(&input.record, info, &needed) == 0);
  if (info->TopLevelPropertyCount > 64) return 0;
  const std::size_t present = AskForAll(input.record, *info);
  // Texts that a name bears twice are found once, so that fewer can seem to be there; never more.
  Require(!decoded.complete || present == info->TopLevelPropertyCount);
  return 0;
}
