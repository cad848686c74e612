#include "TarvexCommon/Base/JSON/CodingPlace.h"

#include <algorithm>

namespace tarvex::coding {

CodingPath CodingPlace::path() const {
  CodingPath path;
  for (const CodingPlace* place = this; place->around_ != nullptr; place = place->around_) {
    path.push_back(place->isElement_ ? "Index " + std::to_string(place->index_)
                                     : std::string(place->key_));
  }
  std::reverse(path.begin(), path.end());
  return path;
}

}  // namespace tarvex::coding
