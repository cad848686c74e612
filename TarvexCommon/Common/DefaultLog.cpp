#include "TarvexCommon/Common/DefaultLog.h"

#include "TarvexCommon/Base/FatalError.h"
#include "TarvexCommon/Platform/Services.h"

namespace tarvex {

const Log& defaultLog() {
  static const auto& log = *new Log(unwrap(services().bundle.identifier), "default");
  return log;
}

}  // namespace tarvex
