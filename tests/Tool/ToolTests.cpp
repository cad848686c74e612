#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <fstream>
#include <iterator>
#include <string>

#include "tests/Support/Desktop.h"
#include "tests/Support/TemporaryFolder.h"

namespace tarvex {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

struct Ended {
  int status;
  std::string out;
  std::string err;
};

// A folder with a keychain of its own; there the tool runs as a user runs it, without terminal.
class Tool {
 public:
  // `line` is what a shell takes behind the name of the tool.
  Ended operator()(const std::string& line, const std::string& input = "") const {
    std::ofstream(folder_ / "in", std::ios::binary) << input;
    const std::string status = run("tarvex " + line + " <in >out 2>err; echo $?");
    return {std::stoi(status), content("out"), content("err")};
  }

  // Returns what commands of bash print.
  std::string run(const std::string& commands) const {
    write("commands",
          "export TARVEX_KEYCHAIN_DIR=$PWD/keychain\n"
          "tarvex() { setsid -w " TARVEX_TOOL " \"$@\"; }\n" +
              commands);
    return folder_.run("bash commands");
  }

  void write(const std::string& file, const std::string& text) const {
    std::ofstream(folder_ / file) << text;
  }
  std::string content(const std::string& file) const {
    std::ifstream stream(folder_ / file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  mode_t mode(const std::string& file) const {
    struct stat state = {};
    return ::stat((folder_ / file).c_str(), &state) == 0 ? state.st_mode & 0777 : 0;
  }

 private:
  TemporaryFolder folder_;
};

struct Row {
  const char* line;
  const char* input;
  int status;
  const char* out;  // a regular expression
};

void expectRows(const Tool& tool, std::initializer_list<Row> rows) {
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    const Ended ended = tool(row.line, row.input);
    EXPECT_EQ(ended.status, row.status) << ended.err;
    EXPECT_THAT(ended.out, MatchesRegex(row.out));
    EXPECT_EQ(ended.err.empty(), row.status == 0) << ended.err;
  }
}

TEST(Tool, ConvertsTexts) {
  expectRows(Tool(), {
                         {"hash", "abc", 0,
                          "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad\n"},
                         {"hash --json -", "", 0,
                          R"(\{"sha256":"e3b0c442[0-9a-f]*"\})"
                          "\n"},
                         {"date parse 2024-03-05T07:08:09.5Z", "", 0, "1709622489.5\n"},
                         {"date parse --json 1970-01-01T01:00:00+01:00", "", 0,
                          R"(\{"seconds":0\})"
                          "\n"},
                         {"date parse 2023-02-29T00:00:00Z", "", 2, ""},
                         {"date format 1709622489.5", "", 0, "2024-03-05T07:08:09.500Z\n"},
                         {"date format nan", "", 2, ""},
                         {"base64url to", "\xFB\xFF?", 0, "-_8_\n"},
                         {"base64url from", " -_8_\n", 0, "\xFB\xFF\\?"},
                         {"base64url from", "a", 2, ""},
                         {"", "", 2, ""},
                     });
}

TEST(Tool, SaysWhatIsWrongWithTheCommandLine) {
  const Tool tool;
  const struct {
    const char* line;
    const char* says;
  } rows[] = {
      {"frobnicate", "no command frobnicate"},
      {"key frobnicate", "no command frobnicate"},
      {"date format", "SECONDS is required"},
      {"date format --exact 3", "--exact"},
      {"token issue --key one --sub= --scope=admin", "--sub= has no value"},
      {"keychain backup ''", "it is empty"},
      {"date format 3x", "3x"},
      {"date format ''", "not a number"},
      {"key show --format \"$(printf '\\033[1m')\" one", "\\x1b[1m not in {pem"},
      {"--team-prefix A. secret remove password --user ''", "user"},
      {"secret remove password --user a", "TARVEX_TEAM_PREFIX"},
      {"hash missing", "missing: No such file"},
      {"hash .", ".: Is a directory"},
      {"keychain backup missing/copy.db", "missing/copy.db"},
      {"token verify --public-key in e30.e30", "in: "},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.line);
    const Ended ended = tool(row.line);
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(ended.out, IsEmpty());
    EXPECT_THAT(ended.err, AllOf(StartsWith("tarvex: "), HasSubstr(row.says)));
  }
}

TEST(Tool, CompletesInBash) {
  const Tool tool;
  tool("key create 'my key'");
  const struct {
    const char* words;
    const char* completions;
  } rows[] = {
      {"tarvex ke", "key keychain"},
      {"tarvex --identifier key se", "secret"},
      {"tarvex --keychain-dir = keychain key sh", "show"},
      {"tarvex --json --keychain-dir keychain key show ''", "my\\ key --format"},
      {"tarvex token issue --key my", "my\\ key"},
      {"tarvex token issue --sub ''", ""},
      {"tarvex token issue --typ ''", ""},
      {"tarvex keychain slot change ''", "passphrase"},
      {"tarvex hash ou", "out"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.words);
    const std::string completed =
        tool.run("source " TARVEX_COMPLETION "\nCOMP_WORDS=(" + std::string(row.words) + ")\n" +
                 "COMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n"
                 "_tarvex tarvex \"${COMP_WORDS[-1]}\" \"${COMP_WORDS[-2]}\"\n"
                 "echo \"${COMPREPLY[*]}\"");
    EXPECT_EQ(completed, std::string(row.completions) + '\n');
  }
}

TEST(Tool, MakesAndShowsKeys) {
  const Tool tool;
  const Ended made = tool("key create one");
  EXPECT_THAT(made.out, MatchesRegex("[A-Za-z0-9_-]{43}\n")) << made.err;
  EXPECT_EQ(tool("key create one").out, made.out);
  expectRows(tool, {{"key create two --json", "", 0,
                     R"(\{"label":"two","thumbprint":".*"\})"
                     "\n"},
                    {"key list", "", 0, "one\t[-0-9:.TZ]+\ntwo\t[-0-9:.TZ]+\n"},
                    {"key show three", "", 1, ""},
                    {"key show one --format der", "", 2, ""},
                    {"key create ''", "", 2, ""},
                    {"key create \"$(printf 'b\\377')\"", "", 2, ""},
                    {"--keychain-dir /dev/null/no key list", "", 3, ""}});
  EXPECT_THAT(tool("key show one").out, StartsWith("-----BEGIN PUBLIC KEY-----\n"));
  EXPECT_EQ(tool("key show one --format raw").out.size(), 65U);
  EXPECT_THAT(tool("key show one --format coordinates").out, MatchesRegex("(.{43}=\n){2}"));
}

TEST(Tool, IssuesAndVerifiesTokens) {
  const Tool tool;
  tool("key create one");
  tool("key create two");
  tool.write("one.jwk", tool("key show one --format jwk").out);
  tool.write("one.pem", tool("key show one").out);
  const std::string good =
      tool("token issue --key one --sub alice --expires-in 60 --scope r --scope w --priv docs=r,w")
          .out;
  const std::string old = tool("token issue --key one --sub alice --exp 1000 --alg none").out;

  const std::string says =
      R"(\{"verified":true,"header":\{"typ":"JWT","alg":"ES256"\},"claims":\{"sub":"alice","exp":)"
      R"([0-9]+,"scp":\["r","w"\],"prvs":\{"docs":\["r","w"\]\}\},"expires":".*","expired":false\})"
      "\n";
  const std::string no = R"(\{"verified":false,"error":"verificationFailed","message":".*"\})"
                         "\n";
  const std::string expired = R"(\{"verified":false,"error":"claimsExpired","message":".*"\})"
                              "\n";
  const struct {
    const char* options;
    const std::string& token;
    int status;
    const std::string& out;
  } rows[] = {
      {"--key one", good, 0, says},
      {"--public-key one.jwk", good, 0, says},
      {"--public-key one.pem", good, 0, says},
      {"--key two", good, 1, no},
      {"--key one", old, 1, expired},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.options);
    const Ended ended = tool("token verify - " + std::string(row.options), row.token);
    EXPECT_EQ(ended.status, row.status) << ended.err;
    EXPECT_THAT(ended.out, MatchesRegex(row.out));
  }
  EXPECT_EQ(tool("token verify --ignore-expiry --key one", old).status, 0);
  EXPECT_THAT(tool("token show", old).out,
              HasSubstr(R"("expires":"1970-01-01T00:16:40.000Z","expired":true)"));
  const Ended batch = tool("token verify --batch --key one",
                           good + "\n\r\n" + good.substr(0, 99) + '\n' + std::string(2 << 20, 'x') +
                               '\n' + old + good.substr(0, good.size() - 1));
  EXPECT_EQ(batch.status, 1);
  EXPECT_EQ(batch.out,
            "ok\ninvalidSegmentCount\ninvalidSegmentCount\nverificationFailed\ntooLong\n"
            "claimsExpired\nok\n");
  EXPECT_THAT(batch.err, IsEmpty());
  expectRows(tool, {{"token verify x", "", 2, ""},
                    {"token verify x --key one --public-key one.pem", "", 2, ""},
                    {"token verify x --public-key in", "no key", 2, ""},
                    {"token issue --key three --sub a", "", 1, ""},
                    {"token issue --key one --sub a --expires-in nan", "", 2, ""},
                    {"token issue --key one --sub a --exp -1", "", 2, ""},
                    {"token issue --key one --sub a --expires-in ''", "", 2, ""},
                    {"token verify x --batch --key one", "", 2, ""},
                    {"token issue --key one --sub a --priv docs", "", 2, ""},
                    {"token show abc", "", 2, ""}});
}

