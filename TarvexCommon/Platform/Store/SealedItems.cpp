#include "TarvexCommon/Platform/Store/SealedItems.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

#include "TarvexCommon/Platform/Store/AttributeCoding.h"
#include "TarvexCommon/Platform/Store/BigEndian.h"

namespace tarvex {
namespace {

// Values of the column "class".
enum ItemClass : std::int64_t { password = 1, publicKey = 2, privateKey = 3 };

// The columns of a row, in this order.
constexpr std::string_view selectRows =
    "SELECT id, class, service, account, \"group\", sync, attributes, value FROM item";
enum Column { id, itemClass, service, account, group, sync, attributes, value };

// The attributes that the columns "service" and "account" stand for.
struct Names {
  const char* service;
  const char* account;
};
constexpr Names ofPasswords = {kSecAttrService, kSecAttrAccount};
constexpr Names ofKeys = {kSecAttrApplicationTag, kSecAttrApplicationLabel};

bool isKey(const ItemDictionary& attributes) {
  return *find<std::string>(attributes, kSecClass) == kSecClassKey;
}

const Names& namesOf(const ItemDictionary& attributes) {
  return isKey(attributes) ? ofKeys : ofPasswords;
}

ItemClass classOf(const ItemDictionary& attributes) {
  if (!isKey(attributes)) return password;
  return *find<std::string>(attributes, kSecAttrKeyClass) == kSecAttrKeyClassPublic ? publicKey
                                                                                    : privateKey;
}

const char* classCondition(const ItemDictionary& asked) {
  if (!isKey(asked)) return "class = 1";
  const auto* keyClass = find<std::string>(asked, kSecAttrKeyClass);
  if (keyClass == nullptr) return "class IN (2, 3)";
  return *keyClass == kSecAttrKeyClassPublic ? "class = 2" : "class = 3";
}

Tagger::Tag tagIn(const Rows& row, int column) {
  const Bytes bytes = row.bytes(column);
  Tagger::Tag tag;
  ensure(bytes.size() == tag.size(), errSecDecode);
  std::ranges::copy(bytes, tag.begin());
  return tag;
}

// A secret that is wiped when it has been used.
struct Wiped {
  explicit Wiped(Data secret) : bytes(std::move(secret)) {}
  Wiped(const Wiped&) = delete;
  Wiped& operator=(const Wiped&) = delete;
  ~Wiped() { wipe(bytes); }

  Data bytes;
};

Data sealed(const Sealer& sealer, Bytes plain, Bytes context) {
  ensure(plain.size() <= Sealer::maximum, errSecParam);
  return sealer.seal(plain, context);
}

Data opened(const Sealer& sealer, Bytes bytes, Bytes context) {
  auto plain = sealer.open(bytes, context);
  ensure(plain.has_value(), errSecDecode);
  return std::move(*plain);
}

}  // namespace

// What the columns say of a query.
struct SealedItems::Search {
  struct Wanted {
    Tag Columns::*column;
    Tag value;
  };

  std::string conditions;
  std::vector<Wanted> wanted;  // the parameters of the conditions
  std::optional<bool> sync;
  std::vector<Tag> groups;  // any of them will do; none when the conditions name one
  bool isWhole = false;     // there is nothing else in the query
  bool isUnique = false;    // at most one row has all of it

