#include "tool/install.h"

#include <array>

#include "analyzer/bsod_install_config.h"
#include "base/file_services.h"
#include "base/log.h"
#include "base/registry_services.h"
#include "base/text.h"
#include "interfaces/wardlet_tool.h"
#include "platform/types.h"
#include "session/autologger.h"
#include "session/provider_table.h"
#include "session/temp_session.h"

namespace varnel {
namespace {

using PathText = std::array<char16_t, kMaxPath>;

std::uint32_t EnsureSessionForInstall() {
  PathText session_name{};
  PathText log_path{};
  GenericSessionNameByGuid(&GUID_WARDLET_TOOL, session_name.data(), session_name.size());
  if (CheckTraceSessionExists(session_name.data(), log_path.data(), log_path.size()) != 0) return 0;
  WrapLogPrint(LOG_ERROR,
               u"InstallVarnel func call CheckTraceSessionExists session(%s) not exist, need create temp session.\r\n",
               session_name.data());
  // The handle is dropped: the session runs on after the call.
  platform::TRACEHANDLE session = 0;
  const std::uint32_t error = CreateTempSession(&session);
  if (error != 0) WrapLogPrint(LOG_ERROR, u"InstallVarnel func call CreateTempSession failed(0x%x)!\r\n", error);
  return error;
}

std::uint32_t ModuleFolder(PathText* folder) {
  const auto error = static_cast<std::uint32_t>(
      GetVarnelFullPathByGuid(&GUID_WARDLET_TOOL, folder->data(), static_cast<std::uint32_t>(folder->size())));
  if (error != 0) {
    WrapLogPrint(LOG_ERROR, u"EtwConsumerStart func call GetVarnelFullPathByGuid failed!\r\n");
    return error;
  }
  auto* begin = folder->data();
  auto* end = begin + TextLength(begin);
  while (end != begin && *end != u'\\') --end;
  *end = u'\0';
  return 0;
}

// A present file with the same content is left untouched. The comparison needs the source: without it a copy is tried.
std::uint32_t PlaceFile(const char16_t* source_folder, const char16_t* module_folder, const char16_t* name) {
  std::uint32_t bFileExist = 0;
  std::uint32_t bMd5Same = 0;
  CompareFileInDirs(source_folder, module_folder, name, &bFileExist, &bMd5Same);
  if (bFileExist != 0 && bMd5Same != 0) return 0;
  const auto error = static_cast<std::uint32_t>(WrapCopyFile(source_folder, module_folder, name, 0));
  if (error != 0) {
    WrapLogPrint(LOG_ERROR,
                 u"EtwConsumerStart func bFileExist(%d) bMd5Same(%d) call WrapCopyVarnelsFile(%s) failed(0x%x)!\r\n",
                 bFileExist, bMd5Same, name, error);
  }
  return error;
}

std::uint32_t PlaceFiles(const char16_t* source_folder) {
  PathText module_folder{};
  std::uint32_t error = ModuleFolder(&module_folder);
  if (error != 0) return error;
  error = PlaceFile(source_folder, module_folder.data(), u"symsrv.dll");
  if (error != 0) return error;
  return PlaceFile(source_folder, module_folder.data(), u"symsrv.yes");
}

std::uint32_t Install(const char16_t* source_folder) {
  std::uint32_t result = 0;
  if (EtwConsumerInstall() != 0) {
    // The line shows the result, which is still 0, and so does the host: the registration has been rolled back.
    WrapLogPrint(LOG_ERROR, u"InstallVarnel func call EtwAutoLoggerInstall failed(0x%x)!\r\n", result);
    return result;
  }
  result = EnsureSessionForInstall();
  if (result != 0) return result;
  result = PlaceFiles(source_folder);
  if (result != 0) return result;
  PathText product{};
  GuidToText(GUID_WARDLET_TOOL, product.data());
  const auto config_error = static_cast<std::uint32_t>(SetBsodInstallConfig(product.data()));
  if (config_error != 0) {
    WrapLogPrint(LOG_INFO, u"InstallVarnel func call SetBsodInstallConfig hRes(0x%x) not S_OK.\r\n", config_error);
    return result;
  }
  FlushMachineHives();
  return 0;
}

}  // namespace

std::uint32_t InstallVarnel(const char16_t* sourceFolder) {
  const std::uint32_t result = Install(sourceFolder);
  WrapLogPrint(LOG_INFO, u"InstallVarnel func return(0x%x).\r\n", result);
  return result;
}

std::uint32_t UninstallVarnel() {
  const std::uint32_t result = EtwAutoLoggerUninstall();
  WrapLogPrint(LOG_INFO, u"UninstallVarnel func return(0x%x).\r\n", result);
  return result;
}

}  // namespace varnel
