#include "Platform/System/OVNImage.h"

#include <stb/stb_image.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <climits>
#include <utility>

#include "Platform/Objects/OVNProperties.h"
#include "Platform/Values/OVNFormat.h"

OVN_PROPERTIES(OVNImage, width, height, scale, bytesPerRow)

namespace {

constexpr std::array<std::uint8_t, 8> kPNGSignature{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
// Start of image, then the first marker's lead byte.
constexpr std::array<std::uint8_t, 3> kJPEGSignature{0xFF, 0xD8, 0xFF};

template <std::size_t N>
bool startsWith(const std::vector<std::uint8_t>& bytes, const std::array<std::uint8_t, N>& signature) {
  return bytes.size() >= N && std::equal(signature.begin(), signature.end(), bytes.begin());
}

// stb would also read GIF, BMP, PSD and more; we promise PNG and JPEG only.
bool isPNGOrJPEG(const std::vector<std::uint8_t>& bytes) {
  return startsWith(bytes, kPNGSignature) || startsWith(bytes, kJPEGSignature);
}

bool isWithinLimits(std::int64_t width, std::int64_t height) {
  if (width <= 0 || height <= 0) return false;
  if (width > OVNImage::maximumDimension || height > OVNImage::maximumDimension) return false;
  return width * height * OVNImage::bytesPerPixel <= OVNImage::maximumPixelBytes;
}

// The size the header declares, read without decoding, so the limits apply before stb
// allocates anything for the pixels.
bool declaresAcceptableSize(const stbi_uc* bytes, int length) {
  int width = 0;
  int height = 0;
  int components = 0;
  if (!stbi_info_from_memory(bytes, length, &width, &height, &components)) return false;
  return isWithinLimits(width, height);
}

std::uint32_t bigEndian32(const std::uint8_t* bytes) {
  return (std::uint32_t{bytes[0]} << 24) | (std::uint32_t{bytes[1]} << 16) | (std::uint32_t{bytes[2]} << 8) | bytes[3];
}

// Whether a PNG's compressed pixel data inflates to no more than its declared size could
// need (16-bit RGBA, a filter byte per row and per interlace pass). stb grows its buffer
// for whatever the data inflates to, so a small file declaring a small image could
// otherwise make it allocate gigabytes. Counting costs one inflate into a small buffer.
bool inflatesWithinDeclaredSize(const std::vector<std::uint8_t>& png, std::int64_t width, std::int64_t height) {
  constexpr std::int64_t widestPixel = 8;
  constexpr std::int64_t interlacePasses = 7;
  const std::int64_t bound = width * height * widestPixel + (height + interlacePasses) * interlacePasses;
  z_stream stream{};
  if (inflateInit(&stream) != Z_OK) return false;
  std::array<std::uint8_t, 64 * 1024> scratch{};
  std::int64_t produced = 0;
  int status = Z_OK;
  for (std::size_t at = kPNGSignature.size(); at + 12 <= png.size() && status == Z_OK;) {
    const std::uint32_t length = bigEndian32(&png[at]);
    if (length > png.size() - at - 12) break;
    const bool pixelData = std::equal(&png[at + 4], &png[at + 8], "IDAT");
    stream.next_in = const_cast<Bytef*>(&png[at + 8]);
    stream.avail_in = pixelData ? length : 0;
    while (stream.avail_in > 0 && status == Z_OK && produced <= bound) {
      stream.next_out = scratch.data();
      stream.avail_out = scratch.size();
      status = inflate(&stream, Z_NO_FLUSH);
      produced += static_cast<std::int64_t>(scratch.size() - stream.avail_out);
    }
    if (produced > bound) break;
    at += 12 + length;
  }
  inflateEnd(&stream);
  return produced <= bound;
}

}  // namespace

OVNImage::OVNImage(Key, std::int64_t width, std::int64_t height, std::vector<std::uint8_t> pixels)
    : width_(width), height_(height), pixels_(std::move(pixels)) {}

std::shared_ptr<OVNImage> OVNImage::imageWithData(const OVNData& data) {
  const auto& bytes = data.bytes();
  if (!isPNGOrJPEG(bytes) || bytes.size() > static_cast<std::size_t>(INT_MAX)) return nullptr;
  const auto* input = reinterpret_cast<const stbi_uc*>(bytes.data());
  const int length = static_cast<int>(bytes.size());
  if (!declaresAcceptableSize(input, length)) return nullptr;
  if (startsWith(bytes, kPNGSignature)) {
    int declaredWidth = 0, declaredHeight = 0, components = 0;
    stbi_info_from_memory(input, length, &declaredWidth, &declaredHeight, &components);
    if (!inflatesWithinDeclaredSize(bytes, declaredWidth, declaredHeight)) return nullptr;
  }

  int width = 0;
  int height = 0;
  int components = 0;
  std::unique_ptr<stbi_uc, void (*)(void*)> decoded(
      stbi_load_from_memory(input, length, &width, &height, &components, static_cast<int>(bytesPerPixel)),
      stbi_image_free);
  if (!decoded || !isWithinLimits(width, height)) return nullptr;
  const std::size_t size = static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * bytesPerPixel;
  std::vector<std::uint8_t> pixels(decoded.get(), decoded.get() + size);
  return OVNMake<OVNImage>(Key(), width, height, std::move(pixels));
}

std::string OVNImage::description() const {
  return OVNFormat("%@ {%g, %g}", OVNObject::description(), static_cast<double>(width_) / scale(),
                   static_cast<double>(height_) / scale());
}
