// libsecret and the parts of GLib that it is used with. Internal.
#pragma once

#include <dlfcn.h>
#include <libsecret/secret.h>

namespace tarvex {

// The functions of the library, by their own names, loaded at the first use: linked, GLib would
// cost every program 5 ms at its start, and one without a desktop has no need of it. A module of
// our own in between would have to be found and to fit, also from a program that was linked
// statically.
class LibSecret {
 public:
  // Returns null where it is not installed.
  static const LibSecret* loaded() {
    static const LibSecret library;
    return library.isWhole_ ? &library : nullptr;
  }

 private:
  LibSecret() = default;

  template <typename Function>
  Function function(const char* name) {
    void* found = handle_ == nullptr ? nullptr : dlsym(handle_, name);
    isWhole_ = isWhole_ && found != nullptr;
    return reinterpret_cast<Function>(found);
  }

  void* handle_ = dlopen("libsecret-1.so.0", RTLD_NOW | RTLD_LOCAL);  // GLib stays for good
  bool isWhole_ = true;

 public:
// NOLINTNEXTLINE(bugprone-macro-parentheses)
#define TARVEX_FUNCTION(name) decltype(&::name) name = function<decltype(&::name)>(#name)
  TARVEX_FUNCTION(g_bus_get_sync);
  TARVEX_FUNCTION(g_cancellable_cancel);
  TARVEX_FUNCTION(g_cancellable_new);
  TARVEX_FUNCTION(g_dbus_connection_get_exit_on_close);
  TARVEX_FUNCTION(g_dbus_connection_is_closed);
  TARVEX_FUNCTION(g_dbus_connection_set_exit_on_close);
  TARVEX_FUNCTION(g_error_free);
  TARVEX_FUNCTION(g_free);
  TARVEX_FUNCTION(g_hash_table_insert);
  TARVEX_FUNCTION(g_hash_table_iter_init);
  TARVEX_FUNCTION(g_hash_table_iter_next);
  TARVEX_FUNCTION(g_hash_table_new);
  TARVEX_FUNCTION(g_hash_table_unref);
  TARVEX_FUNCTION(g_list_free);
  TARVEX_FUNCTION(g_list_prepend);
  TARVEX_FUNCTION(g_main_context_iteration);
  TARVEX_FUNCTION(g_main_context_new);
  TARVEX_FUNCTION(g_main_context_pop_thread_default);
  TARVEX_FUNCTION(g_main_context_push_thread_default);
  TARVEX_FUNCTION(g_main_context_unref);
  TARVEX_FUNCTION(g_object_unref);
  TARVEX_FUNCTION(g_str_equal);
  TARVEX_FUNCTION(g_str_hash);
  TARVEX_FUNCTION(secret_collection_for_alias_sync);
  TARVEX_FUNCTION(secret_collection_get_locked);
  TARVEX_FUNCTION(secret_error_get_quark);
  TARVEX_FUNCTION(secret_item_create_sync);
  TARVEX_FUNCTION(secret_item_delete_sync);
  TARVEX_FUNCTION(secret_item_get_attributes);
  TARVEX_FUNCTION(secret_item_get_label);
  TARVEX_FUNCTION(secret_item_get_locked);
  TARVEX_FUNCTION(secret_item_get_secret);
  TARVEX_FUNCTION(secret_item_set_attributes_sync);
  TARVEX_FUNCTION(secret_item_set_label_sync);
  TARVEX_FUNCTION(secret_item_set_secret_sync);
  TARVEX_FUNCTION(secret_service_get_type);
  TARVEX_FUNCTION(secret_service_open_sync);
  TARVEX_FUNCTION(secret_service_search_sync);
  TARVEX_FUNCTION(secret_service_unlock_sync);
  TARVEX_FUNCTION(secret_value_get);
  TARVEX_FUNCTION(secret_value_new);
  TARVEX_FUNCTION(secret_value_unref);
#undef TARVEX_FUNCTION
};

}  // namespace tarvex
