// Objects of libsecret and GLib, which are let go of at the end of their scope. Internal.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "TarvexCommon/Base/Wiped.h"
#include "TarvexCommon/Platform/ItemFailure.h"
#include "TarvexCommon/Platform/Linux/LibSecret.h"
#include "TarvexCommon/Platform/Linux/SecretService.h"

namespace tarvex {

// It is loaded wherever there is a conversation.
inline const LibSecret& libsecret() { return *LibSecret::loaded(); }

struct Unref {
  void operator()(void* object) const noexcept { libsecret().g_object_unref(object); }
};
template <typename Object>
using Owned = std::unique_ptr<Object, Unref>;

// The main context of a thread, which is not run while there is a conversation: a connection to
// the bus that is made here does not end the process when the bus goes, as it would by GLib's
// default.
class Context {
 public:
  Context() : context_(libsecret().g_main_context_new()) {
    libsecret().g_main_context_push_thread_default(context_);
  }
  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;
  ~Context() {
    libsecret().g_main_context_pop_thread_default(context_);
    libsecret().g_main_context_unref(context_);
  }

  // Lets go of what is kept until it is run.
  void clear(GDBusConnection* bus) const {
    const gboolean exits = libsecret().g_dbus_connection_get_exit_on_close(bus);
    libsecret().g_dbus_connection_set_exit_on_close(bus, FALSE);
    while (libsecret().g_main_context_iteration(context_, FALSE) != 0) {
    }
    libsecret().g_dbus_connection_set_exit_on_close(bus, exits);
  }

 private:
  GMainContext* context_;
};

// Attributes as GLib has them; it must not outlive them.
class Table {
 public:
  explicit Table(const SecretAttributes& attributes)
      : table_(libsecret().g_hash_table_new(libsecret().g_str_hash, libsecret().g_str_equal)) {
    for (const auto& [name, text] : attributes) {
      libsecret().g_hash_table_insert(table_, const_cast<char*>(name.c_str()),
                                      const_cast<char*>(text.c_str()));
    }
  }
  explicit Table(GHashTable* taken) : table_(taken) {}
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;
  ~Table() { libsecret().g_hash_table_unref(table_); }

  GHashTable* get() const { return table_; }

  SecretAttributes attributes() const {
    SecretAttributes read;
    GHashTableIter entries;
    libsecret().g_hash_table_iter_init(&entries, table_);
    for (void *name, *text; libsecret().g_hash_table_iter_next(&entries, &name, &text) != 0;) {
      read.emplace(static_cast<const char*>(name), static_cast<const char*>(text));
    }
    return read;
  }

 private:
  GHashTable* table_;
};

struct UnrefValue {
  void operator()(SecretValue* value) const noexcept { libsecret().secret_value_unref(value); }
};
using Value = std::unique_ptr<SecretValue, UnrefValue>;

inline Value valueOf(Bytes bytes) {
  return Value(libsecret().secret_value_new(bytes.text().data(), static_cast<gssize>(bytes.size()),
                                            "application/octet-stream"));
}

// A search does not say why it could not load a value.
inline Wiped<Data> secretIn(SecretItem* item) {
  const Value value(libsecret().secret_item_get_secret(item));
  const bool isLocked = libsecret().secret_item_get_locked(item) != 0;
  ensure(value != nullptr, isLocked ? errSecInteractionNotAllowed : errSecNotAvailable);
  std::size_t size = 0;
  const char* text = libsecret().secret_value_get(value.get(), &size);
  return Wiped(toData(std::string_view(text, size)));
}

inline std::string labelOf(SecretItem* item) {
  char* label = libsecret().secret_item_get_label(item);
  std::string copy = label == nullptr ? "" : label;
  (libsecret().g_free)(label);  // in parentheses: of late GLib has a macro `g_free(mem)`
  return copy;
}

struct IsLocked {
  bool operator()(const Owned<SecretItem>& item) const {
    return libsecret().secret_item_get_locked(item.get()) != 0;
  }
  bool operator()(const Owned<SecretCollection>& collection) const {
    return libsecret().secret_collection_get_locked(collection.get()) != 0;
  }
};

}  // namespace tarvex
