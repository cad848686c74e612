#include "TarvexCommon/Base/JSON/JSONDecoder.h"

#include "TarvexCommon/Base/JSON/JSONDocument.h"
#include "TarvexCommon/Base/ThreadSpare.h"

namespace tarvex {
namespace {

// The thread's document while nobody reads. A reading inside another makes its own.
using IdleDocument = ThreadSpare<std::unique_ptr<coding::JSONDocument>>;

// One for longer texts than this is not kept.
constexpr std::size_t keptCapacity = 131072;

}  // namespace

template <typename Text>
JSONDecoder::Parsed JSONDecoder::parsed(Text&& json) const {
  auto document = IdleDocument::take();
  if (document == nullptr) document = std::make_unique<coding::JSONDocument>();
  Parsed result(document.release(), Release{wipesWorkSpace});
  result->read(std::forward<Text>(json));
  return result;
}

JSONDecoder::Parsed JSONDecoder::parse(Bytes json) const { return parsed(json); }

JSONDecoder::Parsed JSONDecoder::parse(Data&& json) const { return parsed(std::move(json)); }

void JSONDecoder::Release::operator()(coding::JSONDocument* document) const noexcept {
  std::unique_ptr<coding::JSONDocument> owned(document);
  if (wipes) document->wipe();
  if (document->capacity() <= keptCapacity) IdleDocument::keep(std::move(owned));
}

}  // namespace tarvex
