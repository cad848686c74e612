// The road of a token, from the key that signs it to the keychain that keeps it. Everything
// lies in a keychain store of its own, in a temporary folder.

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <system_error>

#include "Road.h"
#include "TarvexCommon/Platform/Services.h"
#include "TarvexCommon/Platform/Store/KeychainStore.h"

namespace {

// A folder that nobody else may enter, gone at the end with all that is in it.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = absolute(std::filesystem::temp_directory_path() / "token-road-XXXXXX");
    road::expect(mkdtemp(name.data()) != nullptr, "there is no place for a temporary folder");
    path_ = name;
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  const std::filesystem::path& path() const noexcept { return path_; }

 private:
  std::filesystem::path path_;
};

// What every application of the team does at its start. A real one gives the bundle alone: it has
// the system's log and the user's keychain.
void start(const std::filesystem::path& folder, const tarvex::RecordingLog& log) {
  tarvex::installServices(
      {.bundle = {.identifier = "com.example.token-road",
                  .infoDictionary = {{"TeamIDPrefix", "ABCDE12345."}}},
       .log = log.sink(),
       .itemService = tarvex::KeychainStore({.folder = folder, .firstSlot = tarvex::KeySlot::file})
                          .itemService()});
}

void walk() {
  const TemporaryFolder folder;
  const tarvex::RecordingLog log;
  start(folder.path(), log);
  road::say("The keychain of this walk is made in " + folder.path().string() + ".");
  const std::string token = road::makeAndCheckToken();
  road::readForeignToken();
  road::step("The library's log has a line for each signature that a key refused:");
  for (const std::string& message : log.messages()) road::say("  " + message);
  road::keepToken(token, folder.path());
  road::migratePasswords(log, folder.path());
  road::say("\ndemo: ok");
}

}  // namespace

int main(int argc, char** argv) {
  try {
    if (argc == 3 && std::string_view(argv[1]) == "--read") {
      start(argv[2], {});
      road::readKeptToken();
    } else {
      walk();
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "demo: %s\n", error.what());
    return 1;
  }
}
