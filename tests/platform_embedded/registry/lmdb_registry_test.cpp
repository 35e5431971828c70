// Keys: opening, making, deleting, rights, names.
#include "platform/embedded/registry/lmdb_registry.h"

#include "registry_fixture.h"

namespace varnel::embedded {
namespace {

using namespace platform;

class LmdbRegistryTest : public RegistryFixture {};

TEST_F(LmdbRegistryTest, ANewRegistryHasItsHivesAndPredefinedKeys) {
  for (const HKEY root : {kHkeyLocalMachine, kHkeyUsers, kHkeyClassesRoot, kHkeyCurrentUser}) {
    HKEY key = nullptr;
    EXPECT_EQ(registry_->RegOpenKeyExW(root, nullptr, 0, kKeyRead, &key), 0u);
    EXPECT_EQ(registry_->RegCloseKey(key), 0u);
  }
  EXPECT_TRUE(Exists(u"SOFTWARE"));
  EXPECT_TRUE(Exists(u"SYSTEM"));
}

TEST_F(LmdbRegistryTest, ClassesRootIsTheMachinesOwnClasses) {
  HKEY key = nullptr;
  ASSERT_EQ(registry_->RegCreateKeyExW(kHkeyClassesRoot, u".txt", 0, kReadWrite, &key, nullptr), 0u);
  EXPECT_TRUE(Exists(u"SOFTWARE\\Classes\\.txt"));
}

TEST_F(LmdbRegistryTest, AMissingKeyGives2AndNoHandle) {
  HKEY key = kHkeyUsers;
  EXPECT_EQ(registry_->RegOpenKeyExW(kHkeyLocalMachine, u"SOFTWARE\\Nothing\\Here", 0, kKeyRead, &key), 2u);
  EXPECT_EQ(key, nullptr);
}

TEST_F(LmdbRegistryTest, CreateMakesEveryMissingKeyOfThePathAndSaysSo) {
  HKEY key = nullptr;
  std::uint32_t disposition = 0;
  ASSERT_EQ(registry_->RegCreateKeyExW(kHkeyLocalMachine, u"SOFTWARE\\A\\B\\C", 0, kKeyWrite, &key, &disposition), 0u);
  EXPECT_EQ(disposition, kRegCreatedNewKey);
  EXPECT_TRUE(Exists(u"SOFTWARE\\A\\B"));
  ASSERT_EQ(registry_->RegCreateKeyExW(kHkeyLocalMachine, u"software\\a\\b\\c", 0, kKeyWrite, &key, &disposition), 0u);
  EXPECT_EQ(disposition, kRegOpenedExistingKey);
}

TEST_F(LmdbRegistryTest, NamesAreFoundInAnyCaseAndKeptAsFirstWritten) {
  Create(u"SOFTWARE\\KelvoCLSID\\\u00DCber");
  Create(u"software\\KELVOCLSID\\\u00FCBER");
  const HKEY parent = Open(u"SoftWare\\kelvoclsid");
  EXPECT_EQ(SubKeys(parent), (std::vector<std::u16string>{u"\u00DCber"}));
}

TEST_F(LmdbRegistryTest, ANullOrEmptySubKeyOpensTheKeyItselfOnceMore) {
  const HKEY first = Create(u"SOFTWARE\\A");
  for (const char16_t* sub_key : {static_cast<const char16_t*>(nullptr), u""}) {
    HKEY second = nullptr;
    ASSERT_EQ(registry_->RegOpenKeyExW(first, sub_key, 0, kReadWrite, &second), 0u);
    EXPECT_NE(first, second);
    EXPECT_EQ(Set(second, u"v", "x"), 0u);
    EXPECT_EQ(Get(first, u"v"), "x");
    EXPECT_EQ(registry_->RegCloseKey(second), 0u);
  }
  EXPECT_EQ(Get(first, u"v"), "x");
}

TEST_F(LmdbRegistryTest, ATrailingSeparatorIsPassedOverAndALeadingOneRefused) {
  Create(u"SOFTWARE\\A\\");
  EXPECT_TRUE(Exists(u"SOFTWARE\\A"));
  HKEY key = nullptr;
  EXPECT_EQ(registry_->RegOpenKeyExW(kHkeyLocalMachine, u"\\SOFTWARE", 0, kKeyRead, &key), kErrorBadPathname);
}

TEST_F(LmdbRegistryTest, AClosedHandleAndOneThatIsNoneGive6) {
  const HKEY key = Create(u"SOFTWARE\\A");
  EXPECT_EQ(registry_->RegCloseKey(key), 0u);
  EXPECT_EQ(registry_->RegCloseKey(key), kErrorInvalidHandle);
  EXPECT_EQ(Set(key, u"v", "x"), kErrorInvalidHandle);
  EXPECT_EQ(Get(key, u"v"), "?6");
  HKEY other = nullptr;
  EXPECT_EQ(registry_->RegOpenKeyExW(nullptr, u"SOFTWARE", 0, kKeyRead, &other), kErrorInvalidHandle);
  EXPECT_EQ(registry_->RegOpenKeyExW(kInvalidHandleValue, u"SOFTWARE", 0, kKeyRead, &other), kErrorInvalidHandle);
}

TEST_F(LmdbRegistryTest, AStaleHandleNeverReachesAKeyOpenedLater) {
  const HKEY stale = Create(u"SOFTWARE\\A");
  registry_->RegCloseKey(stale);
  const HKEY later = Create(u"SOFTWARE\\B");
  EXPECT_NE(stale, later);
  EXPECT_EQ(Set(stale, u"v", "x"), kErrorInvalidHandle);
  EXPECT_EQ(Get(later, u"v"), "?2");
}

TEST_F(LmdbRegistryTest, ClosingAPredefinedKeyIsHarmless) {
  EXPECT_EQ(registry_->RegCloseKey(kHkeyLocalMachine), 0u);
  EXPECT_TRUE(Exists(u"SOFTWARE"));
}

TEST_F(LmdbRegistryTest, ARegistryCallOnAnotherKindOfHandleGives6AndLeavesItOpen) {
  struct Other : Object {
    Other() : Object(Kind::kEvent) {}
  };
  const HANDLE handle = Handles().Insert(std::make_shared<Other>());
  EXPECT_EQ(registry_->RegCloseKey(handle), kErrorInvalidHandle);
  EXPECT_EQ(Set(handle, u"v", "x"), kErrorInvalidHandle);
  EXPECT_NE(Handles().Remove(handle), nullptr);
}

TEST_F(LmdbRegistryTest, ANullResultGives87) {
  EXPECT_EQ(registry_->RegOpenKeyExW(kHkeyLocalMachine, u"SOFTWARE", 0, kKeyRead, nullptr), 87u);
  EXPECT_EQ(registry_->RegCreateKeyExW(kHkeyLocalMachine, u"SOFTWARE\\A", 0, kKeyRead, nullptr, nullptr), 87u);
  EXPECT_FALSE(Exists(u"SOFTWARE\\A"));
}

TEST_F(LmdbRegistryTest, EachCallWithoutItsRightGives5) {
  Create(u"SOFTWARE\\A\\Sub");
  Set(Open(u"SOFTWARE\\A"), u"v", "x");
  char16_t name[16];
  std::uint32_t length = 16;
  std::uint32_t count = 0;
  const HKEY writer = Open(u"SOFTWARE\\A", kKeyWrite);
  EXPECT_EQ(Get(writer, u"v"), "?5");
  EXPECT_EQ(registry_->RegEnumValueW(writer, 0, name, &length, nullptr, nullptr, nullptr), 5u);
  EXPECT_EQ(registry_->RegEnumKeyExW(writer, 0, name, &length), 5u);
  EXPECT_EQ(registry_->RegQueryInfoKeyW(writer, &count, nullptr), 5u);
  EXPECT_EQ(registry_->RegFlushKey(writer), 5u);
  EXPECT_EQ(registry_->RegDeleteTreeW(writer, nullptr), 5u);
  const HKEY reader = Open(u"SOFTWARE\\A", kKeyRead);
  EXPECT_EQ(Set(reader, u"v", "y"), 5u);
  EXPECT_EQ(registry_->RegDeleteValueW(reader, u"v"), 5u);
  EXPECT_EQ(registry_->RegDeleteTreeW(reader, nullptr), 5u);
  EXPECT_EQ(Get(reader, u"v"), "x");
}

TEST_F(LmdbRegistryTest, GeneralRightsBecomeTheRegistrysOwn) {
  Create(u"SOFTWARE\\A");
  EXPECT_EQ(Get(Open(u"SOFTWARE\\A", 0x80000000), u"v"), "?2");
  EXPECT_EQ(Get(Open(u"SOFTWARE\\A", 0x40000000), u"v"), "?5");
  EXPECT_EQ(Set(Open(u"SOFTWARE\\A", 0x10000000), u"v", "x"), 0u);
  EXPECT_EQ(Set(Open(u"SOFTWARE\\A", 0x02000000), u"v", "x"), 0u);
}

TEST_F(LmdbRegistryTest, MakingAndDeletingSubKeysAsksTheKeyAndNotTheHandlesRights) {
  Create(u"SOFTWARE\\A");
  const HKEY reader = Open(u"SOFTWARE\\A", kKeyRead);
  HKEY made = nullptr;
  EXPECT_EQ(registry_->RegCreateKeyExW(reader, u"B", 0, kKeyRead, &made, nullptr), 0u);
  EXPECT_EQ(registry_->RegDeleteKeyW(reader, u"B"), 0u);
  EXPECT_FALSE(Exists(u"SOFTWARE\\A\\B"));
}

TEST_F(LmdbRegistryTest, AHandleOfTheRemovalsRightsDeletesATree) {
  Create(u"SOFTWARE\\A\\B\\C");
  const HKEY session = Open(u"SOFTWARE\\A", 0x2000E);
  EXPECT_EQ(registry_->RegDeleteTreeW(session, u"B"), 0u);
  EXPECT_EQ(registry_->RegDeleteTreeW(session, u"B"), 2u);
  EXPECT_TRUE(Exists(u"SOFTWARE\\A"));
}

TEST_F(LmdbRegistryTest, AKeyNameOf255CharactersIsTakenAndALongerOneRefused) {
  const std::u16string longest(255, u'k');
  Create((u"SOFTWARE\\" + longest).c_str());
  EXPECT_TRUE(Exists((u"SOFTWARE\\" + longest).c_str()));
  HKEY key = nullptr;
  const std::u16string longer = u"SOFTWARE\\" + longest + u"k";
  EXPECT_EQ(registry_->RegCreateKeyExW(kHkeyLocalMachine, longer.c_str(), 0, kKeyRead, &key, nullptr), 87u);
  EXPECT_EQ(registry_->RegOpenKeyExW(kHkeyLocalMachine, longer.c_str(), 0, kKeyRead, &key), 87u);
}

TEST_F(LmdbRegistryTest, NoKeyIsMadeDirectlyBelowARoot) {
  HKEY key = nullptr;
  EXPECT_EQ(registry_->RegCreateKeyExW(kHkeyLocalMachine, u"Mine", 0, kKeyRead, &key, nullptr), 87u);
  EXPECT_EQ(registry_->RegCreateKeyExW(kHkeyUsers, u"Mine\\Sub", 0, kKeyRead, &key, nullptr), 87u);
  EXPECT_EQ(registry_->RegCreateKeyExW(kHkeyLocalMachine, u"SOFTWARE", 0, kKeyRead, &key, nullptr), 0u);
}

TEST_F(LmdbRegistryTest, AHiveIsNotDeleted) {
  Create(u"SOFTWARE\\A");
  EXPECT_EQ(registry_->RegDeleteKeyW(kHkeyLocalMachine, u"SAM"), 5u);
  EXPECT_EQ(registry_->RegDeleteTreeW(kHkeyLocalMachine, u"SOFTWARE"), 5u);
  EXPECT_TRUE(Exists(u"SOFTWARE\\A"));
}

TEST_F(LmdbRegistryTest, DeleteKeyRefusesOneWithSubKeysAndTakesItsValuesAlong) {
  Set(Create(u"SOFTWARE\\A\\B"), u"v", "x");
  EXPECT_EQ(registry_->RegDeleteKeyW(kHkeyLocalMachine, u"SOFTWARE\\A"), 5u);
  EXPECT_EQ(registry_->RegDeleteKeyW(kHkeyLocalMachine, u"SOFTWARE\\A\\B"), 0u);
  EXPECT_EQ(registry_->RegDeleteKeyW(kHkeyLocalMachine, u"SOFTWARE\\A\\B"), 2u);
  EXPECT_EQ(registry_->RegDeleteKeyW(kHkeyLocalMachine, nullptr), 87u);
  EXPECT_EQ(Get(Create(u"SOFTWARE\\A\\B"), u"v"), "?2");
}

TEST_F(LmdbRegistryTest, DeleteTreeTakesEverythingBelowAndNothingBeside) {
  Set(Create(u"SOFTWARE\\A\\B\\C"), u"v", "x");
  Set(Create(u"SOFTWARE\\A\\D"), u"v", "x");
  Set(Create(u"SOFTWARE\\AB"), u"v", "x");
  EXPECT_EQ(registry_->RegDeleteTreeW(kHkeyLocalMachine, u"SOFTWARE\\A"), 0u);
  EXPECT_FALSE(Exists(u"SOFTWARE\\A"));
  EXPECT_EQ(Get(Open(u"SOFTWARE\\AB"), u"v"), "x");
  EXPECT_EQ(registry_->RegDeleteTreeW(kHkeyLocalMachine, u"SOFTWARE\\A"), 2u);
}

TEST_F(LmdbRegistryTest, DeleteTreeWithoutASubKeyEmptiesTheKeyAndKeepsIt) {
  const HKEY key = Create(u"SOFTWARE\\A");
  Create(u"SOFTWARE\\A\\B\\C");
  Set(key, u"v", "x");
  EXPECT_EQ(registry_->RegDeleteTreeW(key, nullptr), 0u);
  EXPECT_TRUE(SubKeys(key).empty());
  EXPECT_TRUE(Values(key).empty());
  EXPECT_EQ(Set(key, u"v", "y"), 0u);
}

TEST_F(LmdbRegistryTest, EveryCallOnAKeyDeletedWhileOpenGives1018UntilItIsClosed) {
  const HKEY key = Create(u"SOFTWARE\\A\\B");
  Set(key, u"v", "x");
  ASSERT_EQ(registry_->RegDeleteTreeW(kHkeyLocalMachine, u"SOFTWARE\\A"), 0u);
  HKEY other = nullptr;
  char16_t name[16];
  std::uint32_t length = 16;
  EXPECT_EQ(Set(key, u"v", "y"), kErrorKeyDeleted);
  EXPECT_EQ(Get(key, u"v"), "?1018");
  EXPECT_EQ(registry_->RegDeleteValueW(key, u"v"), kErrorKeyDeleted);
  EXPECT_EQ(registry_->RegEnumValueW(key, 0, name, &length, nullptr, nullptr, nullptr), kErrorKeyDeleted);
  EXPECT_EQ(registry_->RegEnumKeyExW(key, 0, name, &length), kErrorKeyDeleted);
  EXPECT_EQ(registry_->RegQueryInfoKeyW(key, nullptr, nullptr), kErrorKeyDeleted);
  EXPECT_EQ(registry_->RegOpenKeyExW(key, u"C", 0, kKeyRead, &other), kErrorKeyDeleted);
  EXPECT_EQ(registry_->RegOpenKeyExW(key, nullptr, 0, kKeyRead, &other), kErrorKeyDeleted);
  EXPECT_EQ(registry_->RegCreateKeyExW(key, u"C", 0, kKeyRead, &other, nullptr), kErrorKeyDeleted);
  EXPECT_EQ(registry_->RegDeleteKeyW(key, u"C"), kErrorKeyDeleted);
  EXPECT_EQ(registry_->RegDeleteTreeW(key, u"C"), kErrorKeyDeleted);
  EXPECT_EQ(registry_->RegFlushKey(key), kErrorKeyDeleted);
  EXPECT_EQ(registry_->RegCloseKey(key), 0u);
}

TEST_F(LmdbRegistryTest, AKeyMadeAnewIsNotTheOneThatWasDeleted) {
  const HKEY old_key = Create(u"SOFTWARE\\A");
  registry_->RegDeleteKeyW(kHkeyLocalMachine, u"SOFTWARE\\A");
  const HKEY new_key = Create(u"SOFTWARE\\A");
  EXPECT_EQ(Set(old_key, u"v", "x"), kErrorKeyDeleted);
  EXPECT_EQ(Set(new_key, u"v", "x"), 0u);
}

TEST_F(LmdbRegistryTest, ALastingKeyBelowAVolatileOneGives1021) {
  HKEY key = nullptr;
  ASSERT_EQ(
      registry_->RegCreateKeyExW(kHkeyLocalMachine, u"SOFTWARE\\V", kRegOptionVolatile, kReadWrite, &key, nullptr), 0u);
  HKEY below = nullptr;
  EXPECT_EQ(registry_->RegCreateKeyExW(key, u"Sub", 0, kKeyRead, &below, nullptr), kErrorChildMustBeVolatile);
  EXPECT_EQ(registry_->RegCreateKeyExW(key, u"Sub", kRegOptionVolatile, kKeyRead, &below, nullptr), 0u);
}

TEST_F(LmdbRegistryTest, ABootEndsVolatileKeysAndNoOthers) {
  HKEY key = nullptr;
  ASSERT_EQ(
      registry_->RegCreateKeyExW(kHkeyLocalMachine, u"SOFTWARE\\V\\W", kRegOptionVolatile, kReadWrite, &key, nullptr),
      0u);
  Set(key, u"v", "x");
  Create(u"SOFTWARE\\L");
  EXPECT_EQ(registry_->DropVolatileKeys(), 0u);
  EXPECT_FALSE(Exists(u"SOFTWARE\\V"));
  EXPECT_TRUE(Exists(u"SOFTWARE\\L"));
  EXPECT_EQ(Get(key, u"v"), "?1018");
}

TEST_F(LmdbRegistryTest, SubKeysAreListedInTheOrderOfTheirUpperCasedNames) {
  for (const char16_t* name :
       {u"SOFTWARE\\P\\beta", u"SOFTWARE\\P\\Alpha", u"SOFTWARE\\P\\_x", u"SOFTWARE\\P\\GAMMA"}) {
    Create(name);
  }
  const HKEY key = Open(u"SOFTWARE\\P");
  EXPECT_EQ(SubKeys(key), (std::vector<std::u16string>{u"Alpha", u"beta", u"GAMMA", u"_x"}));
  std::uint32_t keys = 0;
  std::uint32_t values = 7;
  EXPECT_EQ(registry_->RegQueryInfoKeyW(key, &keys, &values), 0u);
  EXPECT_EQ(keys, 4u);
  EXPECT_EQ(values, 0u);
}

TEST_F(LmdbRegistryTest, AListingFollowsEveryChange) {
  const HKEY key = Create(u"SOFTWARE\\P");
  Create(u"SOFTWARE\\P\\A");
  EXPECT_EQ(SubKeys(key), (std::vector<std::u16string>{u"A"}));
  Create(u"SOFTWARE\\P\\B");
  EXPECT_EQ(SubKeys(key), (std::vector<std::u16string>{u"A", u"B"}));
  registry_->RegDeleteKeyW(key, u"A");
  EXPECT_EQ(SubKeys(key), (std::vector<std::u16string>{u"B"}));
}

TEST_F(LmdbRegistryTest, ASubKeyNameThatDoesNotFitGives234AndLeavesTheLength) {
  Create(u"SOFTWARE\\P\\Alpha");
  const HKEY key = Open(u"SOFTWARE\\P");
  char16_t name[6];
  std::uint32_t length = 5;
  EXPECT_EQ(registry_->RegEnumKeyExW(key, 0, name, &length), kErrorMoreData);
  EXPECT_EQ(length, 5u);
  length = 6;
  EXPECT_EQ(registry_->RegEnumKeyExW(key, 0, name, &length), 0u);
  EXPECT_EQ(length, 5u);
  EXPECT_EQ(std::u16string(name), u"Alpha");
}

TEST_F(LmdbRegistryTest, NamesThatAllShareOneHashStayApart) {
  Close();
  std::filesystem::remove_all(folder_ + "/registry");
  options_.hash = [](std::u16string_view) -> std::uint64_t { return 7; };
  Reopen();
  const HKEY a = Create(u"SOFTWARE\\P\\A");
  const HKEY b = Create(u"SOFTWARE\\P\\B");
  const HKEY c = Create(u"SOFTWARE\\P\\C");
  for (const char16_t* name : {u"x", u"y", u"z"}) Set(b, name, "of b");
  Set(a, u"x", "of a");
  EXPECT_EQ(registry_->RegDeleteKeyW(kHkeyLocalMachine, u"SOFTWARE\\P\\A"), 0u);
  EXPECT_EQ(registry_->RegDeleteValueW(b, u"x"), 0u);
  EXPECT_EQ(Get(b, u"Z"), "of b");
  EXPECT_EQ(Set(c, u"v", "of c"), 0u);
  Create(u"SOFTWARE\\P\\D");  // takes the slot that A has left
  EXPECT_EQ(SubKeys(Open(u"SOFTWARE\\P")), (std::vector<std::u16string>{u"B", u"C", u"D"}));
  EXPECT_EQ(Get(a, u"x"), "?1018");
  Reopen();
  EXPECT_EQ(Get(Open(u"SOFTWARE\\P\\C"), u"v"), "of c");
}

}  // namespace
}  // namespace varnel::embedded