TEST(Tool, KeepsSecrets) {
  const Tool tool;
  const std::string team = "--team-prefix ABCDE12345. ";
  EXPECT_EQ(tool(team + "secret get password --user alice").status, 1);
  const Ended saved = tool(team + "secret set password --user alice", "top s\u00e9cret\r\n");
  EXPECT_EQ(saved.status, 0) << saved.err;
  EXPECT_THAT(saved.out + saved.err, IsEmpty());
  EXPECT_EQ(tool(team + "secret set accessTokenAPI --user bob", "a token").status, 0);
  EXPECT_EQ(tool(team + "secret get password --user alice").out, "top s\u00e9cret\n");
  EXPECT_EQ(tool(team + "secret list").out,
            "com.tarvex.cloud\tbob:access token\tlocal\n"
            "com.tarvex.devices\talice:password\tsynced\n");
  EXPECT_EQ(tool(team + "secret migrate accessTokenAPI").status, 0);
  EXPECT_THAT(tool(team + "--json secret list").out,
              HasSubstr(R"("account":"bob:access token","group":"ABCDE12345.com.tarvex.cloud",)"
                        R"("synced":true)"));
  expectRows(tool, {{"--team-prefix A. secret set password --user a", "\xFF", 2, ""},
                    {"--team-prefix A. secret set password --user a", "\n", 2, ""},
                    {"--team-prefix A. secret set password", "x", 2, ""},
                    {"--team-prefix A. secret set pin --user a", "x", 2, ""},
                    {"secret get password --user alice", "", 2, ""},
                    {"secret list", "", 2, ""},
                    {"--team-prefix A. secret get password --user alice", "", 1, ""}});
  EXPECT_EQ(tool(team + "secret remove password --user alice").status, 0);
  EXPECT_EQ(tool(team + "secret remove password --user alice").status, 1);
}

