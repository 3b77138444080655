#include "tools/image_io.h"

#include <gtest/gtest.h>
#include <png.h>
// jpeglib.h needs size_t and FILE declared first.
#include <cstdio>
#include <jpeglib.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

#include "tests/tools/test_images.h"

namespace picture_host {
namespace {

using picture_host::testing::Gradient;
using picture_host::testing::Noise;

std::string ErrorOf(auto&& action) {
  try {
    action();
  } catch (const ImageError& e) {
    return e.what();
  }
  return "(no error)";
}

// A PNG written with libpng directly, in formats the tool itself never writes.
std::vector<uint8_t> PngOf(uint32_t width, uint32_t height, uint32_t format, const void* pixels,
                           const void* colormap = nullptr, uint32_t colormapEntries = 0) {
  png_image png;
  std::memset(&png, 0, sizeof png);
  png.version = PNG_IMAGE_VERSION;
  png.width = width;
  png.height = height;
  png.format = format;
  png.colormap_entries = colormapEntries;
  png_alloc_size_t size = 0;
  EXPECT_TRUE(png_image_write_to_memory(&png, nullptr, &size, 0, pixels, 0, colormap)) << png.message;
  std::vector<uint8_t> out(size);
  EXPECT_TRUE(png_image_write_to_memory(&png, out.data(), &size, 0, pixels, 0, colormap)) << png.message;
  out.resize(size);
  return out;
}

TEST(Png, WriteThenReadGivesTheSamePixels) {
  const std::vector<std::tuple<int32_t, int32_t, bool>> sizes = {
      {1, 1, false}, {7, 5, false}, {7, 5, true}, {64, 3, true}, {3, 64, false}};
  uint32_t seed = 1;
  for (const auto& [width, height, alpha] : sizes) {
    SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height) + (alpha ? " RGBA" : " RGB"));
    const Image image = Noise(width, height, alpha, seed++);
    const std::vector<uint8_t> file = EncodePng(image);
    EXPECT_EQ(SniffFormat(file), FileFormat::kPng);
    const Image back = DecodeImage(file);
    EXPECT_EQ(back.width, width);
    EXPECT_EQ(back.height, height);
    EXPECT_EQ(back.alpha, alpha);
    EXPECT_EQ(back.pixels, image.pixels);
  }
}

TEST(Png, GreyAndPalettePicturesReadAsRgbWithAlphaOnlyWhenTransparent) {
  const uint8_t grey[4] = {0, 85, 170, 255};
  const Image fromGrey = DecodeImage(PngOf(4, 1, PNG_FORMAT_GRAY, grey));
  EXPECT_FALSE(fromGrey.alpha);
  for (int x = 0; x < 4; ++x) EXPECT_EQ(fromGrey.Get(x, 0), (Rgba{grey[x], grey[x], grey[x], 255}));

  // A palette with one translucent entry is written as PLTE plus tRNS.
  const uint8_t palette[2 * 4] = {255, 0, 0, 255, 0, 0, 255, 128};
  const uint8_t indices[3] = {0, 1, 0};
  const Image fromPalette =
      DecodeImage(PngOf(3, 1, PNG_FORMAT_RGBA_COLORMAP, indices, palette, 2));
  EXPECT_TRUE(fromPalette.alpha);
  EXPECT_EQ(fromPalette.Get(0, 0), (Rgba{255, 0, 0, 255}));
  EXPECT_EQ(fromPalette.Get(1, 0).a, 128);
  EXPECT_EQ(fromPalette.Get(1, 0).b, 255);
  EXPECT_EQ(fromPalette.Get(2, 0), (Rgba{255, 0, 0, 255}));
}

