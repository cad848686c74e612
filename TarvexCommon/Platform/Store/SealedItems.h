// The items in an open store. Internal.
//
// A row has look-up columns, keyed hashes of what tells items apart, and two sealed values:
// the attributes and the secret. A sealed value belongs to its store and to its row with
// these columns; anywhere else it does not open.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "TarvexCommon/Platform/ItemRules.h"
#include "TarvexCommon/Platform/Sealing.h"
#include "TarvexCommon/Platform/Store/Database.h"

namespace tarvex {

inline constexpr char itemTable[] =
    "CREATE TABLE item(id INTEGER PRIMARY KEY, class INTEGER NOT NULL, service BLOB NOT NULL, "
    "account BLOB NOT NULL, \"group\" BLOB NOT NULL, sync INTEGER NOT NULL, "
    "attributes BLOB NOT NULL, value BLOB NOT NULL, "
    "UNIQUE(class, service, account, \"group\", sync))";

// A keeper of items, on a database that outlives it. What changes something has to be called
// within a transaction. An item that does not open gives `errSecDecode`.
class SealedItems {
 public:
  SealedItems(const Database& database, const SealingKey& master, Data storeID);

  void insert(const Item& item);
  std::vector<Item> find(const ItemQuery& query, const ItemReturns& returns);
  void update(const ItemQuery& query, const ItemChanges& changes);
  void remove(const ItemQuery& query);

  // Opens every item; throws when one is not what its row says.
  void check() const;

 private:
  using Tag = Tagger::Tag;

  // The look-up columns of a row. Passwords have their service and account there, keys their
  // tag and the hash of the public key.
  struct Columns {
    std::int64_t id;
    std::int64_t itemClass;
    Tag service;
    Tag account;
    Tag group;
    std::int64_t sync;
    friend bool operator==(const Columns&, const Columns&) = default;
  };

  struct SealedRow {
    Columns columns;
    Data attributes;
    Data value;
  };

  struct Search;
  using Visit = std::function<bool(const Rows& row, const Columns& columns)>;

  // Calls `visit` with each match, oldest first, until it returns false.
  void visitMatches(const ItemQuery& query, const Visit& visit);
  Search searchFor(const ItemQuery& query) const;
  const Statement& selecting(const Search& search);
  bool isMatch(const Rows& row, const Columns& columns, const Search& search,
               const ItemQuery& query) const;

  SealedRow changed(const SealedRow& row, const ItemChanges& changes) const;
  void replace(const SealedRow& row, const SealedRow& by) const;
  static void write(const Statement& statement, const SealedRow& row);

  static Columns columnsIn(const Rows& row);
  Columns columnsOf(const ItemDictionary& said, std::int64_t row) const;
  Tag tagOf(const ItemDictionary& said, const char* name) const;
  Data contextOf(const Columns& columns) const;

  ItemDictionary openAttributes(Bytes bytes, const Columns& columns) const;
  Data openValue(Bytes bytes, const Columns& columns) const;
  Data sealAttributes(const ItemDictionary& said, const Columns& columns) const;
  Data sealValue(Bytes secret, const Columns& columns) const;

  const Database& database_;
  Data storeID_;
  Sealer attributes_;
  Sealer values_;
  Tagger names_;
  std::map<std::string, Statement, std::less<>> selects_;
  Statement lastID_;
  Statement insert_;
  Statement reseal_;
  Statement rename_;
  Statement remove_;
};

}  // namespace tarvex
