// What lies in the desktop's Secret Service, that of a real keyring: the key of a keychain store,
// and items.
//
// Where processes are forked, whatever uses libsecret does so in one of its own: GLib does not work
// in the children of a process that has used it.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <libsecret/secret.h>
#include <sys/resource.h>

#include <csignal>
#include <fstream>
#include <functional>
#include <future>

#include "TarvexCommon/Platform/Linux/SecretService.h"
#include "TarvexCommon/Platform/Linux/SecretServiceItemService.h"
#include "TarvexCommon/Platform/Services.h"
#include "TarvexCommon/Platform/Store/KeychainStore.h"
#include "tests/Support/Desktop.h"
#include "tests/Support/Processes.h"
#include "tests/Support/Store.h"
#include "tests/Support/StoreFiles.h"

namespace tarvex {
namespace {

const std::string locked = std::to_string(errSecInteractionNotAllowed);
const std::string absent = std::to_string(errSecNotAvailable);
const std::string wrong = std::to_string(errSecAuthFailed);

// Calls `work` with each item of the service that has this attribute; returns how many there are.
guint withItems(
    const char* name, const char* text,
    const std::function<void(SecretItem*)>& work = [](SecretItem*) {}) {
  GHashTable* attributes = g_hash_table_new(g_str_hash, g_str_equal);
  g_hash_table_insert(attributes, const_cast<char*>(name), const_cast<char*>(text));
  GList* found =
      secret_service_search_sync(nullptr, nullptr, attributes, SECRET_SEARCH_ALL, nullptr, nullptr);
  for (GList* each = found; each != nullptr; each = each->next) {
    work(static_cast<SecretItem*>(each->data));
  }
  const guint count = g_list_length(found);
  g_list_free_full(found, g_object_unref);
  g_hash_table_unref(attributes);
  return count;
}

void expectKeys(guint count) {
  inProcesses(1, [&](int) { EXPECT_EQ(withItems("xdg:schema", "com.tarvex.keychain"), count); });
}

// Replaces the key by so many other bytes.
void alterKey(std::size_t size) {
  inProcesses(1, [&](int) {
    withItems("xdg:schema", "com.tarvex.keychain", [&](SecretItem* item) {
      SecretValue* value = secret_value_new(std::string(size, 'x').c_str(),
                                            static_cast<gssize>(size), "application/octet-stream");
      EXPECT_TRUE(secret_item_set_secret_sync(item, value, nullptr, nullptr));
      secret_value_unref(value);
    });
  });
}

void alterAttribute(SecretItem* item, const char* name, const char* text) {
  GHashTable* attributes = secret_item_get_attributes(item);
  g_hash_table_insert(attributes, g_strdup(name), g_strdup(text));
  EXPECT_TRUE(secret_item_set_attributes_sync(item, nullptr, attributes, nullptr, nullptr));
  g_hash_table_unref(attributes);
}

// Returns whether some memory of this process is kept from being swapped out.
bool hasLockedMemory() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line) && !line.starts_with("VmLck:")) {
  }
  return !line.ends_with(" 0 kB");
}

class SecretServiceKey : public StoreTest {
 protected:
  // Makes a store with the value "v" in a process of its own.
  void makeStore(const std::optional<KeySlot>& firstSlot = {}) const {
    inProcesses(1, [&](int) {
      const KeychainStore store({.folder = folder, .firstSlot = firstSlot});
      EXPECT_EQ(store.itemService().add(item("genp v_Data='v"), nullptr), errSecSuccess);
    });
  }

  // Asks for its value in another process.
  void expectRead(const std::string& answer, const std::optional<std::string>& passphrase = {}) {
    inProcesses(1,
                [&](int) { EXPECT_EQ(WordStore(folder, say(passphrase)).read("genp"), answer); });
  }

  Desktop desktop;
};

// What has become of the desktop, the rows one after the other, and what the store answers.
struct State {
  const char* name;
  std::function<void(Desktop&)> change;
  std::string answer;
};

