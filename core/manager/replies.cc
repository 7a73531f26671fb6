// Replies: every answer of a handler leaves through the main queue.
#include <utility>

#include "core/manager/errors.h"
#include "core/manager/image_manager.h"
#include "core/platform/dispatch.h"

namespace quorvin {

void ImageManager::sendResult(const ResultHolder& result, Value value) {
  platform.dispatch.mainQueue().async(
      [result, value = std::move(value)]() mutable { (*result)(std::move(value)); });
}

void ImageManager::sendError(const ResultHolder& result, std::string_view code,
                             std::string_view message, Value details) {
  platform.dispatch.mainQueue().async([result, code = std::string(code),
                                       message = std::string(message),
                                       details = std::move(details)]() mutable {
    (*result)(FlutterError::errorWithCode(std::move(code), std::move(message), std::move(details)));
  });
}

void ImageManager::fail(const ResultHolder& result, std::string_view text, Value details) {
  sendError(result, errors::kCode, text, std::move(details));
}

void ImageManager::failUnreadable(const ResultHolder& result, const LibraryUnreadable& unreadable) {
  fail(result, errors::kFailedToReadLibrary, unreadable.error().localizedDescription);
}

}  // namespace quorvin
