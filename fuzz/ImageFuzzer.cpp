// Decodes arbitrary bytes as an image: never a crash, hang or oversized allocation, and an
// image that decodes has the size its pixels say, within the limits.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "Platform/System/OVNImage.h"
#include "Platform/Values/OVNData.h"

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const auto image = OVNImage::imageWithData(OVNData(std::vector<std::uint8_t>(bytes, bytes + size)));
  if (!image) return 0;
  require(image->width() > 0 && image->width() <= OVNImage::maximumDimension);
  require(image->height() > 0 && image->height() <= OVNImage::maximumDimension);
  require(image->bytesPerRow() == image->width() * OVNImage::bytesPerPixel);
  require(image->pixels().size() == static_cast<std::size_t>(image->bytesPerRow() * image->height()));
  require(image->pixels().size() <= static_cast<std::size_t>(OVNImage::maximumPixelBytes));
  require(!image->description().empty());
  return 0;
}