const State states[] = {
    {"unlocked", [](Desktop&) {}, "v"},
    {"stopped", [](Desktop& desktop) { desktop.signalKeyring(SIGSTOP); }, absent},
    {"goes on", [](Desktop& desktop) { desktop.signalKeyring(SIGCONT); }, "v"},
    {"other key", [](Desktop&) { alterKey(32); }, wrong},
    {"key of another size", [](Desktop&) { alterKey(31); }, wrong},
    {"locked", [](Desktop& desktop) { desktop.lockKeyring(); }, locked},
    {"no service", [](Desktop& desktop) { desktop.endKeyring(); }, absent},
    {"no key",
     [](Desktop& desktop) {
       desktop.startKeyring();
       desktop.removeItem(1);
     },
     absent},
    {"no bus at the address",
     [](Desktop&) { ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/none", 1); }, absent},
    {"bus that would have to be started",
     [](Desktop&) { ::setenv("DBUS_SESSION_BUS_ADDRESS", "autolaunch:", 1); }, absent},
    {"no address and no bus",
     [](Desktop&) {
       ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
       ::setenv("XDG_RUNTIME_DIR", "/none", 1);
     },
     absent},
};

TEST_F(SecretServiceKey, OpensTheStoreOrLeavesAllAsItIs) {
  makeStore();
  EXPECT_EQ(root.run("ls keychain"), "keychain.count\nkeychain.db\nkeychain.lock\n");
  EXPECT_EQ(slotsOf(KeychainStore({.folder = folder})), "s");
  for (const State& row : states) {
    SCOPED_TRACE(row.name);
    row.change(desktop);
    const std::string before = snapshot(root);
    expectRead(row.answer);
    EXPECT_EQ(snapshot(root), before);
  }
}

// Others hold the conversation for as long as all this takes.
TEST_F(SecretServiceKey, HoldsUpNobodyWhoHasTheStoreOpen) {
  makeStore(KeySlot::file);
  inProcesses(1, [&](int) {
    const KeychainStore store({.folder = folder});
    const WordStore open(folder);
    EXPECT_EQ(store.addSlot(KeySlot::secretService), errSecSuccess);
    std::future<OSStatus> removed;
    SecretService::use(Prompts::none, [&](SecretService&) {
      EXPECT_EQ(
          std::async(std::launch::async, [&] { return WordStore(root / "other").add("genp"); })
              .get(),
          0);
      removed =
          std::async(std::launch::async, [&] { return store.removeSlot(KeySlot::secretService); });
      EXPECT_TRUE(until([&] { return slotsOf(store) == "f"; }));
      EXPECT_EQ(open.update("genp", "v_Data='new"), errSecSuccess);
    });
    EXPECT_EQ(removed.get(), errSecSuccess);
  });
  expectKeys(0);
  EXPECT_EQ(slotsOf(KeychainStore({.folder = root / "other"})), "f");
  expectRead("new");
}

TEST_F(SecretServiceKey, OfMakersOfOneStoreIsKeptForOneOnly) {
  for (guint round = 1; round <= 5 && !HasFailure(); ++round) {
    inProcesses(4, [&](int number) {
      EXPECT_EQ(WordStore(folder).add(named(number) + " v_Data='v"), errSecSuccess);
    });
    expectKeys(round);
    for (int number = 0; number < 4; ++number) {
      inProcesses(1, [&](int) { EXPECT_EQ(WordStore(folder).read(named(number)), "v"); });
    }
    root.run("rm -r keychain");
  }
}

TEST_F(SecretServiceKey, GoesAgainWhereItsSlotCannotBeWritten) {
  const auto full = [&](const auto& work) {
    inProcesses(1, [&](int) {
      const rlimit limit = {.rlim_cur = 100, .rlim_max = 100};
      ::signal(SIGXFSZ, SIG_IGN);
      EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
      EXPECT_NE(work(), errSecSuccess);
    });
    expectKeys(0);
  };
  full([&] { return WordStore(folder).add("genp"); });
  makeStore(KeySlot::file);
  full([&] { return KeychainStore({.folder = folder}).addSlot(KeySlot::secretService); });
  expectRead("v");
}

// How a store is made, the rows one after the other, and its slots then.
struct Making {
  const char* name;
  std::function<void(Desktop&)> change;
  KeychainStoreOptions options;
  OSStatus answer;
  std::string slots;
};

const Making makings[] = {
    {"unlocked", [](Desktop&) {}, {}, errSecSuccess, "s"},
    {"file chosen", [](Desktop&) {}, {.firstSlot = KeySlot::file}, errSecSuccess, "f"},
    {"service chosen",
     [](Desktop&) {},
     {.passphrase = say("p"), .firstSlot = KeySlot::secretService},
     errSecSuccess,
     "s"},
    {"locked", [](Desktop& desktop) { desktop.lockKeyring(); }, {}, errSecSuccess, "f"},
    {"service chosen, locked",
     [](Desktop&) {},
     {.firstSlot = KeySlot::secretService},
     errSecInteractionNotAllowed,
     ""},
    {"service chosen, locked, nobody to be asked",
     [](Desktop&) {},
     {.firstSlot = KeySlot::secretService, .mayPrompt = true},
     errSecInteractionNotAllowed,
     ""},
    {"no default collection",
     [](Desktop& desktop) {
       desktop.endKeyring();
       desktop.startKeyring();
       desktop.removeCollection();
     },
     {},
     errSecSuccess,
     "f"},
    {"stopped", [](Desktop& desktop) { desktop.signalKeyring(SIGSTOP); }, {}, errSecSuccess, "f"},
    {"no service", [](Desktop& desktop) { desktop.endKeyring(); }, {}, errSecSuccess, "f"},
    {"service chosen, none there",
     [](Desktop&) {},
     {.firstSlot = KeySlot::secretService},
     errSecNotAvailable,
     ""},
};

TEST_F(SecretServiceKey, IsTheFirstOneOfAStoreWhereItCanBeKept) {
  for (Making row : makings) {
    SCOPED_TRACE(row.name);
    row.change(desktop);
    row.options.folder = folder;
    inProcesses(1, [&](int) {
      const ItemService items = KeychainStore(row.options).itemService();
      EXPECT_EQ(items.add(item("genp v_Data='v"), nullptr), row.answer);
    });
    EXPECT_EQ(slotsOf(KeychainStore({.folder = folder})), row.slots);
    EXPECT_EQ(root.run("ls keychain | grep -v 'lock\\|count'"),
              row.slots.empty()  ? ""
              : row.slots == "s" ? "keychain.db\n"
                                 : "keychain.db\nkeychain.key\n");
    if (!row.slots.empty()) expectRead("v");
    root.run("rm -r keychain");
  }
}

// A user who is asked for the keyring's password once: a process that takes the place of the
// desktop's dialog, by a library that comes with the keyring.
class SomebodyToAsk {
 public:
  // Without a password they close the dialog.
  explicit SomebodyToAsk(const char* password) : process_([this, password] { serve(password); }) {
    EXPECT_TRUE(until([this] { return isThere_[0].load(); }));
  }

  std::string name() const { return name_.get(); }

 private:
  void serve(const char* password) const {
    void* library = ::dlopen("libgcr-base-3.so.1", RTLD_NOW);
    const auto start =
        reinterpret_cast<const char* (*)()>(::dlsym(library, "gcr_mock_prompter_start"));
    const auto expect = reinterpret_cast<void (*)(const char*, ...)>(
        ::dlsym(library, "gcr_mock_prompter_expect_password_ok"));
    const auto cancel =
        reinterpret_cast<void (*)()>(::dlsym(library, "gcr_mock_prompter_expect_password_cancel"));
    std::string(start()).copy(name_.get(), nameSize - 1);
    if (password == nullptr) cancel();
    else expect(password, nullptr);
    isThere_[0] = true;
    while (true) ::pause();
  }

  static constexpr std::size_t nameSize = 64;

  const std::shared_ptr<char[]> name_ = shared<char>(nameSize);
  const std::shared_ptr<std::atomic<bool>[]> isThere_ = shared<std::atomic<bool>>();
  const Process process_;
};

TEST_F(SecretServiceKey, IsUnlockedByTheUserWhereTheHostAllowsIt) {
  makeStore(KeySlot::secretService);
  struct Row {
    const char* name;
    bool mayPrompt;
    const char* password;
    OSStatus answer;
  };
  for (const Row& row : {Row{"dialog closed", true, nullptr, errSecInteractionNotAllowed},
                         Row{"password typed", true, "password", errSecSuccess},
                         Row{"not asked", false, "password", errSecInteractionNotAllowed}}) {
    SCOPED_TRACE(row.name);
    const SomebodyToAsk user(row.password);
    desktop.endKeyring();
    desktop.startKeyring(user.name());
    desktop.lockKeyring();
    inProcesses(1, [&](int) {
      const KeychainStore store({.folder = folder, .mayPrompt = row.mayPrompt});
      EXPECT_EQ(store.itemService().copyMatching(item("genp"), nullptr), row.answer);
    });
  }
}

// What is done with the slots, the rows one after the other.
struct Step {
  const char* name;
  std::function<void(Desktop&)> change;
  std::function<OSStatus(const KeychainStore&)> operation;
  OSStatus answer;
  std::string slots;  // afterwards
  guint keys;         // of those that were kept
};

std::function<OSStatus(const KeychainStore&)> add(KeySlot slot) {
  return [slot](const KeychainStore& store) { return store.addSlot(slot, say("p")); };
}

std::function<OSStatus(const KeychainStore&)> removal(KeySlot slot) {
  return [slot](const KeychainStore& store) { return store.removeSlot(slot); };
}

const Step steps[] = {
    {"added", [](Desktop&) {}, add(KeySlot::secretService), errSecSuccess, "fs", 1},
    {"added again", [](Desktop&) {}, add(KeySlot::secretService), errSecDuplicateItem, "fs", 1},
    {"removed", [](Desktop&) {}, removal(KeySlot::secretService), errSecSuccess, "f", 0},
    {"removed again", [](Desktop&) {}, removal(KeySlot::secretService), errSecItemNotFound, "f", 0},
    {"back", [](Desktop&) {}, add(KeySlot::secretService), errSecSuccess, "fs", 1},
    {"without file", [](Desktop&) {}, removal(KeySlot::file), errSecSuccess, "s", 1},
    {"last one", [](Desktop&) {}, removal(KeySlot::secretService), errSecParam, "s", 1},
    {"and a passphrase", [](Desktop&) {}, add(KeySlot::passphrase), errSecSuccess, "sp", 1},
    {"removed when locked", [](Desktop& desktop) { desktop.lockKeyring(); },
     removal(KeySlot::secretService), errSecSuccess, "p", 1},
    {"added when locked", [](Desktop&) {}, add(KeySlot::secretService), errSecInteractionNotAllowed,
     "p", 1},
    {"what is left is used", [](Desktop& desktop) { desktop.startKeyring(); },
     add(KeySlot::secretService), errSecSuccess, "sp", 1},
};

TEST_F(SecretServiceKey, ComesAndGoesWithItsSlot) {
  makeStore(KeySlot::file);
  for (const Step& row : steps) {
    SCOPED_TRACE(row.name);
    row.change(desktop);
    inProcesses(1, [&](int) {
      EXPECT_EQ(row.operation(KeychainStore({.folder = folder, .passphrase = say("p")})),
                row.answer);
    });
    EXPECT_EQ(slotsOf(KeychainStore({.folder = folder})), row.slots);
    expectKeys(row.keys);
  }
  expectRead("v");
  alterKey(32);
  expectRead("v", "p");
  expectRead(wrong, "q");
  expectRead(locked);
}

TEST_F(SecretServiceKey, IsInheritedByAChild) {
  makeStore();
  inProcesses(1, [&](int) {
    const WordStore store(folder);
    EXPECT_EQ(store.read("genp"), "v");
    const bool isLocked = hasLockedMemory();
    Process child([&] {
      EXPECT_EQ(hasLockedMemory(), isLocked);
      EXPECT_EQ(store.read("genp"), "v");
    });
    EXPECT_TRUE(child.succeeds());
    Process other([&] {
      EXPECT_EQ(KeychainStore({.folder = root / "other", .firstSlot = KeySlot::secretService})
                    .itemService()
                    .add(item("genp"), nullptr),
                errSecNotAvailable);
    });
    EXPECT_TRUE(other.succeeds());
  });
}

// Attributes that another program has given to an item.
const char* const contents[] = {"", "!", "AAAA", "BWNsYXNzAwAAAARnZW5w"};  // the class alone

TEST(SecretServiceItems, AreNotGivenWhereTheyAreDamagedOrLocked) {
  const Desktop desktop;
  installServices({.bundle = {.keychainAccessGroups = {{"g"}}}});
  const ItemService items = secretServiceItemService();
  for (const char* account : {"acct=a", "acct=b"}) {
    EXPECT_EQ(items.add(item("genp v_Data='v " + std::string(account)), nullptr), errSecSuccess);
  }
  for (const char* content : contents) {
    SCOPED_TRACE(content);
    withItems("account", "b", [&](SecretItem* b) { alterAttribute(b, "attributes", content); });
    EXPECT_EQ(items.copyMatching(item("genp acct=b"), nullptr), errSecDecode);
    EXPECT_EQ(items.copyMatching(item("genp"), nullptr), errSecSuccess);
  }
  desktop.lockKeyring();
  EXPECT_EQ(items.copyMatching(item("genp acct=a"), nullptr), errSecInteractionNotAllowed);
  EXPECT_EQ(items.update(item("genp acct=a"), item("labl=l")), errSecInteractionNotAllowed);
  EXPECT_EQ(items.remove(item("genp acct=a")), errSecInteractionNotAllowed);
  EXPECT_EQ(items.add(item("genp acct=c"), nullptr), errSecInteractionNotAllowed);
  installServices({});
}

}  // namespace
}  // namespace tarvex
