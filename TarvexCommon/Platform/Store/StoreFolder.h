// The folder of a store: who may have what in it, and the lock of those who write.
// Internal.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <utility>

#include "TarvexCommon/Base/Data.h"

namespace tarvex {

// A file descriptor, closed with the object.
class Descriptor {
 public:
  explicit Descriptor(int number) noexcept : number_(number) {}
  Descriptor(Descriptor&& other) noexcept;
  ~Descriptor();
  int number() const noexcept { return number_; }

 private:
  int number_;
};

// The lock of those who change a store, in whatever process; the kernel releases what is
// left by one that dies. Each holder opens the file anew, so that no child inherits a lock
// for long.
class FolderLock {
 public:
  explicit FolderLock(Descriptor file) noexcept : file_(std::move(file)) {}
  FolderLock(FolderLock&&) noexcept = default;
  ~FolderLock();

  // Returns false when somebody else holds it.
  bool tryLock();

 private:
  Descriptor file_;
};

// The files of a store.
inline constexpr char storeFile[] = "keychain.db";
inline constexpr char logFile[] = "keychain.db-wal";  // what is not folded into it yet
inline constexpr char logIndexFile[] = "keychain.db-shm";
inline constexpr char keyFile[] = "keychain.key";
inline constexpr char lockFile[] = "keychain.lock";
inline constexpr char slotLockFile[] = "keychain.slots";
inline constexpr char countFile[] = "keychain.count";  // of the changes

// How long to wait for others; with the lock of the slots they may converse with the desktop.
inline constexpr std::chrono::seconds slotPatience{60};
inline constexpr std::chrono::seconds patience{10};

// What tells a file from another one of the same name.
struct FileIdentity {
  dev_t device;
  ino_t node;
  friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};

// Its operations throw `errSecNotAvailable` for a folder or file that is not this user's
// alone, of another kind, or a link in the folder, `errSecWrPerm`, `errSecDiskFull` and
// `errSecIO`, as the system says.
class StoreFolder {
 public:
  // Makes the folder unless it is there.
  explicit StoreFolder(const std::string& path);

  std::string pathOf(const std::string& name) const { return path_ + '/' + name; }

  // Returns nothing when there is no such file.
  std::optional<FileIdentity> identityOf(const std::string& name) const;
  bool has(const std::string& name) const { return identityOf(name).has_value(); }
  off_t sizeOf(const std::string& name) const;  // 0 when there is no such file

  // Returns the bytes of a file that is there; one that may not be read gives
  // `errSecNotAvailable`.
  Data read(const std::string& name) const;

  // Opens a file that is there, to read and write it.
  Descriptor open(const std::string& name) const;

  // Throws when there is such a file and it may not be read and written.
  void ensureUsable(const std::string& name) const;

  // Makes an empty file, or empties the one that is there.
  void makeEmpty(const std::string& name) const;

  // Puts a file with these bytes under the name at once: nobody sees it half written.
  void write(const std::string& name, Bytes bytes) const;

  void rename(const std::string& from, const std::string& to) const;
  void removeIfThere(const std::string& name) const;  // for good

  // Waits until nobody else holds the lock; throws `errSecIO` when that takes too long.
  FolderLock lock(std::chrono::seconds limit = patience) const { return lock(lockFile, limit); }

  // Likewise the lock of those who add or remove slots. It comes before the other one, and may be
  // held as long as a conversation with the desktop takes.
  FolderLock lockSlots() const { return lock(slotLockFile, slotPatience); }

 private:
  FolderLock lock(const char* name, std::chrono::seconds limit) const;
  Descriptor openFile(const std::string& name, int flags) const;

  std::string path_;
};

// Makes a file with these bytes, for this user only; nobody sees it half written, but under a
// name with six more letters. Throws `errSecDuplicateItem` when there is anything of its name.
void writeNewFile(const std::string& path, Bytes bytes);

// Where the store lies unless the host says otherwise; empty when the environment does not
// tell.
std::string defaultStoreFolder();

}  // namespace tarvex
