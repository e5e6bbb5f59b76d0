#include <gtest/gtest.h>
#include <stb/stb_image.h>
#include <stb/stb_image_write.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "Platform/System/OVNImage.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using Pixel = std::array<std::uint8_t, 4>;

constexpr int kSide = 16;          // two rows of 8x8 blocks: JPEG keeps each uniform block's colour
constexpr int kJPEGQuality = 100;  // no chroma subsampling, so the halves do not bleed
constexpr Pixel kTop{200, 40, 10, 128};
constexpr Pixel kBottom{20, 180, 90, 255};

enum class Encoding { PNG, JPEG, BMP };

void appendTo(void* context, void* data, int size) {
  auto* bytes = static_cast<Bytes*>(context);
  bytes->insert(bytes->end(), static_cast<std::uint8_t*>(data), static_cast<std::uint8_t*>(data) + size);
}

// A square whose top half is kTop and bottom half kBottom, in the first `components` channels.
Bytes encodeHalves(Encoding encoding, int components) {
  Bytes source;
  for (int y = 0; y < kSide; ++y) {
    const Pixel& colour = y < kSide / 2 ? kTop : kBottom;
    for (int x = 0; x < kSide; ++x) source.insert(source.end(), colour.begin(), colour.begin() + components);
  }
  Bytes encoded;
  switch (encoding) {
    case Encoding::PNG: stbi_write_png_to_func(appendTo, &encoded, kSide, kSide, components, source.data(), 0); break;
    case Encoding::JPEG:
      stbi_write_jpg_to_func(appendTo, &encoded, kSide, kSide, components, source.data(), kJPEGQuality);
      break;
    case Encoding::BMP: stbi_write_bmp_to_func(appendTo, &encoded, kSide, kSide, components, source.data()); break;
  }
  return encoded;
}

void appendBigEndian(Bytes& bytes, std::uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<std::uint8_t>(value >> shift));
}

std::uint32_t crc32(const std::uint8_t* begin, const std::uint8_t* end) {
  std::uint32_t crc = 0xFFFFFFFFu;
  for (const auto* byte = begin; byte != end; ++byte) {
    crc ^= *byte;
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
  }
  return ~crc;
}

void appendChunk(Bytes& png, const char* type, const Bytes& payload) {
  appendBigEndian(png, static_cast<std::uint32_t>(payload.size()));
  const std::size_t typeStart = png.size();
  png.insert(png.end(), type, type + 4);
  png.insert(png.end(), payload.begin(), payload.end());
  appendBigEndian(png, crc32(png.data() + typeStart, png.data() + png.size()));
}