TEST(Png, RefusesSidesTheHostCannotHold) {
  std::vector<uint8_t> row(kMaxSide + 1, 7);
  const std::vector<uint8_t> wide = PngOf(kMaxSide + 1, 1, PNG_FORMAT_GRAY, row.data());
  EXPECT_NE(ErrorOf([&] { DecodeImage(wide); }).find("1 to 32767"), std::string::npos);
  EXPECT_NE(ErrorOf([&] { EncodePng(Image(kMaxSide + 1, 1, false)); }).find("1 to 32767"),
            std::string::npos);
  EXPECT_NE(ErrorOf([&] { EncodePng(Image()); }).find("1 to 32767"), std::string::npos);
}

TEST(Jpeg, WriteThenReadStaysCloseToTheInput) {
  const std::vector<std::pair<Image, int>> cases = {
      {Gradient(32, 16), 95}, {Gradient(40, 24), 85}, {Gradient(64, 64), 100}};
  for (const auto& [image, quality] : cases) {
    SCOPED_TRACE(std::to_string(image.width) + "x" + std::to_string(image.height));
    const std::vector<uint8_t> file = EncodeJpeg(image, quality);
    EXPECT_EQ(SniffFormat(file), FileFormat::kJpeg);
    const Image back = DecodeImage(file);
    ASSERT_EQ(back.width, image.width);
    ASSERT_EQ(back.height, image.height);
    EXPECT_FALSE(back.alpha);
    ASSERT_EQ(back.pixels.size(), image.pixels.size());
    int worst = 0;
    long total = 0;
    for (size_t i = 0; i < image.pixels.size(); ++i) {
      const int d = std::abs(int{back.pixels[i]} - int{image.pixels[i]});
      worst = std::max(worst, d);
      total += d;
    }
    EXPECT_LE(worst, 12);
    EXPECT_LT(static_cast<double>(total) / static_cast<double>(image.pixels.size()), 2.0);
  }
}

// A CMYK JPEG as print software writes it: Adobe marker, inks stored inverted.
std::vector<uint8_t> AdobeCmykJpeg(int width, int height, const uint8_t stored[4]) {
  jpeg_compress_struct info;
  jpeg_error_mgr errors;
  info.err = jpeg_std_error(&errors);
  jpeg_create_compress(&info);
  unsigned char* out = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&info, &out, &size);
  info.image_width = static_cast<JDIMENSION>(width);
  info.image_height = static_cast<JDIMENSION>(height);
  info.input_components = 4;
  info.in_color_space = JCS_CMYK;
  jpeg_set_defaults(&info);
  jpeg_set_quality(&info, 100, TRUE);
  jpeg_start_compress(&info, TRUE);
  std::vector<uint8_t> row(static_cast<size_t>(width) * 4);
  for (int x = 0; x < width; ++x) std::memcpy(&row[static_cast<size_t>(x) * 4], stored, 4);
  while (info.next_scanline < info.image_height) {
    JSAMPROW p = row.data();
    jpeg_write_scanlines(&info, &p, 1);
  }
  jpeg_finish_compress(&info);
  jpeg_destroy_compress(&info);
  std::vector<uint8_t> bytes(out, out + size);
  std::free(out);
  return bytes;
}

TEST(Jpeg, CmykPicturesReadAsRgb) {
  // Stored (inverted) C, M, Y, K and the colour they print as.
  const std::vector<std::pair<std::vector<uint8_t>, Rgba>> cases = {
      {{255, 255, 255, 255}, {255, 255, 255}},  // no ink
      {{255, 0, 0, 255}, {255, 0, 0}},          // magenta and yellow
      {{0, 255, 0, 255}, {0, 255, 0}},          // cyan and yellow
      {{255, 255, 255, 0}, {0, 0, 0}},          // black
      {{255, 255, 255, 128}, {128, 128, 128}},  // half black
  };
  for (const auto& [stored, colour] : cases) {
    SCOPED_TRACE(std::to_string(colour.r) + "," + std::to_string(colour.g) + "," +
                 std::to_string(colour.b));
    const Image image = DecodeImage(AdobeCmykJpeg(16, 8, stored.data()));
    ASSERT_EQ(image.width, 16);
    ASSERT_EQ(image.height, 8);
    EXPECT_FALSE(image.alpha);
    const Rgba got = image.Get(7, 3);
    EXPECT_LE(std::abs(got.r - colour.r), 2);
    EXPECT_LE(std::abs(got.g - colour.g), 2);
    EXPECT_LE(std::abs(got.b - colour.b), 2);
  }
}

