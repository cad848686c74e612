#include "TarvexCommon/Platform/Log.h"

#include <utility>

#include "TarvexCommon/Platform/Services.h"

namespace tarvex {

Log::Log(std::string subsystem, std::string category)
    : subsystem_(std::move(subsystem)), category_(std::move(category)) {}

void Log::log(std::string message) const {
  services().log({subsystem_, category_, std::move(message)});
}

}  // namespace tarvex
