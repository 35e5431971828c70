// Where things stand in the kernel's records of the simulated machine, in bytes: those that the debugger data block
// tells a dump's readers, and those that readers take from type information.
#pragma once

#include <cstdint>

namespace varnel::embedded {

// The processor's control region and the processor block inside of it.
inline constexpr std::uint16_t kPcrSelf = 0x18;
inline constexpr std::uint16_t kPcrCurrentPrcb = 0x20;
inline constexpr std::uint16_t kPcrContainedPrcb = 0x180;
inline constexpr std::uint16_t kPrcbSize = 0x9000;
inline constexpr std::uint16_t kPcrSize = kPcrContainedPrcb + kPrcbSize;
inline constexpr std::uint16_t kPrcbCurrentThread = 0x08;
inline constexpr std::uint16_t kPrcbNumber = 0x24;
inline constexpr std::uint16_t kPrcbCpuType = 0x40;
inline constexpr std::uint16_t kPrcbMegahertz = 0x44;
inline constexpr std::uint16_t kPrcbSpecialRegisters = 0x100;
inline constexpr std::uint16_t kPrcbContextFrame = 0x1F0;
inline constexpr std::uint16_t kPrcbContext = 0x8540;  // a pointer
inline constexpr std::uint16_t kPrcbVendor = 0x8590;
inline constexpr std::uint16_t kPrcbPcrPage = 0x8600;
inline constexpr std::uint16_t kSpecialCr0 = 0x00;
inline constexpr std::uint16_t kSpecialCr3 = 0x10;
inline constexpr std::uint16_t kSpecialCr4 = 0x18;
inline constexpr std::uint16_t kSpecialCr8 = 0xA0;

// A thread and a process.
inline constexpr std::uint16_t kThreadSize = 0x898;
inline constexpr std::uint16_t kThreadInitialStack = 0x28;
inline constexpr std::uint16_t kThreadStackLimit = 0x30;
inline constexpr std::uint16_t kThreadStackBase = 0x38;
inline constexpr std::uint16_t kThreadKernelStack = 0x58;
inline constexpr std::uint16_t kThreadApcProcess = 0xB8;
inline constexpr std::uint16_t kThreadTeb = 0xF0;
inline constexpr std::uint16_t kThreadState = 0x184;
inline constexpr std::uint16_t kThreadNextProcessor = 0x218;
inline constexpr std::uint16_t kThreadProcess = 0x220;
inline constexpr std::uint16_t kThreadWaitReason = 0x283;
inline constexpr std::uint16_t kThreadClientId = 0x478;
inline constexpr std::uint16_t kProcessSize = 0xA40;
inline constexpr std::uint16_t kProcessDirectoryTableBase = 0x28;
inline constexpr std::uint16_t kProcessId = 0x440;
inline constexpr std::uint16_t kProcessLinks = 0x448;
inline constexpr std::uint16_t kProcessCreateTime = 0x468;
inline constexpr std::uint16_t kProcessParentId = 0x540;
inline constexpr std::uint16_t kProcessPeb = 0x550;
inline constexpr std::uint16_t kProcessImageName = 0x5A8;  // 15 characters

// A loaded module's record. A small dump keeps its first 0x88 bytes.
inline constexpr std::uint16_t kModuleSize = 0xA0;
inline constexpr std::uint16_t kModuleKept = 0x88;
inline constexpr std::uint16_t kModuleExceptionTable = 0x10;
inline constexpr std::uint16_t kModuleExceptionSize = 0x18;
inline constexpr std::uint16_t kModuleBase = 0x30;
inline constexpr std::uint16_t kModuleEntry = 0x38;
inline constexpr std::uint16_t kModuleImageSize = 0x40;
inline constexpr std::uint16_t kModuleFullName = 0x48;
inline constexpr std::uint16_t kModuleBaseName = 0x58;
inline constexpr std::uint16_t kModuleFlags = 0x68;
inline constexpr std::uint16_t kModuleLoadCount = 0x6C;
inline constexpr std::uint16_t kModuleChecksum = 0x78;
inline constexpr std::uint16_t kModuleTimeStamp = 0x80;

// The ring of unloaded drivers.
inline constexpr std::uint16_t kUnloadedSize = 0x28;
inline constexpr std::uint16_t kUnloadedBegin = 0x10;
inline constexpr std::uint16_t kUnloadedEnd = 0x18;
inline constexpr std::uint16_t kUnloadedTime = 0x20;
inline constexpr std::uint16_t kUnloadedRoom = 50;

}  // namespace varnel::embedded