TEST(Jpeg, HasNoAlphaChannelToWrite) {
  EXPECT_NE(ErrorOf([] { EncodeJpeg(Noise(2, 2, true, 3), 90); }).find("alpha"), std::string::npos);
}

TEST(DecodeImage, DecidesByContentAndNamesBrokenData) {
  const std::vector<uint8_t> png = EncodePng(Noise(16, 16, false, 5));
  const std::vector<uint8_t> jpeg = EncodeJpeg(Gradient(16, 16), 90);
  std::vector<uint8_t> pngHalf(png.begin(), png.begin() + static_cast<long>(png.size() / 2));
  std::vector<uint8_t> pngGarbage(png.begin(), png.begin() + 8);
  pngGarbage.resize(64, 0x55);
  std::vector<uint8_t> jpegGarbage(jpeg.begin(), jpeg.begin() + 3);
  jpegGarbage.resize(64, 0x00);
  const std::string text = "hello, this is not a picture\n";

  const std::vector<std::pair<std::vector<uint8_t>, std::string>> cases = {
      {{}, "not a PNG or JPEG"},
      {std::vector<uint8_t>(text.begin(), text.end()), "not a PNG or JPEG"},
      {std::vector<uint8_t>(png.begin(), png.begin() + 4), "not a PNG or JPEG"},
      {pngHalf, "broken PNG"},
      {pngGarbage, "broken PNG"},
      {jpegGarbage, "broken JPEG"},
  };
  for (const auto& [bytes, message] : cases) {
    SCOPED_TRACE(message + " (" + std::to_string(bytes.size()) + " bytes)");
    EXPECT_NE(ErrorOf([&] { DecodeImage(bytes); }).find(message), std::string::npos);
  }
}

class Files : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = std::filesystem::temp_directory_path() /
           ("image_io_test_" + std::to_string(::getpid()) + "_" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::create_directories(dir_);
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }
  std::string Path(const std::string& name) const { return (dir_ / name).string(); }
  std::filesystem::path dir_;
};

TEST_F(Files, ReadsByContentWhateverTheName) {
  const Image image = Noise(5, 4, true, 9);
  WritePng(Path("really_a_png.jpg"), image);
  EXPECT_EQ(ReadImage(Path("really_a_png.jpg")).pixels, image.pixels);
  WriteFileBytes(Path("really_a_jpeg.png"), EncodeJpeg(Gradient(8, 8), 90));
  EXPECT_EQ(ReadImage(Path("really_a_jpeg.png")).width, 8);
}

TEST_F(Files, NameTheFileAndTheProblem) {
  const std::string text = "just text\n";
  WriteFileBytes(Path("notes.txt"), std::vector<uint8_t>(text.begin(), text.end()));
  const auto quoted = [](const std::string& path) {
    std::string q = "'";
    q += path;
    q += "'";
    return q;
  };
  const std::vector<std::pair<std::string, std::string>> cases = {
      {ErrorOf([&] { ReadImage(Path("missing.png")); }),
       "cannot open " + quoted(Path("missing.png")) + ": No such file or directory"},
      {ErrorOf([&] { ReadImage(dir_.string()); }), quoted(dir_.string()) + " is a directory"},
      {ErrorOf([&] { ReadImage(Path("notes.txt")); }),
       quoted(Path("notes.txt")) + ": not a PNG or JPEG picture"},
      {ErrorOf([&] { WritePng(Path("no/such/dir/out.png"), Noise(1, 1, false, 1)); }),
       "cannot write " + quoted(Path("no/such/dir/out.png")) + ": No such file or directory"},
  };
  for (const auto& [error, expected] : cases) EXPECT_EQ(error, expected);
}

}  // namespace
}  // namespace picture_host
