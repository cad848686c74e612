// What the keychain store keeps, refuses and notices.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <fstream>
#include <iostream>
#include <map>
#include <span>
#include <tuple>

#include "TarvexCommon/Platform/Memory/FixedClock.h"
#include "TarvexCommon/Platform/Store/KeychainStore.h"
#include "tests/Support/ExampleKey.h"
#include "tests/Support/InstalledServices.h"
#include "tests/Support/Processes.h"
#include "tests/Support/Store.h"
#include "tests/Support/StoreFiles.h"

namespace tarvex {
namespace {

using testing::AnyOf;
using testing::HasSubstr;
using testing::Not;

const std::string notFound = std::to_string(errSecItemNotFound);
const std::string damaged = std::to_string(errSecDecode);
const std::string invalid = std::to_string(errSecInvalidKeychain);
const std::string mute = std::to_string(errSecInteractionNotAllowed);
const std::string value = " v_Data='";
const std::string all = " r_Attributes=true";

class Store : public StoreTest {
 protected:
  const std::string database = folder + "/keychain.db";
  const InstalledServices installed{
      {.bundle = {.keychainAccessGroups = {{"", "g1", "g2"}}},
       .clock = fixedClock(Date::fromTimeIntervalSince1970(1700000000.123456))}};
};

TEST_F(Store, KeepsAllOfAnItemForOthers) {
  const std::string words =
      "genp svce=s acct=Ger%C3%A4t%00 labl=l agrp=g1 sync=true pdmn=ck v_Data='%00%FF%C3%A4";
  auto first = std::make_unique<WordStore>(folder);
  EXPECT_EQ(first->add(words), errSecSuccess);
  for (const char* when : {"the first is open", "it is closed"}) {
    ItemValue found;
    const WordStore other(folder);
    EXPECT_EQ(other.items.copyMatching(item("genp sync=true r_Data=true" + all), &found), 0);
    EXPECT_EQ(found, ItemValue(item(words + " cdat=@1700000000.123456 mdat=@1700000000.123456")))
        << when;
    first.reset();
  }
}

TEST_F(Store, LiesWhereTheEnvironmentSaysForItsOwnerOnly) {
  inProcesses(1, [this](int) {
    ::umask(0);
    ::setenv("TARVEX_KEYCHAIN_DIR", (root / "named").c_str(), 1);
    ::setenv("XDG_DATA_HOME", (root / "data").c_str(), 1);
    ::setenv("HOME", (root / ".").c_str(), 1);
    for (const auto& [variable, place] : {std::pair("TARVEX_KEYCHAIN_DIR", "named"),
                                          {"XDG_DATA_HOME", "data/tarvex"},
                                          {"HOME", ".local/share/tarvex"}}) {
      const WordStore store("");
      EXPECT_EQ(store.add("genp"), errSecSuccess);
      EXPECT_EQ(
          root.run("cd " + std::string(place) + "; stat -c '%n %a' . *"),
          ". 700\nkeychain.count 600\nkeychain.db 600\nkeychain.db-shm 600\nkeychain.db-wal 600\n"
          "keychain.key 600\nkeychain.lock 600\n");
      ::unsetenv(variable);
    }
  });
}

// What is done in the folder of a good store, by the shell, then by SQL.
struct Refusal {
  const char* name;
  OSStatus status;
  const char* commands;
  const char* statements = "";
  bool takesRoot = false;
};

const Refusal refusals[] = {
    {"folder that others may read", errSecNotAvailable, "chmod 755 ."},
    {"database that others may read", errSecNotAvailable, "chmod 644 keychain.db"},
    {"key that others may read", errSecNotAvailable, "chmod 644 keychain.key"},
    {"linked database", errSecNotAvailable, "mv keychain.db ../d && ln -s ../d keychain.db"},
    {"linked key", errSecNotAvailable, "mv keychain.key ../k && ln -s ../k keychain.key"},
    {"count that others may read", errSecNotAvailable, "chmod 644 keychain.count"},
    {"linked count", errSecNotAvailable, "mv keychain.count ../c && ln -s ../c keychain.count"},
    {"linked lock", errSecNotAvailable, "ln -sf ../none keychain.lock"},
    {"folder as database", errSecNotAvailable, "rm keychain.db && mkdir keychain.db"},
    {"pipe as key", errSecNotAvailable, "rm keychain.key && mkfifo -m 600 keychain.key"},
    {"file as folder", errSecNotAvailable, "cd .. && rm -r keychain && touch keychain"},
    {"folder of somebody else", errSecNotAvailable, "chown 65534 .", "", true},
    {"database of somebody else", errSecNotAvailable, "chown 65534 keychain.db", "", true},
    {"read-only folder", errSecWrPerm, "chown -Rf 65534 ..; chmod 500 ."},
    {"missing key", errSecNotAvailable, "rm keychain.key"},
    {"other key", errSecAuthFailed, "yes | head -c 32 >keychain.key"},
    {"short key", errSecAuthFailed, "truncate -s 31 keychain.key"},
    {"long key", errSecAuthFailed, "truncate -s 33 keychain.key"},
    {"empty database", errSecInvalidKeychain, "truncate -s 0 keychain.db"},
    {"header alone", errSecInvalidKeychain, "truncate -s 100 keychain.db"},
    {"text as database", errSecInvalidKeychain, "yes text | head -c 9000 >keychain.db"},
    {"log without database", errSecInvalidKeychain, "mv keychain.db keychain.db-wal"},
    {"count without database", errSecInvalidKeychain, "rm keychain.db"},
    {"other database", errSecInvalidKeychain, ": >keychain.db", "create table item(id)"},
    {"unknown file format", errSecInvalidKeychain,
     "echo | dd of=keychain.db bs=1 seek=47 conv=notrunc status=none"},
    {"other application", errSecInvalidKeychain, "", "pragma application_id = 1"},
    {"newer format", errSecInvalidKeychain, "", "pragma user_version = 3"},
    {"table too many", errSecInvalidKeychain, "", "create table other(id)"},
    {"table too few", errSecInvalidKeychain, "", "drop table slot"},
    {"no slot", errSecInvalidKeychain, "", "delete from slot"},
    {"trigger", errSecInvalidKeychain, "",
     "create trigger t after insert on item begin delete from item; end"},
};

TEST_F(Store, IsRefusedAndLeftAsItIs) {
  constexpr uid_t other = 65534;
  for (const Refusal& row : refusals) {
    SCOPED_TRACE(row.name);
    if (row.takesRoot && ::geteuid() != 0) {
      std::cout << "left out, takes root: " << row.name << '\n';
      continue;
    }
    const TemporaryFolder place;
    EXPECT_EQ(WordStore(place / "keychain").add("genp acct=a v_Data='v"), errSecSuccess);
    inProcesses(1, [&](int) {
      place.run("cd keychain; " + std::string(row.commands));
      if (*row.statements != 0) sql(place / "keychain/keychain.db", row.statements);
      // Permissions do not bind the administrator.
      if (row.status == errSecWrPerm && ::geteuid() == 0) ::setresuid(other, other, other);
      const std::string before = snapshot(place);
      {
        const WordStore store(place / "keychain");
        EXPECT_EQ(store.read("genp acct=a"), std::to_string(row.status));
        EXPECT_EQ(store.add("genp acct=b"), row.status);
        EXPECT_EQ(store.store.check(), row.status);
      }
      EXPECT_EQ(snapshot(place), before);
    });
  }
}

// It is there, so that nobody may be told that it is not.
TEST_F(Store, IsNotReadByAProcessWithTooManyOpenFiles) {
  EXPECT_EQ(WordStore(folder).add("genp v_Data='v"), errSecSuccess);
  inProcesses(1, [&](int) {
    std::string answer;
    for (rlim_t files = 3; answer != "v" && files < 100; ++files) {
      const rlimit limit = {.rlim_cur = files, .rlim_max = 100};
      ::setrlimit(RLIMIT_NOFILE, &limit);
      answer = WordStore(folder).read("genp");
      EXPECT_THAT(answer, AnyOf("v", std::to_string(errSecIO))) << files;
    }
    EXPECT_EQ(answer, "v");
  });
}

TEST_F(Store, NeverAnswersWronglyFromADamagedFile) {
  const std::string text(300, 'v');
  for (int i = 10; i < 50; ++i) {
    const std::string account = std::to_string(i);
    EXPECT_EQ(WordStore(folder).add("genp acct=" + account + value + account + text), 0);
  }
  const std::string good = root.run("cat keychain/keychain.db");
  std::map<std::string, std::string> files = {{"half of it", good.substr(0, good.size() / 2)}};
  for (std::size_t at = 4096; at < good.size(); at += 4096) {
    files["page at " + std::to_string(at)] = std::string(good).replace(at, 4096, 4096, '\xA5');
  }
  for (const auto& [name, bad] : files) {
    SCOPED_TRACE(name);
    std::ofstream(database) << bad;
    {
      const WordStore store(folder);
      for (int i = 10; i < 50; ++i) {
        EXPECT_THAT(store.read("genp acct=" + std::to_string(i)),
                    AnyOf(std::to_string(i) + text, invalid, damaged));
      }
      EXPECT_THAT(store.store.check(), AnyOf(errSecInvalidKeychain, errSecDecode));
    }
    EXPECT_EQ(root.run("cat keychain/keychain.db"), bad);
  }
}

// The head of the file is new, and the pages that it counts are still in the log.
TEST_F(Store, OpensWhenFoldingTheLogWasCutShort) {
  const WordStore store(folder);
  EXPECT_EQ(store.add("genp" + value + std::string(9000, 'v')), errSecSuccess);
  root.run("cp -a keychain copy");
  root.run("echo | dd of=copy/keychain.db bs=1 seek=31 conv=notrunc status=none");
  const WordStore copy(root / "copy");
  EXPECT_EQ(copy.read("genp").size(), 9000U);
  EXPECT_EQ(copy.store.check(), errSecSuccess);
}

TEST_F(Store, HasNoKeyFileWhenItIsMadeWithAPassphrase) {
  int asked = 0;
  const WordStore made(folder, [&asked] { return ++asked, "\u00E9"; });
  EXPECT_EQ(made.add("genp v_Data='v"), errSecSuccess);
  EXPECT_EQ(made.read("genp"), "v");
  EXPECT_EQ(asked, 1);
  EXPECT_THAT(snapshot(root), Not(HasSubstr("keychain.key")));
  EXPECT_EQ(WordStore(folder).read("genp"), mute);
  EXPECT_EQ(WordStore(folder).add("genp acct=b"), errSecInteractionNotAllowed);
}

// What has become of the key file since the row before, the passphrase that is given, and how
// often it is asked for.
struct Opening {
  const char* name;
  const char* commands;
  std::optional<std::string> given;
  std::string answer;
  int asked;
};

const Opening openings[] = {
    {"good key", ":", {}, "v", 0},
    {"wrong key and passphrase", "yes | head -c 32 >keychain.key", "\u00E9", "v", 1},
    {"wrong key alone", "yes | head -c 32 >keychain.key", {}, mute, 1},
    {"passphrase alone", "rm keychain.key", "e\u0301", "v", 1},
    {"wrong passphrase", ":", "e", std::to_string(errSecAuthFailed), 1},
    {"empty passphrase", ":", "", mute, 1},
    {"nothing", ":", {}, mute, 1},
};

TEST_F(Store, OpensByItsKeyFileOrItsPassphrase) {
  EXPECT_EQ(WordStore(folder).add("genp v_Data='v"), errSecSuccess);
  EXPECT_EQ(WordStore(folder).store.addSlot(KeySlot::passphrase, [] { return "\u00E9"; }), 0);
  for (const Opening& row : openings) {
    SCOPED_TRACE(row.name);
    root.run("cd keychain; " + std::string(row.commands));
    const std::string before = snapshot(root);
    int asked = 0;
    EXPECT_EQ(WordStore(folder, [&] { return ++asked, row.given; }).read("genp"), row.answer);
    EXPECT_EQ(asked, row.asked);
    EXPECT_EQ(snapshot(root), before);
  }
}

TEST_F(Store, WritesNothingInClear) {
  installServices({.bundle = {.keychainAccessGroups = {{"ClearGroup"}}},
                   .itemService = KeychainStore({.folder = folder}).itemService()});
  EXPECT_EQ(SecItemAdd(item("genp svce=ClearService acct=ClearA labl=ClearL v_Data='ClearV")), 0);
  EXPECT_EQ(SecItemAdd(item("genp acct=ClearRemoved v_Data='ClearRemovedValue")), 0);
  EXPECT_EQ(SecItemUpdate(item("genp acct=ClearA"), item("acct=ClearB v_Data='ClearNew")), 0);
  EXPECT_EQ(SecItemDelete(item("genp acct=ClearRemoved")), 0);
  Crypto::ECDSA::createKeyPair("ClearPair");
  const Data pair = *SecKeyCopyExternalRepresentation(example::loaded("ClearPair").privateKey());
  const std::string secret(Bytes(Bytes(pair).last(32)).text());
  for (const bool isOpen : {true, false}) {
    if (!isOpen) installServices({});
    EXPECT_THAT(root.run("cat keychain/*"), Not(AnyOf(HasSubstr("Clear"), HasSubstr(secret))));
    EXPECT_EQ(root.run("test -s keychain/keychain.db-wal && echo yes"), isOpen ? "yes\n" : "");
  }
}

const std::string first = "genp svce=s1 acct=a agrp=g1 sync=false";
const std::string third = "genp svce=s3 acct=c";

// What is asked for, and its value: the names of five items, a key pair with one name among them,
// and parts of them.
const std::pair<std::string, std::string> kept[] = {
    {first, "one"},
    {"genp svce=s2 acct=b agrp=g2 sync=true", "two"},
    {"keys kcls=1 atag='t klbl='h agrp=g2 sync=false", "private"},
    {"keys kcls=0 atag='t klbl='h agrp=g2 sync=false", "public"},
    {third, "three"},
    {"genp svce=s1 sync=syna r_Attributes=true", "one"},
    {"genp acct=a sync=syna r_Attributes=true", "one"},
    {"genp agrp=g1 sync=syna r_Attributes=true", "one"},
    {"genp sync=syna r_Attributes=true", "one three two"},
    {"keys kcls=1 r_Attributes=true", "private"},
    {"keys kcls=0 r_Attributes=true", "public"}};

void addFive(const std::string& folder) {
  const WordStore store(folder);
  for (const auto& [words, own] : std::span(kept).first(5)) {
    EXPECT_EQ(store.add(words + value + own), errSecSuccess);
  }
}

// Columns, the item that swaps them with the next one, and what asking for either then answers.
const std::tuple<std::string, std::size_t, std::string> swaps[] = {
    {"value", 1, damaged},    {"attributes", 1, damaged}, {"attributes, value", 1, damaged},
    {"service", 1, notFound}, {"account", 1, notFound},   {"\"group\"", 1, notFound},
    {"sync", 1, notFound},    {"class", 2, notFound},     {"class", 3, damaged}};

TEST_F(Store, NeverGivesAnItemForAnother) {
  for (const auto& [columns, number, answer] : swaps) {
    SCOPED_TRACE(columns + " of " + kept[number - 1].first);
    const TemporaryFolder place;
    addFive(place / "keychain");
    sql(place / "keychain/keychain.db",
        "create temp table old as select * from item where id - " + std::to_string(number) +
            " in (0, 1); create temp table new as select * from old; update new set (" + columns +
            ") = (select " + columns + " from old where old.id <> new.id);" +
            "replace into item select * from new");
    const WordStore store(place / "keychain");
    for (const auto& [words, own] : kept) {
      EXPECT_THAT(store.read(words), AnyOf(own, damaged, notFound)) << words;
    }
    for (const std::size_t i : {number - 1, number}) {
      EXPECT_EQ(store.read(kept[i].first + all), answer);
    }
    EXPECT_EQ(store.read(third + all), "three");
    EXPECT_EQ(store.store.check(), errSecDecode);
  }
}

// The index leads from each item to the next: to another one of its class, or to one of another.
TEST_F(Store, NeverFindsAnItemByTheNameOfAnother) {
  addFive(folder);
  sql(database,
      "create table other(class, service, account, \"group\", sync, id integer primary key,"
      "                   unique(class, service, account, \"group\", sync));"
      "insert into other select class, service, account, \"group\", sync, id % 5 + 1 from item;"
      "pragma writable_schema = on;"
      "update sqlite_schema set rootpage = (select rootpage from sqlite_schema"
      "  where name = 'sqlite_autoindex_other_1') where name = 'sqlite_autoindex_item_1';"
      "delete from sqlite_schema where tbl_name = 'other'");
  for (const std::string words : {first.c_str(), third.c_str(), "genp agrp=g2 sync=syna",
                                  "genp sync=syna", "keys kcls=1", "keys kcls=0", "keys"}) {
    EXPECT_THAT(WordStore(folder).read(words), AnyOf(invalid, damaged)) << words;
    EXPECT_THAT(WordStore(folder).read(words + all), AnyOf(invalid, damaged)) << words;
  }
  EXPECT_EQ(WordStore(folder).store.check(), errSecInvalidKeychain);
}

TEST_F(Store, NoticesEachChangedByteAndIsMendedByReplacing) {
  addFive(folder);
  const WordStore store(folder);
  const auto set = [this](const std::string& column, const std::string& digits) {
    sql(database, "update item set " + column + " = x'" + digits + "' where id = 1");
  };
  for (const std::string column : {"attributes", "value"}) {
    const std::string good = sql(database, "select hex(" + column + ") from item where id = 1");
    for (std::size_t i = 0; i < good.size(); i += 2) {
      set(column, std::string(good).replace(i, 1, good[i] == '0' ? "1" : "0"));
      ASSERT_EQ(store.read(first + all), damaged) << column << i;
    }
    EXPECT_EQ(store.read(third + all), "three");
    EXPECT_EQ(store.store.check(), errSecDecode);
    set(column, good);
    EXPECT_EQ(store.read(first + all), "one");
  }
  set("value", "");
  EXPECT_EQ(store.read(first), damaged);
  EXPECT_EQ(store.update(first, "v_Data='new"), errSecSuccess);
  EXPECT_EQ(store.read(first), "new");
  sql(database, "update item set id = 9 where id = 1");
  EXPECT_EQ(store.read(first), damaged);
  EXPECT_EQ(store.remove(first), errSecSuccess);
  EXPECT_EQ(store.read(first), notFound);
  EXPECT_EQ(store.store.check(), errSecSuccess);
}

}  // namespace
}  // namespace tarvex
