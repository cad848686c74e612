// The desktop's Secret Service. Internal.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "TarvexCommon/Base/Data.h"
#include "TarvexCommon/Base/Wiped.h"

namespace tarvex {

// Whether the user may be asked to unlock a keyring.
enum class Prompts { none, allowed };

// Texts by names, in UTF-8 and without NUL, which the service keeps in clear.
using SecretAttributes = std::map<std::string, std::string>;

// An item of the service; it is not used after its conversation.
struct Secret {
  std::shared_ptr<void> handle;
  SecretAttributes attributes;
  Wiped<Data> value;  // where it was asked for
};

// A conversation with the service. Each operation throws `errSecNotAvailable` when the service is
// not there or does not do all of it within five seconds, those of the user not counted, and
// `errSecInteractionNotAllowed` when what it needs is locked, also where the user was asked and has
// not unlocked it in two minutes.
class SecretService {
 public:
  enum class Values { unread, loaded };

  // Holds a conversation, one at a time in a process; connecting is part of its first operation.
  // Throws `errSecNotAvailable` where there is no session bus (none is started), no service, no
  // libsecret, where this `isOutOfReach`, and where others speak for too long: five seconds, or two
  // minutes for who may ask the user as well; `errSecAllocate` where no thread can be had.
  static void use(Prompts prompts, const std::function<void(SecretService&)>& work);

  // Returns whether this process is a child of one that has used the service: GLib's threads,
  // which are then wanted, stayed behind.
  static bool isOutOfReach();

  SecretService(const SecretService&) = delete;
  SecretService& operator=(const SecretService&) = delete;
  ~SecretService();

  // Returns the items of all collections that have these attributes.
  std::vector<Secret> find(const SecretAttributes& attributes, Values values);

  // Throws unless the default collection is there and unlocked.
  void ensureTakesItems();

  // Puts an item into the default collection, beside others with the same attributes.
  void add(const std::string& label, const SecretAttributes& attributes, Bytes value);

  // Changes label and attributes, and the value when there is one.
  void change(const Secret& secret, const std::string& label, const SecretAttributes& attributes,
              const std::optional<Wiped<Data>>& value);

  void remove(const Secret& secret);

 private:
  struct Connection;

  explicit SecretService(std::unique_ptr<Connection> connection);

  std::unique_ptr<Connection> connection_;
};

}  // namespace tarvex
