#include "TarvexCommon/Platform/Memory/RecordingLog.h"

#include <mutex>

namespace tarvex {

struct RecordingLog::State {
  std::mutex mutex;
  std::vector<LogRecord> records;
};

RecordingLog::RecordingLog() : state_(std::make_shared<State>()) {}

LogSink RecordingLog::sink() const {
  return [state = state_](const LogRecord& record) {
    const std::lock_guard lock(state->mutex);
    state->records.push_back(record);
  };
}

std::vector<LogRecord> RecordingLog::records() const {
  const std::lock_guard lock(state_->mutex);
  return state_->records;
}

std::vector<std::string> RecordingLog::messages() const {
  std::vector<std::string> messages;
  for (const LogRecord& record : records()) messages.push_back(record.message);
  return messages;
}

}  // namespace tarvex
