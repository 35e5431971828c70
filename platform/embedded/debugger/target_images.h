// TargetImages answers what the images of a target's modules tell, as far as their pages are in the dump: names of
// exported functions, version resources. Keeps the tables of the modules that were asked about last. What it is made of
// must outlive it. One thread at a time.
#pragma once

#include <map>
#include <string_view>

#include "formats/pe/function_name.h"
#include "formats/pe/pe_version.h"
#include "platform/embedded/debugger/target_modules.h"

namespace varnel::embedded {

class TargetImages {
 public:
  explicit TargetImages(const formats::AddressSpace& memory) : memory_(&memory) {}

  /// Whether the image's export table is there.
  bool HasExports(const TargetModule& module);
  /// The exported function that holds an address of the module, as formats::NameFunction proves it.
  formats::PeLookup<formats::FunctionName> NameOf(const TargetModule& module, std::uint64_t address);
  /// An item of the version resource: "\", "\StringFileInfo\040904B0\FileVersion".
  formats::PeLookup<formats::PeVersionValue> VersionItem(const TargetModule& module, std::u16string_view item);

 private:
  struct Tables {
    formats::PeImage image;
    formats::PeLookup<formats::PeExports> exports;
    formats::PeLookup<formats::PeFunctions> functions;
  };

  const Tables* TablesOf(const TargetModule& module);

  const formats::AddressSpace* const memory_;
  std::map<std::uint64_t, formats::PeLookup<Tables>> kept_;  // by base
};

}  // namespace varnel::embedded
