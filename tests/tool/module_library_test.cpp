// The module as a shared library: what it exports, and a life of it in a process of its own machine.
#include <dlfcn.h>
#include <elf.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "interfaces/wardlet_tool.h"
#include "platform/embedded/tools/machine_layout.h"

namespace varnel {
namespace {

constexpr char kLogFile[] = "/C/ProgramData/KelvoVarnels/Log/{4A234956-2B7D-4221-BADF-12593BD342A8}.txt";

template <typename T>
T ReadAt(const std::string& bytes, std::size_t offset) {
  T value{};
  if (offset + sizeof(T) <= bytes.size()) std::memcpy(&value, bytes.data() + offset, sizeof(T));
  return value;
}

/// The names that a shared library defines for others.
std::vector<std::string> ExportsOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  const auto header = ReadAt<Elf64_Ehdr>(bytes, 0);
  std::vector<std::string> names;
  for (unsigned i = 0; i < header.e_shnum; ++i) {
    const auto section = ReadAt<Elf64_Shdr>(bytes, header.e_shoff + i * header.e_shentsize);
    if (section.sh_type != SHT_DYNSYM) continue;
    const auto texts = ReadAt<Elf64_Shdr>(bytes, header.e_shoff + section.sh_link * header.e_shentsize);
    for (std::size_t at = 0; at < section.sh_size; at += sizeof(Elf64_Sym)) {
      const auto symbol = ReadAt<Elf64_Sym>(bytes, section.sh_offset + at);
      if (symbol.st_shndx == SHN_UNDEF || symbol.st_name == 0) continue;
      names.emplace_back(bytes.c_str() + texts.sh_offset + symbol.st_name);
    }
  }
  return names;
}

std::string ReadText(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST(ModuleLibrary, ExportsItsTwoEntryPointsAndNothingElse) {
  EXPECT_THAT(ExportsOf(VARNEL_MODULE_PATH), ::testing::UnorderedElementsAre("DllGetClassObject", "DllCanUnloadNow"));
}

/// The interface of cJSON that hosts of the module may look up in it.
constexpr const char* kJsonFunctions[] = {
    "cJSON_AddArrayToObject",
    "cJSON_AddBoolToObject",
    "cJSON_AddFalseToObject",
    "cJSON_AddItemReferenceToArray",
    "cJSON_AddItemReferenceToObject",
    "cJSON_AddItemToArray",
    "cJSON_AddItemToObject",
    "cJSON_AddItemToObjectCS",
    "cJSON_AddNullToObject",
    "cJSON_AddNumberToObject",
    "cJSON_AddObjectToObject",
    "cJSON_AddRawToObject",
    "cJSON_AddStringToObject",
    "cJSON_AddTrueToObject",
    "cJSON_Compare",
    "cJSON_CreateArray",
    "cJSON_CreateArrayReference",
    "cJSON_CreateBool",
    "cJSON_CreateDoubleArray",
    "cJSON_CreateFalse",
    "cJSON_CreateFloatArray",
    "cJSON_CreateIntArray",
    "cJSON_CreateNull",
    "cJSON_CreateNumber",
    "cJSON_CreateObject",
    "cJSON_CreateObjectReference",
    "cJSON_CreateRaw",
    "cJSON_CreateString",
    "cJSON_CreateStringArray",
    "cJSON_CreateStringReference",
    "cJSON_CreateTrue",
    "cJSON_Delete",
    "cJSON_DeleteItemFromArray",
    "cJSON_DeleteItemFromObject",
    "cJSON_DeleteItemFromObjectCaseSensitive",
    "cJSON_DetachItemFromArray",
    "cJSON_DetachItemFromObject",
    "cJSON_DetachItemFromObjectCaseSensitive",
    "cJSON_DetachItemViaPointer",
    "cJSON_Duplicate",
    "cJSON_GetArrayItem",
    "cJSON_GetArraySize",
    "cJSON_GetErrorPtr",
    "cJSON_GetObjectItem",
    "cJSON_GetObjectItemCaseSensitive",
    "cJSON_GetStringValue",
    "cJSON_HasObjectItem",
    "cJSON_InitHooks",
    "cJSON_InsertItemInArray",
    "cJSON_IsArray",
    "cJSON_IsBool",
    "cJSON_IsFalse",
    "cJSON_IsInvalid",
    "cJSON_IsNull",
    "cJSON_IsNumber",
    "cJSON_IsObject",
    "cJSON_IsRaw",
    "cJSON_IsString",
    "cJSON_IsTrue",
    "cJSON_Minify",
    "cJSON_Parse",
    "cJSON_ParseWithOpts",
    "cJSON_Print",
    "cJSON_PrintBuffered",
    "cJSON_PrintPreallocated",
    "cJSON_PrintUnformatted",
    "cJSON_ReplaceItemInArray",
    "cJSON_ReplaceItemInObject",
    "cJSON_ReplaceItemInObjectCaseSensitive",
    "cJSON_ReplaceItemViaPointer",
    "cJSON_SetNumberHelper",
    "cJSON_Version",
    "cJSON_free",
    "cJSON_malloc",
};

class LoadedModuleTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    root_ = (std::filesystem::temp_directory_path() / "varnel-module-XXXXXX").string();
    ASSERT_NE(mkdtemp(root_.data()), nullptr);
    machine_ = root_ + "/machine";
    ASSERT_TRUE(embedded::NewMachine(machine_).ok());
    ASSERT_EQ(setenv("VARNEL_MACHINE", machine_.c_str(), 1), 0);
  }
  static void TearDownTestSuite() {
    std::error_code ignored;
    std::filesystem::remove_all(root_, ignored);
  }

