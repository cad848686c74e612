#include "TarvexCommon/Platform/Store/SealedItems.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

#include "TarvexCommon/Base/ByteCoding.h"
#include "TarvexCommon/Base/Wiped.h"
#include "TarvexCommon/Platform/AttributeCoding.h"
#include "TarvexCommon/Platform/ItemFailure.h"

namespace tarvex {
namespace {

// What a row is read by.
constexpr std::string_view selectRows =
    "SELECT id, class, service, account, \"group\", sync, attributes, value FROM item";
namespace column {
enum : int { id, itemClass, service, account, group, sync, attributes, value };
}

constexpr std::int64_t password = 1;
constexpr std::int64_t publicKey = 2;
constexpr std::int64_t privateKey = 3;

// Returns the classes that will do for a query, or the one of an item.
std::vector<std::int64_t> classesOf(const ItemDictionary& attributes) {
  if (!isKey(attributes)) return {password};
  const auto* keyClass = find<std::string>(attributes, kSecAttrKeyClass);
  if (keyClass == nullptr) return {publicKey, privateKey};
  return {*keyClass == kSecAttrKeyClassPublic ? publicKey : privateKey};
}

KeyedHash::Value hashIn(const Rows& row, int column) {
  const Bytes bytes = row.bytes(column);
  KeyedHash::Value hash;
  ensure(bytes.size() == hash.size(), errSecDecode);
  std::ranges::copy(bytes, hash.begin());
  return hash;
}

Data sealed(const Sealer& sealer, Bytes plain, Bytes context) {
  ensure(plain.size() <= Sealer::maximum, errSecParam);
  return sealer.seal(plain, context);
}

}  // namespace

// What the columns say of a query.
struct SealedItems::Search {
  struct Name {
    std::string_view column;
    Hash Columns::*member;
    Hash hash;
  };

  std::vector<std::int64_t> classes;  // any of them will do
  std::vector<Name> names;
  std::optional<bool> sync;
  std::vector<Hash> groups;  // any of them will do; none when it is one of the names
  bool isWhole = false;      // there is nothing else in the query

  // At most one row has all of it.
  bool isUnique() const { return classes.size() == 1 && names.size() == 3 && sync; }

  std::string conditions() const {
    std::string sql =
        classes.size() > 1 ? "class IN (2, 3)" : "class = " + std::to_string(classes[0]);
    for (const Name& name : names) sql.append(" AND ").append(name.column).append(" = ?");
    if (sync) sql += *sync ? " AND sync = 1" : " AND sync = 0";
    return sql;
  }

  // A damaged index leads to rows that are not meant.
  bool describes(const Columns& columns) const {
    return std::ranges::count(classes, columns.itemClass) > 0 &&
           (!sync || columns.sync == static_cast<std::int64_t>(*sync)) &&
           std::ranges::all_of(names,
                               [&](const Name& name) { return columns.*name.member == name.hash; });
  }

