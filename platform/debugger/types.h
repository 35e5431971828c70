// The debugger engine's records and numbers, as the interfaces beside this file pass them. Layouts are those of the
// 64-bit engine; addresses of the target have 64 bits. Wide text is UTF-16; narrow text that the engine gives is UTF-8
// unless a call says otherwise.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/debugger/unknown.h"
#include "platform/system.h"

namespace varnel::platform {

using BOOL = std::int32_t;

/// An index or id that stands for none in particular.
inline constexpr std::uint32_t kDebugAnyId = ~0u;

// Classes of a target, and what kind of dump a kernel's dump is.
inline constexpr std::uint32_t kDebugClassKernel = 1;
inline constexpr std::uint32_t kDebugSmallDump = 1024;
inline constexpr std::uint32_t kDebugKernelDump = 1025;
inline constexpr std::uint32_t kDebugCompleteDump = 1026;
inline constexpr std::uint32_t kDebugActiveDump = 1030;

// Machines, as the engine and image headers number them.
inline constexpr std::uint32_t kMachineX86 = 332;
inline constexpr std::uint32_t kMachineArm = 448;
inline constexpr std::uint32_t kMachineX64 = 34404;
inline constexpr std::uint32_t kMachineArm64 = 43620;

// Which name GetModuleNameString gives.
inline constexpr std::uint32_t kModuleNameImage = 0;
inline constexpr std::uint32_t kModuleNameModule = 1;
inline constexpr std::uint32_t kModuleNameLoadedImage = 2;

// Symbol options, a mask.
inline constexpr std::uint32_t kSymoptCaseInsensitive = 0x1;
inline constexpr std::uint32_t kSymoptUndname = 0x2;
inline constexpr std::uint32_t kSymoptDeferredLoads = 0x4;
inline constexpr std::uint32_t kSymoptLoadLines = 0x10;
inline constexpr std::uint32_t kSymoptLoadAnything = 0x40;
inline constexpr std::uint32_t kSymoptFailCriticalErrors = 0x200;
inline constexpr std::uint32_t kSymoptExactSymbols = 0x400;
inline constexpr std::uint32_t kSymoptAutoPublics = 0x10000;
inline constexpr std::uint32_t kSymoptNoImageSearch = 0x20000;
inline constexpr std::uint32_t kSymoptNoPrompts = 0x80000;
inline constexpr std::uint32_t kSymoptDebug = 0x80000000;

/// DEBUG_MODULE_PARAMETERS::SymbolType of symbols that came from a program database.
inline constexpr std::uint32_t kSymbolTypeDia = 7;

// Types of a DEBUG_VALUE.
inline constexpr std::uint32_t kDebugValueInt32 = 3;
inline constexpr std::uint32_t kDebugValueInt64 = 4;

/// Name sizes hold the NUL. An unknown module has a Base of all ones.
struct DEBUG_MODULE_PARAMETERS {
  std::uint64_t Base;
  std::uint32_t Size;
  std::uint32_t TimeDateStamp;
  std::uint32_t Checksum;
  std::uint32_t Flags;
  std::uint32_t SymbolType;
  std::uint32_t ImageNameSize;
  std::uint32_t ModuleNameSize;
  std::uint32_t LoadedImageNameSize;
  std::uint32_t SymbolFileNameSize;
  std::uint32_t MappedImageNameSize;
  std::uint64_t Reserved[2];
};
static_assert(sizeof(DEBUG_MODULE_PARAMETERS) == 64 && offsetof(DEBUG_MODULE_PARAMETERS, Reserved) == 48);

struct DEBUG_STACK_FRAME {
  std::uint64_t InstructionOffset;
  std::uint64_t ReturnOffset;
  std::uint64_t FrameOffset;
  std::uint64_t StackOffset;
  std::uint64_t FuncTableEntry;
  std::uint64_t Params[4];
  std::uint64_t Reserved[6];
  BOOL Virtual;
  std::uint32_t FrameNumber;
};
static_assert(sizeof(DEBUG_STACK_FRAME) == 128 && offsetof(DEBUG_STACK_FRAME, Virtual) == 120);

struct DEBUG_VALUE {
  union {
    std::uint8_t I8;
    std::uint16_t I16;
    std::uint32_t I32;
    std::uint64_t I64;
    std::uint8_t RawBytes[24];
  };
  std::uint32_t TailOfRawBytes;
  std::uint32_t Type;
};
static_assert(sizeof(DEBUG_VALUE) == 32 && offsetof(DEBUG_VALUE, Type) == 28);

struct DEBUG_REGISTER_DESCRIPTION {
  std::uint32_t Type;
  std::uint32_t Flags;
  std::uint32_t SubregMaster;
  std::uint32_t SubregLength;
  std::uint64_t SubregMask;
  std::uint32_t SubregShift;
  std::uint32_t Reserved0;
};
static_assert(sizeof(DEBUG_REGISTER_DESCRIPTION) == 32);

struct alignas(16) MEMORY_BASIC_INFORMATION64 {
  std::uint64_t BaseAddress;
  std::uint64_t AllocationBase;
  std::uint32_t AllocationProtect;
  std::uint32_t alignment1;
  std::uint64_t RegionSize;
  std::uint32_t State;
  std::uint32_t Protect;
  std::uint32_t Type;
  std::uint32_t alignment2;
};
static_assert(sizeof(MEMORY_BASIC_INFORMATION64) == 48 && alignof(MEMORY_BASIC_INFORMATION64) == 16 &&
              offsetof(MEMORY_BASIC_INFORMATION64, Protect) == 36);

/// What the version resource's block "\" holds.
struct VS_FIXEDFILEINFO {
  std::uint32_t dwSignature;  // kFixedFileInfoSignature
  std::uint32_t dwStrucVersion;
  std::uint32_t dwFileVersionMS;
  std::uint32_t dwFileVersionLS;
  std::uint32_t dwProductVersionMS;
  std::uint32_t dwProductVersionLS;
  std::uint32_t dwFileFlagsMask;
  std::uint32_t dwFileFlags;
  std::uint32_t dwFileOS;
  std::uint32_t dwFileType;
  std::uint32_t dwFileSubtype;
  std::uint32_t dwFileDateMS;
  std::uint32_t dwFileDateLS;
};
static_assert(sizeof(VS_FIXEDFILEINFO) == 52);
inline constexpr std::uint32_t kFixedFileInfoSignature = 0xFEEF04BD;

/// An x64 thread's context, as far as it is read by name.
struct alignas(16) X64_CONTEXT {
  std::uint64_t HomeParameters[6];
  std::uint32_t ContextFlags;
  std::uint8_t Between[0xF8 - 0x34];
  std::uint64_t Rip;
  std::uint8_t Rest[1232 - 0x100];
};
static_assert(sizeof(X64_CONTEXT) == 1232 && offsetof(X64_CONTEXT, ContextFlags) == 0x30 &&
              offsetof(X64_CONTEXT, Rip) == 0xF8);
/// ContextFlags: control, integer and floating point registers.
inline constexpr std::uint32_t kContextFull = 0x10000B;

// Passed through by pointer only.
struct DEBUG_BREAKPOINT_PARAMETERS;
struct DEBUG_EXCEPTION_FILTER_PARAMETERS;
struct DEBUG_MODULE_AND_ID;
struct DEBUG_OFFSET_REGION;
struct DEBUG_SPECIFIC_FILTER_PARAMETERS;
struct DEBUG_SYMBOL_ENTRY;
struct DEBUG_SYMBOL_SOURCE_ENTRY;
struct IMAGE_NT_HEADERS64;
class IDebugBreakpoint;
class IDebugBreakpoint2;
class IDebugEventCallbacks;
class IDebugInputCallbacks;
class IDebugOutputCallbacks;
class IDebugSymbolGroup;
class IDebugSymbolGroup2;

}  // namespace varnel::platform
