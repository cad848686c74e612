// A log that keeps its records, for tests.
#pragma once

#include <memory>
#include <vector>

#include "TarvexCommon/Base/Export.h"
#include "TarvexCommon/Platform/Log.h"

namespace tarvex {

// Copies share the records; any thread may log and read.
class TARVEX_EXPORT RecordingLog {
 public:
  RecordingLog();

  // The sink to put into `Services::log`; it may outlive this.
  LogSink sink() const;

  // The records so far, oldest first.
  std::vector<LogRecord> records() const;

  // Their messages.
  std::vector<std::string> messages() const;

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace tarvex
