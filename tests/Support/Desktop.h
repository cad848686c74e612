// A session bus and a GNOME keyring of a test's or a benchmark's own.
#pragma once

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <string>

#include "tests/Support/TemporaryFolder.h"

namespace tarvex {

// A program that serves until the end of this, or of the process.
class Daemon {
 public:
  Daemon(const std::string& folder, const std::string& command) : id_(::fork()) {
    if (id_ != 0) return;
    const std::string line = "cd '" + folder + "' && exec " + command + " >>log 2>&1";
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
    ::_exit(1);
  }
  Daemon(const Daemon&) = delete;
  Daemon& operator=(const Daemon&) = delete;
  ~Daemon() {
    signal(SIGKILL);
    ::waitpid(id_, nullptr, 0);
  }

  void signal(int number) const { ::kill(id_, number); }

 private:
  pid_t id_;
};

// While one lives the environment of this process, and of those that it starts, points to it. The
// bus starts no service by itself.
class Desktop {
 public:
  Desktop() {
    for (const char* name : {"HOME", "XDG_DATA_HOME", "XDG_RUNTIME_DIR"}) {
      ::setenv(name, folder_.path().c_str(), 1);
    }
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY"}) ::unsetenv(name);
    ::setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + folder_ / "bus").c_str(), 1);
    run(R"(echo "<busconfig><type>session</type><listen>$DBUS_SESSION_BUS_ADDRESS</listen>
        <policy context='default'><allow send_destination='*' eavesdrop='true'/>
        <allow eavesdrop='true'/><allow own='*'/></policy></busconfig>" >bus.conf)");
    bus_.emplace(folder_.path(), "dbus-daemon --nofork --nopidfile --config-file=bus.conf");
    run("for i in $(seq 6000); do test -e bus && break; sleep 0.01; done");
    startKeyring();
  }
  Desktop(const Desktop&) = delete;
  Desktop& operator=(const Desktop&) = delete;
  ~Desktop() { ::setenv("DBUS_SESSION_BUS_ADDRESS", "disabled:", 1); }

  // Starts the keyring, unlocked, as logging in does. Who has that name on the bus is asked when it
  // has to be unlocked again; otherwise nobody is.
  void startKeyring(const std::string& prompter = "nobody.at.all") {
    run("printf password >password");
    keyring_.emplace(folder_.path(),
                     "env GNOME_KEYRING_TEST_PROMPTER=" + prompter +
                         " gnome-keyring-daemon --foreground --unlock --components=secrets"
                         " <password");
    run("gdbus wait --session --timeout 60 org.freedesktop.secrets");
  }
  void endKeyring() { keyring_.reset(); }
  void signalKeyring(int number) const { keyring_->signal(number); }

  void lockKeyring() const { call("", "Service.Lock", std::string("\"['") + collection + "']\""); }
  void removeCollection() const { call("/collection/login", "Collection.Delete"); }
  void removeItem(int number) const {
    call("/collection/login/" + std::to_string(number), "Item.Delete");
  }

 private:
  static constexpr char collection[] = "/org/freedesktop/secrets/collection/login";

  void run(const std::string& commands) const {
    const std::string printed = folder_.run("{ " + commands + "; } 2>&1 || echo failed");
    if (printed.ends_with("failed\n")) throw std::runtime_error(commands + ": " + printed);
  }

  void call(const std::string& object, const std::string& method,
            const std::string& argument = "") const {
    run("gdbus call --session --dest org.freedesktop.secrets"
        " --object-path /org/freedesktop/secrets" +
        object + " --method org.freedesktop.Secret." + method + ' ' + argument);
  }

  TemporaryFolder folder_;
  std::optional<Daemon> bus_;
  std::optional<Daemon> keyring_;
};

}  // namespace tarvex
