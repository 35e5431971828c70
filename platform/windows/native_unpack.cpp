#include "platform/windows/native_unpack.h"

#include <memory>
#include <new>

#include "platform/windows/border.h"

namespace varnel::windows {
namespace {

constexpr std::uint32_t kStatusUnsupportedCompression = 0xC000025F;
constexpr std::uint32_t kStatusNoMemory = 0xC0000017;

using DecompressFunction = std::uint32_t(WINAPI*)(USHORT, void*, ULONG, const void*, ULONG, ULONG*);
using DecompressExFunction = std::uint32_t(WINAPI*)(USHORT, void*, ULONG, const void*, ULONG, ULONG*, void*);
using WorkspaceSizeFunction = std::uint32_t(WINAPI*)(USHORT, ULONG*, ULONG*);

// ntdll.dll is in every process; older ones lack the call with a workspace.
template <class Function>
Function Find(const char* name) {
  return AsFunction<Function>(::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), name));
}

}  // namespace

std::uint32_t NativeUnpack(std::uint16_t format, void* out, std::uint32_t out_size, const void* in,
                           std::uint32_t in_size, std::uint32_t* final_size) {
  // Huffman coding wants a workspace, which the plain call has no room for; the other packings take either call.
  static const auto decompress_ex = Find<DecompressExFunction>("RtlDecompressBufferEx");
  static const auto workspace_size = Find<WorkspaceSizeFunction>("RtlGetCompressionWorkSpaceSize");
  ULONG compress_size = 0;
  ULONG fragment_size = 0;
  if (decompress_ex == nullptr || workspace_size == nullptr) {
    static const auto decompress = Find<DecompressFunction>("RtlDecompressBuffer");
    if (decompress == nullptr) return kStatusUnsupportedCompression;
    return decompress(format, out, out_size, in, in_size, Across<ULONG>(final_size));
  }
  const std::uint32_t status = workspace_size(format, &compress_size, &fragment_size);
  if (status != 0) return status;
  const std::unique_ptr<char[]> workspace(new (std::nothrow) char[compress_size + fragment_size + 1]);
  if (workspace == nullptr) return kStatusNoMemory;
  return decompress_ex(format, out, out_size, in, in_size, Across<ULONG>(final_size), workspace.get());
}

}  // namespace varnel::windows
