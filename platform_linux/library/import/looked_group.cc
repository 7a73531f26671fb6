#include "platform_linux/library/import/looked_group.h"

#include <sys/stat.h>

#include <algorithm>
#include <utility>

#include "codec/utf8.h"
#include "platform_linux/files/file_content.h"
#include "platform_linux/library/catalogue/family_rows.h"
#include "platform_linux/library/catalogue/resource_rows.h"
#include "platform_linux/library/originals/original_file.h"
#include "platform_linux/library/values/families.h"
#include "platform_linux/library/values/pairing.h"
#include "platform_linux/library/values/side_resources.h"

namespace quorvin {
namespace {

// Known files are found so many at a time: enough for what each time costs.
constexpr std::size_t kFilesFoundTogether = 128;

// Side files may say the same of different photos.
bool mayBelongTo(Database& database, const KnownContent& known, const ImportFile& file) {
  if (known.type != PHAssetResourceType::adjustmentData && !isUnseen(known.type)) return true;
  const std::int64_t family =
      familyNumber(folderNumber(file.folder), familyByName(validUtf8(file.name)));
  return isOfFamily(database, known.asset, std::span(&family, 1));
}

bool isStill(int source, const SourceState& state) {
  struct stat status = {};
  return ::fstat(source, &status) == 0 && stateOf(status) == state;
}

}  // namespace

void FileLooks::findKnown(std::span<const FoundFile> files,
                          std::span<std::optional<std::int64_t>> known) {
  Catalogue::Reader database = catalogue_.reader();
  if (!database) return;
  const ReadTransaction moment(*database);
  for (std::size_t i = 0; i < files.size(); ++i) {
    const FoundFile& file = files[i];
    if (file.isApart && fileLiesIn(catalogue_.folder(), file.path)) continue;
    const auto isThere = [&](std::string_view path) {
      return originals_.has(path, file.state.size);
    };
    known[i] = findSource(*database, nameOfSource(file.path), file.state, isThere);
  }
}

Result<ImportFile> FileLooks::look(const FoundFile& found) {
  const auto source = openSource(catalogue_.folder(), found.path);
  if (!source) return source.error();
  ImportFile file;
  static_cast<SourceFile&>(file) = describeSource(*source, found.path);
  if (const auto known = recognise(source->get(), file); !known) return known.error();
  if (file.existingAsset) return file;
  auto probe = media_.probe(*source, file.name);
  if (!probe) return probe.error();
  file.probe = *std::move(probe);
  return file;
}

Result<ImportFile> FileLooks::lookAgain(ImportFile file) {
  if (file.existingAsset) return file;
  const auto source = openSource(catalogue_.folder(), file.path);
  if (!source) return source.error();
  const auto known = recognise(source->get(), file);
  return known ? Result<ImportFile>(std::move(file)) : known.error();
}

// Only a file whose size the library knows is read for this.
Done FileLooks::recognise(int source, ImportFile& file) {
  Catalogue::Reader database = catalogue_.reader();
  if (!database) return database.error();
  if (!isKnownSize(*database, file.size)) return Null{};
  const auto hash = hashContent(source);
  if (!hash) return hash.error();
  for (const KnownContent& known : findContent(*database, file.size, *hash)) {
    if (!mayBelongTo(*database, known, file)) continue;
    const FileDescriptor stored = originalFile(catalogue_.folder(), known.path).open();
    if (!stored || !haveSameContent(source, stored.get())) continue;
    file.probe = {};
    file.existingAsset = known.asset;
    file.showsChanges = file.showsChanges && isStill(source, file);
    if (file.showsChanges) file.originalToNote = known.path;
    return Null{};
  }
  return Null{};
}

ImportFile knownFile(const FoundFile& found, std::int64_t asset) {
  ImportFile file;
  static_cast<SourceState&>(file) = found.state;
  file.path = found.path;
  file.folder = folderOfSource(found.path);
  file.name = std::string(nameOfSource(found.path));
  file.existingAsset = asset;
  return file;
}

LookedGroup::LookedGroup(std::span<const FoundFile> files, FileLooks& looks)
    : files_(files), looks_(looks), known_(files.size()), seen_(files.size()) {}

LookedGroup::~LookedGroup() {
  isGivenUp_ = true;
  pending_.wait();
}

void LookedGroup::begin(WorkThreads& threads) {
  for (std::size_t from = 0; from < files_.size(); from += kFilesFoundTogether) {
    const std::size_t to = std::min(from + kFilesFoundTogether, files_.size());
    pending_.add(threads, [this, from, to, &threads] { lookThrough(from, to, threads); });
  }
}

void LookedGroup::lookThrough(std::size_t from, std::size_t to, WorkThreads& threads) {
  if (isGivenUp_) return;
  looks_.findKnown(files_.subspan(from, to - from), std::span(known_).subspan(from, to - from));
  for (std::size_t i = from; i < to; ++i) {
    if (known_[i]) continue;
    pending_.add(threads, [this, i] {
      if (!isGivenUp_) seen_[i] = looks_.look(files_[i]);
    });
  }
}

bool LookedGroup::areAllKnown() const {
  return std::ranges::all_of(known_, [](const auto& known) { return known.has_value(); });
}

bool LookedGroup::isShort() const {
  for (std::size_t i = 0; i < files_.size(); ++i) {
    if (isLacking(i)) return true;
  }
  return false;
}

bool LookedGroup::isLacking(std::size_t index) const {
  const std::optional<Result<ImportFile>>& seen = seen_[index];
  return !known_[index] && (!seen || (!*seen && seen->error().isOfDescriptors));
}

Result<ImportFile> LookedGroup::take(std::size_t index) {
  if (known_[index]) return knownFile(files_[index], *known_[index]);
  std::optional<Result<ImportFile>>& seen = seen_[index];
  if (isLacking(index)) return looks_.look(files_[index]);
  if (!*seen || !addedSizes_.contains((*seen)->size)) return *std::move(seen);
  return looks_.lookAgain(**std::move(seen));
}

}  // namespace quorvin