TEST(Tool, LooksAfterTheKeychain) {
  const Tool tool;
  expectRows(tool, {{"keychain status", "", 0, ".*/keychain: no keychain yet\n"},
                    {"keychain check", "", 3, ""},
                    {"key create one", "", 0, ".*\n"},
                    {"keychain check", "", 0, "sound\n"}});
  EXPECT_EQ(tool("keychain backup copy.db").status, 0);
  EXPECT_EQ(tool.mode("copy.db"), 0600U);
  expectRows(tool, {{"keychain backup copy.db", "", 2, ""},
                    {"keychain slot remove file", "", 2, ""},
                    {"keychain slot add passphrase", "", 2, ""},
                    {"keychain slot add passphrase --new-passphrase-file -", "open\n", 0, ""},
                    {"keychain slot add file", "", 2, ""}});
  tool.write("keychain/keychain.count", "no count");
  expectRows(tool, {{"keychain status", "", 3, ""},
                    {"keychain check", "", 3, ""},
                    {"keychain repair --json", "", 0,
                     R"(\{"repaired":true,"lost":null\})"
                     "\n"},
                    {"keychain repair", "", 0, "no change is lost\n"},
                    {"keychain check", "", 0, "sound\n"}});
  tool.write("wrong", "shut\n");
  EXPECT_EQ(tool("--passphrase-file - keychain slot remove file", "open\n").status, 0);
  expectRows(tool, {{"keychain status --json", "", 0,
                     R"(.*"items":2,.*"slots":\["passphrase"\]\})"
                     "\n"},
                    {"key list", "", 3, ""},
                    {"key list --passphrase-file wrong", "", 3, ""},
                    {"key list --passphrase-file -", "open", 0, "one\t.*\n"},
                    {"keychain slot change passphrase --passphrase-file wrong "
                     "--new-passphrase-file wrong",
                     "", 3, ""},
                    {"keychain slot change passphrase --passphrase-file - "
                     "--new-passphrase-file wrong",
                     "open", 0, ""},
                    {"key list --passphrase-file wrong", "", 0, "one\t.*\n"}});
}

TEST(Tool, KeepsTheKeyInTheKeyring) {
  const Desktop desktop;
  const Tool tool;
  EXPECT_EQ(tool("key create one").status, 0);
  EXPECT_THAT(tool("keychain status").out, HasSubstr("opens by  secret-service\n"));
  EXPECT_THAT(tool("keychain backup copy.db").err, HasSubstr("keyring only"));
  expectRows(tool, {{"keychain slot remove secret-service", "", 2, ""},
                    {"keychain slot add file", "", 0, ""},
                    {"keychain slot remove secret-service", "", 0, ""},
                    {"keychain slot add secret-service", "", 0, ""},
                    {"keychain slot add secret-service", "", 2, ""},
                    {"keychain slot remove file", "", 0, ""},
                    {"key list", "", 0, "one\t.*\n"}});
  desktop.lockKeyring();
  EXPECT_EQ(tool("key list").status, 3);
}

}  // namespace
}  // namespace tarvex