// A black one-bit greyscale PNG of any size, written by hand (stored deflate blocks) so
// that a large declared size costs an eighth of a byte per pixel to make.
Bytes blackBitmapPNG(std::uint32_t width, std::uint32_t height, bool withPixels = true, std::size_t inflatedSize = 0) {
  Bytes png{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  Bytes header;
  appendBigEndian(header, width);
  appendBigEndian(header, height);
  header.insert(header.end(), {1, 0, 0, 0, 0});  // depth 1, greyscale, deflate, no filter, no interlace
  appendChunk(png, "IHDR", header);
  if (withPixels) {
    const std::size_t rawSize =
        inflatedSize ? inflatedSize : std::size_t{height} * (1 + (width + 7) / 8);  // a filter byte per row
    constexpr std::size_t kStoredBlock = 65535;
    Bytes zlib{0x78, 0x01};
    for (std::size_t done = 0; done < rawSize; done += kStoredBlock) {
      const auto length = static_cast<std::uint16_t>(std::min(kStoredBlock, rawSize - done));
      const std::uint16_t complement = ~length;
      zlib.insert(zlib.end(), {static_cast<std::uint8_t>(done + length == rawSize), static_cast<std::uint8_t>(length),
                               static_cast<std::uint8_t>(length >> 8), static_cast<std::uint8_t>(complement),
                               static_cast<std::uint8_t>(complement >> 8)});
      zlib.resize(zlib.size() + length, 0);
    }
    appendBigEndian(zlib, static_cast<std::uint32_t>((rawSize % 65521) << 16 | 1));  // Adler-32 of n zeros
    appendChunk(png, "IDAT", zlib);
  }
  appendChunk(png, "IEND", {});
  return png;
}

std::shared_ptr<OVNImage> decode(const Bytes& bytes) { return OVNImage::imageWithData(OVNData(bytes)); }

Pixel pixelAt(const OVNImage& image, int x, int y) {
  const auto offset = static_cast<std::size_t>(y * image.bytesPerRow() + x * OVNImage::bytesPerPixel);
  const auto& pixels = image.pixels();
  return {pixels[offset], pixels[offset + 1], pixels[offset + 2], pixels[offset + 3]};
}

TEST(OVNImageTest, DecodesPNGAndJPEGIntoRGBA) {
  struct Case {
    const char* name;
    Encoding encoding;
    int components;
    Pixel top, bottom;
    int tolerance;
  };
  const Case cases[] = {
      {"PNG RGBA", Encoding::PNG, 4, kTop, kBottom, 0},
      {"PNG grey", Encoding::PNG, 1, {200, 200, 200, 255}, {20, 20, 20, 255}, 0},
      {"JPEG RGB", Encoding::JPEG, 3, {200, 40, 10, 255}, {20, 180, 90, 255}, 3},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const auto image = decode(encodeHalves(c.encoding, c.components));
    ASSERT_TRUE(image);
    EXPECT_EQ(image->width(), kSide);
    EXPECT_EQ(image->height(), kSide);
    EXPECT_EQ(image->scale(), 1.0);
    EXPECT_EQ(image->bytesPerRow(), kSide * 4);
    ASSERT_EQ(image->pixels().size(), std::size_t{kSide * kSide * 4});
    const Pixel top = pixelAt(*image, kSide - 1, 1);
    const Pixel bottom = pixelAt(*image, 2, kSide - 1);
    for (std::size_t channel = 0; channel < 4; ++channel) {
      EXPECT_LE(std::abs(top[channel] - c.top[channel]), c.tolerance) << "top, channel " << channel;
      EXPECT_LE(std::abs(bottom[channel] - c.bottom[channel]), c.tolerance) << "bottom, channel " << channel;
    }
  }
}

TEST(OVNImageTest, DescribesItselfWithItsSizeInPoints) {
  const auto image = decode(blackBitmapPNG(3, 2));
  ASSERT_TRUE(image);
  EXPECT_EQ(image->className(), "UIImage");
  const std::string description = image->description();
  EXPECT_TRUE(description.starts_with("<UIImage: 0x")) << description;
  EXPECT_TRUE(description.ends_with("> {3, 2}")) << description;
}

TEST(OVNImageTest, RefusesOtherFormatsEvenWhenTheDecoderReadsThem) {
  const Bytes gif{'G', 'I', 'F', '8', '9', 'a', 1, 0, 1, 0, 0x80, 0, 0, 0xFF, 0xFF, 0xFF, 0,  0,
                  0,   ',', 0,   0,   0,   0,   1, 0, 1, 0, 0,    2, 2, 'D',  1,    0,    ';'};
  for (const Bytes& bytes : {gif, encodeHalves(Encoding::BMP, 3)}) {
    int width = 0, height = 0, components = 0;
    ASSERT_TRUE(stbi_info_from_memory(bytes.data(), static_cast<int>(bytes.size()), &width, &height, &components));
    EXPECT_FALSE(decode(bytes));
  }
}

TEST(OVNImageTest, RefusesDataThatDoesNotDecode) {
  const Bytes png = encodeHalves(Encoding::PNG, 4);
  const Bytes jpeg = encodeHalves(Encoding::JPEG, 3);
  struct Case {
    const char* name;
    Bytes bytes;
  };
  const Case cases[] = {
      {"empty", {}},
      {"PNG signature only", Bytes(png.begin(), png.begin() + 8)},
      {"PNG cut in its pixels", Bytes(png.begin(), png.begin() + static_cast<long>(png.size() / 2))},
      {"PNG without pixels", blackBitmapPNG(4, 4, false)},
      {"JPEG cut in its header", Bytes(jpeg.begin(), jpeg.begin() + 40)},
      {"JPEG without its end marker", Bytes(jpeg.begin(), jpeg.end() - 2)},
      {"JPEG signature then text", {0xFF, 0xD8, 0xFF, 'h', 'e', 'l', 'l', 'o'}},
  };
  for (const auto& c : cases) EXPECT_FALSE(decode(c.bytes)) << c.name;
}

TEST(OVNImageTest, RefusesSizesBeyondTheLimitsBeforeDecoding) {
  EXPECT_TRUE(decode(blackBitmapPNG(16384, 1)));
  struct Case {
    const char* name;
    Bytes bytes;
  };
  const Case cases[] = {
      {"declared 100000 x 100000, no pixels", blackBitmapPNG(100000, 100000, false)},
      {"wider than the limit", blackBitmapPNG(16385, 1)},
      {"more pixel bytes than the limit", blackBitmapPNG(8192, 8193)},
      {"4 x 4 declared, 4 MB of pixel data", blackBitmapPNG(4, 4, true, 4u << 20)},
  };
  for (const auto& c : cases) EXPECT_FALSE(decode(c.bytes)) << c.name;
}

}  // namespace
