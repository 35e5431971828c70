// wardlet install, uninstall, version: the calls of the module's default interface.
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>

#include "CLI/CLI.hpp"
#include "formats/text_encoding.h"
#include "host/exit_code.h"
#include "host/loaded_module.h"
#include "host/program.h"
#include "host/report.h"
#include "host/surroundings.h"
#include "host/text_output.h"

namespace varnel::host {
namespace {

struct InstallOptions {
  std::string machine;
  std::string source = "C:\\Program Files\\Varnel\\Setup";
};

// Loads the module on a machine, does one call, and tells a status that is no success.
int WithModule(const std::string& asked_machine, const std::function<std::uint32_t(LoadedModule&)>& call) {
  const auto surroundings = Surroundings::Enter(asked_machine);
  if (!surroundings.ok()) return Fail(surroundings.error().message);
  const auto module = LoadedModule::Load(FindModule());
  if (!module.ok()) return Fail(module.error().message);
  const std::uint32_t status = call(*module.value());
  if (status != VNSTAT_SUCCESS)
    return Fail("failed (" + StatusText(status) + "): at the end of " + kModuleLog + " the module's log tells more");
  return kExitGood;
}

int Install(const InstallOptions& options) {
  const std::u16string source = formats::Utf8ToUtf16(options.source);
  const auto* folder = reinterpret_cast<const VarnelWideChar*>(source.c_str());
  return WithModule(options.machine,
                    [folder](LoadedModule& module) { return module.defaults()->InstallVarnel(folder); });
}

int Uninstall(const InstallOptions& options) {
  return WithModule(options.machine, [](LoadedModule& module) { return module.defaults()->UninstallVarnel(); });
}

// A version is asked of the module alone; it needs no machine.
int Version() {
  const std::string path = FindModule();
  const auto module = LoadedModule::Load(path);
  if (!module.ok()) return Fail(module.error().message);
  VarnelVersionInfo info{};
  info.dwSize = sizeof info;
  const std::uint32_t status = module.value()->defaults()->GetVarnelVersion(&info);
  if (status != VNSTAT_SUCCESS) return Fail(path + ": tells no version (" + StatusText(status) + ")");
  char text[64];
  const int size = std::snprintf(text, sizeof text, "VarnelWardlet %u.%u.%u.%u\n", unsigned{info.wMajor},
                                 unsigned{info.wMinor}, unsigned{info.wBuild}, unsigned{info.wRevision});
  // Not through the C library's own stream, which on Windows takes everything where there is no standard output.
  if (WriteWhole(STDOUT_FILENO, {text, static_cast<std::size_t>(size)})) return kExitGood;
  return Fail(std::string("standard output: ") + std::strerror(errno));
}

void AddInstall(CLI::App* program, Choice* choice) {
  auto options = std::make_shared<InstallOptions>();
  CLI::App* install = program->add_subcommand("install", "Registers the module's trace session with a machine");
  Surroundings::AddOption(install, &options->machine);
  install
      ->add_option("SOURCE", options->source,
                   "The machine's folder that holds symsrv.dll and symsrv.yes, as a Windows path")
      ->type_name("")
      ->capture_default_str();
  install->footer(
      "From the next boot on the machine's own trace session records the seven providers; until then a temporary one\n"
      "does, which is started now. A second installation is harmless.\n"
      "\n"
      "Examples:\n"
      "  wardlet install" +
      ExampleChoice() + "\n  wardlet install" + ExampleChoice() + " 'C:\\Setup'");
  SetAction(install, choice, [options] { return Install(*options); });
}

void AddUninstall(CLI::App* program, Choice* choice) {
  auto options = std::make_shared<InstallOptions>();
  CLI::App* uninstall = program->add_subcommand("uninstall", "Removes that registration");
  Surroundings::AddOption(uninstall, &options->machine);
  uninstall->footer(
      "A session that runs goes on until the next boot; trace files and the positions of the consumers stay.\n"
      "\n"
      "Examples:\n"
      "  wardlet uninstall" +
      ExampleChoice());
  SetAction(uninstall, choice, [options] { return Uninstall(*options); });
}

}  // namespace

void AddInstallCommands(CLI::App* program, Choice* choice) {
  AddInstall(program, choice);
  AddUninstall(program, choice);
  CLI::App* version = program->add_subcommand("version", "Asks the module for its version");
  version->footer(
      "\"wardlet --version\" tells the program's own.\n"
      "\n"
      "Examples:\n"
      "  wardlet version                                    VarnelWardlet 1.0.2.28");
  SetAction(version, choice, &Version);
}

}  // namespace varnel::host
