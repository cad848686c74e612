#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

#include "TarvexCommon/Platform/Services.h"

using namespace std::string_literals;

namespace tarvex {
namespace {

void write(const char* file, const std::string& text) { std::ofstream(file) << text; }

// Gives this process a view of the system in which /run is empty and its own.
bool enterEmptyRun() {
  const std::string user = "0 " + std::to_string(getuid()) + " 1";
  const std::string group = "0 " + std::to_string(getgid()) + " 1";
  if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
  write("/proc/self/uid_map", user);
  write("/proc/self/setgroups", "deny");
  write("/proc/self/gid_map", group);
  return mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         mount("tmpfs", "/run", "tmpfs", 0, nullptr) == 0 && mkdir("/run/systemd", 0755) == 0 &&
         mkdir("/run/systemd/journal", 0755) == 0;
}

class SystemLogDeathTest : public testing::Test {
 protected:
  void SetUp() override {
    const pid_t child = fork();
    if (child == 0) _exit(enterEmptyRun() ? 0 : 1);
    int status = 0;
    waitpid(child, &status, 0);
    if (status != 0)
      GTEST_SKIP() << "no process may have user and mount namespaces of its own here";
  }

  static void logOnce(const std::string& message) {
    installServices({});
    Log("com.example.notes", "sync").log(message);
  }
};

TEST_F(SystemLogDeathTest, WritesALineToStderrWhereThereIsNoJournal) {
  const auto log = [] {
    enterEmptyRun();
    logOnce("100%s of \0 it"s);
    _exit(0);
  };
  EXPECT_EXIT(log(), testing::ExitedWithCode(0),
              testing::Eq("[com.example.notes:sync] 100%s of \0 it\n"s));
}

TEST_F(SystemLogDeathTest, GivesTheJournalARecordOfFourFields) {
  // Writes to stderr what arrives where the journal listens.
  const auto receive = [](const std::string& message) {
    enterEmptyRun();
    const sockaddr_un address = {.sun_family = AF_UNIX, .sun_path = "/run/systemd/journal/socket"};
    const int journal = socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0);
    if (bind(journal, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) _exit(1);
    logOnce(message);
    char record[4096];
    const ssize_t size = recv(journal, record, sizeof record, 0);
    if (size > 0) std::fwrite(record, 1, static_cast<std::size_t>(size), stderr);
    _exit(0);
  };
  // In the journal's native protocol a text of several lines has its length in
  // front, eight bytes, little-endian.
  const std::pair<std::string, std::string> rows[] = {
      {"100%s = x", "MESSAGE=100%s = x\n"},
      {"two\nlines\nPRIORITY=0", "MESSAGE\n\x14\0\0\0\0\0\0\0two\nlines\nPRIORITY=0\n"s},
  };
  for (const auto& [message, field] : rows) {
    const auto fields = field + "PRIORITY=5\nSUBSYSTEM=com.example.notes\nCATEGORY=sync\n";
    // Our own source position would name the sink for every line.
    EXPECT_EXIT(receive(message), testing::ExitedWithCode(0),
                AllOf(testing::StartsWith(fields), Not(testing::HasSubstr("CODE_FILE="))));
  }
}

}  // namespace
}  // namespace tarvex