  bool admitsGroup(const Columns& columns) const {
    return groups.empty() || std::ranges::count(groups, columns.group) > 0;
  }
};

SealedItems::SealedItems(const Database& database, const SealingKey& master, Data storeID)
    : database_(database),
      storeID_(std::move(storeID)),
      attributeSealer_(master.derived("attributes")),
      valueSealer_(master.derived("values")),
      hash_(master.derived("names")),
      lastID_(database.prepare("SELECT coalesce(max(id), 0) FROM item")),
      insert_(database.prepare("INSERT INTO item VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8)")),
      reseal_(database.prepare("UPDATE item SET attributes = ?2, value = ?3 WHERE id = ?1")),
      rewrite_(database.prepare("UPDATE item SET class = ?2, service = ?3, account = ?4, "
                                "\"group\" = ?5, sync = ?6, attributes = ?7, value = ?8 "
                                "WHERE id = ?1")),
      remove_(database.prepare("DELETE FROM item WHERE id = ?1")) {}

void SealedItems::insert(const Item& item) {
  Rows last = lastID_.rows();
  last.next();
  ensure(last.integer(0) < std::numeric_limits<std::int64_t>::max(),
         errSecDiskFull);  // no number is left
  const Columns columns = columnsOf(item.attributes, last.integer(0) + 1);
  write(insert_, {.columns = columns,
                  .attributes = sealAttributes(item.attributes, columns),
                  .value = sealValue(*item.value, columns)});
}

std::vector<Item> SealedItems::find(const ItemQuery& query, const ItemReturns& returns) {
  std::vector<Item> found;
  visitMatches(query, [&](const Rows& row, const Columns& columns) {
    Item item;
    if (needsAttributes(returns)) {
      item.attributes = openAttributes(row.bytes(column::attributes), columns);
    }
    if (needsValue(returns)) item.value = Wiped(openValue(row.bytes(column::value), columns));
    found.push_back(std::move(item));
    return query.matchLimit == MatchLimit::all;
  });
  return found;
}

void SealedItems::update(const ItemQuery& query, const ItemChanges& changes) {
  std::vector<SealedRow> rows;
  visitMatches(query, [&rows](const Rows& row, const Columns& columns) {
    rows.push_back({.columns = columns,
                    .attributes = toData(row.bytes(column::attributes)),
                    .value = toData(row.bytes(column::value))});
    return true;
  });
  ensure(!rows.empty(), errSecItemNotFound);
  for (const SealedRow& row : rows) replace(row, changed(row, changes));
}

void SealedItems::remove(const ItemQuery& query) {
  std::vector<std::int64_t> rows;
  visitMatches(query, [&](const Rows&, const Columns& columns) {
    rows.push_back(columns.id);
    return query.matchLimit != MatchLimit::one;
  });
  ensure(!rows.empty(), errSecItemNotFound);
  for (const std::int64_t row : rows) remove_.run(row);
}

void SealedItems::check() const {
  const Statement all = database_.prepare(selectRows);
  for (Rows row = all.rows(); row.next();) {
    const Columns columns = columnsIn(row);
    const auto attributes = openAttributes(row.bytes(column::attributes), columns);
    ensure(columnsOf(attributes, columns.id) == columns, errSecDecode);
    const Wiped value(openValue(row.bytes(column::value), columns));
  }
}

SealedItems::Search SealedItems::searchFor(const ItemQuery& query) const {
  const ItemDictionary& asked = query.attributes;
  const auto& [service, account] = identityNames(asked);
  const bool* sync = tarvex::find<bool>(asked, kSecAttrSynchronizable);
  Search search = {.classes = classesOf(asked),
                   .names = {},
                   .sync = sync == nullptr ? std::nullopt : std::optional(*sync),
                   .groups = {}};
  std::size_t inColumns = 1 + asked.count(kSecAttrKeyClass) + asked.count(kSecAttrSynchronizable);
  for (const auto& [name, column, member] : {std::tuple(service, "service", &Columns::service),
                                             {account, "account", &Columns::account},
                                             {kSecAttrAccessGroup, "\"group\"", &Columns::group}}) {
    if (!asked.contains(name)) continue;
    search.names.push_back({.column = column, .member = member, .hash = hashOf(asked, name)});
    ++inColumns;
  }
  search.isWhole = inColumns == asked.size();
  if (asked.contains(kSecAttrAccessGroup)) return search;
  for (const std::string& group : query.accessGroups) {
    search.groups.push_back(hash_.of(kSecAttrAccessGroup, group));
  }
  return search;
}

// The order needs the ids only, which the index holds: rows are read one after the other.
const Statement& SealedItems::statementFor(const Search& search) {
  const std::string conditions = search.conditions();
  const auto made = selects_.find(conditions);
  if (made != selects_.end()) return made->second;
  std::string sql(selectRows);
  sql += search.isUnique()
             ? " WHERE " + conditions
             : " WHERE id IN (SELECT id FROM item WHERE " + conditions + ") ORDER BY id";
  return selects_.emplace(conditions, database_.prepare(sql)).first->second;
}

void SealedItems::visitMatches(const ItemQuery& query, const Visit& visit) {
  const Search search = searchFor(query);
  const Statement& select = statementFor(search);
  std::vector<Hash> hashes;
  std::ranges::transform(search.names, std::back_inserter(hashes), &Search::Name::hash);
  Rows row = select.rows(std::span<const Hash>(hashes));
  bool hasMatch = false;
  bool hasDamaged = false;
  while (row.next()) {
    const Columns columns = columnsIn(row);
    const auto match = isMatch(row, columns, search, query);
    hasMatch = hasMatch || match.value_or(false);
    hasDamaged = hasDamaged || !match;
    if (match.value_or(false) && !visit(row, columns)) return;
  }
  ensure(hasMatch || !hasDamaged, errSecDecode);
}

std::optional<bool> SealedItems::isMatch(const Rows& row, const Columns& columns,
                                         const Search& search, const ItemQuery& query) const {
  ensure(search.describes(columns), errSecDecode);
  if (!search.admitsGroup(columns)) return false;
  if (search.isWhole) return true;
  const auto attributes = attributesIn(row.bytes(column::attributes), columns);
  if (!attributes) return std::nullopt;
  return matches({.attributes = *attributes, .value = {}}, query);
}

SealedItems::SealedRow SealedItems::changed(const SealedRow& row,
                                            const ItemChanges& changes) const {
  Item item{.attributes = openAttributes(row.attributes, row.columns), .value = {}};
  apply({.attributes = changes.attributes, .value = std::nullopt}, item);
  const Columns columns = columnsOf(item.attributes, row.columns.id);
  SealedRow result{.columns = columns,
                   .attributes = sealAttributes(item.attributes, columns),
                   .value = row.value};
  if (changes.value) {
    result.value = sealValue(**changes.value, columns);
  } else if (columns != row.columns) {
    const Wiped value(openValue(row.value, row.columns));
    result.value = sealValue(*value, columns);
  }
  return result;
}

// The index is written only when it has to be.
void SealedItems::replace(const SealedRow& row, const SealedRow& by) const {
  if (by.columns == row.columns) {
    reseal_.run(by.columns.id, by.attributes, by.value);
  } else {
    write(rewrite_, by);
  }
}

void SealedItems::write(const Statement& statement, const SealedRow& row) {
  const auto& [columns, attributes, value] = row;
  statement.run(columns.id, columns.itemClass, columns.service, columns.account, columns.group,
                columns.sync, attributes, value);
}

SealedItems::Columns SealedItems::columnsIn(const Rows& row) {
  return {.id = row.integer(column::id),
          .itemClass = row.integer(column::itemClass),
          .service = hashIn(row, column::service),
          .account = hashIn(row, column::account),
          .group = hashIn(row, column::group),
          .sync = row.integer(column::sync)};
}

SealedItems::Columns SealedItems::columnsOf(const ItemDictionary& attributes,
                                            std::int64_t id) const {
  const auto& [service, account] = identityNames(attributes);
  return {.id = id,
          .itemClass = classesOf(attributes).front(),
          .service = hashOf(attributes, service),
          .account = hashOf(attributes, account),
          .group = hashOf(attributes, kSecAttrAccessGroup),
          .sync = *tarvex::find<bool>(attributes, kSecAttrSynchronizable)};
}

KeyedHash::Value SealedItems::hashOf(const ItemDictionary& attributes, const char* name) const {
  if (const auto* text = tarvex::find<std::string>(attributes, name)) return hash_.of(name, *text);
  return hash_.of(name, *tarvex::find<Data>(attributes, name));
}

Data SealedItems::contextOf(const Columns& columns) const {
  Data context = storeID_;
  for (const std::int64_t number : {columns.id, columns.itemClass, columns.sync}) {
    append(context, bigEndian(static_cast<std::uint64_t>(number)));
  }
  for (const Hash& hash : {columns.service, columns.account, columns.group}) append(context, hash);
  return context;
}

std::optional<ItemDictionary> SealedItems::attributesIn(Bytes bytes, const Columns& columns) const {
  auto opened = attributeSealer_.open(bytes, contextOf(columns));
  if (!opened) return std::nullopt;
  const Wiped plain(std::move(*opened));
  return decodedAttributes(*plain);
}

ItemDictionary SealedItems::openAttributes(Bytes bytes, const Columns& columns) const {
  auto attributes = attributesIn(bytes, columns);
  ensure(attributes.has_value(), errSecDecode);
  return std::move(*attributes);
}

Data SealedItems::openValue(Bytes bytes, const Columns& columns) const {
  auto plain = valueSealer_.open(bytes, contextOf(columns));
  ensure(plain.has_value(), errSecDecode);
  return std::move(*plain);
}

Data SealedItems::sealAttributes(const ItemDictionary& attributes, const Columns& columns) const {
  const Wiped plain(encoded(attributes));
  return sealed(attributeSealer_, *plain, contextOf(columns));
}

Data SealedItems::sealValue(Bytes value, const Columns& columns) const {
  return sealed(valueSealer_, value, contextOf(columns));
}

}  // namespace tarvex
