#include <cstdio>
#include <string>

#include "TarvexCommon/Platform/Log.h"

#ifdef TARVEX_WITH_JOURNAL
#include <dlfcn.h>
#include <sys/uio.h>
#include <syslog.h>
#define SD_JOURNAL_SUPPRESS_LOCATION  // of this file, which would say nothing
#include <systemd/sd-journal.h>
#include <unistd.h>

#include <array>
#endif

namespace tarvex {
namespace {

#ifdef TARVEX_WITH_JOURNAL
// sd_journal_sendv reports success where nobody listens, so we look ourselves.
bool hasJournal() { return access("/run/systemd/journal/socket", W_OK) == 0; }

// The client library is loaded with the first line: it and what it needs would make every start
// of every host a millisecond longer.
auto* journal() {
  static auto* const send = [] {
    void* library = dlopen("libsystemd.so.0", RTLD_NOW | RTLD_LOCAL);
    void* function = library == nullptr ? nullptr : dlsym(library, "sd_journal_sendv");
    return reinterpret_cast<decltype(&sd_journal_sendv)>(function);
  }();
  return send;
}

iovec field(const std::string& text) { return {const_cast<char*>(text.data()), text.size()}; }

bool sendToJournal(const LogRecord& record) {
  if (!hasJournal() || journal() == nullptr) return false;
  const std::string message = "MESSAGE=" + record.message;
  const std::string priority = "PRIORITY=" + std::to_string(LOG_NOTICE);
  const std::string subsystem = "SUBSYSTEM=" + record.subsystem;
  const std::string category = "CATEGORY=" + record.category;
  const std::array fields = {field(message), field(priority), field(subsystem), field(category)};
  return journal()(fields.data(), static_cast<int>(fields.size())) == 0;
}
#else
bool sendToJournal(const LogRecord&) { return false; }
#endif

void writeToStderr(const LogRecord& record) {
  const std::string line =
      '[' + record.subsystem + ':' + record.category + "] " + record.message + '\n';
  std::fwrite(line.data(), 1, line.size(), stderr);
}

}  // namespace

LogSink systemLog() {
  return [](const LogRecord& record) {
    if (!sendToJournal(record)) writeToStderr(record);
  };
}

}  // namespace tarvex
