// Asserts, field by field, that the debugger engine's records are those of the system's headers. The engine is the
// system's own and fills them itself.
#include <cstddef>

#include "platform/debugger/types.h"
#include "platform/windows/border.h"
// After the system's own header.
#include <dbgeng.h>

namespace varnel::windows {
namespace {

#define SAME_SIZE(record) static_assert(sizeof(platform::record) == sizeof(::record))
#define SAME_PLACE(record, field, theirs)                                          \
  static_assert(offsetof(platform::record, field) == offsetof(::record, theirs) && \
                sizeof(platform::record::field) == sizeof(static_cast<::record*>(nullptr)->theirs))

SAME_SIZE(DEBUG_MODULE_PARAMETERS);
SAME_PLACE(DEBUG_MODULE_PARAMETERS, Base, Base);
SAME_PLACE(DEBUG_MODULE_PARAMETERS, Size, Size);
SAME_PLACE(DEBUG_MODULE_PARAMETERS, TimeDateStamp, TimeDateStamp);
SAME_PLACE(DEBUG_MODULE_PARAMETERS, Checksum, Checksum);
SAME_PLACE(DEBUG_MODULE_PARAMETERS, Flags, Flags);
SAME_PLACE(DEBUG_MODULE_PARAMETERS, SymbolType, SymbolType);
SAME_PLACE(DEBUG_MODULE_PARAMETERS, ImageNameSize, ImageNameSize);
SAME_PLACE(DEBUG_MODULE_PARAMETERS, ModuleNameSize, ModuleNameSize);
SAME_PLACE(DEBUG_MODULE_PARAMETERS, LoadedImageNameSize, LoadedImageNameSize);
SAME_PLACE(DEBUG_MODULE_PARAMETERS, SymbolFileNameSize, SymbolFileNameSize);
SAME_PLACE(DEBUG_MODULE_PARAMETERS, MappedImageNameSize, MappedImageNameSize);
SAME_PLACE(DEBUG_MODULE_PARAMETERS, Reserved, Reserved);

SAME_SIZE(DEBUG_STACK_FRAME);
SAME_PLACE(DEBUG_STACK_FRAME, InstructionOffset, InstructionOffset);
SAME_PLACE(DEBUG_STACK_FRAME, ReturnOffset, ReturnOffset);
SAME_PLACE(DEBUG_STACK_FRAME, FrameOffset, FrameOffset);
SAME_PLACE(DEBUG_STACK_FRAME, StackOffset, StackOffset);
SAME_PLACE(DEBUG_STACK_FRAME, FuncTableEntry, FuncTableEntry);
SAME_PLACE(DEBUG_STACK_FRAME, Params, Params);
SAME_PLACE(DEBUG_STACK_FRAME, Reserved, Reserved);
SAME_PLACE(DEBUG_STACK_FRAME, Virtual, Virtual);
SAME_PLACE(DEBUG_STACK_FRAME, FrameNumber, FrameNumber);

SAME_SIZE(DEBUG_VALUE);
SAME_PLACE(DEBUG_VALUE, I8, I8);
SAME_PLACE(DEBUG_VALUE, I16, I16);
SAME_PLACE(DEBUG_VALUE, I32, I32);
SAME_PLACE(DEBUG_VALUE, I64, I64);
SAME_PLACE(DEBUG_VALUE, RawBytes, RawBytes);
SAME_PLACE(DEBUG_VALUE, TailOfRawBytes, TailOfRawBytes);
SAME_PLACE(DEBUG_VALUE, Type, Type);

SAME_SIZE(DEBUG_REGISTER_DESCRIPTION);
SAME_PLACE(DEBUG_REGISTER_DESCRIPTION, Type, Type);
SAME_PLACE(DEBUG_REGISTER_DESCRIPTION, Flags, Flags);
SAME_PLACE(DEBUG_REGISTER_DESCRIPTION, SubregMaster, SubregMaster);
SAME_PLACE(DEBUG_REGISTER_DESCRIPTION, SubregLength, SubregLength);
SAME_PLACE(DEBUG_REGISTER_DESCRIPTION, SubregMask, SubregMask);
SAME_PLACE(DEBUG_REGISTER_DESCRIPTION, SubregShift, SubregShift);
SAME_PLACE(DEBUG_REGISTER_DESCRIPTION, Reserved0, Reserved0);

SAME_SIZE(MEMORY_BASIC_INFORMATION64);
SAME_PLACE(MEMORY_BASIC_INFORMATION64, BaseAddress, BaseAddress);
SAME_PLACE(MEMORY_BASIC_INFORMATION64, AllocationBase, AllocationBase);
SAME_PLACE(MEMORY_BASIC_INFORMATION64, AllocationProtect, AllocationProtect);
SAME_PLACE(MEMORY_BASIC_INFORMATION64, alignment1, __alignment1);
SAME_PLACE(MEMORY_BASIC_INFORMATION64, RegionSize, RegionSize);
SAME_PLACE(MEMORY_BASIC_INFORMATION64, State, State);
SAME_PLACE(MEMORY_BASIC_INFORMATION64, Protect, Protect);
SAME_PLACE(MEMORY_BASIC_INFORMATION64, Type, Type);
SAME_PLACE(MEMORY_BASIC_INFORMATION64, alignment2, __alignment2);

SAME_SIZE(VS_FIXEDFILEINFO);
SAME_PLACE(VS_FIXEDFILEINFO, dwSignature, dwSignature);
SAME_PLACE(VS_FIXEDFILEINFO, dwStrucVersion, dwStrucVersion);
SAME_PLACE(VS_FIXEDFILEINFO, dwFileVersionMS, dwFileVersionMS);
SAME_PLACE(VS_FIXEDFILEINFO, dwFileVersionLS, dwFileVersionLS);
SAME_PLACE(VS_FIXEDFILEINFO, dwProductVersionMS, dwProductVersionMS);
SAME_PLACE(VS_FIXEDFILEINFO, dwProductVersionLS, dwProductVersionLS);
SAME_PLACE(VS_FIXEDFILEINFO, dwFileFlagsMask, dwFileFlagsMask);
SAME_PLACE(VS_FIXEDFILEINFO, dwFileFlags, dwFileFlags);
SAME_PLACE(VS_FIXEDFILEINFO, dwFileOS, dwFileOS);
SAME_PLACE(VS_FIXEDFILEINFO, dwFileType, dwFileType);
SAME_PLACE(VS_FIXEDFILEINFO, dwFileSubtype, dwFileSubtype);
SAME_PLACE(VS_FIXEDFILEINFO, dwFileDateMS, dwFileDateMS);
SAME_PLACE(VS_FIXEDFILEINFO, dwFileDateLS, dwFileDateLS);

#undef SAME_PLACE
#undef SAME_SIZE

static_assert(sizeof(platform::X64_CONTEXT) == sizeof(::CONTEXT));
static_assert(offsetof(platform::X64_CONTEXT, ContextFlags) == offsetof(::CONTEXT, ContextFlags));
static_assert(offsetof(platform::X64_CONTEXT, Rip) == offsetof(::CONTEXT, Rip));

static_assert(platform::kDebugAnyId == DEBUG_ANY_ID);
static_assert(platform::kDebugClassKernel == DEBUG_CLASS_KERNEL);
static_assert(platform::kDebugSmallDump == DEBUG_KERNEL_SMALL_DUMP);
static_assert(platform::kDebugKernelDump == DEBUG_KERNEL_DUMP);
static_assert(platform::kDebugCompleteDump == DEBUG_KERNEL_FULL_DUMP);
static_assert(platform::kMachineX86 == IMAGE_FILE_MACHINE_I386);
static_assert(platform::kMachineArm == IMAGE_FILE_MACHINE_ARM);
static_assert(platform::kMachineX64 == IMAGE_FILE_MACHINE_AMD64);
static_assert(platform::kModuleNameImage == DEBUG_MODNAME_IMAGE);
static_assert(platform::kModuleNameModule == DEBUG_MODNAME_MODULE);
static_assert(platform::kModuleNameLoadedImage == DEBUG_MODNAME_LOADED_IMAGE);
static_assert(platform::kSymbolTypeDia == DEBUG_SYMTYPE_DIA);
static_assert(platform::kDebugValueInt32 == DEBUG_VALUE_INT32);
static_assert(platform::kDebugValueInt64 == DEBUG_VALUE_INT64);

}  // namespace
}  // namespace varnel::windows