  void SetUp() override {
    module_ = dlopen(VARNEL_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(module_, nullptr) << dlerror();
    get_class_object_ =
        reinterpret_cast<WardletGetClassObjectFunction>(dlsym(module_, WARDLET_EXPORT_GET_CLASS_OBJECT));
    can_unload_now_ = reinterpret_cast<WardletCanUnloadNowFunction>(dlsym(module_, WARDLET_EXPORT_CAN_UNLOAD_NOW));
    ASSERT_NE(get_class_object_, nullptr);
    ASSERT_NE(can_unload_now_, nullptr);
  }
  void TearDown() override {
    if (module_ != nullptr) dlclose(module_);
  }

  template <typename T>
  T* Make(const GUID& iid) {
    VarnelClassFactory* factory = nullptr;
    EXPECT_EQ(get_class_object_(&GUID_WARDLET_TOOL, &IID_VarnelClassFactory, reinterpret_cast<void**>(&factory)), 0u);
    T* made = nullptr;
    EXPECT_EQ(factory->CreateInstance(nullptr, &iid, reinterpret_cast<void**>(&made)), 0u);
    factory->Release();
    return made;
  }

  static std::uint32_t Ignore(void* /*context*/, const char* /*text*/) { return 0; }

  static inline std::string root_;
  static inline std::string machine_;
  void* module_ = nullptr;
  WardletGetClassObjectFunction get_class_object_ = nullptr;
  WardletCanUnloadNowFunction can_unload_now_ = nullptr;
};

TEST_F(LoadedModuleTest, LoadingStartsTheLogOnTheMachine) {
  EXPECT_TRUE(std::filesystem::exists(machine_ + kLogFile));
}

TEST_F(LoadedModuleTest, TheFunctionsOfCJsonAreFoundInItByTheirNames) {
  EXPECT_EQ(std::size(kJsonFunctions), 74u);
  for (const char* name : kJsonFunctions) EXPECT_NE(dlsym(module_, name), nullptr) << name;
}

TEST_F(LoadedModuleTest, AToolTellsTheVersionAndIsGoneWithItsLastReference) {
  auto* tool = Make<VarnelDefaultInterface>(IID_VarnelDefaultInterface);
  EXPECT_EQ(can_unload_now_(), 1u);
  VarnelVersionInfo info{sizeof(VarnelVersionInfo), 0, 0, 0, 0};
  EXPECT_EQ(tool->GetVarnelVersion(&info), VNSTAT_SUCCESS);
  EXPECT_EQ(info.wBuild, 2u);
  EXPECT_EQ(info.wRevision, 28u);
  EXPECT_EQ(tool->Release(), 0u);
  EXPECT_EQ(can_unload_now_(), 0u);
}

TEST_F(LoadedModuleTest, StartsAndStopsOnTheMachineAndLogsIt) {
  auto* tool = Make<WardletToolInterface>(IID_WardletToolInterface);
  EXPECT_EQ(tool->Start(0, Ignore, nullptr), VNSTAT_SUCCESS);
  EXPECT_EQ(tool->Stop(), VNSTAT_SUCCESS);
  EXPECT_EQ(tool->Stop(), 31u);
  EXPECT_EQ(tool->Release(), 0u);
  const std::string log = ReadText(machine_ + kLogFile);
  EXPECT_THAT(log, ::testing::HasSubstr("EtwConsumerStart func Out dwRet(0x0).\r\n"));
  EXPECT_THAT(log, ::testing::HasSubstr("EtwConsumerStop func Out.\r\n"));
}

}  // namespace
}  // namespace varnel
