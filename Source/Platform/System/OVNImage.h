#pragma once
// OVNImage: a decoded bitmap (UIImage), made from PNG or JPEG bytes.
//
// Immutable: any thread may use an image, and share it, at any time. It has no callbacks.
//
// Pixels are 8-bit RGBA, rows top to bottom with no padding (bytesPerRow is width * 4);
// images without alpha decode as opaque. The scale is always 1, so the size in points is
// the size in pixels. Only PNG and JPEG are read, recognised by their signature bytes;
// anything else (GIF, BMP, ...) gives null. So does an image wider or taller than
// maximumDimension, or whose pixels would take more than maximumPixelBytes: the declared
// size is read before decoding, so a hostile peer cannot make us allocate gigabytes.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"
#include "Platform/Values/OVNData.h"

class OVN_EXPORT OVNImage : public OVNObject {
  OVN_CLASS_NAMED(OVNImage, OVNObject, "UIImage")

 private:
  struct Key {
    explicit Key() = default;
  };

 public:
  static constexpr std::int64_t bytesPerPixel = 4;
  static constexpr std::int64_t maximumDimension = 16384;
  static constexpr std::int64_t maximumPixelBytes = std::int64_t{256} * 1024 * 1024;

  //! Made by imageWithData.
  OVNImage(Key, std::int64_t width, std::int64_t height, std::vector<std::uint8_t> pixels);

  //! The decoded image, or null when the bytes are not a PNG or JPEG image within the
  //! limits above, or do not decode.
  static std::shared_ptr<OVNImage> imageWithData(const OVNData& data);

  std::int64_t width() const { return width_; }
  std::int64_t height() const { return height_; }
  double scale() const { return 1.0; }
  std::int64_t bytesPerRow() const { return width_ * bytesPerPixel; }
  const std::vector<std::uint8_t>& pixels() const { return pixels_; }

  //! "<UIImage: 0x...> {width, height}", the size in points.
  std::string description() const override;

 private:
  std::int64_t width_;
  std::int64_t height_;
  std::vector<std::uint8_t> pixels_;
};
