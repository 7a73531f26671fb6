// The client in C++ on a copy of the imported library.
#pragma once

#include <memory>
#include <quorvin/client.hpp>
#include <string>
#include <vector>

#include "testing/engine/tool_fixture.h"

namespace quorvin {

class ClientFixture : public ToolFixture {
 protected:
  ClientFixture() { copyOfImportedLibrary(); }

  client::Options options() {
    client::Options options;
    options.libraryPath = library();
    options.temporaryPath = folder() / "temporary";
    return options;
  }

  /// The gallery of all assets.
  static std::string everything(client::Library& library) {
    for (const auto& gallery : library.wait(library.getGalleryList())) {
      if (gallery.title == "Recents") return gallery.id;
    }
    ADD_FAILURE() << "no gallery of everything";
    return {};
  }

  static std::vector<client::Asset> assetsIn(client::Library& library, const std::string& gallery) {
    client::AssetPage page;
    page.end = 1000;
    return library.wait(library.getAssetList(gallery, page));
  }

  static client::Asset assetNamed(client::Library& library, const std::string& name) {
    for (const auto& asset : assetsIn(library, everything(library))) {
      if (library.wait(library.getAssetOriginalFilename(asset.id)) == name) return asset;
    }
    ADD_FAILURE() << "no asset " << name;
    return {};
  }
};

}  // namespace quorvin
