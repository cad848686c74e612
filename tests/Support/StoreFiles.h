// The files of a keychain store, looked at and changed behind its back.
#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <fstream>
#include <string>

#include "TarvexCommon/Base/ByteCoding.h"
#include "TarvexCommon/Platform/Store/OpenStore.h"
#include "TarvexCommon/Platform/Store/PageChecks.h"
#include "tests/Support/TemporaryFolder.h"

namespace tarvex {

// Runs statements on a database; returns the last text in a first column.
inline std::string sql(const std::string& file, const std::string& statements) {
  sqlite3* database = nullptr;
  std::string text;
  const auto keep = [](void* kept, int, char** columns, char**) {
    *static_cast<std::string*>(kept) = columns[0];
    return 0;
  };
  std::ifstream head(file);
  head.seekg(20);  // what is left free at the end of each page
  const char* layer = head.get() == int{pageCheckSize} ? checkingLayer() : nullptr;
  EXPECT_EQ(sqlite3_open_v2(file.c_str(), &database, SQLITE_OPEN_READWRITE, layer), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(database, statements.c_str(), keep, &text, nullptr), SQLITE_OK)
      << sqlite3_errmsg(database);
  sqlite3_close(database);
  return text;
}

// Adds the passphrase "p", one that costs next to nothing to try.
inline void addCheapPassphrase(const std::string& folder) {
  const auto store = openWithoutItems({.folder = folder});
  User none({});
  const SealingKey master = store->slots.open(store->folder, none);
  const Data salt(16, 's');
  Data context = store->id;
  append(context, bigEndian(std::uint64_t{2}));
  append(context, salt);
  append(context, std::string_view("passphrase"));
  const Data wrapped = Sealer(SealingKey::stretched("p", salt, 2)).seal(master.bytes(), context);
  const DatabaseUse use;
  store->database.prepare("INSERT INTO slot VALUES ('passphrase', ?1, 2, ?2)").run(salt, wrapped);
}

// Names, kinds, permissions and sums of all files but those that reading may leave.
inline std::string snapshot(const TemporaryFolder& root) {
  return root.run(
      "find . ! -name '*-shm' ! -name keychain.lock ! -name keychain.slots ! '(' -name '*-wal' "
      "-size 0 ')' "
      "-printf '%p %y %m %l\n' -type f -exec cksum {} ';' | sort");
}

}  // namespace tarvex
