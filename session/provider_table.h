// The seven providers that the module serves, in the fixed order in which everything walks them, and the name of the
// one trace session that both the boot-time and the temporary session bear. Constant data: any thread may call.
#pragma once

#include <array>
#include <cstdint>

#include "interfaces/guid.h"
#include "interfaces/wardlet_tool.h"

namespace varnel {

inline constexpr GUID g_ProviderSampleGUID = {
    0xD8909C24, 0x5BE9, 0x4502, {0x98, 0xCA, 0xAB, 0x7B, 0xDC, 0x24, 0x89, 0x9D}};
inline constexpr GUID GUID_SOURCE_USB_REDIRECT_TOOL = {
    0x4A234950, 0x2B7D, 0x4221, {0xBA, 0xDF, 0x12, 0x59, 0x3B, 0xD3, 0x42, 0xA8}};
inline constexpr GUID GUID_DESTINATION_USB_REDIRECT_TOOL = {
    0x4A234951, 0x2B7D, 0x4221, {0xBA, 0xDF, 0x12, 0x59, 0x3B, 0xD3, 0x42, 0xA8}};
inline constexpr GUID GUID_VIRTUAL_HID_TOOL = {
    0x4A234955, 0x2B7D, 0x4221, {0xBA, 0xDF, 0x12, 0x59, 0x3B, 0xD3, 0x42, 0xA8}};
inline constexpr GUID GUID_KVIRTUAL_AUDIO_TOOL = {
    0x4A234954, 0x2B7D, 0x4221, {0xBA, 0xDF, 0x12, 0x59, 0x3B, 0xD3, 0x42, 0xA8}};
inline constexpr GUID GUID_KELVO_GAMEPAD_TOOL = {
    0x4A234953, 0x2B7D, 0x4221, {0xBA, 0xDF, 0x12, 0x59, 0x3B, 0xD3, 0x42, 0xA8}};
inline constexpr GUID GUID_KELVO_IDD_TOOL = {
    0x4A234952, 0x2B7D, 0x4221, {0xBA, 0xDF, 0x12, 0x59, 0x3B, 0xD3, 0x42, 0xA8}};

struct ProviderTableEntry {
  GUID guid;
  const char16_t* name;  // the short name
};

inline constexpr std::array<ProviderTableEntry, 7> kProviderTable = {{
    {g_ProviderSampleGUID, u"ProviderSample"},
    {GUID_SOURCE_USB_REDIRECT_TOOL, u"SourceUsb"},
    {GUID_DESTINATION_USB_REDIRECT_TOOL, u"DestUsb"},
    {GUID_VIRTUAL_HID_TOOL, u"VirtualHid"},
    {GUID_KVIRTUAL_AUDIO_TOOL, u"KVirtualAudio"},
    {GUID_KELVO_GAMEPAD_TOOL, u"KelvoGamePad"},
    {GUID_KELVO_IDD_TOOL, u"KelvoIDD"},
}};

/// Writes "KelvoVarnelWardlet" and the braced GUID into `capacity` characters, NUL included. With too little room for
/// the prefix, or for the GUID behind it, what does not fit is left off. Null arguments do nothing.
void GenericSessionNameByGuid(const GUID* guid, char16_t* outName, std::uint32_t capacity);

/// The short name of a provider. 0; 87 for a null argument or a capacity of 0; 31 for a GUID that is not in the table,
/// with `outName` left as it was. A name that does not fit is cut.
std::uint32_t GetEtwProviderNameByGuid(const GUID* guid, char16_t* outName, std::uint32_t capacity);

}  // namespace varnel