  // A damaged index leads to other rows.
  bool describes(const Columns& columns) const {
    return (!sync || columns.sync == *sync) && std::ranges::all_of(wanted, [&](const Wanted& tag) {
             return columns.*tag.column == tag.value;
           });
  }
};

SealedItems::SealedItems(const Database& database, const SealingKey& master, Data storeID)
    : database_(database),
      storeID_(std::move(storeID)),
      attributes_(master.derived("attributes")),
      values_(master.derived("values")),
      names_(master.derived("names")),
      lastID_(database.prepare("SELECT coalesce(max(id), 0) FROM item")),
      insert_(database.prepare("INSERT INTO item VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8)")),
      reseal_(database.prepare("UPDATE item SET attributes = ?2, value = ?3 WHERE id = ?1")),
      rename_(database.prepare("UPDATE item SET class = ?2, service = ?3, account = ?4, "
                               "\"group\" = ?5, sync = ?6, attributes = ?7, value = ?8 "
                               "WHERE id = ?1")),
      remove_(database.prepare("DELETE FROM item WHERE id = ?1")) {}

void SealedItems::insert(const Item& item) {
  Rows last = lastID_.run();
  last.next();
  const Columns columns = columnsOf(item.attributes, last.integer(0) + 1);
  write(insert_, {.columns = columns,
                  .attributes = sealAttributes(item.attributes, columns),
                  .value = sealValue(item.value, columns)});
}

std::vector<Item> SealedItems::find(const ItemQuery& query, const ItemReturns& returns) {
  std::vector<Item> found;
  visitMatches(query, [&](const Rows& row, const Columns& columns) {
    Item item;
    if (needsAttributes(returns)) item.attributes = openAttributes(row.bytes(attributes), columns);
    if (needsValue(returns)) item.value = openValue(row.bytes(value), columns);
    found.push_back(std::move(item));
    return query.matchLimit == MatchLimit::all;
  });
  return found;
}

void SealedItems::update(const ItemQuery& query, const ItemChanges& changes) {
  std::vector<SealedRow> rows;
  visitMatches(query, [&rows](const Rows& row, const Columns& columns) {
    rows.push_back({.columns = columns,
                    .attributes = toData(row.bytes(attributes)),
                    .value = toData(row.bytes(value))});
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
  for (const std::int64_t row : rows) remove_.finish(row);
}

void SealedItems::check() const {
  const Statement all = database_.prepare(selectRows);
  for (Rows row = all.run(); row.next();) {
    const Columns columns = columnsIn(row);
    const auto said = openAttributes(row.bytes(attributes), columns);
    ensure(columnsOf(said, columns.id) == columns, errSecDecode);
    const Wiped secret(openValue(row.bytes(value), columns));
  }
}

SealedItems::Search SealedItems::searchFor(const ItemQuery& query) const {
  const ItemDictionary& asked = query.attributes;
  const Names& names = namesOf(asked);
  Search search;
  std::size_t understood = 1 + asked.count(kSecAttrKeyClass);
  search.conditions = classCondition(asked);
  const auto add = [&](const char* name, Tag Columns::*column, const char* condition) {
    if (!asked.contains(name)) return;
    search.conditions += condition;
    search.wanted.push_back({.column = column, .value = tagOf(asked, name)});
    ++understood;
  };
  add(names.service, &Columns::service, " AND service = ?");
  add(names.account, &Columns::account, " AND account = ?");
  add(kSecAttrAccessGroup, &Columns::group, " AND \"group\" = ?");
  if (const bool* synchronised = tarvex::find<bool>(asked, kSecAttrSynchronizable)) {
    search.conditions += *synchronised ? " AND sync = 1" : " AND sync = 0";
    search.sync = *synchronised;
    ++understood;
  }
  const bool isOneClass = !isKey(asked) || asked.contains(kSecAttrKeyClass);
  search.isUnique = search.wanted.size() == 3 && search.sync && isOneClass;
  if (!asked.contains(kSecAttrAccessGroup)) {
    for (const std::string& group : query.accessGroups) {
      search.groups.push_back(names_.tag(kSecAttrAccessGroup, group));
    }
  }
  search.isWhole = understood == asked.size();
  return search;
}

// The row numbers come from the index and are few; sorting them keeps the rows out of it.
const Statement& SealedItems::selecting(const Search& search) {
  const auto made = selects_.find(search.conditions);
  if (made != selects_.end()) return made->second;
  std::string sql(selectRows);
  sql += search.isUnique
             ? " WHERE " + search.conditions
             : " WHERE id IN (SELECT id FROM item WHERE " + search.conditions + ") ORDER BY id";
  return selects_.emplace(search.conditions, database_.prepare(sql)).first->second;
}

void SealedItems::visitMatches(const ItemQuery& query, const Visit& visit) {
  const Search search = searchFor(query);
  const Statement& select = selecting(search);
  std::vector<Tag> values;
  std::ranges::transform(search.wanted, std::back_inserter(values), &Search::Wanted::value);
  Rows row = select.run(std::span<const Tag>(values));
  while (row.next()) {
    const Columns columns = columnsIn(row);
    if (isMatch(row, columns, search, query) && !visit(row, columns)) return;
  }
}

bool SealedItems::isMatch(const Rows& row, const Columns& columns, const Search& search,
                          const ItemQuery& query) const {
  ensure(search.describes(columns), errSecDecode);
  const bool isInGroup =
      search.groups.empty() || std::ranges::count(search.groups, columns.group) > 0;
  if (!isInGroup || search.isWhole) return isInGroup;
  return matches({.attributes = openAttributes(row.bytes(attributes), columns), .value = {}},
                 query);
}

SealedItems::SealedRow SealedItems::changed(const SealedRow& row,
                                            const ItemChanges& changes) const {
  Item item{.attributes = openAttributes(row.attributes, row.columns), .value = {}};
  apply({.attributes = changes.attributes, .value = std::nullopt}, item);
  SealedRow result{
      .columns = columnsOf(item.attributes, row.columns.id), .attributes = {}, .value = row.value};
  result.attributes = sealAttributes(item.attributes, result.columns);
  if (changes.value) {
    result.value = sealValue(*changes.value, result.columns);
  } else if (result.columns != row.columns) {
    const Wiped secret(openValue(row.value, row.columns));
    result.value = sealValue(secret.bytes, result.columns);
  }
  return result;
}

SealedItems::Columns SealedItems::columnsIn(const Rows& row) {
  return {.id = row.integer(id),
          .itemClass = row.integer(itemClass),
          .service = tagIn(row, service),
          .account = tagIn(row, account),
          .group = tagIn(row, group),
          .sync = row.integer(sync)};
}

SealedItems::Columns SealedItems::columnsOf(const ItemDictionary& said, std::int64_t row) const {
  const Names& names = namesOf(said);
  return {.id = row,
          .itemClass = classOf(said),
          .service = tagOf(said, names.service),
          .account = tagOf(said, names.account),
          .group = tagOf(said, kSecAttrAccessGroup),
          .sync = *tarvex::find<bool>(said, kSecAttrSynchronizable)};
}

Tagger::Tag SealedItems::tagOf(const ItemDictionary& said, const char* name) const {
  if (const auto* text = tarvex::find<std::string>(said, name)) return names_.tag(name, *text);
  return names_.tag(name, *tarvex::find<Data>(said, name));
}

Data SealedItems::contextOf(const Columns& columns) const {
  Data context = storeID_;
  for (const std::int64_t number : {columns.id, columns.itemClass, columns.sync}) {
    append(context, bigEndian(static_cast<std::uint64_t>(number)));
  }
  for (const Tag& tag : {columns.service, columns.account, columns.group}) append(context, tag);
  return context;
}

ItemDictionary SealedItems::openAttributes(Bytes bytes, const Columns& columns) const {
  auto decoded = decodedAttributes(opened(attributes_, bytes, contextOf(columns)));
  ensure(decoded.has_value(), errSecDecode);
  return std::move(*decoded);
}

Data SealedItems::openValue(Bytes bytes, const Columns& columns) const {
  return opened(values_, bytes, contextOf(columns));
}

Data SealedItems::sealAttributes(const ItemDictionary& said, const Columns& columns) const {
  return sealed(attributes_, encoded(said), contextOf(columns));
}

Data SealedItems::sealValue(Bytes secret, const Columns& columns) const {
  return sealed(values_, secret, contextOf(columns));
}

// The index is written only when it has to be.
void SealedItems::replace(const SealedRow& row, const SealedRow& by) const {
  if (by.columns == row.columns) {
    reseal_.finish(by.columns.id, by.attributes, by.value);
  } else {
    write(rename_, by);
  }
}

void SealedItems::write(const Statement& statement, const SealedRow& row) {
  const auto& [columns, sealedAttributes, sealedSecret] = row;
  statement.finish(columns.id, columns.itemClass, columns.service, columns.account, columns.group,
                   columns.sync, sealedAttributes, sealedSecret);
}

}  // namespace tarvex
