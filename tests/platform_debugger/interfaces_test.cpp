// Holds the declared slots to the header of the cross compiler's own system, where that is installed: the same
// interfaces, the same methods in the same order, the same parameter types.
#include <gtest/gtest.h>

#include <cctype>
#include <cstring>
#include <fstream>
#include <map>
#include <regex>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "newer_slots.h"
#include "platform/debugger/engine.h"

namespace varnel::platform {
namespace {

constexpr const char* kSystemHeader = "/usr/x86_64-w64-mingw32/include/dbgeng.h";

struct Method {
  std::string name;
  std::vector<std::string> types;
};
using Methods = std::vector<Method>;
using Interfaces = std::map<std::string, Methods>;

std::string ReadText(const std::string& path) {
  std::ifstream file(path);
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

/// Records and interfaces by one spelling: one header has a name in capitals for a pointer to either.
std::string PlainRecord(const std::string& name) {
  std::string plain;
  for (const char c : name.starts_with("IDebug") ? name.substr(1) : name) {
    if (c != '_') plain.push_back(static_cast<char>(std::toupper(static_cast<unsigned char>(c))));
  }
  return plain;
}

/// The type of a parameter as both headers spell it in the end; the name goes.
std::string TypeOf(std::string parameter) {
  static const std::map<std::string, std::string> kSpellings = {{"PCSTR", "const char*"},
                                                                {"PSTR", "char*"},
                                                                {"PCWSTR", "const char16_t*"},
                                                                {"PWSTR", "char16_t*"},
                                                                {"ULONG", "uint32_t"},
                                                                {"ULONG64", "uint64_t"},
                                                                {"LONG", "int32_t"},
                                                                {"WINBOOL", "BOOL"},
                                                                {"PBOOL", "BOOL*"},
                                                                {"PULONG", "uint32_t*"},
                                                                {"PULONG64", "uint64_t*"},
                                                                {"PVOID", "void*"},
                                                                {"FARPROC*", "Procedure*"},
                                                                {"LPGUID", "GUID*"},
                                                                {"PWINDBG_EXTENSION_APIS32", "void*"},
                                                                {"PWINDBG_EXTENSION_APIS64", "void*"}};
  parameter = std::regex_replace(parameter, std::regex(R"(\bstd::|\bTHIS_|\bTHIS\b)"), "");
  parameter = std::regex_replace(parameter, std::regex(R"(^\s+|\s+$)"), "");
  if (parameter.empty() || parameter == "...") return parameter;
  parameter = std::regex_replace(parameter, std::regex(R"(\s*\*)"), "* ");
  parameter = std::regex_replace(parameter, std::regex(R"(\* +(?=\*))"), "*");
  parameter = std::regex_replace(parameter, std::regex(R"(\s*\w+\s*$)"), "");
  parameter = std::regex_replace(parameter, std::regex(R"(\s+$)"), "");
  if (const auto found = kSpellings.find(parameter); found != kSpellings.end()) return found->second;
  if (parameter.starts_with("PMEMORY_") || parameter.starts_with("PIMAGE_")) return parameter.substr(1) + "*";
  if (parameter.starts_with("PDEBUG_")) return PlainRecord(parameter.substr(1) + "*");
  if (parameter.starts_with("IDebug") || parameter.starts_with("DEBUG_")) return PlainRecord(parameter);
  return parameter;
}

std::vector<std::string> TypesOf(const std::string& parameters) {
  std::vector<std::string> types;
  std::stringstream list(parameters);
  for (std::string one; std::getline(list, one, ',');) {
    if (std::string type = TypeOf(one); !type.empty()) types.push_back(type);
  }
  return types;
}

Methods MethodsOf(const std::string& body, const std::regex& pattern) {
  Methods methods;
  for (std::sregex_iterator at(body.begin(), body.end(), pattern), end; at != end; ++at) {
    methods.push_back({(*at)[1], TypesOf((*at)[2])});
  }
  return methods;
}

/// Every interface of the system's header with all of its slots.
Interfaces SystemInterfaces() {
  static const std::regex kInterface(R"(DECLARE_INTERFACE_\((IDebug\w+),\s*IUnknown\)\s*\{([^}]*)\})");
  static const std::regex kMethod(R"(STDMETHODV?_?\((?:ULONG,)?(\w+)\)\s*\(([^)]*)\))");
  const std::string text = ReadText(kSystemHeader);
  Interfaces interfaces;
  for (std::sregex_iterator at(text.begin(), text.end(), kInterface), end; at != end; ++at) {
    interfaces[(*at)[1]] = MethodsOf((*at)[2], kMethod);
  }
  return interfaces;
}

/// Ours, with the slots of the interface that each one goes on from in front.
Interfaces OwnInterfaces() {
  static const std::regex kInterface(R"(class (I\w+)(?: : public (I\w+))? \{([^}]*)\};)");
  static const std::regex kMethod(R"(virtual [\w:]+ (\w+)\(([^)]*)\) = 0;)");
  static const std::regex kComment(R"(//[^\n]*)");
  Interfaces interfaces;
  for (const char* name :
       {"unknown", "advanced", "client", "control", "data_spaces", "registers", "symbols", "system_objects"}) {
    const std::string text =
        std::regex_replace(ReadText(std::string(VARNEL_SOURCE_DIR "/platform/debugger/") + name + ".h"), kComment, "");
    for (std::sregex_iterator at(text.begin(), text.end(), kInterface), end; at != end; ++at) {
      Methods methods = interfaces[(*at)[2]];
      const Methods own = MethodsOf((*at)[3], kMethod);
      methods.insert(methods.end(), own.begin(), own.end());
      interfaces[(*at)[1]] = methods;
    }
  }
  return interfaces;
}

/// The same slot under one of the two names that headers give it.
std::string PlainName(const std::string& name) {
  if (name == "OutputServer") return "OutputServers";
  return name == "GetSpecificEventFilterArgument"   ? "GetSpecificFilterArgument"
         : name == "SetSpecificEventFilterArgument" ? "SetSpecificFilterArgument"
                                                    : name;
}

class SystemHeader : public ::testing::TestWithParam<const char*> {};

TEST_P(SystemHeader, HasTheSameMethodsInTheSameSlots) {
  static const Interfaces theirs = SystemInterfaces();
  if (theirs.empty()) GTEST_SKIP() << kSystemHeader << " is not installed";
  static const Interfaces ours = OwnInterfaces();
  ASSERT_TRUE(theirs.contains(GetParam()));
  ASSERT_TRUE(ours.contains(GetParam()));
  const Methods& expected = theirs.at(GetParam());
  const Methods& actual = ours.at(GetParam());
  ASSERT_EQ(actual.size(), expected.size());
  for (std::size_t slot = 3; slot < expected.size(); ++slot) {
    EXPECT_EQ(actual[slot].name, PlainName(expected[slot].name)) << "slot " << slot;
    EXPECT_EQ(actual[slot].types, expected[slot].types) << "slot " << slot << ", " << actual[slot].name;
  }
}

INSTANTIATE_TEST_SUITE_P(Each, SystemHeader,
                         ::testing::Values("IDebugAdvanced", "IDebugClient", "IDebugClient2", "IDebugClient3",
                                           "IDebugClient4", "IDebugControl", "IDebugControl2", "IDebugControl3",
                                           "IDebugDataSpaces", "IDebugDataSpaces2", "IDebugDataSpaces3",
                                           "IDebugRegisters", "IDebugSymbols", "IDebugSymbols2", "IDebugSystemObjects"),
                         [](const auto& tested) { return std::string(tested.param); });

/// The parameter types of a slot whose types are given in short.
std::vector<std::string> TypesInFull(const std::string& types) {
  static const std::map<char, std::string> kLetters = {{'u', "uint32_t"}, {'q', "uint64_t"},  {'i', "int32_t"},
                                                       {'b', "BOOL"},     {'v', "void*"},     {'s', "const char*"},
                                                       {'S', "char*"},    {'W', "char16_t*"}, {'w', "const char16_t*"}};
  std::vector<std::string> full;
  std::stringstream list(types);
  for (std::string one; list >> one;) {
    const std::size_t stars = one.size() - one.find_last_not_of('*') - 1;
    if (one.size() - stars == 1) one = kLetters.at(one[0]) + std::string(stars, '*');
    full.push_back(one == "..." ? one : TypeOf(one + " value"));
  }
  return full;
}

void ExpectSlots(const char* interface, std::span<const NewerSlot> expected) {
  static const Interfaces ours = OwnInterfaces();
  const Methods& methods = ours.at(interface);
  ASSERT_EQ(methods.size(), expected.back().slot + 1);
  ASSERT_EQ(methods.size(), expected.front().slot + expected.size());
  for (const NewerSlot& slot : expected) {
    EXPECT_EQ(methods[slot.slot].name, slot.name) << "slot " << slot.slot;
    EXPECT_EQ(methods[slot.slot].types, TypesInFull(slot.types)) << "slot " << slot.slot << ", " << slot.name;
  }
}

TEST(DebugInterfaces, HaveTheNewerSlotsInTheirOrderWithTheirTypes) {
  ExpectSlots("IDebugControl4", kNewerControlSlots);
  ExpectSlots("IDebugSymbols3", kNewerSymbolsSlots);
  ExpectSlots("IDebugDataSpaces4", kNewerDataSpacesSlots);
}

/// The number of slots, of every interface that no header here has too.
TEST(DebugInterfaces, EndAtTheirLastSlot) {
  const Interfaces ours = OwnInterfaces();
  EXPECT_EQ(ours.at("IUnknown").size(), 3u);
  EXPECT_EQ(ours.at("IDebugControl4").size(), 169u);
  EXPECT_EQ(ours.at("IDebugSymbols3").size(), 126u);
  EXPECT_EQ(ours.at("IDebugDataSpaces4").size(), 44u);
}

/// The place in the table of functions that a method's pointer names, where the compiler tells it in this form.
template <typename Pointer>
std::uintptr_t SlotOf(Pointer method) {
  std::uintptr_t words[2];
  static_assert(sizeof(method) == sizeof(words));
  std::memcpy(words, &method, sizeof(words));
  return (words[0] - 1) / sizeof(void*);
}

TEST(DebugInterfaces, CompileToTheirSlots) {
  EXPECT_EQ(SlotOf(&IUnknown::QueryInterface), 0u);
  EXPECT_EQ(SlotOf(&IDebugClient::OpenDumpFile), 19u);
  EXPECT_EQ(SlotOf(&IDebugClient::EndSession), 26u);
  EXPECT_EQ(SlotOf(&IDebugClient4::OpenDumpFileWide), 60u);
  EXPECT_EQ(SlotOf(&IDebugControl::GetStackTrace), 31u);
  EXPECT_EQ(SlotOf(&IDebugControl::WaitForEvent), 93u);
  EXPECT_EQ(SlotOf(&IDebugControl4::GetCurrentTimeDate), 95u);
  EXPECT_EQ(SlotOf(&IDebugControl4::ResetManagedStatus), 168u);
  EXPECT_EQ(SlotOf(&IDebugSymbols3::GetModuleVersionInformation), 52u);
  EXPECT_EQ(SlotOf(&IDebugSymbols3::SetSymbolPathWide), 77u);
  EXPECT_EQ(SlotOf(&IDebugSymbols3::GetSourceEntryBySourceEntry), 125u);
  EXPECT_EQ(SlotOf(&IDebugDataSpaces::ReadVirtual), 3u);
  EXPECT_EQ(SlotOf(&IDebugDataSpaces2::QueryVirtual), 28u);
  EXPECT_EQ(SlotOf(&IDebugDataSpaces4::WritePhysical2), 43u);
  EXPECT_EQ(SlotOf(&IDebugSystemObjects::GetCurrentProcessDataOffset), 23u);
  EXPECT_EQ(SlotOf(&IDebugRegisters::GetValue), 6u);
  EXPECT_EQ(SlotOf(&IDebugAdvanced::GetThreadContext), 3u);
}

}  // namespace
}  // namespace varnel::platform
