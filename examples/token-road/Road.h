// The stations of the road, a file each, and how they tell what happens.
#pragma once

#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "TarvexCommon/JWT/JWT.h"
#include "TarvexCommon/Platform/Memory/RecordingLog.h"

namespace road {

inline void say(std::string_view text) {
  std::printf("%.*s\n", static_cast<int>(text.size()), text.data());
}

inline void step(std::string_view text) {
  say("");
  say(text);
}

inline void expect(bool condition, const char* what) {
  if (!condition) throw std::runtime_error(what);
}

// Tokens.cpp: steps 1 to 5.
std::string makeAndCheckToken();
void readForeignToken();
tarvex::Crypto::ECDSA load(std::string_view label);
tarvex::JWT readVerified(std::string_view text, const tarvex::Crypto::ECDSA& key);

// Secrets.cpp: step 6.
void keepToken(const std::string& token, const std::filesystem::path& folder);
void readKeptToken();  // in the second process
void expectSealed(const std::string& what, const std::filesystem::path& folder,
                  const std::vector<std::string>& secrets);

// Migration.cpp: step 7.
void migratePasswords(const tarvex::RecordingLog& log, const std::filesystem::path& folder);

}  // namespace road
