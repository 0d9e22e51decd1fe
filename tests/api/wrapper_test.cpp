// The C++ interface: what it adds to the functions it calls.
#include "pmstore.hpp"

#include <array>

#include "tests/support/fixture.h"

namespace {

using pmstore::Errc;
using pmstore::ItemView;
using pmstore::Name;
using pmstore::Sync;
using pmstore::Transaction;
using pmstore::Vault;

// What must not compile: elements that are no bytes, names that are none, and what would outlive its vault.
template <typename T>
using Get = decltype(std::declval<T>().get(1));
template <typename T>
using Items = decltype(std::declval<T>().items(1));
template <typename T>
using UserData = decltype(std::declval<T>().userData(1));
template <template <typename> class Call, typename T, typename = void>
constexpr bool kCompiles = false;
template <template <typename> class Call, typename T>
constexpr bool kCompiles<Call, T, std::void_t<Call<T>>> = true;
template <typename To, typename... From>
constexpr bool kAllConvert = (std::is_convertible_v<From, To> && ...);
template <typename To, typename... From>
constexpr bool kNoneConverts = !(std::is_convertible_v<From, To> || ...);

static_assert(kCompiles<Get, Vault&> && kCompiles<Items, Vault&> && kCompiles<UserData, Vault&>);
static_assert(!kCompiles<Get, Vault> && !kCompiles<Items, Vault> && !kCompiles<UserData, Vault>);
static_assert(
    kAllConvert<pmstore::Bytes, std::string, std::vector<std::byte>, std::array<unsigned char, 3>, ItemView>);
static_assert(kAllConvert<pmstore::Bytes, const char*, unsigned char[4]>);
static_assert(kNoneConverts<pmstore::Bytes, std::vector<int>, int, std::nullptr_t, std::u16string>);
static_assert(kAllConvert<Name, std::string, std::u16string_view, const PmChar*, std::nullptr_t>);
static_assert(kNoneConverts<Name, int, char, std::u32string, std::vector<char>>);
static_assert(!std::is_copy_constructible_v<Vault> && !std::is_constructible_v<Transaction, Vault>);

using WrapperTest = DataBaseTest;

TEST_F(WrapperTest, TakesBytesAndNamesOfEveryKindAndGivesItems) {
  Vault vault(file());
  const std::string utf8 = "n\xc3\xa4\xef\xbf\xbf\xf0\x9f\x94\x91";
  const uint32_t named = vault.add(1, utf8, std::vector<std::byte>(3, std::byte{'a'}));
  EXPECT_EQ(vault.find(1, u"n\u00e4\uffff\U0001F511"), named);
  EXPECT_EQ(vault.nameOf(named), utf8);
  std::error_code error;
  for (const std::string bad : {"\x80", "\xc3", "\xc0\x80", "\xe0\x80\x80", "\xf4\x90\x80\x80", "\xff"}) {
    vault.add(1, bad, "", error);
    EXPECT_EQ(error, Errc::kBadName) << bad;
    EXPECT_EQ(vault.find(1, bad), std::nullopt) << bad;
  }
  EXPECT_FALSE(Name(std::string(1, '\0')).valid());
  for (const PmChar unit : {PmChar{0xD83D}, PmChar{0xDD11}})
    EXPECT_EQ(Name(pmstore::toUtf8(PmString(1, unit).c_str())).get(), PmString(1, unit));

  vault.retain(7, 1);
  EXPECT_THROW(vault.retain(7, 2, "again"), pmstore::Error);
  vault.put(7, *vault.get(named));
  std::vector<std::pair<uint32_t, std::string>> items;
  for (const auto& [id, bytes] : vault.items(1)) items.emplace_back(id, bytes->text());
  EXPECT_EQ(items, (std::vector<std::pair<uint32_t, std::string>>{{named, "aaa"}, {7, "aaa"}}));
}

TEST_F(WrapperTest, EachVaultActsOnItsOwnFile) {
  Vault first(file("first")), second(file("second")), none;
  const uint32_t id = first.add(1, nullptr, "one");
  const uint32_t other = second.add(1, nullptr, "two");
  const auto size = std::filesystem::file_size(file("first"));
  std::error_code error;
  {
    Transaction transaction(first);
    first.put(id, std::string(3000, 'x'));
    second.put(other, "three");
    Transaction(none).commit(error);
    EXPECT_EQ(error, Errc::kNoVault);
    none.sync(error);
    EXPECT_EQ(error, Errc::kNoVault);
    EXPECT_EQ(none.add(1, nullptr, "", error), 0U);
    EXPECT_EQ(error, Errc::kNoVault);
    { Transaction inner(first); }
    EXPECT_EQ(std::filesystem::file_size(file("first")), size);
    second.sync();
    transaction.commit();
    EXPECT_EQ(std::filesystem::file_size(file("first")), size + 2 * 1024);
  }
  first.modify(id, 3000, "y", Sync::kLater);
  EXPECT_EQ(first.get(id)->size(), 3001U);

  // Vaults of one path share it, and the last close writes what it held back.
  Vault third(file("third")), same(file("third"));
  Transaction outer(third);
  { Transaction inner(same); }
  third.add(1, nullptr, "one");
  same.close();
  EXPECT_EQ(std::filesystem::file_size(file("third")), 0U);
  third.close();
  EXPECT_GT(std::filesystem::file_size(file("third")), 0U);

  // A transaction outlives its vault, and the object that another vault is opened in.
  Transaction late(first);
  first.put(id, "late");
  first.open(file("fourth"), error);
  Transaction fourth(first);
  first.add(1, nullptr, "held back");
  late.commit();
  EXPECT_EQ(std::filesystem::file_size(file("fourth")), 0U);
  none.open(file().string() + std::string("\0x", 2), error);
  EXPECT_EQ(error, Errc::kNotOpened);
}

TEST_F(WrapperTest, MovesAndReportsErrors) {
  Vault vault;
  vault = Vault(file());
  const uint32_t id = vault.add(2, "name", "");
  EXPECT_THROW(vault.add(2, "name", "again"), pmstore::Error);
  Vault moved(std::move(vault));
  moved.remove(id);
  EXPECT_EQ(moved.count(2), 0U);
  try {
    moved.remove(id);
    ADD_FAILURE() << "an ID was removed twice";
  } catch (const pmstore::Error& caught) {
    EXPECT_EQ(caught.code(), Errc::kUnknownId);
    EXPECT_STREQ(caught.call(), "remove");
    EXPECT_EQ(caught.path(), file());
    EXPECT_NE(std::string(caught.what()).find(file().filename().string()), std::string::npos);
  }
  EXPECT_THROW(Vault(file("no") / "such" / "folder"), pmstore::Error);
  std::error_code error;
  Vault(file("alone"), pmstore::Use::kAlone).open(file(), pmstore::Use::kAlone, error);
  EXPECT_EQ(error, Errc::kInUse);
}

#if !defined(_WIN32)  // where an open file has a name for good
TEST_F(WrapperTest, AVaultThatCannotBeWrittenStaysOpen) {
  Vault vault(file());
  const uint32_t id = vault.add(1, nullptr, "one");
  vault.put(id, "two", Sync::kLater);
  std::filesystem::rename(file(), file("away"));
  std::error_code error;
  vault.open(file("other.db"), error);
  EXPECT_EQ(error, Errc::kCannotOpen);
  EXPECT_EQ(vault.get(id)->text(), "two");
  const uint32_t added = vault.add(1, "waits", "three", error);
  EXPECT_EQ(error, Errc::kCannotOpen);
  EXPECT_EQ(vault.find(1, "waits"), added);
  std::filesystem::rename(file("away"), file());
  vault.open(file("other.db"), error);
  EXPECT_FALSE(error);
  vault.open(file(), error);
  EXPECT_EQ(vault.get(id)->text(), "two");
  EXPECT_EQ(vault.get(added)->text(), "three");
}
#endif

}  // namespace
