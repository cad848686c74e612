#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>

#include "tests/Support/FaultyFiles.h"

int main(int count, char** arguments) {
  // Where it is quick: what is on the disk and what is not is not asked of the disk.
  if (::access("/dev/shm", W_OK) == 0) ::setenv("TMPDIR", "/dev/shm", 0);
  tarvex::interposeFiles();
  testing::InitGoogleTest(&count, arguments);
  return RUN_ALL_TESTS();
}
