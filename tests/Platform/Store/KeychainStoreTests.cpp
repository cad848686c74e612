// What the keychain store keeps, refuses and notices.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <fstream>

#include "TarvexCommon/Platform/Memory/FixedClock.h"
#include "TarvexCommon/Platform/Store/KeychainStore.h"
#include "tests/Support/ExampleKey.h"
#include "tests/Support/InstalledServices.h"
#include "tests/Support/Store.h"

namespace tarvex {
namespace {

using testing::AnyOf;
using testing::HasSubstr;
using testing::Not;

const std::string notFound = std::to_string(errSecItemNotFound);
const std::string damaged = std::to_string(errSecDecode);
const std::string invalid = std::to_string(errSecInvalidKeychain);
const std::string value = " v_Data='";
const std::string all = " r_Attributes=true";

// Runs statements on a database; returns the last text in a first column.
std::string sql(const std::string& file, const std::string& statements) {
  sqlite3* database = nullptr;
  std::string text;
  const auto keep = [](void* kept, int, char** columns, char**) {
    *static_cast<std::string*>(kept) = columns[0];
    return 0;
  };
  EXPECT_EQ(sqlite3_open(file.c_str(), &database), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(database, statements.c_str(), keep, &text, nullptr), SQLITE_OK)
      << sqlite3_errmsg(database);
  sqlite3_close(database);
  return text;
}

// Names, kinds, permissions and sums of all files but those that reading may leave.
std::string snapshot(const TemporaryFolder& root) {
  return root.run(
      "find . ! -name '*-shm' ! -name keychain.lock ! '(' -name '*-wal' -size 0 ')' "
      "-printf '%p %y %m %l\n' -type f -exec cksum {} ';' | sort");
}

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
      EXPECT_EQ(root.run("cd " + std::string(place) + "; stat -c '%n %a' . *"),
                ". 700\nkeychain.db 600\nkeychain.db-shm 600\nkeychain.db-wal 600\n"
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
};

const Refusal refusals[] = {
    {"folder that others may read", errSecNotAvailable, "chmod 755 ."},
    {"database that others may read", errSecNotAvailable, "chmod 644 keychain.db"},
    {"key that others may read", errSecNotAvailable, "chmod 644 keychain.key"},
    {"linked database", errSecNotAvailable, "mv keychain.db ../d && ln -s ../d keychain.db"},
    {"linked key", errSecNotAvailable, "mv keychain.key ../k && ln -s ../k keychain.key"},
    {"linked lock", errSecNotAvailable, "ln -sf ../none keychain.lock"},
    {"folder as database", errSecNotAvailable, "rm keychain.db && mkdir keychain.db"},
    {"pipe as key", errSecNotAvailable, "rm keychain.key && mkfifo -m 600 keychain.key"},
    {"file as folder", errSecNotAvailable, "cd .. && rm -r keychain && touch keychain"},
    {"folder of somebody else", errSecNotAvailable, "chown 65534 ."},
    {"database of somebody else", errSecNotAvailable, "chown 65534 keychain.db"},
    {"read-only folder", errSecWrPerm, "chown -Rf 65534 ..; chmod 500 ."},
    {"missing key", errSecNotAvailable, "rm keychain.key"},
    {"other key", errSecAuthFailed, "yes | head -c 32 >keychain.key"},
    {"short key", errSecAuthFailed, "truncate -s 31 keychain.key"},
    {"long key", errSecAuthFailed, "truncate -s 33 keychain.key"},
    {"empty database", errSecInvalidKeychain, "truncate -s 0 keychain.db"},
    {"header alone", errSecInvalidKeychain, "truncate -s 100 keychain.db"},
    {"text as database", errSecInvalidKeychain, "yes text | head -c 9000 >keychain.db"},
    {"log without database", errSecInvalidKeychain, "mv keychain.db keychain.db-wal"},
    {"other database", errSecInvalidKeychain, ": >keychain.db", "create table item(id)"},
    {"unknown file format", errSecInvalidKeychain,
     "echo | dd of=keychain.db bs=1 seek=47 conv=notrunc status=none"},
    {"other application", errSecInvalidKeychain, "", "pragma application_id = 1"},
    {"newer format", errSecInvalidKeychain, "", "pragma user_version = 2"},
    {"table too many", errSecInvalidKeychain, "", "create table other(id)"},
    {"table too few", errSecInvalidKeychain, "", "drop table slot"},
    {"no slot", errSecInvalidKeychain, "", "delete from slot"},
    {"trigger", errSecInvalidKeychain, "",
     "create trigger t after insert on item begin delete from item; end"},
};

TEST_F(Store, IsRefusedAndLeftAsItIs) {
  constexpr uid_t other = 65534;
  for (const Refusal& row : refusals) {
    if (std::string(row.name).ends_with("somebody else") && ::geteuid() != 0) continue;
    SCOPED_TRACE(row.name);
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

TEST_F(Store, NeverAnswersWronglyFromADamagedFile) {
  const std::string text(300, 'v');
  for (int i = 10; i < 50; ++i) {
    const std::string account = std::to_string(i);
    EXPECT_EQ(WordStore(folder).add("genp acct=" + account + value + account + text), 0);
  }
  const std::string good = root.run("cat keychain/keychain.db");
  for (std::size_t at = 0; at < good.size(); at += 4096) {
    SCOPED_TRACE(at);
    std::string bad = good;
    bad.replace(at, 4096, at == 0 ? "" : std::string(4096, '\xA5'));
    if (at == 0) bad = good.substr(0, good.size() / 2);
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

TEST_F(Store, OpensByItsPassphrase) {
  int asked = 0;
  const auto with = [&](const std::optional<std::string>& passphrase) {
    return WordStore(folder, [&asked, passphrase] { return ++asked, passphrase; });
  };
  {
    const WordStore made = with("\u00E9");
    EXPECT_EQ(made.add("genp v_Data='v"), errSecSuccess);
    EXPECT_EQ(made.read("genp"), "v");
    EXPECT_EQ(asked, 1);
  }
  const std::string before = snapshot(root);
  EXPECT_THAT(before, Not(HasSubstr("keychain.key")));
  EXPECT_EQ(with("e\u0301").read("genp"), "v");
  EXPECT_EQ(with("e").read("genp"), std::to_string(errSecAuthFailed));
  EXPECT_EQ(asked, 3);
  for (const WordStore& store : {WordStore(folder), with({}), with("")}) {
    EXPECT_EQ(store.read("genp"), std::to_string(errSecInteractionNotAllowed));
    EXPECT_EQ(store.add("genp acct=b"), errSecInteractionNotAllowed);
  }
  EXPECT_EQ(snapshot(root), before);
}

TEST_F(Store, WritesNothingInClear) {
  installServices({.bundle = {.keychainAccessGroups = {{"ClearGroup"}}},
                   .itemService = KeychainStore({.directory = folder}).itemService()});
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
const std::string second = "genp svce=s2 acct=b agrp=g2 sync=true";
const std::string third = "genp svce=s3 acct=c";

void addThree(const std::string& folder) {
  const WordStore store(folder);
  EXPECT_EQ(store.add(first + value + "one"), errSecSuccess);
  EXPECT_EQ(store.add(second + value + "two"), errSecSuccess);
  EXPECT_EQ(store.add(third + value + "three"), errSecSuccess);
}

TEST_F(Store, NeverGivesAnItemForAnother) {
  for (const std::string columns :
       {"value", "attributes", "attributes, value", "service", "account", "\"group\"", "sync"}) {
    SCOPED_TRACE(columns);
    const TemporaryFolder place;
    addThree(place / "keychain");
    sql(place / "keychain/keychain.db",
        "create temp table old as select * from item order by id limit 2;"
        "update item set (" +
            columns + ") = (select " + columns +
            " from old where old.id <> item.id) where id in (select id from old)");
    const WordStore store(place / "keychain");
    const bool isFound = columns == "attributes" || columns.ends_with("value");
    for (const auto& [words, own] : {std::pair(first, "one"), {second, "two"}}) {
      EXPECT_THAT(store.read(words), AnyOf(own, damaged, notFound));
      EXPECT_THAT(store.read(words + all), AnyOf(damaged, isFound ? damaged : notFound));
    }
    for (const std::string words : {"svce=s1", "svce=s2", "acct=a", "acct=b", "agrp=g1"}) {
      EXPECT_THAT(store.read("genp sync=syna " + words + all), AnyOf(damaged, notFound)) << words;
    }
    EXPECT_EQ(store.read(third + all), "three");
    EXPECT_EQ(store.store.check(), errSecDecode);
  }
}

TEST_F(Store, NeverFindsAnItemByTheNameOfAnother) {
  addThree(folder);
  sql(database,
      "create table other(class, service, account, \"group\", sync, id integer primary key,"
      "                   unique(class, service, account, \"group\", sync));"
      "insert into other select class, service, account, \"group\", sync, 4 - id from item;"
      "pragma writable_schema = on;"
      "update sqlite_schema set rootpage = (select rootpage from sqlite_schema"
      "  where name = 'sqlite_autoindex_other_1') where name = 'sqlite_autoindex_item_1';"
      "delete from sqlite_schema where tbl_name = 'other'");
  for (const std::string& words : {first, third}) {
    EXPECT_THAT(WordStore(folder).read(words), AnyOf(invalid, damaged));
    EXPECT_THAT(WordStore(folder).read(words + all), AnyOf(invalid, damaged));
  }
  EXPECT_EQ(WordStore(folder).store.check(), errSecInvalidKeychain);
}

TEST_F(Store, NoticesEachChangedByteAndIsMendedByReplacing) {
  addThree(folder);
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
