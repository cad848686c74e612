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

JSONDecoder::Parsed JSONDecoder::newDocument() const {
  auto document = IdleDocument::take();
  if (document == nullptr) document = std::make_unique<coding::JSONDocument>();
  return {document.release(), Release{wipesWorkSpace}};
}

JSONDecoder::Parsed JSONDecoder::parse(Bytes json) const {
  Parsed document = newDocument();
  document->read(json);
  return document;
}

JSONDecoder::Parsed JSONDecoder::parse(Data&& json) const {
  Parsed document = newDocument();
  document->read(std::move(json));
  return document;
}

void JSONDecoder::Release::operator()(coding::JSONDocument* document) const noexcept {
  std::unique_ptr<coding::JSONDocument> owned(document);
  if (wipes) document->wipe();
  if (document->capacity() <= keptCapacity) IdleDocument::keep(std::move(owned));
}

}  // namespace tarvex
