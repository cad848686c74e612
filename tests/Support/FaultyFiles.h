// The files of every database in this process, made to fail or to be remembered.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "TarvexCommon/Platform/Store/FileLayer.h"

namespace tarvex {

// A call on a file that SQLite makes.
struct FileCall {
  enum Kind { open, remove, access, read, write, truncate, sync, size, lock, map, mapLock };

  Kind kind;
  std::string file;        // its path, where it is known
  std::int64_t at = 0;     // where it writes, or the new size
  std::string bytes = {};  // what it writes
};

// What to answer in place of the file; SQLITE_OK lets it answer. Set before the first use; used
// while no other thread uses a database.
inline std::function<int(const FileCall& call)>& onFileCall() {
  static std::function<int(const FileCall& call)> function;
  return function;
}

namespace faulty {

struct File : LayerFile {
  std::string* path;
};

inline int asked(const FileCall& call) { return onFileCall() ? onFileCall()(call) : SQLITE_OK; }

inline int asked(FileCall::Kind kind, sqlite3_file* file, std::int64_t at = 0,
                 std::string bytes = {}) {
  return asked({kind, *static_cast<File*>(file)->path, at, std::move(bytes)});
}

// Asks, then passes the call on.
template <FileCall::Kind kind, auto method, typename... Rest>
int answered(sqlite3_file* file, Rest... rest) {
  const int code = asked(kind, file);
  return code == SQLITE_OK ? passed<method>(file, rest...) : code;
}

inline int write(sqlite3_file* file, const void* from, int size, sqlite3_int64 at) {
  const std::string bytes(static_cast<const char*>(from), static_cast<std::size_t>(size));
  const int code = asked(FileCall::write, file, at, bytes);
  return code == SQLITE_OK ? passed<&sqlite3_io_methods::xWrite>(file, from, size, at) : code;
}

inline int truncate(sqlite3_file* file, sqlite3_int64 size) {
  const int code = asked(FileCall::truncate, file, size);
  return code == SQLITE_OK ? passed<&sqlite3_io_methods::xTruncate>(file, size) : code;
}

// Nobody can be told that a lock is not given back.
inline int mapLock(sqlite3_file* file, int first, int count, int flags) {
  const int code = (flags & SQLITE_SHM_LOCK) != 0 ? asked(FileCall::mapLock, file) : SQLITE_OK;
  return code == SQLITE_OK ? passed<&sqlite3_io_methods::xShmLock>(file, first, count, flags)
                           : code;
}

inline int close(sqlite3_file* file) {
  delete static_cast<File*>(file)->path;
  return closeLayerFile(file);
}

inline const sqlite3_io_methods& fileMethods() {
  using Methods = sqlite3_io_methods;
  static const Methods methods = [] {
    Methods made = passingFile;
    made.xClose = close;
    made.xRead = answered<FileCall::read, &Methods::xRead>;
    made.xWrite = write;
    made.xTruncate = truncate;
    made.xSync = answered<FileCall::sync, &Methods::xSync>;
    made.xFileSize = answered<FileCall::size, &Methods::xFileSize>;
    made.xLock = answered<FileCall::lock, &Methods::xLock>;
    made.xShmMap = answered<FileCall::map, &Methods::xShmMap>;
    made.xShmLock = mapLock;
    return made;
  }();
  return methods;
}

inline int open(sqlite3_vfs* layer, const char* name, sqlite3_file* file, int flags,
                int* outFlags) {
  const std::string path = name == nullptr ? "" : name;
  file->pMethods = nullptr;
  int code = asked({FileCall::open, path});
  if (code != SQLITE_OK) return code;
  code = openLayerFile(layer, name, file, flags, outFlags, fileMethods());
  if (file->pMethods != nullptr) static_cast<File*>(file)->path = new std::string(path);
  return code;
}

inline int remove(sqlite3_vfs* layer, const char* name, int isDurable) {
  const int code = asked({FileCall::remove, name});
  return code == SQLITE_OK ? passed<&sqlite3_vfs::xDelete>(layer, name, isDurable) : code;
}

inline int access(sqlite3_vfs* layer, const char* name, int flags, int* result) {
  const int code = asked({FileCall::access, name});
  return code == SQLITE_OK ? passed<&sqlite3_vfs::xAccess>(layer, name, flags, result) : code;
}

}  // namespace faulty

// Puts all this before the files of the process; call it once, before they are used.
inline void interposeFiles() {
  static sqlite3_vfs layer = [] {
    sqlite3_initialize();
    sqlite3_vfs made = passingLayer("faulty", sizeof(faulty::File), sqlite3_vfs_find(nullptr));
    made.xOpen = faulty::open;
    made.xDelete = faulty::remove;
    made.xAccess = faulty::access;
    return made;
  }();
  sqlite3_vfs_register(&layer, 1);
}

}  // namespace tarvex
