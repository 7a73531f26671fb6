// What the exports ask the image manager for.
#pragma once

#include "core/platform/images.h"

namespace quorvin {

/// What images and live photos of medium quality fit into.
inline constexpr CGSize kMediumSize{1024, 1024};

/// The final image of the asset's current version, also when only the network has it.
inline PHImageRequestOptions finalImageOptions() {
  PHImageRequestOptions options;
  options.version = PHImageRequestOptionsVersion::current;
  options.deliveryMode = PHImageRequestOptionsDeliveryMode::highQualityFormat;
  options.isSynchronous = false;
  options.isNetworkAccessAllowed = true;
  return options;
}

inline PHImageRequestOptions finalImageOptions(PHImageRequestOptionsResizeMode resizeMode) {
  PHImageRequestOptions options = finalImageOptions();
  options.resizeMode = resizeMode;
  return options;
}

}  // namespace quorvin
