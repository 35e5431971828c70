// The debugger engine: its interfaces, under the platform's own names and with every method in the platform's slot, so
// that a pointer from the system's engine is used as it is. A newer interface repeats the slots of the one before it
// and adds its own, which here is inheritance.
//
// An engine instance is made by DebugCreate, which a library gives by name (System::LoadLibraryW, GetProcAddress).
// Each interface pointer is counted; the instance ends with the last of them, and before its library is freed. Texts
// and buffers that are passed in are borrowed for the call; those passed out are the caller's own. An output that a
// failed call does not fill is left as it was. The platform's own engine wants all calls of an instance to come from
// one thread; an engine of ours takes them from any.
#pragma once

#include "platform/debugger/advanced.h"
#include "platform/debugger/client.h"
#include "platform/debugger/control.h"
#include "platform/debugger/data_spaces.h"
#include "platform/debugger/registers.h"
#include "platform/debugger/symbols.h"
#include "platform/debugger/system_objects.h"
#include "platform/debugger/types.h"

namespace varnel::platform {

/// The type of the library's "DebugCreate": a counted pointer to the interface, or a failure.
using DebugCreateFunction = HRESULT (*)(const GUID& id, void** object);

// The identifiers by which the module asks for its interfaces.
inline constexpr GUID kIidDebugClient = {0x27FE5639, 0x8407, 0x4F47, {0x83, 0x64, 0xEE, 0x11, 0x8F, 0xB0, 0x8A, 0xC8}};
inline constexpr GUID kIidDebugClient4 = {0xCA83C3DE, 0x5089, 0x4CF8, {0x93, 0xC8, 0xD8, 0x92, 0x38, 0x7F, 0x2A, 0x5E}};
inline constexpr GUID kIidDebugControl = {0x5182E668, 0x105E, 0x416E, {0xAD, 0x92, 0x24, 0xEF, 0x80, 0x04, 0x24, 0xBA}};
inline constexpr GUID kIidDebugControl4 = {
    0x94E60CE9, 0x9B41, 0x4B19, {0x9F, 0xC0, 0x6D, 0x9E, 0xB3, 0x52, 0x72, 0xB3}};
inline constexpr GUID kIidDebugSymbols3 = {
    0xF02FBECC, 0x50AC, 0x4F36, {0x9A, 0xD9, 0xC9, 0x75, 0xE8, 0xF3, 0x2F, 0xF8}};
inline constexpr GUID kIidDebugSystemObjects = {
    0x6B86FE2C, 0x2C4F, 0x4F0C, {0x9D, 0xA2, 0x17, 0x43, 0x11, 0xAC, 0xC3, 0x27}};
inline constexpr GUID kIidDebugDataSpaces = {
    0x88F7DFAB, 0x3EA7, 0x4C3A, {0xAE, 0xFB, 0xC4, 0xE8, 0x10, 0x61, 0x73, 0xAA}};
/// By this identifier an engine gives the newest of the four data interfaces, which begins with the slots of
/// IDebugDataSpaces2; the platform's header names it after the fourth.
inline constexpr GUID kIidDebugDataSpaces2 = {
    0xD98ADA1F, 0x29E9, 0x4EF5, {0xA6, 0xC0, 0xE5, 0x33, 0x49, 0x88, 0x32, 0x12}};
inline constexpr GUID kIidDebugRegisters = {
    0xCE289126, 0x9E84, 0x45A7, {0x93, 0x7E, 0x67, 0xBB, 0x18, 0x69, 0x14, 0x93}};
inline constexpr GUID kIidDebugAdvanced = {
    0xF2DF5F53, 0x071F, 0x47BD, {0x9D, 0xE6, 0x57, 0x34, 0xC3, 0xFE, 0xD6, 0x89}};

}  // namespace varnel::platform
