// What a new machine consists of: the folders and stand-in files of its drive, and its registry. For the tools; the
// module finds all of it made. One thread.
#pragma once

#include <memory>
#include <string>

#include "formats/result.h"
#include "platform/embedded/core/machine.h"

namespace varnel::embedded {

/// Makes a whole machine in a folder that is not there or empty. On failure what was made is removed again; a folder
/// that held something is left as it was. @return an Error that names the place and the reason.
formats::Result<std::shared_ptr<Machine>> NewMachine(const std::string& root);

/// Where things stand on a new machine.
inline constexpr char16_t kModulePath[] = u"C:\\Program Files\\Varnel\\Wardlet\\VarnelWardlet.dll";
inline constexpr char16_t kHostPath[] = u"C:\\Program Files\\Varnel\\Host\\wardlet.exe";
inline constexpr char16_t kSetupFolder[] = u"C:\\Program Files\\Varnel\\Setup";

}  // namespace varnel::embedded
