// Diagnostic lines, each with the subsystem and category that it comes from.
#pragma once

#include <functional>
#include <string>

#include "TarvexCommon/Base/Export.h"

namespace tarvex {

// One line, of the platform's default type: worth keeping, not an error.
struct LogRecord {
  std::string subsystem;  // the host's bundle identifier
  std::string category;   // for example "default"
  std::string message;

  friend bool operator==(const LogRecord&, const LogRecord&) = default;
};

// Takes a record, on the thread that logs; must not throw.
using LogSink = std::function<void(const LogRecord&)>;

// Writes records with its subsystem and category to the sink in use.
class TARVEX_EXPORT Log {
 public:
  Log(std::string subsystem, std::string category);

  void log(std::string message) const;

 private:
  std::string subsystem_;
  std::string category_;
};

// The systemd journal, with the fields MESSAGE, PRIORITY, SUBSYSTEM and CATEGORY;
// stderr where there is no journal.
TARVEX_EXPORT LogSink systemLog();

}  // namespace tarvex
