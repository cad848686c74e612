#include "TarvexCommon/Platform/Store/PageChecks.h"

#include <algorithm>
#include <array>
#include <utility>

#include "TarvexCommon/Base/ByteCoding.h"
#include "TarvexCommon/Platform/Store/FileLayer.h"

namespace tarvex {
namespace {

using Page = std::span<const std::uint8_t, pageSize>;

struct CheckedFile : LayerFile {
  bool hasReadWrongPage;
};

// Each step is reversible in the word and in what came before: a change within one word is
// always noticed. Pages that changed places are noticed by their numbers.
std::uint64_t checkOf(Page page, std::uint64_t number) {
  constexpr std::uint64_t factor = 0x9E3779B97F4A7C15;  // 2^64 divided by the golden ratio
  constexpr std::size_t wordSize = 8;
  std::uint64_t check = number;
  for (std::size_t at = 0; at < pageSize - pageCheckSize; at += wordSize) {
    check = (check ^ fromBigEndian(Bytes(page.subspan(at, wordSize)))) * factor;
    check ^= check >> 29;
  }
  return check;
}

std::uint64_t checkIn(Page page) { return fromBigEndian(Bytes(page.last(pageCheckSize))); }

// One that was never written is empty.
bool isRight(Page page, std::uint64_t number) {
  if (checkIn(page) == checkOf(page, number)) return true;
  return std::ranges::all_of(page, [](std::uint8_t byte) { return byte == 0; });
}

void putCheck(std::span<std::uint8_t, pageSize> page, std::uint64_t number) {
  std::ranges::copy(bigEndian(checkOf(page, number)), page.last(pageCheckSize).begin());
}

bool isPage(int size, sqlite3_int64 at) {
  return size == int{pageSize} && at % sqlite3_int64{pageSize} == 0;
}

std::uint64_t numberAt(sqlite3_int64 at) { return static_cast<std::uint64_t>(at) / pageSize; }

int readPage(sqlite3_file* file, void* to, int size, sqlite3_int64 at) {
  const int code = passed<&sqlite3_io_methods::xRead>(file, to, size, at);
  const bool isRead = code == SQLITE_OK || code == SQLITE_IOERR_SHORT_READ;  // then zeros follow
  if (!isRead || !isPage(size, at)) return code;
  const Page page(static_cast<const std::uint8_t*>(to), pageSize);
  if (!isRight(page, numberAt(at))) static_cast<CheckedFile*>(file)->hasReadWrongPage = true;
  return code;
}

int writePage(sqlite3_file* file, const void* from, int size, sqlite3_int64 at) {
  if (!isPage(size, at)) return passed<&sqlite3_io_methods::xWrite>(file, from, size, at);
  std::array<std::uint8_t, pageSize> page;
  std::copy_n(static_cast<const std::uint8_t*>(from), pageSize, page.begin());
  putCheck(page, numberAt(at));
  return passed<&sqlite3_io_methods::xWrite>(file, page.data(), size, at);
}

// Only databases have checksums: logs and journals have others.
int openChecked(sqlite3_vfs* layer, const char* name, sqlite3_file* file, int flags,
                int* outFlags) {
  static constexpr sqlite3_io_methods checking = [] {
    sqlite3_io_methods methods = passingFile;
    methods.xRead = readPage;
    methods.xWrite = writePage;
    return methods;
  }();
  static_cast<CheckedFile*>(file)->hasReadWrongPage = false;
  const bool isDatabase = (flags & SQLITE_OPEN_MAIN_DB) != 0;
  return openLayerFile(layer, name, file, flags, outFlags, isDatabase ? checking : passingFile);
}

}  // namespace

const char* checkingLayer() {
  static constexpr char name[] = "tarvex-page-checks";
  static sqlite3_vfs layer = [] {
    sqlite3_vfs made = passingLayer(name, sizeof(CheckedFile), nullptr);
    made.xOpen = openChecked;
    return made;
  }();
  static const int registered = sqlite3_vfs_register(&layer, 0);
  (void)registered;
  return name;
}

bool takeWrongPageRead(sqlite3_file& file) {
  return std::exchange(static_cast<CheckedFile&>(file).hasReadWrongPage, false);
}

void putPageChecks(std::span<std::uint8_t> file) {
  for (std::uint64_t number = 0; file.size() >= pageSize; ++number) {
    putCheck(file.first<pageSize>(), number);
    file = file.subspan(pageSize);
  }
}

}  // namespace tarvex
