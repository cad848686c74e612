// The files of a keychain store, looked at and changed behind its back.
#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <string>

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
  EXPECT_EQ(sqlite3_open(file.c_str(), &database), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(database, statements.c_str(), keep, &text, nullptr), SQLITE_OK)
      << sqlite3_errmsg(database);
  sqlite3_close(database);
  return text;
}

// Names, kinds, permissions and sums of all files but those that reading may leave.
inline std::string snapshot(const TemporaryFolder& root) {
  return root.run(
      "find . ! -name '*-shm' ! -name keychain.lock ! '(' -name '*-wal' -size 0 ')' "
      "-printf '%p %y %m %l\n' -type f -exec cksum {} ';' | sort");
}

}  // namespace tarvex
