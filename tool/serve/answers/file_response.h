// A file as a response: whole, or the part that was asked for.
#pragma once

#include <memory>
#include <string>

#include "tool/serve/answers/request.h"

namespace quorvin {

/// `tag` is that of the content.
Response fileResponse(const Request& request, std::shared_ptr<const OpenFile> file,
                      std::string contentType, const std::string& tag);

/// Opened whole; its size is taken now.
std::shared_ptr<const OpenFile> openFileOf(FileDescriptor file);

/// As a download under the name, which may hold anything that a file name can.
std::string dispositionOf(const std::string& fileName);

}  // namespace quorvin
