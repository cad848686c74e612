// The command-line tool. Every command is built on the public headers of the library.

#include <sys/prctl.h>

#include <cstdio>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "TarvexCommon/Base/JSON/CodingError.h"
#include "TarvexCommon/JWT/JWTError.h"
#include "Terminal.h"
#include "Tool.h"

namespace {

using tool::ExitStatus;

void addGlobalOptions(tool::Tool& tool) {
  auto& app = tool.app;
  app.require_subcommand(1);
  app.set_version_flag("--version", TARVEX_VERSION);
  app.add_flag("--json", tool.json, "Print the answer, where there is one, as a line of JSON");
  app.add_option("--keychain-dir", tool.keychainDir, "Folder of the keychain")
      ->envname("TARVEX_KEYCHAIN_DIR")
      ->check(tool::requireText)
      ->type_name("DIR");
  app.add_option("--team-prefix", tool.teamPrefix, "Prefix of the team, such as ABCDE12345.")
      ->envname("TARVEX_TEAM_PREFIX")
      ->type_name("PREFIX");
  app.add_option("--identifier", tool.identifier, "Act as the application of this identifier")
      ->capture_default_str()
      ->type_name("ID");
  app.add_option("--passphrase-file", tool.passphraseFile,
                 "File with the passphrase of the keychain (- for stdin)")
      ->type_name("FILE");
}

int end(ExitStatus status, const char* text) {
  std::fprintf(stderr, "tarvex: %s\n", tool::printable(text).c_str());
  return static_cast<int>(status);
}

// The parser would take the next argument for the value of "--option=".
void requireValues(const std::vector<std::string>& arguments) {
  for (const std::string& argument : arguments) {
    const bool isEmpty = argument.starts_with("--") && argument.find('=') == argument.size() - 1;
    if (isEmpty) throw CLI::ParseError(argument + " has no value", CLI::ExitCodes::InvalidError);
  }
}

// Of a word that is no command the parser only says that one is missing.
std::string reason(const CLI::App& app, const CLI::ParseError& error) {
  const auto unknown = app.remaining(true);
  const bool isMissing = dynamic_cast<const CLI::RequiredError*>(&error) != nullptr;
  const bool isWrong = isMissing && !unknown.empty() && !unknown.front().starts_with('-');
  return (isWrong ? "there is no command " + unknown.front() : std::string(error.what())) +
         "; see --help";
}

template <typename... Errors>
bool isOneOf(const std::exception& error) {
  return ((dynamic_cast<const Errors*>(&error) != nullptr) || ...);
}

ExitStatus statusOf(const std::exception& error) {
  if (isOneOf<tool::NotFound>(error)) return ExitStatus::negative;
  const bool isBadInput =
      isOneOf<tool::BadInput, tarvex::JWTError, tarvex::DecodingError, tarvex::EncodingError>(
          error);
  return isBadInput ? ExitStatus::badInput : ExitStatus::failure;
}

int run(const tool::Tool& tool) {
  try {
    tool.start();
    const bool isYes = tool.chosen();
    if (std::fflush(stdout) != 0) throw tool::Failure("writing failed");
    return static_cast<int>(isYes ? ExitStatus::success : ExitStatus::negative);
  } catch (const std::exception& error) {
    return end(statusOf(error), error.what());
  }
}

}  // namespace

int main(int argc, char** argv) {
  ::prctl(PR_SET_DUMPABLE, 0);  // secrets pass through: no core dump, no other process of the user
  tool::Tool tool;
  addGlobalOptions(tool);
  tool::addKeyCommands(tool);
  tool::addTokenCommands(tool);
  tool::addSecretCommands(tool);
  tool::addKeychainCommands(tool);
  tool::addTextCommands(tool);
  try {
    requireValues({argv + 1, argv + argc});
    tool.app.parse(argc, argv);
  } catch (const CLI::Success& help) {
    tool.app.exit(help);
    return std::cout.flush() ? 0 : end(ExitStatus::failure, "writing failed");
  } catch (const CLI::ParseError& error) {
    return end(ExitStatus::badInput, reason(tool.app, error).c_str());
  }
  return run(tool);
}
