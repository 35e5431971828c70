// LoadedModule is the module as its host has it: the shared library, loaded by its exports, and the one tool object.
// The machine must stand in the environment before (EnterMachine): the module opens its log as it is loaded.
#pragma once

#include <memory>
#include <string>

#include "formats/result.h"
#include "interfaces/wardlet_tool.h"

namespace varnel::host {

/// The file in which the module logs, on the drive of its machine.
inline constexpr char kModuleLog[] = "C:\\ProgramData\\KelvoVarnels\\Log\\{4A234956-2B7D-4221-BADF-12593BD342A8}.txt";

class LoadedModule {
 public:
  /// Loads the library and makes the tool object. An Error names the file and what went wrong.
  static formats::Result<std::unique_ptr<LoadedModule>> Load(const std::string& path);

  /// Gives the tool object back and, if the module agrees, unloads the library. A started tool must have been stopped.
  ~LoadedModule();
  LoadedModule(const LoadedModule&) = delete;
  LoadedModule& operator=(const LoadedModule&) = delete;

  /// Both are the one object; they live as long as this.
  WardletToolInterface* tool() const { return tool_; }
  VarnelDefaultInterface* defaults() const { return defaults_; }

 private:
  explicit LoadedModule(void* library) : library_(library) {}
  formats::Status MakeTool(const std::string& path);

  void* const library_;
  WardletToolInterface* tool_ = nullptr;
  VarnelDefaultInterface* defaults_ = nullptr;
};

/// Where the module stands: the file that VARNEL_MODULE names, else beside the program, else where the build leaves it.
std::string FindModule();

/// A 32-bit status as the module's log shows it: "0x90000000".
std::string StatusText(std::uint32_t status);

}  // namespace varnel::host
