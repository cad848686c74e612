// What the commands of the tool share: global options, answers, ends.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "TarvexCommon/Common/JSONValue.h"
#include "TarvexCommon/Platform/ItemService.h"

namespace tool {

enum class ExitStatus {
  success = 0,
  negative = 1,  // the answer is no: not verified, expired, not found, migration incomplete
  badInput = 2,  // the command line, or what was read
  failure = 3,   // the keychain, or the machine
};

// The ends of a command that are not its answer. The text goes to stderr.
struct NotFound : std::runtime_error {
  using runtime_error::runtime_error;
};
struct BadInput : std::runtime_error {
  using runtime_error::runtime_error;
};
struct Failure : std::runtime_error {
  using runtime_error::runtime_error;
};

// Throws what a status stands for, with its text, unless it is `errSecSuccess`.
void require(tarvex::OSStatus status);

// A command returns whether the answer is yes.
using Command = std::function<bool()>;

struct Tool {
  CLI::App app{"Tokens, keys and shared secrets", "tarvex"};

  // Global options.
  bool json = false;
  std::string keychainDir;
  std::string teamPrefix;
  std::string identifier = "com.tarvex.tool";
  std::string passphraseFile;

  Command chosen;
  // Whether the library's log lines, which go to stderr, are of no use beside the answers.
  bool isSilent = false;

  CLI::App* command(CLI::App& of, const std::string& name, const std::string& description,
                    Command run);

  // Prints the answer to stdout: one line of JSON with --json, otherwise the text.
  void print(const tarvex::JSONValue& answer, std::string_view text) const;

  // Prints an array with --json, otherwise a line each.
  struct Row {
    tarvex::JSONValue json;
    std::string line;
  };
  void print(const std::vector<Row>& rows) const;

  // Puts the library's services in use; they refer to this.
  void start() const;
  // Puts the keychain in use that the global options name.
  void openKeychain() const;
};

// A check of an option's text: not empty, and UTF-8.
std::string requireText(const std::string& text);

CLI::App* addGroup(CLI::App& to, const std::string& name, const std::string& description);

void printJSON(const tarvex::JSONValue& answer);

// Returns the attributes of the keychain's items that match the query; none when none does.
// Throws `Failure`.
std::vector<tarvex::ItemDictionary> itemsMatching(tarvex::ItemDictionary query);

void addKeyCommands(Tool& tool);
void addTokenCommands(Tool& tool);
void addSecretCommands(Tool& tool);
void addKeychainCommands(Tool& tool);
void addTextCommands(Tool& tool);

}  // namespace tool
