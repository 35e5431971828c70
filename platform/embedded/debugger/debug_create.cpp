#include "platform/embedded/debugger/debug_create.h"

#include <new>

#include "platform/embedded/debugger/dump_engine.h"
#include "platform/embedded/debugger/dump_file.h"
#include "platform/platform.h"

namespace varnel::embedded {
namespace {

DumpEngine* NewEngine() noexcept {
  platform::Files* const files = &platform::FilesPort();
  platform::System* const system = &platform::SystemPort();
  try {
    return new DumpEngine([files, system](const char16_t* path, std::shared_ptr<const formats::DumpSource>* source) {
      return OpenDump(files, system, path, source);
    });
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace

platform::HRESULT DebugCreate(const GUID& id, void** object) {
  if (object == nullptr) return results::kPointer;
  *object = nullptr;
  DumpEngine* const engine = NewEngine();
  if (engine == nullptr) return results::kOutOfMemory;
  const platform::HRESULT result = engine->QueryInterface(id, object);
  engine->Release();  // the maker's own reference
  return result;
}

void AddDebuggerEngine(LibraryTable* libraries) {
  libraries->AddProcedure(u"dbgeng.dll", "DebugCreate", reinterpret_cast<platform::Procedure>(&DebugCreate));
}

}  // namespace varnel::embedded
