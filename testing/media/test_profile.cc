#include <lcms2.h>

#include <memory>

#include "testing/media/test_media.h"

namespace quorvin {

Bytes wideProfile() {
  const cmsCIExyY white{0.3127, 0.3290, 1};
  const cmsCIExyYTRIPLE primaries{{0.64, 0.33, 1}, {0.21, 0.71, 1}, {0.15, 0.06, 1}};
  cmsToneCurve* gamma = cmsBuildGamma(nullptr, 2.19921875);
  cmsToneCurve* const curves[3] = {gamma, gamma, gamma};
  const std::unique_ptr<void, decltype([](void* profile) { cmsCloseProfile(profile); })> profile(
      cmsCreateRGBProfile(&white, &primaries, curves));
  cmsFreeToneCurve(gamma);
  cmsUInt32Number size = 0;
  cmsSaveProfileToMem(profile.get(), nullptr, &size);
  Bytes bytes(size);
  cmsSaveProfileToMem(profile.get(), bytes.data(), &size);
  return bytes;
}

}  // namespace quorvin
