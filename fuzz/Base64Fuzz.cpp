// Any text as base64 and as a token segment; any bytes written as both.
#include "TarvexCommon/Base/Base64.h"
#include "TarvexCommon/Base/Base64Segment.h"
#include "TarvexCommon/Base/FatalError.h"
#include "TarvexCommon/Common/Encoding.h"

namespace tarvex {
namespace {

void checkReading(std::string_view text) {
  require(fromBase64Segment(text) == fromBase64(Encoding::b64urlToBase64(text)));
  // Only unused bits may differ from the text that was read.
  if (const auto bytes = fromBase64(text)) {
    require(toBase64(*bytes).size() == text.size());
    require(fromBase64(toBase64(*bytes)) == bytes);
  }
}

void checkWriting(Bytes bytes) {
  require(fromBase64(toBase64(bytes)) == toData(bytes));
  require(fromBase64Segment(toBase64Segment(bytes)) == toData(bytes));
}

}  // namespace
}  // namespace tarvex

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const tarvex::Bytes bytes(data, size);
  tarvex::checkReading(bytes.text());
  tarvex::checkWriting(bytes);
  return 0;
}
