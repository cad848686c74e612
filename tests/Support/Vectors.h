// Reader of test vectors: the NIST's response files, and our own in tests/Data.
#pragma once

#include <fstream>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/Support/Hex.h"

namespace tarvex {

inline const std::string nistVectors = TARVEX_VECTORS "/";
inline const std::string ecdsaVectors = nistVectors + "asymmetric/ECDSA/FIPS_186-3/";
inline const std::string ownVectors = TARVEX_TESTS "/Data/";

// One record: a run of "Name = value" lines, each name once.
struct Vector {
  std::string section;  // what stands between the brackets above it
  int line = 0;         // where it begins
  std::map<std::string, std::string> fields = {};

  bool has(const std::string& name) const { return fields.contains(name); }
  const std::string& raw(const std::string& name) const { return fields.at(name); }
  std::string text(const std::string& name) const { return unescaped(raw(name)); }
  Data bytes(const std::string& name) const { return fromHex(raw(name)); }
  std::size_t number(const std::string& name) const { return std::stoul(raw(name)); }

  // Whether whoever made the record finds good what it shows; so it is where nothing is said.
  bool isGood() const { return !has("Result") || raw("Result").starts_with('P'); }

  std::string trace() const {
    return '[' + section + "] line " + std::to_string(line) +
           (has("name") ? ": " + raw("name") : "");
  }
};

// Returns the records of a file in their order: those of one section only when it is
// named. Throws when there are none.
inline std::vector<Vector> readVectors(const std::string& path,
                                       const std::optional<std::string>& section = std::nullopt) {
  std::ifstream stream(path);
  std::vector<Vector> vectors;
  Vector current;
  const auto finish = [&] {
    const bool isWanted = !section || current.section == *section;
    if (!current.fields.empty() && isWanted) vectors.push_back(current);
    current.fields.clear();
  };
  std::string line;
  for (int number = 1; std::getline(stream, line); ++number) {
    line.erase(line.find_last_not_of("\r ") + 1);
    const auto equals = line.find(" =");
    const std::string name = line.substr(0, equals);
    if (line.empty() || current.has(name)) finish();
    if (line.starts_with('[')) {
      current.section = line.substr(1, line.size() - 2);
    } else if (equals != line.npos && !line.starts_with('#')) {
      if (current.fields.empty()) current.line = number;
      current.fields[name] = line.substr(std::min(equals + 3, line.size()));
    }
  }
  finish();
  if (vectors.empty()) throw std::runtime_error("no vectors in " + path);
  return vectors;
}

}  // namespace tarvex
