// Examples for a keychain that is empty.
#pragma once

#include <string>

namespace inspector {

inline constexpr char demoKey[] = "device";

// Fills the item service in use with secrets of alice and bob and the key pair `demoKey`.
// Returns the token among them, which that key signed.
std::string storeExamples();

}  // namespace inspector
