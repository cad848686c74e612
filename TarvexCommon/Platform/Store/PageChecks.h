// A checksum at the end of each page of a database. Internal.
//
// What SQLite reads from a damaged page may lead it past an item that is there, without a word.
// A page that does not have its checksum is read all the same, and remembered: what is sealed in
// it tells by itself when it is damaged, and the structure can be looked through.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <span>

namespace tarvex {

inline constexpr std::size_t pageSize = 4096;
inline constexpr std::size_t pageCheckSize = 8;  // what SQLite has to leave free in each page

// Returns the name of the SQLite layer that writes and compares the checksums.
const char* checkingLayer();

// Returns whether a file that was opened by that layer has read a page without its checksum, and
// forgets it.
bool takeWrongPageRead(sqlite3_file& file);

// Puts the checksums into the bytes of a whole file.
void putPageChecks(std::span<std::uint8_t> file);

}  // namespace tarvex
