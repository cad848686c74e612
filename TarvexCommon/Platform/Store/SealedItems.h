// The items in an open store. Internal.
//
// A row has columns to look it up by, most of them keyed hashes of what tells items apart,
// and two sealed values: the attributes and the secret. A sealed value opens only in its
// store and its row, with these columns.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "TarvexCommon/Platform/ItemRules.h"
#include "TarvexCommon/Platform/Sealing.h"
#include "TarvexCommon/Platform/Store/Database.h"

namespace tarvex {

// The table of the items, a row each. The class is 1 for a password, 2 for a public and 3 for
// a private key; service and account are of a key its tag and the hash of the public key.
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
  using Hash = KeyedHash::Value;

  struct Columns {
    std::int64_t id;
    std::int64_t itemClass;
    Hash service;
    Hash account;
    Hash group;
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

  // Calls `visit` with each match, oldest first, until it returns false. Damaged rows that may
  // match or not are left out, unless there is no match: then it throws.
  void visitMatches(const ItemQuery& query, const Visit& visit);
  Search searchFor(const ItemQuery& query) const;
  const Statement& statementFor(const Search& search);

  // Returns nothing when the columns do not decide and the attributes are damaged.
  std::optional<bool> isMatch(const Rows& row, const Columns& columns, const Search& search,
                              const ItemQuery& query) const;

  SealedRow changed(const SealedRow& row, const ItemChanges& changes) const;
  void replace(const SealedRow& row, const SealedRow& by) const;
  static void write(const Statement& statement, const SealedRow& row);

  static Columns columnsIn(const Rows& row);
  Columns columnsOf(const ItemDictionary& attributes, std::int64_t id) const;
  Hash hashOf(const ItemDictionary& attributes, const char* name) const;

  // What a value is sealed with: the store's id; id, class and sync of the row in 8 bytes each,
  // big-endian; the hashes of service, account and group.
  Data contextOf(const Columns& columns) const;

  std::optional<ItemDictionary> attributesIn(Bytes bytes, const Columns& columns) const;
  ItemDictionary openAttributes(Bytes bytes, const Columns& columns) const;
  Data openValue(Bytes bytes, const Columns& columns) const;
  Data sealAttributes(const ItemDictionary& attributes, const Columns& columns) const;
  Data sealValue(Bytes value, const Columns& columns) const;

  const Database& database_;
  Data storeID_;
  Sealer attributeSealer_;
  Sealer valueSealer_;
  KeyedHash hash_;
  std::map<std::string, Statement, std::less<>> selects_;
  Statement lastID_;
  Statement insert_;
  Statement reseal_;
  Statement rewrite_;
  Statement remove_;
};

}  // namespace tarvex
