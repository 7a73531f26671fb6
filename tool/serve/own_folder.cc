#include "tool/serve/own_folder.h"

#include <stdlib.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include "platform_linux/files/temporary_directory.h"

namespace quorvin {

Result<OwnFolder> OwnFolder::make() {
  const std::string parent = temporaryParent();
  std::string path = parent + "/quorvin-serve-XXXXXX";
  const auto failed = [&parent] {
    return Failure(LibraryErrorCode::internal, "no folder can be made in “" + parent + "”: " +
                                                   std::generic_category().message(errno) + ".");
  };
  if (::mkdtemp(path.data()) == nullptr) return failed();
  OwnFolder folder(std::move(path));
  for (const std::string& each :
       {folder.exports(), folder.pictures(), folder.videos(), folder.uploads()}) {
    if (::mkdir(each.c_str(), S_IRWXU) != 0) return failed();
  }
  return folder;
}

OwnFolder::OwnFolder(OwnFolder&& other) noexcept : path_(std::exchange(other.path_, {})) {}

OwnFolder::~OwnFolder() {
  std::error_code ignored;
  if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
}

}  // namespace quorvin
