#include "platform_linux/errors/system_failure.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <system_error>

namespace quorvin {

namespace {

struct Meaning {
  int errorNumber;
  LibraryErrorCode libraryCode;
  FileErrorCode fileCode;
  const char* fileReason;  ///< none: the system's own words; the library always uses those
};

constexpr Meaning kMeanings[] = {
    {ENOENT, LibraryErrorCode::missingResource, FileErrorCode::noSuchFile,
     "there is no such file or folder"},
    {ENOTDIR, LibraryErrorCode::missingResource, FileErrorCode::noSuchFile,
     "a part of its path isn’t a folder"},
    {EACCES, LibraryErrorCode::invalidResource, FileErrorCode::writeNoPermission,
     "you don’t have permission"},
    {EPERM, LibraryErrorCode::invalidResource, FileErrorCode::writeNoPermission,
     "you don’t have permission"},
    {EIO, LibraryErrorCode::invalidResource, FileErrorCode::writeUnknown, nullptr},
    {EEXIST, LibraryErrorCode::internal, FileErrorCode::writeFileExists,
     "an item with the same name already exists"},
    {EISDIR, LibraryErrorCode::internal, FileErrorCode::writeFileExists,
     "a folder with the same name already exists"},
    {ENOSPC, LibraryErrorCode::notEnoughSpace, FileErrorCode::writeOutOfSpace,
     "there isn’t enough space"},
    {EDQUOT, LibraryErrorCode::notEnoughSpace, FileErrorCode::writeOutOfSpace,
     "there isn’t enough space"},
    {EFBIG, LibraryErrorCode::invalidResource, FileErrorCode::writeUnknown,
     "it would be too large"},
    {EROFS, LibraryErrorCode::internal, FileErrorCode::writeVolumeReadOnly,
     "the volume is read-only"},
    {ENAMETOOLONG, LibraryErrorCode::internal, FileErrorCode::writeUnknown, "its name is too long"},
    {ELOOP, LibraryErrorCode::internal, FileErrorCode::writeUnknown,
     "its path leads through too many links"},
};
constexpr Meaning kUnknown = {0, LibraryErrorCode::internal, FileErrorCode::writeUnknown, nullptr};

const Meaning& meaningOf(int errorNumber) {
  const auto* found = std::ranges::find(kMeanings, errorNumber, &Meaning::errorNumber);
  return found == std::end(kMeanings) ? kUnknown : *found;
}

std::string systemsWords(int errorNumber) {
  return std::generic_category().message(errorNumber);
}

std::string_view withoutTrailingSlashes(std::string_view path) {
  while (path.size() > 1 && path.ends_with('/')) path.remove_suffix(1);
  return path;
}

}  // namespace

Failure systemFailure(std::string_view attempt, int errorNumber) {
  Failure failure(meaningOf(errorNumber).libraryCode,
                  std::string(attempt) + ": " + systemsWords(errorNumber) + ".");
  failure.isOfDescriptors = errorNumber == EMFILE || errorNumber == ENFILE;
  return failure;
}

Failure fileFailure(std::string_view attempt, int errorNumber) {
  const Meaning& meaning = meaningOf(errorNumber);
  const std::string reason = meaning.fileReason != nullptr
                                 ? meaning.fileReason
                                 : "of an error of the system: " + systemsWords(errorNumber);
  return {meaning.fileCode, std::string(attempt) + " because " + reason + "."};
}

Failure savingFailure(const std::string& path, int errorNumber) {
  return fileFailure("the file " + quotedName(path) + " couldn’t be saved in the folder " +
                         quotedName(folderOf(path)),
                     errorNumber);
}

bool meansMissing(int errorNumber) {
  return meaningOf(errorNumber).libraryCode == LibraryErrorCode::missingResource;
}

std::string quotedName(const std::string& path) {
  const std::string_view whole = withoutTrailingSlashes(path);
  const std::size_t slash = whole.rfind('/');
  const bool isWhole = slash == whole.npos || whole.size() == 1;
  return "“" + std::string(isWhole ? whole : whole.substr(slash + 1)) + "”";
}

std::string folderOf(const std::string& path) {
  const std::string_view whole = withoutTrailingSlashes(path);
  const std::size_t slash = whole.rfind('/');
  if (slash == whole.npos) return ".";
  return std::string(withoutTrailingSlashes(whole.substr(0, slash + 1)));
}

}  // namespace quorvin
