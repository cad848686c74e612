// A layer over SQLite's files: what it does not do itself the files below it do. Internal.
//
// A layer is an `sqlite3_vfs`, its files `LayerFile` or derived from it. Methods of its own stand
// in the place of these.
#pragma once

#include <sqlite3.h>

namespace tarvex {

struct LayerFile : sqlite3_file {
  sqlite3_file* below;  // null when it is not open
};

// The layer below: the one that is named when it is made, or the default one.
inline sqlite3_vfs* below(const sqlite3_vfs* layer) {
  auto* named = static_cast<sqlite3_vfs*>(layer->pAppData);
  return named == nullptr ? sqlite3_vfs_find(nullptr) : named;
}

// `passed<&sqlite3_io_methods::xRead>` is a function that calls the one below.
template <auto method>
struct Passing;

template <typename Result, typename... Rest,
          Result (*sqlite3_io_methods::*method)(sqlite3_file*, Rest...)>
struct Passing<method> {
  static Result call(sqlite3_file* file, Rest... rest) {
    auto* next = static_cast<LayerFile*>(file)->below;
    return (next->pMethods->*method)(next, rest...);
  }
};

template <typename Result, typename... Rest, Result (*sqlite3_vfs::*method)(sqlite3_vfs*, Rest...)>
struct Passing<method> {
  static Result call(sqlite3_vfs* layer, Rest... rest) {
    sqlite3_vfs* next = below(layer);
    return (next->*method)(next, rest...);
  }
};

template <auto method>
inline constexpr auto passed = &Passing<method>::call;

inline int closeLayerFile(sqlite3_file* file) {
  auto* own = static_cast<LayerFile*>(file);
  const int code = own->below->pMethods->xClose(own->below);
  sqlite3_free(own->below);
  return code;
}

// Opens the file below, and this one with `methods`.
inline int openLayerFile(sqlite3_vfs* layer, const char* name, sqlite3_file* file, int flags,
                         int* outFlags, const sqlite3_io_methods& methods) {
  auto* own = static_cast<LayerFile*>(file);
  sqlite3_vfs* next = below(layer);
  own->pMethods = nullptr;
  own->below = static_cast<sqlite3_file*>(sqlite3_malloc(next->szOsFile));
  if (own->below == nullptr) return SQLITE_NOMEM;
  own->below->pMethods = nullptr;
  const int code = next->xOpen(next, name, own->below, flags, outFlags);
  if (own->below->pMethods != nullptr) {
    own->pMethods = &methods;
  } else {
    sqlite3_free(own->below);
  }
  return code;
}

// All methods of a file but for memory mapping.
inline constexpr sqlite3_io_methods passingFile = {
    .iVersion = 2,
    .xClose = closeLayerFile,
    .xRead = passed<&sqlite3_io_methods::xRead>,
    .xWrite = passed<&sqlite3_io_methods::xWrite>,
    .xTruncate = passed<&sqlite3_io_methods::xTruncate>,
    .xSync = passed<&sqlite3_io_methods::xSync>,
    .xFileSize = passed<&sqlite3_io_methods::xFileSize>,
    .xLock = passed<&sqlite3_io_methods::xLock>,
    .xUnlock = passed<&sqlite3_io_methods::xUnlock>,
    .xCheckReservedLock = passed<&sqlite3_io_methods::xCheckReservedLock>,
    .xFileControl = passed<&sqlite3_io_methods::xFileControl>,
    .xSectorSize = passed<&sqlite3_io_methods::xSectorSize>,
    .xDeviceCharacteristics = passed<&sqlite3_io_methods::xDeviceCharacteristics>,
    .xShmMap = passed<&sqlite3_io_methods::xShmMap>,
    .xShmLock = passed<&sqlite3_io_methods::xShmLock>,
    .xShmBarrier = passed<&sqlite3_io_methods::xShmBarrier>,
    .xShmUnmap = passed<&sqlite3_io_methods::xShmUnmap>,
    .xFetch = nullptr,
    .xUnfetch = nullptr};

// All methods of a layer but `xOpen`; it loads no extensions.
inline sqlite3_vfs passingLayer(const char* name, int fileSize, sqlite3_vfs* over) {
  return {.iVersion = 2,
          .szOsFile = fileSize,
          .mxPathname = (over == nullptr ? sqlite3_vfs_find(nullptr) : over)->mxPathname,
          .pNext = nullptr,
          .zName = name,
          .pAppData = over,
          .xOpen = nullptr,
          .xDelete = passed<&sqlite3_vfs::xDelete>,
          .xAccess = passed<&sqlite3_vfs::xAccess>,
          .xFullPathname = passed<&sqlite3_vfs::xFullPathname>,
          .xDlOpen = nullptr,
          .xDlError = nullptr,
          .xDlSym = nullptr,
          .xDlClose = nullptr,
          .xRandomness = passed<&sqlite3_vfs::xRandomness>,
          .xSleep = passed<&sqlite3_vfs::xSleep>,
          .xCurrentTime = passed<&sqlite3_vfs::xCurrentTime>,
          .xGetLastError = passed<&sqlite3_vfs::xGetLastError>,
          .xCurrentTimeInt64 = passed<&sqlite3_vfs::xCurrentTimeInt64>,
          .xSetSystemCall = nullptr,
          .xGetSystemCall = nullptr,
          .xNextSystemCall = nullptr};
}

}  // namespace tarvex
