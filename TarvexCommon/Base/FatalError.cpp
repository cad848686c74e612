#include "TarvexCommon/Base/FatalError.h"

#include <cstdio>
#include <cstdlib>

namespace tarvex {

void fatalError(std::string_view message, SourcePosition where) {
  std::fprintf(stderr, "%s:%d: Fatal error: %.*s\n", where.file, where.line,
               static_cast<int>(message.size()), message.data());
  std::abort();
}

}  // namespace tarvex
